#include "db/engines/postgres/PostgresEngine.h"

#include "db/engines/postgres/PostgresConnection.h"
#include "db/engines/postgres/PostgresDialect.h"

namespace hubdb {

PostgresEngine::PostgresEngine(DatabaseUrl url) : url_(std::move(url)) {}

std::unique_ptr<Connection> PostgresEngine::open(EngineError& error, RoundTrips* roundTrips) {
    return PostgresConnection::open(url_, lastHost_, roundTrips, error);
}

const Dialect& PostgresEngine::dialect() const {
    return kPostgresDialect;
}

} // namespace hubdb
