#pragma once

#include "Db/Tbl/Accessor.h"

/// The running jobs as one XML text. Inputs: user id, the request as XML, an empty text.
struct JMGetRunningJobSummaryVSDK_t {};

class VSDKPLATFORM_API JMGetRunningJobSummaryVSDK_t2 : public OVDBRow<JMGetRunningJobSummaryVSDK_t2> {
  public:
    using Row = JMGetRunningJobSummaryVSDK_t;
    static constexpr std::array<OVDBColumn, 0> kColumns{};
    static constexpr OVDBRowDeclaration kRow = ovdbProcedure<Row, kColumns>(
        "JMGetRunningJobSummaryVSDK", "JMGetRunningJobSummaryVSDK", "00010005000200090000", OVDBEffect::kReads);
};

class JMGetRunningJobSummaryVSDK
    : public ProcedureAccessor<JMGetRunningJobSummaryVSDK_t2, int, const char*, const char*> {
  public:
    using ProcedureAccessor::ProcedureAccessor;
};
