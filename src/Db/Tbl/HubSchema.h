#pragma once

#include "Db/Tbl/Accessor.h"

/// A version of the hub database's schema and when it was applied.
struct HubSchema_t {
    std::int32_t version;
    std::int64_t applied; ///< Unix seconds
};

class VSDKPLATFORM_API HubSchema_t2 : public OVDBRow<HubSchema_t2> {
  public:
    using Row = HubSchema_t;
    static constexpr std::array kColumns{COLUMN(Row, version).key(), COLUMN(Row, applied).time()};
    static constexpr OVDBRowDeclaration kRow = ovdbTable<Row, kColumns>("HubSchema", "1.1.0.0");
};

class HubSchema : public TableAccessor<HubSchema_t2> {
  public:
    using TableAccessor::TableAccessor;
};
