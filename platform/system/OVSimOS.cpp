#include "system/OVSimOS.h"

#include <string_view>

#include "system/OVPI_Focus.h"

void OVSimOS::setFocus(const char* focus, const char* caller) noexcept {
    const auto isCurrent = [](const char* text) {
        return text != nullptr && std::string_view(text) == OVPI_Focus::getFocus();
    };
    inFocus_ = isCurrent(focus) && isCurrent(caller);
}
