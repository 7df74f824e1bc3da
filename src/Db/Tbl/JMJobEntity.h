#pragma once

#include "Db/Tbl/Accessor.h"

/// What a job works on.
struct JMJobEntity_t {
    std::int32_t jobId;
    std::int32_t hubCellId;
    std::int32_t clientId;
    std::int32_t appTypeId;
    std::int32_t instanceId;
    std::int32_t backupSetId;
    std::int32_t subclientId;
    std::int32_t backupLevel;
    std::int32_t destClientId;
};

class VSDKPLATFORM_API JMJobEntity_t2 : public OVDBRow<JMJobEntity_t2> {
  public:
    using Row = JMJobEntity_t;
    static constexpr std::array kColumns{COLUMN(Row, jobId).key(),
                                         COLUMN(Row, hubCellId).key(),
                                         COLUMN(Row, clientId).refersTo("APP_Client"),
                                         COLUMN(Row, appTypeId).refersTo("APP_iDAType", "type"),
                                         COLUMN(Row, instanceId).refersTo("APP_InstanceName"),
                                         COLUMN(Row, backupSetId).refersTo("APP_BackupSetName"),
                                         COLUMN(Row, subclientId).refersTo("APP_Application"),
                                         COLUMN(Row, backupLevel),
                                         COLUMN(Row, destClientId).refersTo("APP_Client")};
    static constexpr OVDBRowDeclaration kRow = ovdbTable<Row, kColumns>("JMJobEntity", "1.1.0.0");
};

class JMJobEntity : public TableAccessor<JMJobEntity_t2> {
  public:
    using TableAccessor::TableAccessor;
};
