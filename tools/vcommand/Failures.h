#pragma once

#include "common/CommandError.h"

/// Codes of the catalogue that the commands report themselves, beside those of common/CommandError.h.
inline constexpr int kInternalError = 1;
inline constexpr int kNotLoggedIn = 1293;

/// Throws a tools::CommandError with `code` and the engine's words if the database has failed in this thread since the
/// last HubDatabase::clearLastFailure(). Lists keep such failures to themselves.
void throwDatabaseFailure(int code);
