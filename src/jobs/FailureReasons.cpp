#include <algorithm>
#include <cstdint>
#include <limits>
#include <string_view>

#include "jobs/VSDKJobInfo.h"

namespace {

/// A decimal number at the start of a text, behind blanks and a sign; 0 without digits. Beyond 32 bits the nearest.
int leadingNumber(std::string_view text) {
    using Limits = std::numeric_limits<int>;
    text.remove_prefix(std::min(text.find_first_not_of(" \t\n\v\f\r"), text.size()));
    const bool negative = text.starts_with('-');
    if (negative || text.starts_with('+'))
        text.remove_prefix(1);
    std::int64_t number = 0;
    for (const char c : text) {
        if (c < '0' || c > '9')
            break;
        constexpr int kBase = 10;
        number = number * kBase + (c - '0');
        if (number > Limits::max())
            return negative ? Limits::min() : Limits::max();
    }
    return static_cast<int>(negative ? -number : number);
}

} // namespace

std::vector<_VSDK_JobFailureReason> VSDK_JobList::parseFailureReasons(const std::string& text) {
    const std::string_view whole = text;
    std::vector<_VSDK_JobFailureReason> reasons;
    std::size_t at = 0;
    for (std::size_t codeEnd = 0; (codeEnd = whole.find('\r', at)) != std::string_view::npos;) {
        const int code = leadingNumber(whole.substr(at, codeEnd - at));
        at = codeEnd + 1;
        const std::size_t wordsEnd = whole.find('\n', at);
        reasons.push_back({code, std::string(whole.substr(at, wordsEnd - at))});
        if (wordsEnd != std::string_view::npos)
            at = wordsEnd + 1; // else the search for a code goes on in these words
    }
    return reasons;
}
