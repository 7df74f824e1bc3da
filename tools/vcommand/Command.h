#pragma once

#include <nlohmann/json.hpp>

#include "common/CommandError.h"
#include "common/Table.h"

/// What a command found, for a person and for a program.
struct Answer {
    tools::Table table;
    nlohmann::ordered_json json;
};

/// Codes of the catalogue that the commands report themselves, beside those of common/CommandError.h.
inline constexpr int kInternalError = 1;
inline constexpr int kClientFetchFailed = 1280;
inline constexpr int kAppTypeFetchFailed = 1281;

/// Throws a tools::CommandError with `code` and the engine's words if the database has failed in this thread since the
/// last HubDatabase::clearLastFailure(). Lists keep such failures to themselves.
void throwDatabaseFailure(int code);
