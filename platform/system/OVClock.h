#pragma once

#include <cstdint>

#include "PlatformExport.h"

/// The clock of the libraries: whatever they date or compare with now asks it. Any thread.
class VSDKPLATFORM_API OVClock {
  public:
    using Now = std::int64_t (*)();

    /// Unix time in seconds, UTC.
    static std::int64_t now();
    /// Asks `source` from now on; null for the system's clock, which is asked until then. For tests.
    static void set(Now source);
};
