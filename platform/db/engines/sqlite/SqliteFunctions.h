#pragma once

#include <sqlite3.h>

namespace hubdb {

/// Gives a connection the functions that the schema and the procedures call and SQLite has not, or not as they are
/// needed. SQLite's code.
int addSqliteFunctions(sqlite3* database);

} // namespace hubdb
