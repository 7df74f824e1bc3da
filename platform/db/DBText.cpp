#include "db/DBText.h"

#include <cstdint>
#include <cstring>

#include "Db/Tbl/OVDBColumn.h"

namespace {

// A byte that no UTF-8 text holds.
constexpr char kRefusedText[] = "\xFF";

bool isContinuation(unsigned char byte) {
    return (byte & 0xC0U) == 0x80U;
}

} // namespace

namespace hubdb {

bool isWholeText(std::string_view text) {
    const auto* at = reinterpret_cast<const unsigned char*>(text.data());
    const auto* const end = at + text.size();
    while (at < end) {
        if (end - at >= 8) { // eight plain bytes at once: none above 0x7F, none zero
            std::uint64_t word = 0;
            std::memcpy(&word, at, sizeof word);
            constexpr std::uint64_t kHigh = 0x8080808080808080U;
            if ((word & kHigh) == 0 && ((word - 0x0101010101010101U) & kHigh) == 0) {
                at += 8;
                continue;
            }
        }
        const unsigned char lead = *at++;
        if (lead == 0)
            return false;
        if (lead < 0x80)
            continue;
        std::uint32_t low = 0x80; // bounds of the second byte: no overlong form, no surrogate, none above U+10FFFF
        std::uint32_t high = 0xBF;
        int more = 0;
        if (lead >= 0xC2 && lead <= 0xDF) {
            more = 1;
        } else if (lead >= 0xE0 && lead <= 0xEF) {
            more = 2;
            low = lead == 0xE0 ? 0xA0 : 0x80;
            high = lead == 0xED ? 0x9F : 0xBF;
        } else if (lead >= 0xF0 && lead <= 0xF4) {
            more = 3;
            low = lead == 0xF0 ? 0x90 : 0x80;
            high = lead == 0xF4 ? 0x8F : 0xBF;
        } else {
            return false;
        }
        if (end - at < more || *at < low || *at > high)
            return false;
        for (++at; --more > 0; ++at)
            if (!isContinuation(*at))
                return false;
    }
    return true;
}

} // namespace hubdb

const char* dbText(const std::string& text) {
    return text.find('\0') == std::string::npos ? text.c_str() : kRefusedText;
}

void dbSetText(char* buffer, std::size_t size, std::string_view text) {
    const bool fits = text.size() < size && text.find('\0') == std::string_view::npos;
    const std::string_view stored = fits ? text : std::string_view(kRefusedText);
    const std::size_t length = stored.size() < size ? stored.size() : size;
    std::memcpy(buffer, stored.data(), length);
    std::memset(buffer + length, 0, size - length);
}

void dbSetText(OVDBText& member, std::string_view text) {
    member.bytes = text;
    member.isNull = false;
}
