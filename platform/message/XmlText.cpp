#include "message/XmlText.h"

#include <array>
#include <cstddef>

namespace hubxml {

namespace {

constexpr std::string_view kHexDigits = "0123456789ABCDEF";
constexpr std::string_view kByteMark = "\\x";

unsigned byteAt(std::string_view text, std::size_t at) {
    return at < text.size() ? static_cast<unsigned char>(text[at]) : 0U;
}

bool isWithin(unsigned byte, unsigned first, unsigned last) {
    return byte >= first && byte <= last;
}

/// How many bytes the character of several bytes at `at` has; 0 where XML knows none.
std::size_t characterAt(std::string_view text, std::size_t at) {
    const unsigned lead = byteAt(text, at);
    const unsigned second = byteAt(text, at + 1);
    const auto continues = [&](std::size_t place) { return isWithin(byteAt(text, at + place), 0x80, 0xBF); };
    if (isWithin(lead, 0xC2, 0xDF))
        return continues(1) ? 2 : 0;
    if (isWithin(lead, 0xE0, 0xEF)) {
        const bool whole = isWithin(second, lead == 0xE0 ? 0xA0 : 0x80, lead == 0xED ? 0x9F : 0xBF) && continues(2);
        const bool isNone = lead == 0xEF && second == 0xBF && byteAt(text, at + 2) >= 0xBE;
        return whole && !isNone ? 3 : 0;
    }
    if (isWithin(lead, 0xF0, 0xF4))
        return isWithin(second, lead == 0xF0 ? 0x90 : 0x80, lead == 0xF4 ? 0x8F : 0xBF) && continues(2) && continues(3)
                   ? 4
                   : 0;
    return 0;
}

/// What is written for a byte below 0x80; empty: itself.
std::string_view escapeOf(char c) {
    switch (c) {
    case '&':
        return "&amp;";
    case '<':
        return "&lt;";
    case '>':
        return "&gt;";
    case '"':
        return "&quot;";
    case '\t':
        return "&#9;";
    case '\n':
        return "&#10;";
    case '\r':
        return "&#13;";
    case '\\':
        return "\\\\";
    default:
        return "";
    }
}

constexpr std::array<bool, 256> kPlain = [] {
    std::array<bool, 256> plain{};
    for (std::size_t byte = 0x20; byte < 0x80; ++byte)
        plain[byte] = byte != '&' && byte != '<' && byte != '>' && byte != '"' && byte != '\\';
    return plain;
}();

int valueOf(char digit) {
    const std::size_t at = kHexDigits.find(digit);
    return at == std::string_view::npos ? -1 : static_cast<int>(at);
}

} // namespace

void appendText(std::string& out, std::string_view text) {
    std::size_t written = 0; // what stands before it is in `out`
    std::size_t at = 0;
    while (at < text.size()) {
        const auto byte = static_cast<unsigned char>(text[at]);
        if (kPlain[byte]) {
            ++at;
            continue;
        }
        if (byte >= 0x80)
            if (const std::size_t size = characterAt(text, at); size > 0) {
                at += size;
                continue;
            }
        out.append(text, written, at - written);
        if (const std::string_view escape = escapeOf(text[at]); !escape.empty())
            out += escape;
        else
            (out += kByteMark) += {kHexDigits[byte >> 4U], kHexDigits[byte & 0xFU]};
        written = ++at;
    }
    out.append(text, written);
}

bool readText(std::string_view value, std::string& out) {
    out.clear();
    for (;;) {
        const std::size_t escape = value.find('\\');
        out += value.substr(0, escape);
        if (escape == std::string_view::npos)
            return true;
        value.remove_prefix(escape);
        if (value.starts_with("\\\\")) {
            out += '\\';
            value.remove_prefix(2);
            continue;
        }
        constexpr std::size_t kSize = 4;
        if (value.size() < kSize || !value.starts_with(kByteMark))
            return false;
        const int high = valueOf(value[2]);
        const int low = valueOf(value[3]);
        if (high < 0 || low < 0)
            return false;
        out += static_cast<char>(high * 16 + low);
        value.remove_prefix(kSize);
    }
}

} // namespace hubxml
