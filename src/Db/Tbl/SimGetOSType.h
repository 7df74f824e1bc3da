#pragma once

#include "Db/Tbl/Accessor.h"

/// The operating system of one client. Input: the client id.
struct SimGetOSType_t {
    std::int32_t o_simOSId;
    char o_simOSName[65];
    char o_simOSRelease[65];
    char o_simOSType[65];
    char o_hostName[256];
    char o_release[256];
};

class VSDKPLATFORM_API SimGetOSType_t2 : public OVDBRow<SimGetOSType_t2> {
  public:
    using Row = SimGetOSType_t;
    static constexpr std::array kColumns{COLUMN(Row, o_simOSId).refersTo("SimOperatingSystem"),
                                         COLUMN(Row, o_simOSName),
                                         COLUMN(Row, o_simOSRelease),
                                         COLUMN(Row, o_simOSType),
                                         COLUMN(Row, o_hostName),
                                         COLUMN(Row, o_release)};
    static constexpr OVDBRowDeclaration kRow =
        ovdbProcedure<Row, kColumns>("SimGetOSType", "simGetOSType", "00010005008800020000", OVDBEffect::kReads);
};

class SimGetOSType : public ProcedureAccessor<SimGetOSType_t2, int> {
  public:
    using ProcedureAccessor::ProcedureAccessor;
};
