#include "db/engines/Engines.h"

#include "db/DatabaseUrl.h"
#include "db/engines/postgres/PostgresEngine.h"
#include "db/engines/sqlite/SqliteEngine.h"

namespace hubdb {

std::unique_ptr<Engine> makeEngine(const DatabaseUrl& url) {
    if (url.engine == DatabaseUrl::Engine::kPostgres)
        return std::make_unique<PostgresEngine>(url);
    return std::make_unique<SqliteEngine>(url);
}

} // namespace hubdb
