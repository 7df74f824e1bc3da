#pragma once

#include "Db/Tbl/Accessor.h"

/// An instance of an agent type.
struct APP_InstanceName_t {
    std::int32_t id;
    char name[1025];
    std::int64_t refTime;
    std::int64_t modified;
    std::int32_t status;
    std::int32_t ccpId;
    std::int64_t ccpTime;
    std::int32_t origHCId;
    char GUID[65];
};

class VSDKPLATFORM_API APP_InstanceName_t2 : public OVDBRow<APP_InstanceName_t2> {
  public:
    using Row = APP_InstanceName_t;
    static constexpr std::array kColumns{
        COLUMN(Row, id).serial(),     COLUMN(Row, name),     COLUMN(Row, refTime).time(),
        COLUMN(Row, modified).time(), COLUMN(Row, status),   COLUMN(Row, ccpId),
        COLUMN(Row, ccpTime).time(),  COLUMN(Row, origHCId), COLUMN(Row, GUID)};
    static constexpr OVDBRowDeclaration kRow = ovdbTable<Row, kColumns>("APP_InstanceName", "1.26.2.3");
};

class APP_InstanceName : public TableAccessor<APP_InstanceName_t2> {
  public:
    using TableAccessor::TableAccessor;
};
