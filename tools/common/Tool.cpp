#include "common/Tool.h"

#include <clocale>
#include <fcntl.h>
#include <spdlog/logger.h>
#include <spdlog/sinks/stdout_color_sinks.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cwchar>
#include <memory>

#include "db/DBText.h"
#include "log/EvLogSink.h"

namespace tools {

namespace {

/// A character of a text: its bytes, and its code point or, of a byte that is no UTF-8, nothing.
struct Character {
    std::string_view bytes;
    std::optional<char32_t> codePoint;
};

Character firstCharacter(std::string_view text) {
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned char lead = byte(0);
    if (lead < 0x80)
        return {text.substr(0, 1), lead};
    const std::size_t length = lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
    if (!hubdb::isWholeText(text.substr(0, length)))
        return {text.substr(0, 1), std::nullopt};
    char32_t codePoint = lead & (0xFFU >> (length + 1));
    for (std::size_t i = 1; i < length; ++i)
        codePoint = codePoint << 6 | (byte(i) & 0x3FU);
    return {text.substr(0, length), codePoint};
}

/// What a terminal may obey rather than show.
bool isControl(char32_t c) {
    struct Range {
        char32_t first, last;
    };
    constexpr std::array kControls{
        Range{0x00, 0x1F},     Range{0x7F, 0x9F},     Range{0x061C, 0x061C},
        Range{0x200E, 0x200F}, Range{0x2028, 0x202E}, Range{0x2066, 0x2069},
    };
    for (const auto& range : kControls)
        if (c >= range.first && c <= range.last)
            return true;
    return false;
}

struct Extent {
    std::size_t bytes;
    std::size_t width;
};

/// As much of a text's beginning as fits into `limit` columns, with the marks that belong to its last character.
Extent beginning(std::string_view text, std::size_t limit) {
    // The C library knows the widths of all characters, but only in a UTF-8 locale, which the user's need not be.
    static const locale_t kUtf8 = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
    const locale_t before = kUtf8 == nullptr ? nullptr : uselocale(kUtf8);
    Extent extent{0, 0};
    while (extent.bytes < text.size()) {
        const auto [bytes, codePoint] = firstCharacter(text.substr(extent.bytes));
        const int columns = wcwidth(static_cast<wchar_t>(codePoint.value_or('?')));
        const std::size_t width = columns < 0 ? 1 : static_cast<std::size_t>(columns);
        if (width > limit - extent.width)
            break;
        extent.bytes += bytes.size();
        extent.width += width;
    }
    if (before != nullptr)
        uselocale(before);
    return extent;
}

spdlog::level::level_enum spdlogLevel(int level) {
    if (level <= kEvLogFailures)
        return spdlog::level::err;
    if (level <= kEvLogInformation)
        return spdlog::level::info;
    return level <= kEvLogDetail ? spdlog::level::debug : spdlog::level::trace;
}

std::size_t terminalSize(unsigned short winsize::*member, const char* variable, std::size_t usual) {
    struct winsize size {};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.*member > 0)
        return size.*member;
    const char* const text = std::getenv(variable);
    const int given = parseId(text == nullptr ? "" : text).value_or(0);
    return given > 0 ? static_cast<std::size_t>(given) : usual;
}

} // namespace

void prepareProcess() {
    // A file or connection that got the number of a closed standard stream would be read and written like that.
    int opened = 0;
    while ((opened = open("/dev/null", O_RDWR)) >= 0 && opened <= STDERR_FILENO) {
    }
    if (opened > STDERR_FILENO)
        close(opened);
    std::signal(SIGPIPE, SIG_IGN);
    for (const char* variable : {"PGSERVICE", "PGTZ", "PGDATESTYLE", "PGGEQO"})
        unsetenv(variable);
}

const char* version() {
    return VSDK_VERSION;
}

void logToStandardError(int verbosity) {
    if (verbosity <= 0) {
        setEvLogSink({}, 0);
        return;
    }
    constexpr std::array kLevels{kEvLogInformation, kEvLogDetail, kEvLogMessages};
    const auto logger = std::make_shared<spdlog::logger>("", std::make_shared<spdlog::sinks::stderr_color_sink_mt>());
    logger->set_pattern("%H:%M:%S.%e %^%l%$ %v");
    logger->set_level(spdlog::level::trace);
    setEvLogSink(
        [logger](const EvLogLine& line) {
            logger->log(spdlogLevel(line.level), "{}: {}", escaped(line.tag), escaped(line.text));
        },
        kLevels[std::min(static_cast<std::size_t>(verbosity), kLevels.size()) - 1]);
}

std::optional<std::string> databaseUrl(const std::string& given) {
    if (!given.empty())
        return given;
    const char* const environment = std::getenv("HUBDB_URL");
    if (environment == nullptr || *environment == '\0')
        return std::nullopt;
    return environment;
}

std::optional<int> parseId(std::string_view text) {
    int value = 0;
    const char* const end = text.data() + text.size();
    const auto [at, failure] = std::from_chars(text.data(), end, value);
    // Every number has one spelling here, the one that it is printed with.
    if (failure != std::errc() || at != end || std::to_string(value) != text)
        return std::nullopt;
    return value;
}

std::string escaped(std::string_view text) {
    constexpr const char* kDigits = "0123456789ABCDEF";
    std::string result;
    while (!text.empty()) {
        const auto [bytes, codePoint] = firstCharacter(text);
        if (codePoint && !isControl(*codePoint)) {
            result += bytes;
        } else {
            for (const char c : bytes) {
                const auto byte = static_cast<unsigned char>(c);
                result += {'\\', 'x', kDigits[byte >> 4], kDigits[byte & 0xF]};
            }
        }
        text.remove_prefix(bytes.size());
    }
    return result;
}

std::size_t displayWidth(std::string_view text) {
    return beginning(text, SIZE_MAX).width;
}

std::string cutToWidth(const std::string& text, std::size_t width) {
    if (displayWidth(text) <= width)
        return text;
    if (width == 0)
        return "";
    return text.substr(0, beginning(text, width - 1).bytes) + "…";
}

bool isTerminal(int descriptor) {
    return isatty(descriptor) == 1;
}

std::size_t terminalWidth() {
    constexpr std::size_t kUsual = 80;
    return terminalSize(&winsize::ws_col, "COLUMNS", kUsual);
}

std::size_t terminalHeight() {
    constexpr std::size_t kUsual = 24;
    return terminalSize(&winsize::ws_row, "LINES", kUsual);
}

bool writeOutput(std::string_view text) {
    return std::fwrite(text.data(), 1, text.size(), stdout) == text.size() && std::fflush(stdout) == 0;
}

} // namespace tools
