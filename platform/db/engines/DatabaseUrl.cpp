#include "db/DatabaseUrl.h"

#include <charconv>
#include <string_view>

namespace hubdb {

namespace {

int hexDigit(char c) {
    if (c >= '0' && c <= '9')
        return c - '0';
    const char lower = static_cast<char>(c | 0x20);
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

/// %3F and the like; a percent sign that begins no such pair stands for itself.
std::string decoded(std::string_view text) {
    std::string out;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool pair =
            text[i] == '%' && i + 2 < text.size() && hexDigit(text[i + 1]) >= 0 && hexDigit(text[i + 2]) >= 0;
        out += pair ? static_cast<char>(hexDigit(text[i + 1]) * 16 + hexDigit(text[i + 2])) : text[i];
        if (pair)
            i += 2;
    }
    return out;
}

template <class Number> bool number(const std::string& text, Number low, Number high, Number& value) {
    const auto* end = text.data() + text.size();
    const auto [at, failure] = std::from_chars(text.data(), end, value);
    return failure == std::errc() && at == end && value >= low && value <= high;
}

bool milliseconds(const std::string& text, long low, std::chrono::milliseconds& limit) {
    constexpr long kDay = 24L * 60 * 60 * 1000;
    long value = 0;
    if (!number(text, low, kDay, value))
        return false;
    limit = std::chrono::milliseconds(value);
    return true;
}

/// Sets one option. Empty, or what is wrong with it.
std::string setOption(DatabaseUrl& url, const std::string& name, const std::string& value) {
    if (name == "pool")
        return number<std::size_t>(value, 2, 1000, url.poolSize) ? "" : "takes a whole number from 2 to 1000";
    if (name == "pool_ms")
        return milliseconds(value, 1, url.poolLimit) ? "" : "takes milliseconds, from 1 to a day";
    if (name == "lock_ms")
        return milliseconds(value, 1, url.lockLimit) ? "" : "takes milliseconds, from 1 to a day";
    if (name == "statement_ms")
        return milliseconds(value, 0, url.statementLimit) ? "" : "takes milliseconds, from 0 (no limit) to a day";
    if (name == "journal") {
        if (value != "wal" && value != "truncate")
            return "takes wal or truncate";
        url.engineOptions[name] = value;
        return "";
    }
    if (name == "key") {
        url.keyPath = value;
        return value.empty() ? "takes a path" : "";
    }
    return "is not an option of sqlite: URLs; those are pool, pool_ms, lock_ms, statement_ms, journal, key";
}

} // namespace

bool DatabaseUrl::parse(const std::string& url, DatabaseUrl& parsed, std::string& error) {
    constexpr std::string_view kScheme = "sqlite:";
    if (url.compare(0, kScheme.size(), kScheme) != 0) {
        error = "the database URL must begin with sqlite:";
        return false;
    }
    DatabaseUrl result;
    const std::size_t question = url.find('?');
    result.path = decoded(std::string_view(url).substr(0, question).substr(kScheme.size()));
    if (result.path.empty() || result.path == ":memory:" || result.path.find('\0') != std::string::npos) {
        error = "the database URL names no file: write sqlite:PATH";
        return false;
    }
    std::string_view options = question == std::string::npos ? "" : std::string_view(url).substr(question + 1);
    while (!options.empty()) {
        const std::string_view option = options.substr(0, options.find('&'));
        options.remove_prefix(option.size() < options.size() ? option.size() + 1 : option.size());
        const std::size_t equals = option.find('=');
        const std::string name = decoded(option.substr(0, equals));
        const std::string value = equals == std::string_view::npos ? "" : decoded(option.substr(equals + 1));
        const std::string wrong = setOption(result, name, value);
        if (!wrong.empty()) {
            error = "the database URL's option '" + name + "' " + wrong;
            return false;
        }
    }
    result.name = result.path;
    if (result.keyPath.empty())
        result.keyPath = result.path + ".key";
    parsed = result;
    return true;
}

} // namespace hubdb
