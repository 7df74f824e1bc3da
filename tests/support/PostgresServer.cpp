#include "support/PostgresServer.h"

#include <libpq-fe.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <stdexcept>

#include "support/Process.h"

namespace support {

namespace {

using Arguments = std::vector<std::string>;

Arguments operator+(Arguments left, const Arguments& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

void runScript(const Arguments& arguments) {
    const auto result = runProcess(Arguments{VSDK_SOURCE_DIR "/scripts/postgres"} + arguments);
    if (result.exitCode != 0)
        throw std::runtime_error("scripts/postgres " + arguments.at(0) + ": " + result.err);
}

/// The directory of the run's shared server, or nothing.
std::string sharedDirectory() {
    const char* directory = std::getenv("VSDK_TEST_POSTGRES_DIR");
    return directory == nullptr ? "" : directory;
}

/// The name of a new directory. Below the shared server's: what a killed test leaves is removed with that.
std::string newDirectory() {
    const std::string shared = sharedDirectory();
    const auto parent = shared.empty() ? std::filesystem::temp_directory_path() : std::filesystem::path(shared);
    std::string name = (parent / "own-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr)
        throw std::runtime_error("no directory " + name);
    return name;
}

std::string start(const std::string& command, const Arguments& arguments) {
    const std::string directory = newDirectory();
    runScript(Arguments{command, directory} + arguments);
    return directory;
}

void discard(const std::string& directory) noexcept {
    try {
        runScript({"stop", directory});
    } catch (const std::exception&) { // it has ended, and what is left is removed with the shared server
    }
}

void send(pid_t process, int signal) {
    if (process <= 0 || ::kill(process, signal) != 0)
        throw std::runtime_error("no signal to process " + std::to_string(process));
}

using Result = std::unique_ptr<PGresult, void (*)(PGresult*)>;

Result execute(const std::string& url, const std::string& sql) {
    const std::unique_ptr<PGconn, void (*)(PGconn*)> connection(PQconnectdb(url.c_str()), &PQfinish);
    if (PQstatus(connection.get()) != CONNECTION_OK)
        throw std::runtime_error(PQerrorMessage(connection.get()));
    PQsetNoticeProcessor(
        connection.get(), [](void*, const char*) {}, nullptr);
    Result result(PQexec(connection.get(), sql.c_str()), &PQclear);
    const auto status = PQresultStatus(result.get());
    if (status != PGRES_COMMAND_OK && status != PGRES_TUPLES_OK && status != PGRES_EMPTY_QUERY)
        throw std::runtime_error(PQerrorMessage(connection.get()) + (": " + sql));
    return result;
}

} // namespace

PostgresEndpoint::PostgresEndpoint(const std::string& noted) : noted_(noted) {
    std::ifstream file(noted + "/url");
    std::string url;
    const std::string host = "?host=";
    const std::string port = "&port=";
    const auto begin = std::getline(file, url) ? url.find(host) : std::string::npos;
    if (begin == std::string::npos)
        throw std::runtime_error("no server is noted in " + noted);
    const auto end = url.find(port);
    socketDirectory_ = url.substr(begin + host.size(), end - begin - host.size());
    if (end != std::string::npos)
        port_ = std::stoi(url.substr(end + port.size()));
}

std::string PostgresEndpoint::url(const std::string& database, const std::string& user) const {
    return "postgresql://" + user + "@/" + database + "?host=" + socketDirectory_ +
           (port_ == 5432 ? "" : "&port=" + std::to_string(port_));
}

void PostgresEndpoint::run(const std::string& sql, const std::string& database) const {
    execute(url(database), sql);
}

std::string PostgresEndpoint::ask(const std::string& sql, const std::string& database) const {
    const auto result = execute(url(database), sql);
    std::string answer;
    for (int row = 0; row < PQntuples(result.get()); ++row)
        for (int column = 0; column < PQnfields(result.get()); ++column)
            (answer += column > 0 ? "|"
                       : row == 0 ? ""
                                  : " ") +=
                PQgetisnull(result.get(), row, column) != 0 ? "NULL" : PQgetvalue(result.get(), row, column);
    return answer;
}

const PostgresEndpoint* sharedPostgres() {
    static const auto shared = [] {
        const std::string directory = sharedDirectory();
        return !directory.empty() && std::filesystem::exists(directory + "/url")
                   ? std::make_unique<const PostgresEndpoint>(directory)
                   : nullptr;
    }();
    return shared.get();
}

// A commit that waits for the log to be written, if not for the disk, outlives kill().
PostgresServer::PostgresServer(const PostgresEndpoint* primary, const Arguments& settings)
    : PostgresEndpoint(start("start", (primary == nullptr ? Arguments{} : Arguments{"--standby-of", primary->noted()}) +
                                          Arguments{"synchronous_commit=on"} + settings)) {}

PostgresServer::~PostgresServer() {
    discard(noted());
}

void PostgresServer::stop(Stop how) const {
    runScript({"halt", noted(), how == Stop::kFast ? "fast" : "immediate"});
}

void PostgresServer::restart() const {
    runScript({"restart", noted()});
}

void PostgresServer::kill() const {
    runScript({"kill", noted()});
}

void PostgresServer::promote() const {
    runScript({"promote", noted()});
}

void PostgresServer::pause() const {
    runScript({"signal", noted(), "STOP"});
}

void PostgresServer::resume() const {
    runScript({"signal", noted(), "CONT"});
}

void PostgresServer::pause(pid_t backend) {
    send(backend, SIGSTOP);
}

void PostgresServer::resume(pid_t backend) {
    send(backend, SIGCONT);
}

PgBouncer::PgBouncer(const PostgresEndpoint& server, const Arguments& settings)
    : PostgresEndpoint(start("pool", Arguments{server.noted()} + settings)) {}

PgBouncer::~PgBouncer() {
    discard(noted());
}

} // namespace support
