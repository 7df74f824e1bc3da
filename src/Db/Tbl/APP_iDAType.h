#pragma once

#include "Db/Tbl/Accessor.h"

/// An agent type and its display name.
struct APP_iDAType_t {
    std::int32_t type;
    char name[257]; ///< display name
};

class VSDKPLATFORM_API APP_iDAType_t2 : public OVDBRow<APP_iDAType_t2> {
  public:
    using Row = APP_iDAType_t;
    static constexpr std::array kColumns{COLUMN(Row, type).key(), COLUMN(Row, name)};
    static constexpr OVDBRowDeclaration kRow = ovdbTable<Row, kColumns>("APP_iDAType", "1.1.0.0");
};

class APP_iDAType : public TableAccessor<APP_iDAType_t2> {
  public:
    using TableAccessor::TableAccessor;
};
