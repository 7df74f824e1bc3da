#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <span>
#include <string>

#include "Db/Tbl/OVDBRowBase.h"
#include "PlatformExport.h"
#include "db/ConnectionPool.h"
#include "db/DBForm.h"
#include "db/DBStatus.h"
#include "db/DBText.h"
#include "db/DBValue.h"
#include "db/KeptRows.h"

class DBtran;
namespace hubdb {
class ReadScope;
}

/// The statement handle behind every accessor: one table, procedure or cursor query of the process's hub database.
///
/// What it does: compiles printf-style filters and updates to bound statements, runs them on the thread's connection
/// (or its transaction's), and copies each row into the accessor's buffer. Statuses are those of DBStatus: 0 a row or
/// done, 100 no row or nothing affected, negative a failure that getErrorStr() tells in the engine's own words.
///
/// Life: a short-lived local, used by one thread. Its transaction, if any, must outlive it or be ended before.
///
///     constructed --setWhere--> filtered --getOneRow/getNextRow: 0--> on a row --rowUpdate/rowDelete act on that row
///                                  |                                    |
///                                  +--rowUpdate/rowDelete: all rows     +--setWhere--> filtered
///                                     that match
///
/// A value never becomes SQL text. Filters and updates are literals of the program: %d %u %ld %lu %lld %llu, and '%s'
/// in its quotes; a text that is not whole UTF-8, a null text, or a form of another shape is refused.
class VSDKPLATFORM_API DBtable {
  public:
    virtual ~DBtable();
    DBtable(const DBtable&) = delete;
    DBtable& operator=(const DBtable&) = delete;

    /// True: values are bound as typed objects (the newer mode); false, the default: through printf-style texts. Rows
    /// and statuses are the same in both. Set it before accessors are made.
    static std::atomic<bool> b_newDBBase;
    /// Held while an accessor registers with a transaction.
    static std::recursive_mutex DBCriticalSection;

    /// 4: repeatable read. A single statement is consistent in itself, so outside a transaction this costs nothing.
    /// 1 to 3 ask for less and get the same; another type makes the next operation fail.
    void setIsolationType(unsigned int type);
    /// The filter of the next read, update or delete, without the word WHERE. Forgets the current row and ends a read
    /// that is under way. A form or text that is refused makes the next operation fail.
    void setWhere(const char* format, ...) __attribute__((format(printf, 2, 3)));
    /// Column names, commas, ASC and DESC. Null for the accessor's own order, its key; empty for none. Texts are
    /// ordered by their bytes, and NULL comes before every value.
    void setOrderBy(const char* columns);

    /// Changes the current row, or, after setWhere without a read, every matching row; `format` is the text after SET.
    /// 100 when nothing was hit.
    int rowUpdate(const char* format, ...) __attribute__((format(printf, 2, 3)));
    /// Inserts the row buffer: every column but those that only the database gives, as they stand. A column whose
    /// indicator says NULL and whose member is still empty is sent as NULL. With `readSerial` the serial column is read
    /// back into the buffer.
    int rowInsert(bool readSerial);
    /// Deletes the current row, or, after setWhere without a read, every matching row. 100 when there was none.
    int rowDelete();

    /// Executes a procedure or cursor query. 0, also when it has no rows.
    virtual int openCursor();
    /// Moves to the next row of an open cursor and copies it into the buffer: 0, 100 at the end, or a failure; the
    /// last two end the read. The argument is not used.
    virtual int fetchCursor(bool reserved);
    virtual int closeCursor();
    /// Appends the rest of an open cursor's first column to `xml`.
    virtual int fetchXML(std::string& xml);

    /// The engine's own words for `status` when it is this handle's last failure, else the class in a few words.
    std::string getErrorStr(int status) const;
    /// One short per column, -1 for NULL, else 0; owned by the accessor.
    void setExtIndicatorArray(short* indicators) { indicators_ = indicators; }

    /// Binds the row buffer, which is empty when the accessor is made, to the columns of its rows.
    virtual void dataBindClearFirstTime() = 0;
    /// Binds it again and empties it.
    virtual void dataBindClear() = 0;

    const OVDBRowDeclaration& declaration() const { return declaration_; }
    /// "Table APP_IDAName", "Procedure SimGetOSType"; used in log lines.
    std::string description() const;

  protected:
    DBtable(const OVDBRowDeclaration& declaration, int reserved, DBtran* transaction);

    /// Registers with the transaction, if there is one. A failure is logged; the accessor stays usable.
    void joinTransaction() noexcept;
    /// Where rows are written: a struct that `declaration().columns` describe.
    void bindRow(void* row) { row_ = static_cast<char*>(row); }
    /// Zeroes and empties the row buffer and marks nothing as NULL.
    void clearRow() noexcept;

    /// The typed descriptor of the newer mode, null in the older one.
    virtual OVDBRowBase* typedRow() = 0;
    virtual std::unique_ptr<OVDBRowBase> makeTypedRow() const = 0;

    /// Makes room for a values text of `length` characters, and forgets the inputs set before.
    bool valuesClauseCheck(std::size_t length);
    /// The older mode's inputs: one conversion per parameter, commas between.
    int CallDBsprintfWrapper(const char* format, ...) __attribute__((format(printf, 2, 3)));
    /// The newer mode's inputs, in parameter order; the values are copied.
    void ClearBoundInputs();
    void BindInput(const OVDBDataTypeBase* value);

  private:
    friend class DBtran;
    friend class hubdb::ReadScope;
    friend VSDKPLATFORM_API int getOneRow(DBtable* table, bool reserved, int reservedNumber, int reservedFlags);
    friend VSDKPLATFORM_API int getNextRow(DBtable* table, int* state, int reservedNumber, int reservedFlags);

    enum class Operation : std::uint8_t {
        kReadOne,
        kReadAll,
        kCall,
        kInsert,
        kInsertOnly, ///< whose serial nobody asks for
        kUpdate,
        kUpdateRow,
        kDelete,
        kDeleteRow
    };
    /// A form, text or setting that was not taken: the next operation fails with it.
    struct Refusal {
        int status = kDbOk;
        std::string words;
    };
    /// What rowUpdate and rowDelete act on.
    enum class Position : std::uint8_t { kNowhere, kFiltered, kOnRow, kPastRows };

    /// The connection for a statement; after one was lost, a `fresh` one.
    hubdb::Lease* enter(hubdb::EngineError& error, bool fresh = false);
    void leave() noexcept;
    hubdb::Lease& currentLease() const; ///< of the read that is under way
    hubdb::CachedStatement* run(Operation operation, const std::shared_ptr<const hubdb::Form>& set,
                                std::span<const hubdb::Value> values, int& status);
    /// Whether the filter names one row at most, by the key or by a unique column: "id=%d".
    bool readsByKey() const;
    std::string sqlFor(Operation operation, const hubdb::Form* set, hubdb::Connection& connection) const;
    /// The rows that match a condition, in the reader's order behind the columns of `before`.
    std::string selectText(const std::string& condition, const std::string& before) const;
    int startRead(Operation operation);
    /// The same, or rows that this thread's scope has already.
    int startScopedRead(Operation operation);
    int nextRow();
    /// Moves to the next row that was not delivered. At the end and on failure the read is over.
    int advance();
    int deliverRow();
    int nextKeptRow();
    /// What copying a row came to: `misfit` is the column whose value does not fit.
    int delivered(const OVDBColumn* misfit);
    void joinThreadReaders();
    void endRead() noexcept;
    void cutRead() noexcept;
    /// Lets go of the locks of this thread's open reads outside a transaction; their rows stay to be read.
    static void detachThreadReads();
    int change(Operation onFilter, Operation onRow, const std::shared_ptr<const hubdb::Form>& set,
               const hubdb::ValueList& setValues);
    /// Notes and logs a refusal. Its status.
    int refuse(Refusal& refusal, int status, const std::string& words);
    /// The row in the buffer is the current one.
    void takeRow();
    int memberValue(std::size_t index, hubdb::Value& value) const;
    void fillTypedRow(OVDBRowBase& typed) const;
    int refusal();
    int fail(int status, const std::string& words);
    void loseTransaction() noexcept;

    const OVDBRowDeclaration& declaration_;
    DBtran* transaction_;
    bool transactionGone_ = false;
    char* row_ = nullptr;
    short* indicators_ = nullptr;
    std::shared_ptr<const hubdb::Form> where_;
    std::shared_ptr<const hubdb::Form> order_; ///< null: by key
    hubdb::ValueList values_;                  ///< of the filter, or the inputs of a call
    Refusal valuesRefusal_;                    ///< of the filter or the inputs, until they are set anew
    Refusal orderRefusal_;
    Refusal isolationRefusal_;
    Position position_ = Position::kNowhere;
    std::array<std::int64_t, OVDBRowDeclaration::kKeyColumnsMax> key_{}; ///< of the current row
    hubdb::ThreadSession session_;                                       ///< while reading outside a transaction
    hubdb::CachedStatement* reading_ = nullptr;                          ///< the statement whose rows are being read
    bool rowPending_ = false;                                            ///< its current row was not delivered yet
    hubdb::KeptRows kept_;                                               ///< what is read instead, of a scope
    bool cut_ = false;              ///< the read was ended by its transaction: it has not come to its end
    DBtable* nextReader_ = nullptr; ///< this thread's other open reads outside a transaction
    int lastStatus_ = kDbOk;
    std::string lastWords_;
};

/// Runs the query and copies the first row: 0, 100, or a failure. The last three arguments are not used.
VSDKPLATFORM_API int getOneRow(DBtable* table, bool reserved, int reservedNumber, int reservedFlags);

/// Copies the next row. `*state` is 0 before the first call, which runs the query. 0 while there is a row, then 100 or
/// a failure. The last two arguments are not used.
VSDKPLATFORM_API int getNextRow(DBtable* table, int* state, int reservedNumber, int reservedFlags);
