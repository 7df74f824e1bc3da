#pragma once

#include <string>

#include "db/DatabaseUrl.h"

namespace tools {

/// The database that a URL names. Throws a CommandError when it is none.
hubdb::DatabaseUrl parseDatabaseUrl(const std::string& url);

/// Whether an argument is meant as a database's URL.
bool isDatabaseUrl(const std::string& argument);

/// Throws a CommandError unless the database's file, if it is one, is there.
void requireDatabase(const hubdb::DatabaseUrl& url);

} // namespace tools
