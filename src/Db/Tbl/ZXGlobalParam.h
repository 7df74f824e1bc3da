#pragma once

#include "Db/Tbl/Accessor.h"

/// A global parameter of the hub server.
struct ZXGlobalParam_t {
    std::int32_t id;
    char name[129];
    OVDBText value;
    std::int64_t created;
    std::int64_t modified;
};

class VSDKPLATFORM_API ZXGlobalParam_t2 : public OVDBRow<ZXGlobalParam_t2> {
  public:
    using Row = ZXGlobalParam_t;
    static constexpr std::array kColumns{COLUMN(Row, id).serial(), COLUMN(Row, name), COLUMN(Row, value),
                                         COLUMN(Row, created).time(), COLUMN(Row, modified).time()};
    static constexpr OVDBRowDeclaration kRow = ovdbTable<Row, kColumns>("ZXGlobalParam", "1.120.88.3");
};

class ZXGlobalParam : public TableAccessor<ZXGlobalParam_t2> {
  public:
    using TableAccessor::TableAccessor;
};
