#pragma once

#include <libpq-fe.h>

#include <chrono>
#include <string>
#include <string_view>

namespace hubdb {

using PostgresClock = std::chrono::steady_clock;

/// True when the descriptor is ready, false when the time is up; PostgresClock::time_point::max() is without end.
bool pollUntil(int descriptor, short events, PostgresClock::time_point deadline);

/// What the server or libpq says, in one line.
std::string oneLine(std::string_view words);

/// A field of a failure, empty when it has none.
std::string_view fieldOf(const PGresult* result, int code);

} // namespace hubdb
