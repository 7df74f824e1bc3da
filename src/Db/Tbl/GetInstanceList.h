#pragma once

#include "Db/Tbl/Accessor.h"

/// An instance of a client and agent type: one that subclients name. Inputs: client id, agent type.
struct GetInstanceList_t {
    std::int32_t id;
    char name[257]; ///< empty when the row that holds it is missing
};

class VSDKPLATFORM_API GetInstanceList_t2 : public OVDBRow<GetInstanceList_t2> {
  public:
    using Row = GetInstanceList_t;
    static constexpr std::array kColumns{COLUMN(Row, id).refersTo("APP_InstanceName"), COLUMN(Row, name)};
    static constexpr OVDBRowDeclaration kRow = ovdbCursor<Row, kColumns>("GetInstanceList");
};

class GetInstanceList : public ProcedureAccessor<GetInstanceList_t2, int, int> {
  public:
    using ProcedureAccessor::ProcedureAccessor;
};
