#pragma once

#include "PlatformExport.h"

/// Which hub database the system services of this process answer from. Any thread may ask at any time.
class VSDKPLATFORM_API OVPI_Focus {
  public:
    /// The current focus: an opaque text, static, to be handed to OVSimOS::setFocus. A process has one hub database,
    /// and so one focus for its whole life.
    static const char* getFocus() noexcept;
};
