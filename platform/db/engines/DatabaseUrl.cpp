#include "db/DatabaseUrl.h"

#include <charconv>
#include <string_view>

#include "db/engines/UrlOptions.h"

namespace hubdb {

namespace {

int hexDigit(char c) {
    if (c >= '0' && c <= '9')
        return c - '0';
    const char lower = static_cast<char>(c | 0x20);
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

template <class Number> bool number(const std::string& text, Number low, Number high, Number& value) {
    const auto* end = text.data() + text.size();
    const auto [at, failure] = std::from_chars(text.data(), end, value);
    return failure == std::errc() && at == end && value >= low && value <= high;
}

std::string milliseconds(const std::string& text, long low, std::chrono::milliseconds& limit) {
    constexpr long kDay = 24L * 60 * 60 * 1000;
    long value = 0;
    if (!number(text, low, kDay, value))
        return low == 0 ? "takes milliseconds, from 0 (no limit) to a day" : "takes milliseconds, from 1 to a day";
    limit = std::chrono::milliseconds(value);
    return "";
}

} // namespace

std::string percentDecoded(std::string_view text) {
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

std::vector<UrlOption> urlOptions(std::string_view query) {
    std::vector<UrlOption> options;
    while (!query.empty()) {
        const std::string_view text = query.substr(0, query.find('&'));
        query.remove_prefix(text.size() < query.size() ? text.size() + 1 : text.size());
        const std::size_t equals = text.find('=');
        options.push_back({text, percentDecoded(text.substr(0, equals)),
                           equals == std::string_view::npos ? "" : percentDecoded(text.substr(equals + 1))});
    }
    return options;
}

std::optional<std::string> setCommonOption(DatabaseUrl& url, const UrlOption& option) {
    const auto& [text, name, value] = option;
    if (name == "pool")
        return number<std::size_t>(value, 2, 1000, url.poolSize) ? "" : "takes a whole number from 2 to 1000";
    if (name == "pool_ms")
        return milliseconds(value, 1, url.poolLimit);
    if (name == "lock_ms")
        return milliseconds(value, 1, url.lockLimit);
    if (name == "statement_ms")
        return milliseconds(value, 0, url.statementLimit);
    if (name == "key") {
        url.keyPath = value;
        return value.empty() ? "takes a path" : "";
    }
    if (name == "connect_ms")
        return milliseconds(value, 1, url.connectLimit);
    return std::nullopt;
}

std::string optionError(const UrlOption& option, const std::string& wrong) {
    return "the database URL's option '" + option.name + "' " + wrong;
}

bool parseSqliteUrl(std::string_view rest, DatabaseUrl& url, std::string& error) {
    const std::size_t question = rest.find('?');
    url.path = percentDecoded(rest.substr(0, question));
    if (url.path.empty() || url.path == ":memory:" || url.path.find('\0') != std::string::npos) {
        error = "the database URL names no file: write sqlite:PATH";
        return false;
    }
    for (const auto& option : urlOptions(question == std::string_view::npos ? "" : rest.substr(question + 1))) {
        std::string wrong;
        if (option.name == "journal") {
            url.engineOptions[option.name] = option.value;
            wrong = option.value == "wal" || option.value == "truncate" ? "" : "takes wal or truncate";
        } else if (const auto common = setCommonOption(url, option)) {
            wrong = *common;
        } else {
            wrong = "is not an option of sqlite: URLs; those are pool, pool_ms, connect_ms, lock_ms, statement_ms, "
                    "journal, key";
        }
        if (!wrong.empty()) {
            error = optionError(option, wrong);
            return false;
        }
    }
    url.name = url.path;
    if (url.keyPath.empty())
        url.keyPath = url.path + ".key";
    return true;
}

bool DatabaseUrl::parse(const std::string& url, DatabaseUrl& parsed, std::string& error) {
    struct Scheme {
        std::string_view prefix;
        Engine engine;
        bool (*parse)(std::string_view, DatabaseUrl&, std::string&);
    };
    constexpr Scheme kSchemes[] = {{"sqlite:", Engine::kSqlite, &parseSqliteUrl},
                                   {"postgresql://", Engine::kPostgres, &parsePostgresUrl},
                                   {"postgres://", Engine::kPostgres, &parsePostgresUrl}};
    for (const auto& scheme : kSchemes) {
        if (!url.starts_with(scheme.prefix))
            continue;
        DatabaseUrl result;
        result.engine = scheme.engine;
        result.whole = url;
        if (!scheme.parse(std::string_view(url).substr(scheme.prefix.size()), result, error))
            return false;
        parsed = result;
        return true;
    }
    error = "the database URL must begin with sqlite: or postgresql://";
    return false;
}

} // namespace hubdb
