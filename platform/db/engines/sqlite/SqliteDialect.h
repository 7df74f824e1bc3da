#pragma once

#include "db/engines/Dialect.h"

namespace hubdb {

extern const Dialect kSqliteDialect;

/// The ends of the names of the rules that keep a text within its width and a number within its range.
inline constexpr const char* kWidthRule = "_width";
inline constexpr const char* kRangeRule = "_range";

} // namespace hubdb
