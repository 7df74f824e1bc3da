#include <libpq-fe.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <map>

#include "Db/Tbl/HubTables.h"
#include "support/HubEngine.h"

namespace support {

namespace {

using Server = std::shared_ptr<PGconn>;

std::string execute(PGconn& server, const std::string& sql) {
    const std::unique_ptr<PGresult, void (*)(PGresult*)> result(PQexec(&server, sql.c_str()), &PQclear);
    const auto status = PQresultStatus(result.get());
    if (status != PGRES_COMMAND_OK && status != PGRES_TUPLES_OK)
        throw std::runtime_error(PQerrorMessage(&server) + (": " + sql));
    std::string answer;
    for (int row = 0; row < PQntuples(result.get()); ++row)
        (answer += row == 0 ? "" : " ") +=
            PQgetisnull(result.get(), row, 0) != 0 ? "NULL" : PQgetvalue(result.get(), row, 0);
    return answer;
}

Server connect(const std::string& url) {
    Server server(PQconnectdb(url.c_str()), &PQfinish);
    if (PQstatus(server.get()) != CONNECTION_OK)
        throw std::runtime_error(PQerrorMessage(server.get()));
    PQsetNoticeProcessor(
        server.get(), [](void*, const char*) {}, nullptr);
    return server;
}

/// Databases of the tests' server. Its URL stands in a file of the directory that the environment names.
class PostgresHub : public HubEngine {
  public:
    PostgresHub() {
        const char* const directory = std::getenv("VSDK_TEST_POSTGRES_DIR");
        std::string adminUrl;
        if (directory == nullptr || !std::getline(std::ifstream(std::string(directory) + "/url"), adminUrl))
            throw NoServer("no PostgreSQL server: run the tests with ctest, or see scripts/postgres");
        const std::size_t question = adminUrl.find('?');
        authority_ = adminUrl.substr(0, adminUrl.rfind('/', question) + 1);
        parameters_ = adminUrl.substr(question);
        admin_ = connect(adminUrl);
        static int count = 0;
        name_ = "vsdk_test_" + std::to_string(getpid()) + "_" + std::to_string(++count);
        makeTemplate();
        execute(*admin_, "CREATE DATABASE " + name_ + " TEMPLATE vsdk_template");
    }
    ~PostgresHub() override {
        try {
            execute(*admin_, "DROP DATABASE " + name_ + " WITH (FORCE)");
        } catch (const std::runtime_error&) {
            (void)0; // it goes with its server
        }
    }
    PostgresHub(const PostgresHub&) = delete;
    PostgresHub& operator=(const PostgresHub&) = delete;

    std::string url(const std::string& options) const override {
        return urlOf(name_) + (options.empty() ? "" : "&" + options);
    }
    void run(const std::string& sql) const override { execute(*connect(url("")), sql); }
    std::string ask(const std::string& sql) const override { return execute(*connect(url("")), sql); }
    std::shared_ptr<void> lock() const override {
        auto holder = connect(url(""));
        execute(*holder, "BEGIN; LOCK TABLE ZXGlobalParam IN SHARE ROW EXCLUSIVE MODE");
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
    std::string urlOf(const std::string& database) const { return authority_ + database + parameters_; }

    /// Once for all tests: copying a database is quicker than making its schema.
    void makeTemplate() {
        execute(*admin_, "SELECT pg_advisory_lock(1)");
        if (execute(*admin_, "SELECT datname FROM pg_database WHERE datname = 'vsdk_template'").empty()) {
            execute(*admin_, "CREATE DATABASE vsdk_unfinished ENCODING 'UTF8' TEMPLATE template0");
            hubdb::DatabaseUrl where;
            std::string error;
            if (!hubdb::DatabaseUrl::parse(urlOf("vsdk_unfinished"), where, error) ||
                hubdb::createSchema(where, kHubObjects, error) != kDbOk)
                throw std::runtime_error(error);
            execute(*admin_, "ALTER DATABASE vsdk_unfinished RENAME TO vsdk_template");
        }
        execute(*admin_, "SELECT pg_advisory_unlock(1)");
    }

    std::string authority_;  ///< the URL up to the database's name
    std::string parameters_; ///< behind it
    std::string name_;
    Server admin_;
};

} // namespace

std::unique_ptr<HubEngine> makePostgresHub() {
    return std::make_unique<PostgresHub>();
}

} // namespace support
