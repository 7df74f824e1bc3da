#include "db/engines/postgres/PostgresConnection.h"

#include <poll.h>

#include <algorithm>
#include <charconv>
#include <cstring>
#include <string_view>
#include <thread>
#include <utility>

#include "db/engines/postgres/PostgresBulkWriter.h"
#include "db/engines/postgres/PostgresStatement.h"
#include "db/engines/postgres/PostgresWire.h"

namespace hubdb {

namespace {

/// The server's codes for a prepared statement that it has not, and for one whose result is another one now.
constexpr std::string_view kForgotten = "26000";
constexpr std::string_view kChanged = "0A000";

} // namespace

// ---- waiting

PostgresConnection::Clock::time_point PostgresConnection::statementDeadline() const {
    return url_.statementLimit.count() == 0 ? mustEndBy_
                                            : std::min(mustEndBy_, Clock::now() + url_.statementLimit + kGrace);
}

bool PostgresConnection::waitToSend(Clock::time_point deadline) {
    return pollUntil(PQsocket(connection_.get()), POLLIN | POLLOUT, deadline);
}

bool PostgresConnection::nextResult(Clock::time_point deadline, PostgresResult& result) {
    PGconn* const connection = connection_.get();
    while (PQisBusy(connection) != 0) {
        const bool unsent = PQflush(connection) > 0;
        // What TLS has read ahead does not show on the socket.
        const bool readAhead = PQsslInUse(connection) != 0;
        if (readAhead && PQconsumeInput(connection) == 1 && PQisBusy(connection) == 0)
            break;
        if (!(unsent ? waitToSend(deadline) : watch_.waitUntil(deadline)))
            return false;
        PQconsumeInput(connection); // its failure is met by PQgetResult
    }
    result.reset(PQgetResult(connection));
    return true;
}

int PostgresConnection::collect(StatementUse use, int syncs, Answer& answer) {
    if (roundTrips_ != nullptr)
        roundTrips_->store(roundTrips_->load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
    auto deadline = statementDeadline();
    PGconn* const connection = connection_.get();
    const bool pipelined = syncs > 0;
    bool answered = false;
    bool cancelled = false;
    for (;;) {
        PostgresResult result;
        if (!nextResult(deadline, result)) {
            // A commit, also that of a single write, is never cancelled: one that waits for a standby would be done.
            if (cancelled || (use == StatementUse::kWrite && !writing_) || !cancel())
                return abandon(use);
            cancelled = true;
            deadline = Clock::now() + kGrace;
            continue;
        }
        if (result == nullptr) {
            if (!pipelined || PQstatus(connection) == CONNECTION_BAD)
                break;
            continue;
        }
        const auto status = PQresultStatus(result.get());
        if (status == PGRES_PIPELINE_SYNC) {
            if (--syncs == 0)
                break;
        } else if (status == PGRES_TUPLES_OK || status == PGRES_COMMAND_OK) {
            answered = true;
            auto& kept = answer.first == nullptr ? answer.first : answer.last;
            kept = std::move(result);
        } else if (status == PGRES_COPY_IN) {
            return kDbOk; // data are wanted
        } else if (status == PGRES_COPY_OUT || status == PGRES_COPY_BOTH) {
            lost_ = true; // nobody here takes them
            return fail(kDbBadStatement, "the statement sends data instead of rows");
        } else if (status != PGRES_PIPELINE_ABORTED && status != PGRES_EMPTY_QUERY && answer.failure == nullptr) {
            answer.failure = std::move(result);
        }
    }
    if (pipelined && PQstatus(connection) == CONNECTION_OK && PQexitPipelineMode(connection) == 0)
        stale_ = true;
    if (answer.failure != nullptr)
        return failWith(answer.failure.get(), use, answered);
    if (PQstatus(connection) == CONNECTION_BAD)
        return failWith(nullptr, use, true);
    if (answer.last == nullptr)
        answer.last = std::move(answer.first);
    return kDbOk;
}

// ---- failures

int PostgresConnection::fail(int status, const std::string& words) {
    error_ = {status, 0, words};
    sqlState_.clear();
    return status;
}

int PostgresConnection::failUnsent() {
    fail(kDbConnectionLost, "the connection was closed by the server");
    error_.unsent = true;
    return error_.status;
}

int PostgresConnection::rollbackKeepingError() {
    const EngineError why = error_;
    if (inTransaction())
        rollback();
    error_ = why;
    return why.status;
}

int PostgresConnection::sendFailed() {
    lost_ = PQstatus(connection_.get()) == CONNECTION_BAD;
    return fail(lost_ ? kDbConnectionLost : kDbFailed, oneLine(PQerrorMessage(connection_.get())));
}

int PostgresConnection::failWith(const PGresult* failure, StatementUse use, bool answered) {
    const std::string sqlState(fieldOf(failure, PG_DIAG_SQLSTATE));
    const std::string words(fieldOf(failure, PG_DIAG_MESSAGE_PRIMARY)); // the details would repeat values
    const bool within = PQtransactionStatus(connection_.get()) == PQTRANS_INERROR;
    lost_ = PQstatus(connection_.get()) == CONNECTION_BAD;
    if (lost_) {
        // A server that goes says so instead of carrying the statement out, unless it was done already. Without that
        // word, which a proxy cannot give for it, the end of a single write is not known.
        const bool untouched = keepsStatements_ && sqlState.starts_with("57P") && !answered;
        const int status =
            use == StatementUse::kWrite && !untouched && !writing_ ? kDbUnknownOutcome : kDbConnectionLost;
        return fail(status, words.empty() ? oneLine(PQerrorMessage(connection_.get())) : oneLine(words));
    }
    int status = postgresStatus(sqlState, fieldOf(failure, PG_DIAG_CONSTRAINT_NAME));
    fail(status, oneLine(words));
    sqlState_ = sqlState;
    if (status == kDbTimedOut && url_.statementLimit.count() > 0)
        error_.words = "the statement ran longer than " + std::to_string(url_.statementLimit.count()) +
                       " ms, or was cancelled: " + error_.words;
    if ((sqlState == kForgotten || sqlState == kChanged) && within)
        status = error_.status = kDbSerialization; // the tables changed under the transaction: it may run again
    stale_ = stale_ || status == kDbReadOnly;
    return status;
}

int PostgresConnection::abandon(StatementUse use) {
    lost_ = true;
    return fail(use == StatementUse::kWrite && !writing_ ? kDbUnknownOutcome : kDbTimedOut,
                "the server did not answer within " + std::to_string(url_.statementLimit.count()) +
                    " ms: the connection was given up");
}

bool PostgresConnection::isDead() {
    PGconn* const connection = connection_.get();
    if (lost_)
        return true;
    if (!pollUntil(PQsocket(connection), POLLIN, {}))
        return false;
    // Something came unasked: a notice, or the connection's end.
    lost_ = PQconsumeInput(connection) == 0;
    if (!lost_) {
        PQisBusy(connection); // reads a farewell
        lost_ = saidFarewell_ || PQstatus(connection) == CONNECTION_BAD || pollUntil(PQsocket(connection), POLLIN, {});
    }
    return lost_;
}

// ---- sending

int PostgresConnection::send(const PostgresCommand& command) {
    static const PostgresParameters kNone;
    const PostgresParameters& values = command.parameters == nullptr ? kNone : *command.parameters;
    constexpr int kBinary = 1;
    return command.name != nullptr ? PQsendQueryPrepared(connection_.get(), command.name, values.count(), values.data(),
                                                         values.lengths(), values.formats(), kBinary)
                                   : PQsendQueryParams(connection_.get(), command.sql, values.count(), values.types(),
                                                       values.data(), values.lengths(), values.formats(), kBinary);
}

int PostgresConnection::run(const PostgresCommand& command, StatementUse use, PostgresResult& answer) {
    if (!keepsStatements_ && !inTransaction()) {
        const std::string limits = limitsInBand();
        const PostgresCommand commands[] = {{nullptr, limits.c_str(), nullptr}, command};
        return runTogether(commands, use, answer);
    }
    if (use == StatementUse::kWrite ? isDead() : lost_)
        return failUnsent();
    if (send(command) == 0)
        return sendFailed();
    Answer all;
    const int status = collect(use, 0, all);
    answer = std::move(all.last);
    return status;
}

int PostgresConnection::runTogether(std::span<const PostgresCommand> commands, StatementUse use,
                                    PostgresResult& answer) {
    if (isDead())
        return failUnsent();
    PGconn* const connection = connection_.get();
    bool sent = PQenterPipelineMode(connection) == 1;
    for (const auto& command : commands)
        sent = sent && send(command) == 1;
    if (!sent || PQpipelineSync(connection) == 0) {
        stale_ = true; // half a pipeline
        return sendFailed();
    }
    Answer all;
    const int status = collect(use, 1, all);
    answer = std::move(all.last);
    return status;
}

int PostgresConnection::simple(const std::string& sql, StatementUse use, Answer& answer) {
    if (isDead())
        return failUnsent();
    if (PQsendQuery(connection_.get(), sql.c_str()) == 0)
        return sendFailed();
    return collect(use, 0, answer);
}

int PostgresConnection::runScript(const std::string& sql) {
    return runOnce(sql, StatementUse::kWrite);
}

std::string PostgresConnection::limitsInBand() const {
    return "SELECT set_config('statement_timeout', '" + std::to_string(url_.statementLimit.count()) +
           "', true), set_config('lock_timeout', '" + std::to_string(url_.lockLimit.count()) + "', true)";
}

// ---- prepared statements

std::string PostgresConnection::parse(const std::string& sql, const PostgresParameters& parameters) {
    forgetStatements();
    // The name tells the text, so that one that is there already under it is the same.
    std::string name = "vsdk_" + std::to_string(std::hash<std::string>{}(sql + '\0' + parameters.typeText())) + "_" +
                       std::to_string(generation_);
    if (held_.contains(name) || std::erase(unheld_, name) > 0)
        return name;
    if (isDead()) {
        failUnsent();
        return "";
    }
    Answer answer;
    if (PQsendPrepare(connection_.get(), name.c_str(), sql.c_str(), parameters.count(), parameters.types()) == 0) {
        sendFailed();
        return "";
    }
    constexpr std::string_view kThereAlready = "42P05";
    if (const int status = collect(StatementUse::kOneRow, 0, answer); status != kDbOk && sqlState_ != kThereAlready) {
        error_.unsent = status == kDbConnectionLost;
        return "";
    }
    return name;
}

bool PostgresConnection::statementIsStale() {
    const bool forgotten = sqlState_ == kForgotten;
    const bool stale = forgotten || sqlState_ == kChanged;
    if (stale)
        ++generation_; // what else it prepared is likely to have gone the same way
    if (forgotten)
        held_.clear();
    return stale;
}

void PostgresConnection::letGo(const std::string& name) noexcept {
    const auto found = held_.find(name);
    if (found == held_.end() || --found->second > 0)
        return;
    held_.erase(found);
    unheld_.push_back(name);
}

void PostgresConnection::forgetStatements() {
    if (unheld_.empty() || lost_ || inTransaction())
        return; // within a transaction a failure would cost all of it
    for (const auto& name : std::exchange(unheld_, {}))
        (void)runScript("DEALLOCATE " + name);
}

std::string PostgresConnection::callText(const OVDBRowDeclaration& declaration, std::size_t inputs) {
    std::string marks;
    for (std::size_t i = 0; i < inputs; ++i)
        marks += i == 0 ? "?" : ", ?";
    return std::string("SELECT * FROM ") + declaration.object + "(" + marks + ")";
}

std::unique_ptr<Statement> PostgresConnection::prepare(const std::string& sql, StatementUse use) {
    return std::make_unique<PostgresStatement>(*this, sql, use);
}

void PostgresConnection::closeCursor(const std::string& cursor) noexcept {
    if (!lost_ && PQtransactionStatus(connection_.get()) != PQTRANS_INERROR) // else it is gone
        (void)runOnce("CLOSE " + cursor, StatementUse::kOneRow);
}

// ---- many rows

bool PostgresConnection::flush(Clock::time_point deadline) {
    int left = 0;
    while ((left = PQflush(connection_.get())) == 1) {
        if (!waitToSend(deadline))
            return false;
        PQconsumeInput(connection_.get()); // a server that has something to say may not take more before
    }
    return left == 0;
}

int PostgresConnection::beginCopy(const std::string& sql) {
    return runOnce(sql, StatementUse::kWrite);
}

int PostgresConnection::sendCopy(const std::string& data) {
    const auto deadline = statementDeadline();
    if (PQputCopyData(connection_.get(), data.data(), static_cast<int>(data.size())) != 1)
        return sendFailed();
    if (flush(deadline))
        return kDbOk;
    return PQstatus(connection_.get()) == CONNECTION_OK ? abandon(StatementUse::kWrite) : sendFailed();
}

int PostgresConnection::endCopy(std::uint64_t& line) {
    line = 0;
    if (PQputCopyEnd(connection_.get(), nullptr) != 1)
        return sendFailed();
    Answer answer;
    const int status = collect(StatementUse::kWrite, 0, answer);
    if (answer.failure == nullptr)
        return status;
    // "COPY app_client, line 3, column id", in the server's language.
    const std::string_view context = fieldOf(answer.failure.get(), PG_DIAG_CONTEXT);
    const std::size_t comma = std::min(context.find(','), context.size());
    const std::size_t digits = std::min(context.find_first_of("0123456789", comma), context.size());
    std::from_chars(context.data() + digits, context.data() + context.size(), line);
    return status;
}

std::unique_ptr<BulkWriter> PostgresConnection::bulkWriter() {
    return std::make_unique<PostgresBulkWriter>(*this);
}

// ---- transactions

int PostgresConnection::begin(TransactionKind kind) {
    if (kind == TransactionKind::kWrite && keepsStatements_ && !incarnationKnown_) {
        incarnation_ = incarnation();
        incarnationKnown_ = true;
    }
    // A number of our own that creations and upgrades of hub databases queue at. They see no schema but theirs.
    constexpr const char* kSchemaLock = "; SELECT pg_advisory_xact_lock(7305806893410), "
                                        "set_config('search_path', quote_ident(current_schema()), true)";
    std::string sql = "BEGIN ISOLATION LEVEL ";
    sql += kind == TransactionKind::kSchema ? "READ COMMITTED" : "REPEATABLE READ";
    sql += kind == TransactionKind::kRead ? " READ ONLY" : "";
    if (!keepsStatements_)
        sql += "; " + limitsInBand();
    if (kind == TransactionKind::kSchema)
        sql += kSchemaLock;
    const int status = runOnce(sql, StatementUse::kOneRow);
    if (status != kDbOk)
        return rollbackKeepingError();
    writing_ = kind != TransactionKind::kRead;
    ++transactionNumber_;
    return kDbOk;
}

int PostgresConnection::rollback() {
    ++transactionNumber_;
    writing_ = false;
    if (lost_)
        return fail(kDbConnectionLost, "the connection was lost before");
    return inTransaction() ? runOnce("ROLLBACK", StatementUse::kOneRow) : kDbOk;
}

} // namespace hubdb
