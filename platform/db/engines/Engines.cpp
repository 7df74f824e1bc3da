#include "db/engines/Engines.h"

#include "db/DatabaseUrl.h"
#include "db/engines/sqlite/SqliteEngine.h"

namespace hubdb {

std::unique_ptr<Engine> makeEngine(const DatabaseUrl& url) {
    return std::make_unique<SqliteEngine>(url);
}

} // namespace hubdb
