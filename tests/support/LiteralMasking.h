#pragma once

#include <algorithm>
#include <cstddef>
#include <string>

namespace support {

// The masking of common/VSDKErrors.h as it is defined, one replacement after the other in the text itself: in time that
// grows with the square of the text.

inline std::string literalFilterPassword(std::string text) {
    for (std::size_t at = 0; (at = text.find("password=\"", at)) != std::string::npos;) {
        const std::size_t value = at + 10;
        const std::size_t quote = text.find("\" ", value);
        if (quote == std::string::npos)
            return text.replace(value, std::string::npos, "****");
        text.replace(value, quote - value, "****");
        at = quote + 1; // where the quote was
    }
    return text;
}

inline std::string literalFilterPasswordAttrBased(std::string text) {
    std::string lower = text;
    std::transform(lower.begin(), lower.end(), lower.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c; });
    for (std::size_t at = 0; (at = lower.find("password=\"", at)) != std::string::npos; at += 15) {
        const std::size_t quote = text.find('"', at + 10);
        if (quote == std::string::npos)
            break;
        for (std::string* const copy : {&text, &lower})
            copy->replace(at + 10, quote - at - 10, "****");
    }
    return text;
}

} // namespace support
