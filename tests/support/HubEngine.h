#pragma once

#include <memory>
#include <stdexcept>
#include <string>

namespace support {

/// A fresh hub database with all its tables, and a way around the library to look at it and to damage it. One class
/// per engine: the tests of the database layer know no more of an engine than this.
class HubEngine {
  public:
    virtual ~HubEngine() = default;
    /// With options as in "pool=2&lock_ms=100".
    virtual std::string url(const std::string& options = "") const = 0;
    /// Runs statements over a connection of their own. Throws std::runtime_error with the engine's words.
    virtual void run(const std::string& sql) const = 0;
    /// The rows that a query finds, a blank between two, and | between their columns; "NULL" for NULL.
    virtual std::string ask(const std::string& sql) const = 0;
    /// Takes the whole database away: what is left is where one can be created.
    virtual void clear() const = 0;
    /// Keeps everybody else from writing while the result lives.
    virtual std::shared_ptr<void> lock() const = 0;

    struct Traits {
        bool lockStopsReaders;       ///< that lock
        bool oneWriter;              ///< at a time, for the whole of its transaction
        bool idleChildMayConnect;    ///< one that is forked while nothing is under way
        bool readingChildMayConnect; ///< one that is forked in the middle of a read
    };
    virtual Traits traits() const = 0;

    /// Defines a procedure or cursor by a query whose inputs are ?1, ?2 ...
    virtual void define(const std::string& name, const std::string& query) const = 0;
    /// A query that never ends.
    virtual std::string endless() const = 0;
    /// A text of the row of HubSchema that the engine fails to compute.
    virtual std::string failing() const = 0;
};

using MakeHubEngine = std::unique_ptr<HubEngine> (*)();

/// The same as ask() of any database file.
std::string askSqlite(const std::string& path, const std::string& sql);

std::unique_ptr<HubEngine> makeSqliteHub();
/// With a write-ahead log, where readers and writers do not wait for each other.
std::unique_ptr<HubEngine> makeSqliteWalHub();
/// On the tests' own server; throws NoServer when there is none.
std::unique_ptr<HubEngine> makePostgresHub();
/// The same through pgbouncer in transaction mode.
std::unique_ptr<HubEngine> makePooledPostgresHub();

class NoServer : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

} // namespace support
