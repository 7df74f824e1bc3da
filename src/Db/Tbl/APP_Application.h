#pragma once

#include "Db/Tbl/Accessor.h"

/// A subclient, with the client, agent type, instance and backup set it belongs to.
struct APP_Application_t {
    std::int32_t id;
    std::int32_t clientId;
    std::int32_t appTypeId; ///< NULL or -1: unset
    std::int32_t instance;
    std::int32_t backupSet;
    std::int32_t appNumber;
    std::int32_t dataArchGrpID; ///< data storage policy
    std::int32_t logArchGrpID;  ///< index storage policy
    std::int64_t refTime;
    std::int64_t modified;
    char subclientName[257];
    std::int32_t subclientStatus; ///< bits; 0x2 and 0x4 leave it out of lists
    std::int32_t ccpId;
    std::int64_t ccpTime;
    std::int32_t origHCId;
    char GUID[65];
};

class VSDKPLATFORM_API APP_Application_t2 : public OVDBRow<APP_Application_t2> {
  public:
    using Row = APP_Application_t;
    static constexpr std::array kColumns{COLUMN(Row, id).serial(),
                                         COLUMN(Row, clientId).refersTo("APP_Client"),
                                         COLUMN(Row, appTypeId).refersTo("APP_iDAType", "type"),
                                         COLUMN(Row, instance).refersTo("APP_InstanceName"),
                                         COLUMN(Row, backupSet).refersTo("APP_BackupSetName"),
                                         COLUMN(Row, appNumber),
                                         COLUMN(Row, dataArchGrpID).refersTo("ArchGroup"),
                                         COLUMN(Row, logArchGrpID).refersTo("ArchGroup"),
                                         COLUMN(Row, refTime).time(),
                                         COLUMN(Row, modified).time(),
                                         COLUMN(Row, subclientName),
                                         COLUMN(Row, subclientStatus),
                                         COLUMN(Row, ccpId),
                                         COLUMN(Row, ccpTime).time(),
                                         COLUMN(Row, origHCId),
                                         COLUMN(Row, GUID)};
    static constexpr OVDBRowDeclaration kRow = ovdbTable<Row, kColumns>("APP_Application", "1.38.2.9");
};

class APP_Application : public TableAccessor<APP_Application_t2> {
  public:
    using TableAccessor::TableAccessor;
};
