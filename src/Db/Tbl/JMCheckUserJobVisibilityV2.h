#pragma once

#include "Db/Tbl/Accessor.h"

/// Whether users may see a job. Inputs: hubcell id, job id, the users as XML.
struct JMCheckUserJobVisibilityV2_t {
    std::int32_t userId;
    std::int32_t isJobVisible;
};

class VSDKPLATFORM_API JMCheckUserJobVisibilityV2_t2 : public OVDBRow<JMCheckUserJobVisibilityV2_t2> {
  public:
    using Row = JMCheckUserJobVisibilityV2_t;
    static constexpr std::array kColumns{COLUMN(Row, userId).refersTo("UMUsers"), COLUMN(Row, isJobVisible)};
    static constexpr OVDBRowDeclaration kRow = ovdbProcedure<Row, kColumns>(
        "JMCheckUserJobVisibilityV2", "JMCheckUserJobVisibilityV2", "00010001000200030000", OVDBEffect::kReads);
};

class JMCheckUserJobVisibilityV2 : public ProcedureAccessor<JMCheckUserJobVisibilityV2_t2, int, int, const char*> {
  public:
    using ProcedureAccessor::ProcedureAccessor;
};
