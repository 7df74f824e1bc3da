#pragma once

#include "Db/Tbl/Accessor.h"

/// Deletes the expired login sessions. Input: the current time, Unix seconds in 32 bits.
struct Sec_VSDKMaintenance_t {
    std::int32_t currentTime;
};

class VSDKPLATFORM_API Sec_VSDKMaintenance_t2 : public OVDBRow<Sec_VSDKMaintenance_t2> {
  public:
    using Row = Sec_VSDKMaintenance_t;
    static constexpr std::array kColumns{COLUMN(Row, currentTime)};
    static constexpr OVDBRowDeclaration kRow =
        ovdbProcedure<Row, kColumns>("Sec_VSDKMaintenance", "sec_VSDKMaintenance", nullptr, OVDBEffect::kWrites);
};

class Sec_VSDKMaintenance : public ProcedureAccessor<Sec_VSDKMaintenance_t2, int> {
  public:
    using ProcedureAccessor::ProcedureAccessor;
};
