#pragma once

#include "db/engines/Dialect.h"

namespace hubdb {

extern const Dialect kSqliteDialect;

} // namespace hubdb
