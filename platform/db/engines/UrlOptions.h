#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "db/DatabaseUrl.h"

namespace hubdb {

/// `text` with %3F and the like decoded; a percent sign that begins no such pair stands for itself.
std::string percentDecoded(std::string_view text);

/// An option of a URL's query as it is written, name and value decoded beside it.
struct UrlOption {
    std::string_view text;
    std::string name;
    std::string value;
};

/// The options of "name=value&name=value".
std::vector<UrlOption> urlOptions(std::string_view query);

/// Sets an option that every engine has: pool, pool_ms, connect_ms, lock_ms, statement_ms, key. Nothing when it is none
/// of them; else what is wrong with its value, empty when nothing is.
std::optional<std::string> setCommonOption(DatabaseUrl& url, const UrlOption& option);

/// The failure of an option, in a URL's error text.
std::string optionError(const UrlOption& option, const std::string& wrong);

/// Reads the rest of a URL of one engine, behind its scheme.
bool parseSqliteUrl(std::string_view rest, DatabaseUrl& url, std::string& error);
bool parsePostgresUrl(std::string_view rest, DatabaseUrl& url, std::string& error);

} // namespace hubdb
