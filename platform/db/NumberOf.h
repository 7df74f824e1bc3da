#pragma once

#include <cstdlib>
#include <string>

/// The whole number that a stored text begins with, 0 without one; its low 32 bits.
inline int numberOf(const std::string& text) {
    constexpr int kDecimal = 10;
    return static_cast<int>(std::strtol(text.c_str(), nullptr, kDecimal));
}
