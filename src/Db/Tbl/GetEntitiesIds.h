#pragma once

#include "Db/Tbl/Accessor.h"

/// The ids behind entity names. Inputs: agent type id, then the names of client, instance, backup set and subclient.
struct GetEntitiesIds_t {
    std::int32_t r_clientId;
    std::int32_t r_instId;
    std::int32_t r_bkpSetId;
    std::int32_t r_subClntId;
    char r_errorString[1025];
};

class VSDKPLATFORM_API GetEntitiesIds_t2 : public OVDBRow<GetEntitiesIds_t2> {
  public:
    using Row = GetEntitiesIds_t;
    static constexpr std::array kColumns{
        COLUMN(Row, r_clientId).refersTo("APP_Client"), COLUMN(Row, r_instId).refersTo("APP_InstanceName"),
        COLUMN(Row, r_bkpSetId).refersTo("APP_BackupSetName"), COLUMN(Row, r_subClntId).refersTo("APP_Application"),
        COLUMN(Row, r_errorString)};
    static constexpr OVDBRowDeclaration kRow =
        ovdbProcedure<Row, kColumns>("GetEntitiesIds", "getEntitiesIds", "00010008020800010000", OVDBEffect::kReads);
};

class GetEntitiesIds
    : public ProcedureAccessor<GetEntitiesIds_t2, int, const char*, const char*, const char*, const char*> {
  public:
    using ProcedureAccessor::ProcedureAccessor;
};
