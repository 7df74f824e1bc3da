#include "system/OVPI_Focus.h"

const char* OVPI_Focus::getFocus() noexcept {
    return "hub";
}
