#pragma once

#include "Db/Tbl/Accessor.h"

/// A client: a machine known to the hub server.
struct APP_Client_t {
    std::int32_t id;
    char name[511];
    std::int32_t simOperatingSystemId;
    char net_hostname[511];
    char client_password[511];
    std::int64_t refTime;
    std::int64_t modified;
    std::int32_t offlineEntity;
    std::int64_t offlineTimeStamp;
    char hsHostName[511];
    OVDBText clientDescription;
    char jobResultDir[511];
    std::int32_t clientSkewTime;
    std::int32_t ovdPort;
    std::int32_t evmgrcPort;
    std::int32_t status;
    std::int32_t releaseId;
    std::int32_t spaceCheckFlags;
    std::int32_t ccpId;
    std::int64_t ccpTime;
    std::int32_t origHCId;
    char GUID[65];
    std::int32_t specialClientFlags;
    char displayName[511];
};

class VSDKPLATFORM_API APP_Client_t2 : public OVDBRow<APP_Client_t2> {
  public:
    using Row = APP_Client_t;
    static constexpr std::array kColumns{COLUMN(Row, id).serial(),
                                         COLUMN(Row, name),
                                         COLUMN(Row, simOperatingSystemId).refersTo("SimOperatingSystem"),
                                         COLUMN(Row, net_hostname),
                                         COLUMN(Row, client_password),
                                         COLUMN(Row, refTime).time(),
                                         COLUMN(Row, modified).time(),
                                         COLUMN(Row, offlineEntity),
                                         COLUMN(Row, offlineTimeStamp).time(),
                                         COLUMN(Row, hsHostName),
                                         COLUMN(Row, clientDescription),
                                         COLUMN(Row, jobResultDir),
                                         COLUMN(Row, clientSkewTime),
                                         COLUMN(Row, ovdPort),
                                         COLUMN(Row, evmgrcPort),
                                         COLUMN(Row, status),
                                         COLUMN(Row, releaseId),
                                         COLUMN(Row, spaceCheckFlags),
                                         COLUMN(Row, ccpId),
                                         COLUMN(Row, ccpTime).time(),
                                         COLUMN(Row, origHCId),
                                         COLUMN(Row, GUID),
                                         COLUMN(Row, specialClientFlags),
                                         COLUMN(Row, displayName)};
    static constexpr OVDBRowDeclaration kRow = ovdbTable<Row, kColumns>("APP_Client", "1.63.2.10");
};

class APP_Client : public TableAccessor<APP_Client_t2> {
  public:
    using TableAccessor::TableAccessor;
};
