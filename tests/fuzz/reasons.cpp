#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "Check.h"
#include "jobs/VSDKJobInfo.h"

namespace {

/// As it is defined, a step at a time, with the C library's reading of numbers.
std::vector<_VSDK_JobFailureReason> literally(const std::string& text) {
    std::vector<_VSDK_JobFailureReason> reasons;
    std::size_t at = 0;
    for (std::size_t found = 0; (found = text.find('\r', at)) != std::string::npos;) {
        const std::string code = text.substr(at, found - at);
        at = found + 1;
        found = text.find('\n', at);
        const std::string words = text.substr(at, found == std::string::npos ? found : found - at);
        if (found != std::string::npos)
            at = found + 1;
        const long number = std::clamp(std::strtol(code.c_str(), nullptr, 10), long{INT_MIN}, long{INT_MAX});
        reasons.push_back({static_cast<int>(number), words});
    }
    return reasons;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    const auto isSame = [](const _VSDK_JobFailureReason& left, const _VSDK_JobFailureReason& right) {
        return left.code == right.code && left.text == right.text;
    };
    check(std::ranges::equal(VSDK_JobList::parseFailureReasons(text), literally(text), isSame),
          "the reasons are those of the literal algorithm");
    return 0;
}
