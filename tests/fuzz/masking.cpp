#include <cstddef>
#include <cstdint>
#include <string>

#include "Check.h"
#include "common/VSDKErrors.h"
#include "support/LiteralMasking.h"

/// Both maskings do what their literal algorithms do.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    check(filterPassword(text) == support::literalFilterPassword(text), "filterPassword is its literal algorithm");
    check(filterPasswordAttrBased(text) == support::literalFilterPasswordAttrBased(text),
          "filterPasswordAttrBased is its literal algorithm");
    return 0;
}
