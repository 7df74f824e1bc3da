#pragma once

#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

#include "PlatformExport.h"
#include "db/DBForm.h"
#include "db/HubDatabase.h"
#include "db/engines/Engine.h"

namespace hubdb {

/// What a statement is prepared for. Forms are shared by text, so their addresses tell them apart; the cache keeps the
/// forms of its entries alive.
struct StatementKey {
    const OVDBRowDeclaration* declaration;
    int operation;
    std::size_t inputs; ///< values of a call
    const Form* where;
    const Form* order;
    const Form* set;

    bool operator==(const StatementKey&) const = default;
};

struct StatementKeyHash {
    std::size_t operator()(const StatementKey& key) const {
        std::size_t hash = reinterpret_cast<std::size_t>(key.declaration) + static_cast<std::size_t>(key.operation);
        for (const void* part : {static_cast<const void*>(key.where), static_cast<const void*>(key.order),
                                 static_cast<const void*>(key.set)})
            hash = (hash ^ reinterpret_cast<std::size_t>(part)) * 0x9E3779B97F4A7C15U;
        return hash ^ (hash >> 32U) ^ key.inputs;
    }
};

struct CachedStatement {
    std::unique_ptr<Statement> statement;
    std::array<std::shared_ptr<const Form>, 3> forms; ///< those that the key points to
    bool inUse = false;
    std::uint64_t lastUse = 0;
};

/// What a connection did, counted exactly. Written by the thread that has the connection, read by any.
struct Counters {
    std::atomic<std::uint64_t> executed{0};
    std::atomic<std::uint64_t> prepared{0};
    std::atomic<std::uint64_t> rows{0};
    std::atomic<std::uint64_t> opened{0};
    RoundTrips roundTrips{0};

    static void add(std::atomic<std::uint64_t>& counter) {
        counter.store(counter.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
    }
};

/// A connection and its prepared statements.
class Session {
  public:
    explicit Session(std::unique_ptr<Connection> connection) : connection_(std::move(connection)) {}

    Connection& connection() { return *connection_; }

    /// A prepared statement for `key` that no read has in use, taken into use. Null when there is none.
    CachedStatement* find(const StatementKey& key);
    /// Prepares one more for `key` and takes it into use. Null on failure.
    CachedStatement* add(const StatementKey& key, std::array<std::shared_ptr<const Form>, 3> forms,
                         const std::string& sql, StatementUse use);
    static void release(CachedStatement& entry) noexcept {
        entry.statement->finish();
        entry.inUse = false;
    }

    /// The connection died or is in a state that nobody knows: it is closed instead of used again.
    void condemn() { condemned_ = true; }
    bool condemned() const { return condemned_ || connection_->isBroken(); }

  private:
    static constexpr std::size_t kStatementsMax = 256;

    std::unique_ptr<Connection> connection_;
    std::unordered_multimap<StatementKey, std::unique_ptr<CachedStatement>, StatementKeyHash> statements_;
    std::uint64_t uses_ = 0;
    bool condemned_ = false;
};

class Database;

/// A connection of the pool, for as long as the object lives.
class Lease {
  public:
    Lease() = default;
    Lease(std::shared_ptr<Database> database, std::size_t slot) : database_(std::move(database)), slot_(slot) {}
    Lease(Lease&& other) noexcept : database_(std::move(other.database_)), slot_(other.slot_) {}
    Lease& operator=(Lease&& other) noexcept;
    ~Lease() { release(); }

    explicit operator bool() const { return database_ != nullptr; }
    Session& session() const;
    Counters& counters() const;
    std::size_t slot() const { return slot_; }
    /// False in a forked child: the connection belongs to the parent and must not be touched.
    bool usable() const;
    void release() noexcept;

  private:
    std::shared_ptr<Database> database_;
    std::size_t slot_ = 0;
};

/// One connected database: its engine and a bounded pool of connections, opened when first needed.
class Database : public std::enable_shared_from_this<Database> {
  public:
    Database(std::unique_ptr<Engine> engine, std::size_t poolSize, std::chrono::milliseconds poolLimit,
             std::string keyPath);
    ~Database();
    Database(const Database&) = delete;
    Database& operator=(const Database&) = delete;

    /// The process's database. Null when none is connected, which `error` then tells.
    static std::shared_ptr<Database> current(EngineError& error);
    using Factory = std::function<std::shared_ptr<Database>()>;
    /// Makes `database` (or none) the process's; the earlier one is closed as its connections come back. `reopen` makes
    /// the same database again, for a forked child.
    static void install(std::shared_ptr<Database> database, Factory reopen);
    /// False in a child that was forked when its engine forbade it to connect: `error` tells.
    static bool mayConnect(EngineError& error);
    /// Asks the engines of all databases that are alive, in the child, and forgets these.
    static bool forkedChildMayConnect();

    /// A connection of its own for the caller, `preferred` first. Without one: `error` tells why. With `fresh` it is a
    /// new one: where one was lost, the idle ones of the pool may be, too.
    Lease lease(std::size_t preferred, EngineError& error, bool fresh = false);

    HubDatabaseStatistics statistics() const;
    /// The file of the key of stored passwords, empty for none.
    const std::string& keyPath() const { return keyPath_; }

  private:
    friend class Lease;

    struct alignas(64) Slot {
        std::atomic<bool> busy{false};
        std::unique_ptr<Session> session;
        Counters counters;
    };

    bool take(std::size_t preferred, std::size_t& slot);
    bool waitForSlot(std::size_t preferred, std::size_t& slot);
    void giveBack(std::size_t slot) noexcept;
    void close() noexcept;

    std::unique_ptr<Engine> engine_;
    std::chrono::milliseconds poolLimit_;
    std::string keyPath_;
    std::vector<Slot> slots_;
    std::atomic<unsigned> waiting_{0};
    std::atomic<bool> closed_{false};
    unsigned forkGeneration_;
    std::mutex mutex_;
    std::condition_variable slotFreed_;
};

/// The connection that this thread's reads and single writes use: leased by the first of its users, given back by the
/// last, so that nested reads share it.
class ThreadSession {
  public:
    ThreadSession() = default;
    ThreadSession(const ThreadSession&) = delete;
    ThreadSession& operator=(const ThreadSession&) = delete;
    ~ThreadSession() { leave(); }

    /// False without a connection: `error` tells why. `fresh` is for Database::lease.
    bool enter(EngineError& error, bool fresh = false);
    void leave() noexcept;
    /// The thread's lease. Only between enter and leave.
    Lease& lease() const { return shared_->lease; }

  private:
    struct Shared {
        Lease lease;
        unsigned users = 0;
        bool left = false; ///< by its thread, which leases anew: the last user deletes it
    };
    struct Current;
    static Current& current();

    Shared* shared_ = nullptr;
};

/// This thread's last failure, for hosts that must tell an empty list from a failed one, and a wrong password from one
/// that could not be compared.
struct LastFailure {
    int status = kDbOk;
    std::string words;
};
LastFailure& lastFailure();

} // namespace hubdb
