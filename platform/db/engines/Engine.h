#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "Db/Tbl/OVDBColumn.h"
#include "db/DBStatus.h"
#include "db/DBValue.h"

namespace hubdb {

/// Why an operation of an engine failed. Words never hold a parameter's value.
struct EngineError {
    int status = kDbOk;  ///< class of the failure, DBStatus
    int nativeCode = 0;  ///< the engine's own code
    std::string words;   ///< the engine's own words
    bool unsent = false; ///< nothing of the statement reached the database: it may run on another connection

    bool connectionLost() const { return status == kDbConnectionLost; }
};

/// Where a row goes: the columns of a declaration and the buffer and NULL indicators that they describe.
struct RowTarget {
    std::span<const OVDBColumn> columns;
    char* row;
    short* indicators;  ///< one per column, -1 for NULL, else 0
    const char* object; ///< in the log line about a text that was cut
};

/// A prepared statement of one connection. `?` stands for a value.
///
/// Its statuses are those of DBStatus: 0 a row, 100 no row. After a failure the connection's error() tells more.
class Statement {
  public:
    virtual ~Statement() = default;
    /// Runs the statement up to its first row. The texts of `values` must live until finish().
    virtual int execute(std::span<const Value> values) = 0;
    /// Moves to the next row.
    virtual int next() = 0;
    /// Copies the current row. Null, or the column whose value does not fit it, the row then filled in part.
    virtual const OVDBColumn* read(const RowTarget& target) = 0;
    /// Appends the current row, packed (PackedRow.h).
    virtual void pack(std::string& bytes) = 0;
    /// Appends the current row's first column as text; nothing for NULL.
    virtual void readText(std::string& text) = 0;
    /// Rows that the last execution changed.
    virtual std::int64_t affected() const = 0;
    /// Reads the rows that are left into memory, so that the statement holds no lock and no snapshot any more.
    virtual int detach() = 0;
    /// Ends the execution. Must be called before the next one.
    virtual void finish() noexcept = 0;
};

enum class TransactionKind : std::uint8_t {
    kRead,
    kWrite,
    kSchema ///< changes tables; one at a time, and each sees what the one before it did
};

/// What a statement is for.
enum class StatementUse : std::uint8_t {
    kOneRow, ///< a read of a row or few: they are all taken at once
    kRows,   ///< a read of any number: an engine may take them in portions
    kWrite   ///< it may change the database
};

/// How often connections waited for an answer of a server. Written by the thread that has the connection.
using RoundTrips = std::atomic<std::uint64_t>;

/// The row that a failure is about, counted from 1 in the order in which rows were added to its table. Without a
/// table: the one that is being added.
struct BulkFault {
    const OVDBRowDeclaration* table = nullptr;
    std::uint64_t row = 0;
};

/// Many rows put into tables, within the connection's transaction. Rows may be sent later than they are added.
class BulkWriter {
  public:
    virtual ~BulkWriter() = default;
    /// Adds a row that gives the columns whose bits are set in `given`, a value for each. Texts live for the call.
    virtual int add(const OVDBRowDeclaration& table, std::uint64_t given, std::span<const Value> values) = 0;
    /// Sends what was not sent yet, and moves the tables' serial numbers past those that were given.
    virtual int finish() = 0;
    virtual BulkFault fault() const = 0;
};

/// One connection to the database. Used by one thread at a time; which one may change between operations.
class Connection {
  public:
    virtual ~Connection() = default;
    /// Null on failure.
    virtual std::unique_ptr<Statement> prepare(const std::string& sql, StatementUse use) = 0;
    /// The text that calls a procedure or opens a cursor with `inputs` values. Empty when the
    /// engine knows that there is no such procedure.
    virtual std::string callText(const OVDBRowDeclaration& declaration, std::size_t inputs) = 0;
    /// Begins, at repeatable read unless it is kSchema.
    virtual int begin(TransactionKind kind) = 0;
    /// kDbUnknownOutcome when the answer was lost and nobody can tell. The transaction is over in every case.
    virtual int commit() = 0;
    virtual int rollback() = 0;
    /// Asked of the engine, not remembered.
    virtual bool inTransaction() const = 0;
    /// True when it died, or leads to a server that takes no writes any more: it is closed instead of used again.
    virtual bool isBroken() const = 0;
    /// Runs statements that take no values and whose rows nobody wants: DDL and the like.
    virtual int runScript(const std::string& sql) = 0;
    virtual std::unique_ptr<BulkWriter> bulkWriter() = 0;
    virtual const EngineError& error() const = 0;
    /// The condition behind a column that it is one of a set of ids, which one `?` stands for.
    virtual const char* isIn() const = 0;
    /// Whether an open read transaction keeps others from writing.
    virtual bool readsBlockWriters() const = 0;
};

struct Dialect;

/// Opens connections to one database.
class Engine {
  public:
    virtual ~Engine() = default;
    /// Null on failure, which `error` then tells. `roundTrips`, when given, counts the connection's and outlives it.
    virtual std::unique_ptr<Connection> open(EngineError& error, RoundTrips* roundTrips = nullptr) = 0;
    /// How its SQL says what the schema needs.
    virtual const Dialect& dialect() const = 0;
    /// True while there is no database that a failed creation could destroy.
    virtual bool isMissing() const = 0;
    /// Takes away the database that open() made; with `onlyEmpty` unless something is in it by now.
    virtual void remove(bool onlyEmpty) noexcept = 0;
    /// Whether a child that this process forks may open connections of its own. `idle`: none is in use here.
    virtual bool forkedChildMayConnect(bool idle) const = 0;
};

} // namespace hubdb
