#include "db/HubDatabase.h"

#include "db/ConnectionPool.h"
#include "db/DatabaseUrl.h"
#include "db/HubSchema.h"
#include "db/engines/Engines.h"

int HubDatabase::connect(const std::string& url, std::string& error) {
    hubdb::DatabaseUrl parsed;
    if (!hubdb::DatabaseUrl::parse(url, parsed, error))
        return kDbBadStatement;
    const auto reopen = [parsed] {
        return std::make_shared<hubdb::Database>(hubdb::makeEngine(parsed), parsed.poolSize, parsed.poolLimit,
                                                 parsed.keyPath);
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
        if (const int status = hubdb::requireVersion(lease.session().connection(), parsed.name, error); status != kDbOk)
            return status;
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
    return database == nullptr ? HubDatabaseStatistics{} : database->statistics();
}
