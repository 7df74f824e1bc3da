#include "db/engines/Dialect.h"

#include "db/engines/sqlite/SqliteDialect.h"

namespace hubdb {

const Dialect& dialectOf(const Engine& /*engine*/) {
    return kSqliteDialect;
}

} // namespace hubdb
