#pragma once

#include "Db/Tbl/Accessor.h"

/// A subclient of a backup set. Inputs: client id, agent type, instance id, backup set id.
struct GetSubclientList_t {
    std::int32_t id;
    char name[257];
};

class VSDKPLATFORM_API GetSubclientList_t2 : public OVDBRow<GetSubclientList_t2> {
  public:
    using Row = GetSubclientList_t;
    static constexpr std::array kColumns{COLUMN(Row, id).refersTo("APP_Application"), COLUMN(Row, name)};
    static constexpr OVDBRowDeclaration kRow = ovdbCursor<Row, kColumns>("GetSubclientList");
};

class GetSubclientList : public ProcedureAccessor<GetSubclientList_t2, int, int, int, int> {
  public:
    using ProcedureAccessor::ProcedureAccessor;
};
