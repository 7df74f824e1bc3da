#pragma once

#include "Db/Tbl/Accessor.h"

/// A backup set of an instance: one that subclients name. Inputs: client id, agent type, instance id.
struct GetBackupSetList_t {
    std::int32_t id;
    char name[257];        ///< empty when the row that holds it is missing
    std::int32_t onDemand; ///< 1 or 0
};

class VSDKPLATFORM_API GetBackupSetList_t2 : public OVDBRow<GetBackupSetList_t2> {
  public:
    using Row = GetBackupSetList_t;
    static constexpr std::array kColumns{COLUMN(Row, id).refersTo("APP_BackupSetName"), COLUMN(Row, name),
                                         COLUMN(Row, onDemand)};
    static constexpr OVDBRowDeclaration kRow = ovdbCursor<Row, kColumns>("GetBackupSetList");
};

class GetBackupSetList : public ProcedureAccessor<GetBackupSetList_t2, int, int, int> {
  public:
    using ProcedureAccessor::ProcedureAccessor;
};
