#include "db/engines/sqlite/SqliteEngine.h"

#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <ctime>
#include <deque>
#include <map>
#include <optional>
#include <utility>
#include <vector>

#include "db/engines/PackedRow.h"
#include "db/engines/sqlite/EmbeddedProcedures.h"
#include "db/engines/sqlite/SqliteDialect.h"
#include "db/engines/sqlite/SqliteFunctions.h"

namespace hubdb {

namespace {

using Clock = std::chrono::steady_clock;

struct CloseDatabase {
    void operator()(sqlite3* database) const { sqlite3_close_v2(database); }
};
struct FinalizeStatement {
    void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};
using DatabaseHandle = std::unique_ptr<sqlite3, CloseDatabase>;
using StatementHandle = std::unique_ptr<sqlite3_stmt, FinalizeStatement>;

/// SQLite's result codes in the layer's classes.
int statusOf(int code, std::string_view words) {
    switch (code) {
    case SQLITE_CONSTRAINT_DATATYPE:
        return kDbBadValue;
    case SQLITE_CONSTRAINT_CHECK: // named after what they keep
        return words.ends_with(kWidthRule) ? kDbBadText : words.ends_with(kRangeRule) ? kDbBadValue : kDbConstraint;
    default:
        break;
    }
    switch (code & 0xFF) {
    case SQLITE_OK:
    case SQLITE_ROW:
        return kDbOk;
    case SQLITE_DONE:
        return kDbNoRow;
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
        return kDbBusy;
    case SQLITE_INTERRUPT:
        return kDbTimedOut;
    case SQLITE_CONSTRAINT:
        return kDbConstraint;
    case SQLITE_MISMATCH:
        return kDbBadValue;
    case SQLITE_ERROR:
    case SQLITE_SCHEMA:
    case SQLITE_RANGE:
    case SQLITE_MISUSE:
        return kDbBadStatement;
    case SQLITE_READONLY:
        return kDbReadOnly;
    case SQLITE_FULL:
        return kDbFull;
    case SQLITE_CORRUPT:
    case SQLITE_NOTADB:
        return kDbNotADatabase;
    default:
        return kDbFailed;
    }
}

static_assert(static_cast<int>(CellKind::kInteger) == SQLITE_INTEGER &&
              static_cast<int>(CellKind::kNull) == SQLITE_NULL);

/// One column of a row. Asking the value object instead of the statement saves the statement's checks at every call.
struct Cell {
    sqlite3_value* value;

    CellKind kind() const { return static_cast<CellKind>(sqlite3_value_type(value)); }
    std::int64_t integer() const { return sqlite3_value_int64(value); }
    std::string_view text() const {
        const auto* text = reinterpret_cast<const char*>(sqlite3_value_text(value));
        return text == nullptr ? std::string_view()
                               : std::string_view(text, static_cast<std::size_t>(sqlite3_value_bytes(value)));
    }
};

/// The current row of a statement. Its values may be read like any other because one thread at a time has the
/// connection.
struct LiveCells {
    static constexpr bool kMayHoldNul = true;
    sqlite3_stmt* statement;

    Cell at(int i) const { return {sqlite3_column_value(statement, i)}; }
};

/// Rows that were read ahead, packed in blocks that are freed one by one as the rows are taken.
class KeptRowQueue {
  public:
    void clear() {
        blocks_.clear();
        at_ = nullptr;
    }
    /// Where to pack one more row. Rows lie whole in a block.
    std::string& forNext() {
        constexpr std::size_t kBlock = 1U << 16U;
        if (blocks_.empty() || blocks_.back().size() >= kBlock)
            blocks_.emplace_back();
        return blocks_.back();
    }
    /// The row to be read now, null behind the last.
    const char* row() {
        while (!blocks_.empty() && at_ == blocks_.front().data() + blocks_.front().size()) {
            blocks_.pop_front();
            at_ = nullptr;
        }
        if (!blocks_.empty() && at_ == nullptr)
            at_ = blocks_.front().data();
        return at_;
    }
    /// Takes the row off.
    void pop(int columns) {
        const PackedCells cells(row());
        for (int i = 0; i < columns; ++i)
            (void)cells.at(i);
        at_ = cells.rest();
    }

  private:
    std::deque<std::string> blocks_;
    const char* at_ = nullptr; ///< in the first block; null: at its beginning
};

/// The time that a statement runs, without what its caller takes between rows. The clock is looked at only when the
/// engine has worked for a while, so short statements never do.
class Watch {
  public:
    void resume() { running_ = false; }
    void pause() {
        if (running_)
            spent_ += Clock::now() - since_;
        running_ = false;
    }
    bool passed(std::chrono::milliseconds limit) {
        const auto now = Clock::now();
        if (!running_)
            since_ = now;
        running_ = true;
        return spent_ + (now - since_) >= limit;
    }

  private:
    bool running_ = false;
    Clock::time_point since_;
    Clock::duration spent_{0};
};

/// A clock of some milliseconds' accuracy that costs next to nothing to look at.
std::chrono::milliseconds coarseNow() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
    return std::chrono::seconds(now.tv_sec) + std::chrono::milliseconds(now.tv_nsec / 1'000'000);
}

class SqliteConnection;

class SqliteStatement : public Statement {
  public:
    SqliteStatement(SqliteConnection& connection, StatementHandle handle, bool manyRows)
        : connection_(connection), handle_(std::move(handle)), writes_(sqlite3_stmt_readonly(handle_.get()) == 0),
          manyRows_(manyRows) {}

    int execute(std::span<const Value> values) override;
    int next() override;
    const OVDBColumn* read(const RowTarget& target) override;
    void pack(std::string& bytes) override {
        if (detached_)
            packRow(PackedCells(kept_.row()), columns(), bytes);
        else
            packRow(LiveCells{handle_.get()}, columns(), bytes);
    }
    void readText(std::string& text) override;
    std::int64_t affected() const override { return affected_; }
    int detach() override;
    void finish() noexcept override;

  private:
    int bind(std::span<const Value> values);
    int step();
    int columns() const { return sqlite3_column_count(handle_.get()); }
    /// Whether an open read has kept writers waiting long enough.
    bool blocksTooLong();

    SqliteConnection& connection_;
    StatementHandle handle_;
    bool writes_;
    bool manyRows_; ///< it may be read slowly, and for long
    std::int64_t affected_ = 0;
    std::string ids_;          ///< the text of a set of ids
    KeptRowQueue kept_;        ///< rows read ahead
    int afterKept_ = kDbNoRow; ///< what follows them
    bool detached_ = false;
    unsigned rowsRead_ = 0;
    std::chrono::milliseconds since_{}; ///< when the read of many rows began
    Watch watch_;
};

class SqliteConnection : public Connection {
  public:
    SqliteConnection(const DatabaseUrl& url, std::shared_ptr<WriterQueue> writers)
        : url_(url), writers_(std::move(writers)) {}
    ~SqliteConnection() override {
        if (writing_)
            rollback();
    }

    bool open(EngineError& error);

    std::unique_ptr<Statement> prepare(const std::string& sql, StatementUse use) override;
    std::string callText(const OVDBRowDeclaration& declaration, std::size_t inputs) override;
    int begin(TransactionKind kind) override;
    int commit() override;
    int rollback() override;
    bool inTransaction() const override { return sqlite3_get_autocommit(database_.get()) == 0; }
    bool isBroken() const override { return false; }
    const char* isIn() const override { return " IN (SELECT value FROM json_each(? ))"; }
    bool readsBlockWriters() const override { return !wal_; }
    int runScript(const std::string& sql) override;
    std::unique_ptr<BulkWriter> bulkWriter() override;
    const EngineError& error() const override { return error_; }

    /// Remembers why the last call failed, in SQLite's words for it unless others are given. Its class.
    int fail(int code, const char* words = nullptr);
    /// A write outside a transaction waits for its turn; `entered` tells to leave the queue afterwards.
    int enterQueue(bool& entered);
    void leaveQueue(bool entered) noexcept {
        if (!entered)
            return;
        atTurn_ = false;
        writers_->leave();
    }
    /// After a failed single write nothing of it may stay: the truth is the engine's, not a flag's.
    void undoSingleWrite() noexcept {
        if (!inOurTransaction_ && inTransaction())
            sqlite3_exec(database_.get(), "ROLLBACK", nullptr, nullptr, nullptr);
    }
    bool inOurTransaction() const { return inOurTransaction_; }
    /// Whose time the engine's work from now on is.
    void watch(Watch* watch) { watch_ = watch; }
    std::int64_t changes() const { return sqlite3_changes64(database_.get()); }

  private:
    static int onBusy(void* self, int calls);
    static int onProgress(void* self);
    bool setJournal(std::string& words);

    DatabaseUrl url_;
    std::shared_ptr<WriterQueue> writers_;
    DatabaseHandle database_;
    EngineError error_;
    bool wal_ = false;
    bool inOurTransaction_ = false;
    bool writing_ = false; ///< the transaction holds the writers' queue
    bool atTurn_ = false;  ///< that, or a single write does
    Clock::time_point busySince_;
    Watch* watch_ = nullptr;
};

// ---- statements

int SqliteStatement::bind(std::span<const Value> values) {
    sqlite3_stmt* const statement = handle_.get();
    const auto wanted = static_cast<std::size_t>(sqlite3_bind_parameter_count(statement));
    if (wanted > values.size())
        return SQLITE_RANGE;
    for (std::size_t i = 0; i < wanted; ++i) { // a procedure need not use all its inputs
        const Value& value = values[i];
        const int at = static_cast<int>(i) + 1;
        int code = SQLITE_OK;
        switch (value.type) {
        case Value::Type::kNull:
            code = sqlite3_bind_null(statement, at);
            break;
        case Value::Type::kInt32:
        case Value::Type::kInt64:
            code = sqlite3_bind_int64(statement, at, value.number);
            break;
        case Value::Type::kText: // the caller keeps it until finish()
            code = sqlite3_bind_text64(statement, at, value.text.empty() ? "" : value.text.data(), value.text.size(),
                                       SQLITE_STATIC, SQLITE_UTF8);
            break;
        case Value::Type::kIds:
            ids_ = "[";
            for (const std::int32_t id : value.ids())
                (ids_ += ids_.size() > 1 ? "," : "") += std::to_string(id);
            ids_ += "]";
            code = sqlite3_bind_text64(statement, at, ids_.data(), ids_.size(), SQLITE_STATIC, SQLITE_UTF8);
            break;
        }
        if (code != SQLITE_OK)
            return code;
    }
    return SQLITE_OK;
}

int SqliteStatement::step() {
    connection_.watch(&watch_);
    watch_.resume();
    const int code = sqlite3_step(handle_.get());
    watch_.pause();
    connection_.watch(nullptr);
    if (code == SQLITE_ROW)
        return kDbOk;
    return code == SQLITE_DONE ? kDbNoRow : connection_.fail(code);
}

int SqliteStatement::execute(std::span<const Value> values) {
    if (const int code = bind(values); code != SQLITE_OK)
        return connection_.fail(code, sqlite3_errstr(code));
    watch_ = {};
    if (manyRows_)
        since_ = coarseNow();
    if (!writes_)
        return step();
    bool entered = false;
    int status = connection_.enterQueue(entered);
    if (status == kDbOk) {
        // A write runs to its end at once: only then is it known to be done.
        status = step();
        if (status == kDbOk)
            status = detach();
        if (status < 0)
            connection_.undoSingleWrite();
        affected_ = status < 0 ? 0 : connection_.changes();
    }
    connection_.leaveQueue(entered);
    return status;
}

bool SqliteStatement::blocksTooLong() {
    constexpr unsigned kRowsBetweenLooks = 4; // the rows of a slow reader, too
    constexpr std::chrono::milliseconds kLimit{200};
    return manyRows_ && ++rowsRead_ % kRowsBetweenLooks == 0 && connection_.readsBlockWriters() &&
           !connection_.inOurTransaction() && coarseNow() - since_ >= kLimit;
}

int SqliteStatement::next() {
    if (!detached_) {
        const int status = step();
        if (status != kDbOk || !blocksTooLong())
            return status;
        (void)detach(); // a failure is met behind the rows that were read before it
        return kDbOk;
    }
    if (kept_.row() != nullptr)
        kept_.pop(columns());
    return kept_.row() != nullptr ? kDbOk : afterKept_;
}

const OVDBColumn* SqliteStatement::read(const RowTarget& target) {
    return detached_ ? readRow(PackedCells(kept_.row()), target) : readRow(LiveCells{handle_.get()}, target);
}

void SqliteStatement::readText(std::string& text) {
    if (detached_) {
        const PackedCells cells(kept_.row());
        text += cells.at(0).text();
    } else {
        text += LiveCells{handle_.get()}.at(0).text();
    }
}

int SqliteStatement::detach() {
    if (detached_)
        return kDbOk;
    int status = kDbOk;
    for (; status == kDbOk; status = step())
        packRow(LiveCells{handle_.get()}, columns(), kept_.forNext());
    detached_ = true;
    afterKept_ = status;
    sqlite3_reset(handle_.get());
    return status == kDbNoRow ? kDbOk : status;
}

void SqliteStatement::finish() noexcept {
    sqlite3_reset(handle_.get());
    if (detached_) {
        kept_.clear();
        detached_ = false;
    }
}

// ---- connections

bool SqliteConnection::open(EngineError& error) {
    struct stat about {};
    if (stat(url_.path.c_str(), &about) != 0) {
        if (!url_.createMissing) {
            error = {kDbFailed, SQLITE_CANTOPEN, url_.path + ": " + std::strerror(errno)};
            return false;
        }
    } else if (S_ISDIR(about.st_mode)) {
        error = {kDbNotADatabase, SQLITE_CANTOPEN, url_.path + ": is a directory"};
        return false;
    }
    sqlite3* opened = nullptr;
    // One thread at a time has the connection, so SQLite's own mutexes would only cost.
    const int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_EXRESCODE |
                      (url_.createMissing ? SQLITE_OPEN_CREATE : 0);
    // A path that looked like one of SQLite's own URIs would be read as one.
    const std::string path = (url_.path.compare(0, 5, "file:") == 0 ? "./" : "") + url_.path;
    const int code = sqlite3_open_v2(path.c_str(), &opened, flags, nullptr);
    database_.reset(opened);
    std::string words;
    bool ready = code == SQLITE_OK;
    if (ready) {
        sqlite3_busy_handler(opened, &SqliteConnection::onBusy, this);
        const int made = addSqliteFunctions(opened);
        if (url_.statementLimit.count() > 0)
            sqlite3_progress_handler(opened, 20'000, &SqliteConnection::onProgress, this);
        // case_sensitive_like: LIKE compares bytes, as it does on a server.
        ready = (made == SQLITE_OK || fail(made) == kDbOk) &&
                runScript("PRAGMA trusted_schema=OFF; PRAGMA case_sensitive_like=ON; PRAGMA synchronous=FULL; "
                          "PRAGMA temp_store=MEMORY; PRAGMA cache_size=-16384; SELECT count(*) FROM sqlite_schema;") ==
                    kDbOk &&
                setJournal(words);
    } else {
        fail(code);
    }
    if (!ready) {
        error = error_;
        error.words = url_.path + ": " + (words.empty() ? error_.words : words);
    }
    return ready;
}

/// Write-ahead logging loses commits in the versions whose reset of the log is at fault.
bool walIsSafe(int version) {
    return version >= 3'051'003 || (version >= 3'050'007 && version < 3'051'000) ||
           (version >= 3'044'006 && version < 3'045'000);
}

bool usesWal(const DatabaseUrl& url) {
    const auto asked = url.engineOptions.find("journal");
    return asked == url.engineOptions.end() ? walIsSafe(sqlite3_libversion_number()) : asked->second == "wal";
}

bool SqliteConnection::setJournal(std::string& words) {
    const bool wal = wal_ = usesWal(url_);
    const std::string mode = wal ? "wal" : "truncate";
    std::string answer;
    const auto keepAnswer = [](void* out, int, char** values, char**) {
        *static_cast<std::string*>(out) = values[0] == nullptr ? "" : values[0];
        return 0;
    };
    if (url_.lookOnly || sqlite3_db_readonly(database_.get(), "main") == 1)
        return true; // nothing will be written
    const int code =
        sqlite3_exec(database_.get(), ("PRAGMA journal_mode=" + mode).c_str(), keepAnswer, &answer, nullptr);
    if (code != SQLITE_OK) {
        fail(code);
        words = "the journal mode cannot be set to " + mode + ": " + error_.words;
        return false;
    }
    if (answer != mode) {
        error_ = {kDbFailed, SQLITE_ERROR, ""};
        words = "the journal mode is " + answer + " and cannot be set to " + mode;
        return false;
    }
    return true;
}

int SqliteConnection::fail(int code, const char* words) {
    const char* const text = words != nullptr ? words : sqlite3_errmsg(database_.get());
    error_ = {statusOf(code, text), code, text};
    if (error_.status == kDbTimedOut)
        error_.words = "the statement ran longer than " + std::to_string(url_.statementLimit.count()) + " ms";
    return error_.status;
}

int SqliteConnection::onBusy(void* self, int calls) {
    auto& connection = *static_cast<SqliteConnection*>(self);
    const auto now = Clock::now();
    if (calls == 0)
        connection.busySince_ = now;
    // All writers of this process have left the file, and its readers have a write-ahead log's lock for moments only.
    constexpr int kMoments = 2;
    if (calls >= kMoments && connection.atTurn_ &&
        sqlite3_txn_state(connection.database_.get(), "main") != SQLITE_TXN_WRITE)
        connection.writers_->noteOthers();
    if (now - connection.busySince_ >= connection.url_.lockLimit)
        return 0;
    // Often: beside a writer of many small transactions the file is free for moments only.
    std::this_thread::sleep_for(std::chrono::microseconds(std::min(100 + 10 * calls, 1000)));
    return 1;
}

int SqliteConnection::onProgress(void* self) {
    auto& connection = *static_cast<SqliteConnection*>(self);
    return connection.watch_ != nullptr && connection.watch_->passed(connection.url_.statementLimit) ? 1 : 0;
}

std::unique_ptr<Statement> SqliteConnection::prepare(const std::string& sql, StatementUse use) {
    sqlite3_stmt* statement = nullptr;
    const char* rest = "";
    const int code = sqlite3_prepare_v3(database_.get(), sql.c_str(), static_cast<int>(sql.size()),
                                        SQLITE_PREPARE_PERSISTENT, &statement, &rest);
    StatementHandle handle(statement);
    if (code == SQLITE_OK && std::string_view(rest).find_first_not_of(" \n") != std::string_view::npos) {
        fail(SQLITE_MISUSE, "more than one statement");
        return nullptr;
    }
    if (code != SQLITE_OK || handle == nullptr) {
        fail(code == SQLITE_OK ? SQLITE_MISUSE : code);
        return nullptr;
    }
    return std::make_unique<SqliteStatement>(*this, std::move(handle), use == StatementUse::kRows);
}

std::string SqliteConnection::callText(const OVDBRowDeclaration& declaration, std::size_t /*inputs*/) {
    return EmbeddedProcedures::find(declaration.object);
}

int SqliteConnection::enterQueue(bool& entered) {
    entered = false;
    if (writing_)
        return kDbOk;
    switch (writers_->enter(url_.lockLimit)) {
    case WriterQueue::Entry::kEntered:
        entered = atTurn_ = true;
        return kDbOk;
    case WriterQueue::Entry::kSelf:
        error_ = {kDbBusy, SQLITE_BUSY, "this thread's own open transaction holds the write lock"};
        break;
    case WriterQueue::Entry::kTimedOut:
        error_ = {kDbBusy, SQLITE_BUSY, "another writer of this process held the database for the whole lock limit"};
        break;
    }
    return error_.status;
}

int SqliteConnection::begin(TransactionKind kind) {
    bool entered = false;
    const bool writes = kind != TransactionKind::kRead;
    if (writes)
        if (const int status = enterQueue(entered); status != kDbOk)
            return status;
    const int status = runScript(writes ? "BEGIN IMMEDIATE" : "BEGIN");
    if (status != kDbOk) {
        leaveQueue(entered);
        return status;
    }
    inOurTransaction_ = true;
    writing_ = entered;
    return kDbOk;
}

int SqliteConnection::commit() {
    int status = kDbOk;
    if (inTransaction()) {
        status = runScript("COMMIT");
    } else {
        // Some failures, a full disk for one, make the engine roll back by itself.
        error_ = {kDbTransactionFailed, SQLITE_ABORT, "the database had rolled the transaction back"};
        status = error_.status;
    }
    if (status != kDbOk) {
        const EngineError why = error_;
        rollback();
        error_ = why;
        return status;
    }
    inOurTransaction_ = false;
    leaveQueue(writing_);
    writing_ = false;
    return kDbOk;
}

int SqliteConnection::rollback() {
    const int status = inTransaction() ? runScript("ROLLBACK") : kDbOk;
    inOurTransaction_ = false;
    leaveQueue(writing_);
    writing_ = false;
    return status;
}

int SqliteConnection::runScript(const std::string& sql) {
    Watch whole;
    watch(&whole);
    const int code = sqlite3_exec(database_.get(), sql.c_str(), nullptr, nullptr, nullptr);
    watch(nullptr);
    return code == SQLITE_OK ? kDbOk : fail(code);
}

/// One kept statement for each table and set of columns. The engine numbers rows behind the highest serial it has seen.
class SqliteBulkWriter : public BulkWriter {
  public:
    explicit SqliteBulkWriter(SqliteConnection& connection) : connection_(connection) {}

    int add(const OVDBRowDeclaration& table, std::uint64_t given, std::span<const Value> values) override {
        constexpr std::size_t kStatementsMax = 256;
        if (statements_.size() >= kStatementsMax)
            statements_.clear();
        auto& statement = statements_[{&table, given}];
        if (statement == nullptr)
            statement = connection_.prepare(insertText(table, given), StatementUse::kWrite);
        if (statement == nullptr)
            return connection_.error().status;
        const int status = statement->execute(values);
        statement->finish();
        return status < 0 ? status : kDbOk;
    }
    int finish() override {
        statements_.clear();
        return kDbOk;
    }
    BulkFault fault() const override { return {}; }

  private:
    static std::string insertText(const OVDBRowDeclaration& table, std::uint64_t given) {
        std::string columns;
        std::string places;
        for (std::size_t i = 0; i < table.columns.size(); ++i) {
            if ((given >> i & 1U) == 0)
                continue;
            columns += (columns.empty() ? "" : ", ") + std::string(table.columns[i].name);
            places += places.empty() ? "?" : ", ?";
        }
        const std::string target = std::string("INSERT INTO ") + table.object;
        return given == 0 ? target + " DEFAULT VALUES" : target + " (" + columns + ") VALUES (" + places + ")";
    }

    SqliteConnection& connection_;
    std::map<std::pair<const OVDBRowDeclaration*, std::uint64_t>, std::unique_ptr<Statement>> statements_;
};

std::unique_ptr<BulkWriter> SqliteConnection::bulkWriter() {
    return std::make_unique<SqliteBulkWriter>(*this);
}

} // namespace

// ---- the engine

WriterQueue::Entry WriterQueue::enter(std::chrono::milliseconds limit) {
    std::unique_lock lock(mutex_);
    if (writer_ == std::this_thread::get_id())
        return Entry::kSelf;
    if (!left_.wait_for(lock, limit, [this] { return writer_ == std::thread::id(); }))
        return Entry::kTimedOut;
    writer_ = std::this_thread::get_id();
    lock.unlock();
    letOthersIn();
    return Entry::kEntered;
}

void WriterQueue::letOthersIn() {
    constexpr std::chrono::seconds kRemembered{1};
    constexpr Clock::duration kShort = std::chrono::microseconds(200); // who polls loses little by such a write
    constexpr Clock::duration kLongest = std::chrono::milliseconds(1); // as seldom as a lock is asked for
    const auto taken = leftAt_ - enteredAt_;
    if (taken > kShort && Clock::now() - othersSeen_ < kRemembered)
        std::this_thread::sleep_until(leftAt_ + std::min(taken, kLongest));
    enteredAt_ = Clock::now();
}

void WriterQueue::leave() noexcept {
    leftAt_ = Clock::now();
    {
        const std::lock_guard lock(mutex_);
        writer_ = {};
    }
    left_.notify_one();
}

const Dialect& SqliteEngine::dialect() const {
    return kSqliteDialect;
}

bool SqliteEngine::isMissing() const {
    struct stat about {};
    return lstat(url_.path.c_str(), &about) != 0;
}

void SqliteEngine::remove(bool onlyEmpty) noexcept {
    struct stat about {};
    if (onlyEmpty && (stat(url_.path.c_str(), &about) != 0 || about.st_size != 0))
        return;
    for (const char* file : {"", "-journal", "-wal", "-shm"})
        ::unlink((url_.path + file).c_str());
}

bool SqliteEngine::forkedChildMayConnect(bool idle) const {
    // SQLite notes the locks of a file per process; a child inherits the notes but not the locks. A write-ahead log is
    // locked as long as a connection to it is open.
    return idle && !usesWal(url_);
}

SqliteEngine::SqliteEngine(DatabaseUrl url) : url_(std::move(url)) {}

std::unique_ptr<Connection> SqliteEngine::open(EngineError& error, RoundTrips* /*none*/) {
    auto connection = std::make_unique<SqliteConnection>(url_, writers_);
    if (!connection->open(error))
        return nullptr;
    return connection;
}

} // namespace hubdb
