#pragma once

#include <cstddef>
#include <string_view>

namespace evlog {

/// How many bytes of `text` to keep within `limit` so that no UTF-8 character is cut in two. Where the bytes around the
/// limit are no UTF-8, the limit itself.
constexpr std::size_t utf8Cut(std::string_view text, std::size_t limit) noexcept {
    if (text.size() <= limit) {
        return text.size();
    }
    const auto continues = [&](std::size_t at) { return (static_cast<unsigned char>(text[at]) & 0xC0) == 0x80; };
    std::size_t cut = limit;
    while (cut > 0 && limit - cut < 3 && continues(cut)) {
        --cut;
    }
    return continues(cut) ? limit : cut;
}

} // namespace evlog
