#include "db/HubDatabase.h"

#include "db/ConnectionPool.h"
#include "db/DatabaseUrl.h"
#include "db/HubSchema.h"
#include "db/engines/Engines.h"
#include "schema/SchemaVersion.h"

int HubDatabase::connect(const std::string& url, std::string& error) {
    hubdb::DatabaseUrl parsed;
    if (!hubdb::DatabaseUrl::parse(url, parsed, error))
        return kDbBadStatement;
    const auto reopen = [parsed] {
        return std::make_shared<hubdb::Database>(hubdb::makeEngine(parsed), parsed.poolSize, parsed.poolLimit);
    };
    const auto database = reopen();
    hubdb::EngineError failure;
    if (!hubdb::Database::mayConnect(failure)) {
        error = failure.words;
        return failure.status;
    }
    {
        const auto lease = database->lease(0, failure);
        if (!lease) {
            error = failure.words;
            return failure.status;
        }
        auto& connection = lease.session().connection();
        int status = kDbOk;
        const int version = hubdb::readSchemaVersion(connection, status);
        if (status != kDbOk && status != kDbBadStatement) {
            error = parsed.path + ": " + connection.error().words;
            return status;
        }
        if (version != hubdb::kSchemaVersion) {
            error =
                parsed.path +
                (version == 0 ? ": is not a hub database"
                              : ": is a hub database of version " + std::to_string(version) +
                                    ", and this library uses version " + std::to_string(hubdb::kSchemaVersion) +
                                    (version < hubdb::kSchemaVersion ? ": run hubdb upgrade" : ": update the library"));
            return kDbNotADatabase;
        }
    }
    hubdb::Database::install(database, reopen);
    return kDbOk;
}

void HubDatabase::disconnect() {
    hubdb::Database::install(nullptr, nullptr);
}

int HubDatabase::lastFailure(std::string& words) {
    words = hubdb::lastFailure().words;
    return hubdb::lastFailure().status;
}

void HubDatabase::clearLastFailure() {
    hubdb::lastFailure() = {};
}

HubDatabaseStatistics HubDatabase::statistics() {
    hubdb::EngineError none;
    const auto database = hubdb::Database::current(none);
    if (database == nullptr)
        return {};
    const auto sum = database->statistics();
    return {sum.statementsExecuted, sum.statementsPrepared, sum.rowsRead, sum.connectionsOpened};
}
