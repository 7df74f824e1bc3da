#pragma once

#include <cstdint>

#include "PlatformExport.h"

/// The clock of the libraries: whatever they date or compare with now asks it, and whoever pauses does it here. Any
/// thread.
class VSDKPLATFORM_API OVClock {
  public:
    using Now = std::int64_t (*)();

    /// Unix time in seconds, UTC.
    static std::int64_t now();
    /// Asks `source` from now on; null for the system's clock, which is asked until then. For tests.
    static void set(Now source);

    using Sleep = void (*)(int milliseconds);

    /// Keeps the thread for that long, signals notwithstanding.
    static void sleep(int milliseconds);
    /// Calls `sleeper` instead from now on; null for sleeping, as until then. For tests.
    static void setSleep(Sleep sleeper);
};
