#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "PlatformExport.h"
#include "db/ConnectionPool.h"
#include "db/DBStatus.h"

class DBtable;
struct OVDBRowDeclaration;

/// A transaction: what its accessors write happens whole or not at all. Isolation is repeatable read.
///
/// Belongs to one thread, which it gives a connection of its own from startTran() to the end; its accessors are
/// constructed with its address. Destroying an open one rolls it back.
///
///     new --startTran: 0--> open --commitTran--> ended (committed, rolled back, or unknown)
///                            |  \--rollbackTran--> ended
///                            +--an accessor's call fails, whatever the reason, the connection is lost, or refuse()-->
///                               failed: every further call fails until rollbackTran; commitTran rolls back and says so
///
/// No row (100) is no failure.
class VSDKPLATFORM_API DBtran {
  public:
    /// A read-only transaction takes no write lock, and its writes fail.
    explicit DBtran(bool readOnly = false);
    virtual ~DBtran();
    DBtran(const DBtran&) = delete;
    DBtran& operator=(const DBtran&) = delete;

    /// 0, or why the transaction could not begin; then nothing is open.
    int startTran();
    /// 0 committed. kDbTransactionFailed: it had failed before and was rolled back. kDbUnknownOutcome: the answer was
    /// lost. Any other: not committed. The transaction is over in every case; with `restart` the next one begins after
    /// a commit.
    int commitTran(bool restart = false);
    /// 0 rolled back, also when the connection is gone; kDbTransactionFailed when nothing is open.
    int rollbackTran();

    /// For services that write: what they were asked cannot be done, so that nothing else of the transaction may be.
    /// Returns `status`, a failure, which HubDatabase::lastFailure tells with `words`.
    int refuse(int status, const std::string& words);
    /// True when this row of a table is named for the first time in this transaction: what is to happen once in it.
    bool once(const OVDBRowDeclaration& table, std::int64_t id);

    /// Called by accessors: their open reads end with the transaction.
    virtual void addObject(DBtable* accessor);
    void removeObject(DBtable* accessor) noexcept;

    bool isOpen() const { return static_cast<bool>(lease_); }
    /// The engine's words for the last failure of start, commit or rollback.
    const std::string& errorWords() const { return errorWords_; }

  private:
    friend class DBtable;

    int fail(int status, const std::string& words);
    int failWithEngine(int status);
    void endReads() noexcept;
    void close() noexcept;
    /// The connection, null when no statement may run: `error` tells why.
    hubdb::Lease* usable(hubdb::EngineError& error);
    void statementFailed(const std::string& words);

    bool readOnly_;
    bool failed_ = false;
    std::string failedWords_; ///< of what failed first
    hubdb::Lease lease_;
    std::vector<DBtable*> objects_;
    std::set<std::pair<const OVDBRowDeclaration*, std::int64_t>> named_; ///< by once()
    std::string errorWords_;
};
