#pragma once

#include "Db/Tbl/Accessor.h"

/// An agent installed on a client: one row per client and agent type.
struct APP_IDAName_t {
    std::int32_t id;
    std::int32_t clientId;
    std::int32_t appTypeId;
    std::int32_t status;
    std::int64_t refTime;
    std::int64_t modified;
    std::int32_t ccpId;
    std::int64_t ccpTime;
};

class VSDKPLATFORM_API APP_IDAName_t2 : public OVDBRow<APP_IDAName_t2> {
  public:
    using Row = APP_IDAName_t;
    static constexpr std::array kColumns{COLUMN(Row, id).serial(),
                                         COLUMN(Row, clientId).refersTo("APP_Client"),
                                         COLUMN(Row, appTypeId).refersTo("APP_iDAType", "type"),
                                         COLUMN(Row, status),
                                         COLUMN(Row, refTime).time(),
                                         COLUMN(Row, modified).time(),
                                         COLUMN(Row, ccpId),
                                         COLUMN(Row, ccpTime).time()};
    static constexpr OVDBRowDeclaration kRow = ovdbTable<Row, kColumns>("APP_IDAName", "1.8.278.2");
};

class APP_IDAName : public TableAccessor<APP_IDAName_t2> {
  public:
    using TableAccessor::TableAccessor;
};
