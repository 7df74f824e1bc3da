#include <libpq-fe.h>
#include <unistd.h>

#include <algorithm>
#include <map>

#include "Db/Tbl/HubTables.h"
#include "support/HubEngine.h"
#include "support/PostgresServer.h"

namespace support {

namespace {

/// Databases of the tests' server, reached through pgbouncer or not.
class PostgresHub : public HubEngine {
  public:
    explicit PostgresHub(bool pooled) {
        if (sharedPostgres() == nullptr)
            throw NoServer("no PostgreSQL server: run the tests with ctest, or see scripts/postgres");
        if (pooled)
            pool_ = std::make_unique<PgBouncer>(server_);
        static int count = 0;
        name_ = "vsdk_test_" + std::to_string(getpid()) + "_" + std::to_string(++count);
        makeTemplate();
        server_.run("CREATE DATABASE " + name_ + " TEMPLATE vsdk_template");
    }
    ~PostgresHub() override {
        try {
            drop();
        } catch (const std::runtime_error&) {
            (void)0; // it goes with its server
        }
    }
    PostgresHub(const PostgresHub&) = delete;
    PostgresHub& operator=(const PostgresHub&) = delete;

    std::string url(const std::string& options) const override {
        return (pool_ == nullptr ? server_.url(name_) : pool_->url(name_) + "&prepared=off") +
               (options.empty() ? "" : "&" + options);
    }
    void run(const std::string& sql) const override { server_.run(sql, name_); }
    std::string ask(const std::string& sql) const override { return server_.ask(sql, name_); }
    void clear() const override {
        drop();
        server_.run("CREATE DATABASE " + name_ + " ENCODING 'UTF8' TEMPLATE template0");
    }
    std::shared_ptr<void> lock() const override {
        std::shared_ptr<PGconn> holder(PQconnectdb(server_.url(name_).c_str()), &PQfinish);
        PQclear(PQexec(holder.get(), "BEGIN; LOCK TABLE ZXGlobalParam IN SHARE ROW EXCLUSIVE MODE"));
        if (PQtransactionStatus(holder.get()) != PQTRANS_INTRANS)
            throw std::runtime_error(PQerrorMessage(holder.get()));
        return holder;
    }
    Traits traits() const override { return {false, false, true, true}; }

    void define(const std::string& name, const std::string& query) const override {
        static const std::map<std::string, std::string> kInputs{
            {"getEntitiesIds", "integer, text, text, text, text"},
            {"JMCheckUserJobVisibilityV2", "integer, integer, text"},
            {"JMGetRunningJobSummaryVSDK", "integer, text, text"},
            {"sec_VSDKMaintenance", "integer"},
        };
        const std::string function = name + "(" + kInputs.at(name) + ")";
        std::string body = query;
        std::ranges::replace(body, '?', '$');
        const auto* const declared =
            *std::ranges::find(kHubProcedures, name, [](const auto* procedure) { return procedure->object; });
        std::string columns;
        for (const auto& column : declared->columns)
            columns += (columns.empty() ? "TABLE(" : ", ") + std::string(column.name) +
                       (column.isInteger() ? " integer" : " text");
        run("DROP FUNCTION IF EXISTS " + function + "; SET check_function_bodies = off;" +
            (query.empty()
                 ? ""
                 : "CREATE FUNCTION " + function + " RETURNS " + (columns.empty() ? "SETOF text" : columns + ")") +
                       " LANGUAGE sql AS $body$" + body + "$body$"));
    }
    std::string endless() const override { return "SELECT 1, 0 FROM pg_sleep(3600)"; }
    std::string failing() const override { return "(1 / (version - version))::text"; }

  private:
    void drop() const { server_.run("DROP DATABASE " + name_ + " WITH (FORCE)"); }
    /// Once for all tests: copying a database is quicker than making its schema.
    void makeTemplate() const {
        const auto exists = [this] {
            return !server_.ask("SELECT datname FROM pg_database WHERE datname = 'vsdk_template'").empty();
        };
        if (exists())
            return;
        const std::string draft = name_ + "_draft";
        server_.run("CREATE DATABASE " + draft + " ENCODING 'UTF8' TEMPLATE template0");
        hubdb::DatabaseUrl where;
        std::string error;
        if (!hubdb::DatabaseUrl::parse(server_.url(draft), where, error) ||
            hubdb::createSchema(where, kHubObjects, error) != kDbOk)
            throw std::runtime_error(error);
        try {
            server_.run("ALTER DATABASE " + draft + " RENAME TO vsdk_template");
        } catch (const std::runtime_error&) {
            server_.run("DROP DATABASE " + draft);
            if (!exists()) // else another test was quicker
                throw;
        }
    }

    const PostgresEndpoint& server_ = *sharedPostgres();
    std::unique_ptr<PgBouncer> pool_;
    std::string name_;
};

} // namespace

std::unique_ptr<HubEngine> makePostgresHub() {
    return std::make_unique<PostgresHub>(false);
}

std::unique_ptr<HubEngine> makePooledPostgresHub() {
    return std::make_unique<PostgresHub>(true);
}

} // namespace support
