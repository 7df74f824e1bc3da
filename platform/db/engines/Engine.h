#pragma once

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
    int status = kDbOk; ///< class of the failure, DBStatus
    int nativeCode = 0; ///< the engine's own code
    std::string words;  ///< the engine's own words

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
    /// Appends the current row's first column as text; nothing for NULL.
    virtual void readText(std::string& text) = 0;
    /// Rows that the last execution changed.
    virtual std::int64_t affected() const = 0;
    /// Reads the rows that are left into memory, so that the statement holds no lock and no snapshot any more.
    virtual int detach() = 0;
    /// Ends the execution. Must be called before the next one.
    virtual void finish() noexcept = 0;
};

enum class TransactionKind : std::uint8_t { kRead, kWrite };

/// One connection to the database. Used by one thread at a time; which one may change between operations.
class Connection {
  public:
    virtual ~Connection() = default;
    /// Null on failure.
    virtual std::unique_ptr<Statement> prepare(const std::string& sql) = 0;
    /// The text that calls a procedure or opens a cursor with `inputs` values. Empty when there is no such procedure.
    virtual std::string callText(const OVDBRowDeclaration& declaration, std::size_t inputs) = 0;
    /// Begins at repeatable read.
    virtual int begin(TransactionKind kind) = 0;
    virtual int commit() = 0;
    virtual int rollback() = 0;
    /// Asked of the engine, not remembered.
    virtual bool inTransaction() const = 0;
    /// Runs statements that take no values and return no rows: DDL and the like.
    virtual int runScript(const std::string& sql) = 0;
    virtual const EngineError& error() const = 0;
};

struct Dialect;

/// Opens connections to one database.
class Engine {
  public:
    virtual ~Engine() = default;
    /// Null on failure, which `error` then tells.
    virtual std::unique_ptr<Connection> open(EngineError& error) = 0;
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
