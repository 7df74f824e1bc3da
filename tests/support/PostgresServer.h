#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace support {

/// Where a private PostgreSQL server or a pool before one listens, and a superuser's way in. Whatever fails throws
/// std::runtime_error with the words of libpq or of scripts/postgres.
class PostgresEndpoint {
  public:
    /// What scripts/postgres has started and noted in a directory.
    explicit PostgresEndpoint(const std::string& noted);

    std::string url(const std::string& database = "postgres", const std::string& user = kSuperuser) const;
    const std::string& socketDirectory() const { return socketDirectory_; }
    int port() const { return port_; }
    /// The argument of scripts/postgres.
    const std::string& noted() const { return noted_; }

    /// Runs statements over a connection of their own and, unless they say otherwise, in one transaction.
    void run(const std::string& sql, const std::string& database = "postgres") const;
    /// The rows that the last of them finds, a blank between two, and | between their columns; "NULL" for NULL.
    std::string ask(const std::string& sql, const std::string& database = "postgres") const;

    static constexpr auto kSuperuser = "hub_admin";

  private:
    std::string noted_;
    std::string socketDirectory_;
    int port_ = 5432;
};

/// The server that the tests of one run share, each with a database of its own; nullptr without PostgreSQL, when a
/// test that needs it is skipped.
const PostgresEndpoint* sharedPostgres();

/// A cluster of a test's own, to be stopped, crashed and followed. It is gone when the test is, even a killed one: then
/// the end of the run removes it.
class PostgresServer : public PostgresEndpoint {
  public:
    /// Settings as in "wal_level=replica", which a server needs that shall have a standby.
    explicit PostgresServer(const std::vector<std::string>& settings = {}) : PostgresServer(nullptr, settings) {}
    /// A streaming standby, on a port of its own.
    static PostgresServer standbyOf(const PostgresEndpoint& primary, const std::vector<std::string>& settings = {}) {
        return {&primary, settings};
    }
    ~PostgresServer();
    PostgresServer(const PostgresServer&) = delete;
    PostgresServer& operator=(const PostgresServer&) = delete;

    enum class Stop { kFast, kImmediate };
    void stop(Stop how) const;
    /// Also after stop() and kill(). What was committed is there again.
    void restart() const;
    /// SIGKILL to the first process; returns when none is left.
    void kill() const;
    /// Makes a standby a primary.
    void promote() const;
    /// Freezes all processes: what a peer sees of a machine that hangs.
    void pause() const;
    void resume() const;
    /// Freezes one backend, also of another server, as pg_backend_pid() names it.
    static void pause(pid_t backend);
    static void resume(pid_t backend);

  private:
    PostgresServer(const PostgresEndpoint* primary, const std::vector<std::string>& settings);
};

/// pgbouncer in transaction mode before a server, for all its databases and roles that need no password.
class PgBouncer : public PostgresEndpoint {
  public:
    /// Settings of its section [pgbouncer], as in "default_pool_size=2".
    explicit PgBouncer(const PostgresEndpoint& server, const std::vector<std::string>& settings = {});
    ~PgBouncer();
    PgBouncer(const PgBouncer&) = delete;
    PgBouncer& operator=(const PgBouncer&) = delete;
};

} // namespace support
