#pragma once

#include "Db/Tbl/Accessor.h"

/// A property of an instance; the current one has `modified` 0.
struct APP_InstanceProp_t {
    std::int32_t id;
    std::int32_t componentNameId;
    char attrName[2049];
    std::int32_t attrType;
    OVDBText attrVal;
    std::int64_t created;
    std::int64_t modified;
    std::int32_t ccpId;
};

class VSDKPLATFORM_API APP_InstanceProp_t2 : public OVDBRow<APP_InstanceProp_t2> {
  public:
    using Row = APP_InstanceProp_t;
    static constexpr std::array kColumns{
        COLUMN(Row, id).serial(),     COLUMN(Row, componentNameId).refersTo("APP_InstanceName"),
        COLUMN(Row, attrName),        COLUMN(Row, attrType),
        COLUMN(Row, attrVal),         COLUMN(Row, created).time(),
        COLUMN(Row, modified).time(), COLUMN(Row, ccpId)};
    static constexpr OVDBRowDeclaration kRow = ovdbTable<Row, kColumns>("APP_InstanceProp", "1.13.278.3");
};

class APP_InstanceProp : public TableAccessor<APP_InstanceProp_t2> {
  public:
    using TableAccessor::TableAccessor;
};
