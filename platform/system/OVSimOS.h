#pragma once

#include "PlatformExport.h"

/// The base of the system services: whose records an object answers from. A local of its user, used by one thread.
class VSDKPLATFORM_API OVSimOS {
  public:
    /// Answers from the records of `focus`, asked by a caller whose own focus is `caller`. Both must be the current
    /// focus (OVPI_Focus); with any other text, or null, the object answers nothing.
    void setFocus(const char* focus, const char* caller) noexcept;

  protected:
    OVSimOS() = default;
    ~OVSimOS() = default;

    /// False until setFocus was given the current focus.
    bool inFocus() const noexcept { return inFocus_; }

  private:
    bool inFocus_ = false;
};
