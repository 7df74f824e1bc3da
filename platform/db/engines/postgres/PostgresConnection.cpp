#include "db/engines/postgres/PostgresConnection.h"

#include <poll.h>

#include <algorithm>
#include <charconv>
#include <cstring>
#include <string_view>
#include <thread>
#include <utility>

#include "db/engines/postgres/PostgresBulkWriter.h"
#include "db/engines/postgres/PostgresHosts.h"
#include "db/engines/postgres/PostgresStatement.h"
#include "log/EvDebug.h"
#include "log/EvLogSink.h"

namespace hubdb {

namespace {

using Milliseconds = std::chrono::milliseconds;

/// How much longer than the server the connection's own clock waits: the server's answer may be under way.
constexpr Milliseconds kGrace{500};

/// The server's codes for a prepared statement that it has not, and for one whose result is another one now.
constexpr std::string_view kForgotten = "26000";
constexpr std::string_view kChanged = "0A000";

/// What the server says, in one line.
std::string oneLine(std::string_view words) {
    std::string line;
    for (const char c : words) {
        const bool blank = c == '\n' || c == '\t' || c == ' ';
        if (!blank)
            line += c;
        else if (!line.empty() && line.back() != ' ')
            line += ' ';
    }
    if (line.ends_with(' '))
        line.pop_back();
    return line;
}

std::string_view field(const PGresult* result, int code) {
    const char* const text = PQresultErrorField(result, code);
    return text == nullptr ? std::string_view() : text;
}

/// A wait of poll(2) until `deadline`; -1 for one without end.
int pollMilliseconds(PostgresConnection::Clock::time_point deadline) {
    if (deadline == PostgresConnection::Clock::time_point::max())
        return -1;
    const auto left = std::chrono::ceil<Milliseconds>(deadline - PostgresConnection::Clock::now()).count();
    return static_cast<int>(std::clamp<std::int64_t>(left, 0, 1'000'000'000));
}

/// True when the descriptor is ready, false when the time is up.
bool pollUntil(int descriptor, short events, PostgresConnection::Clock::time_point deadline) {
    pollfd watched{descriptor, events, 0};
    int ready = 0;
    do {
        ready = poll(&watched, 1, pollMilliseconds(deadline));
    } while (ready < 0 && errno == EINTR);
    return ready != 0;
}

/// The server's five-character code in a failure to connect, which has no fields: "FATAL:  28P01: ...".
std::string connectSqlState(std::string_view words) {
    for (std::size_t at = words.find(":  "); at != std::string_view::npos; at = words.find(":  ", at + 1)) {
        const std::string_view code = words.substr(at + 3, 5);
        if (code.size() == 5 && words.substr(at + 8, 1) == ":" &&
            code.find_first_not_of("0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ") == std::string_view::npos)
            return std::string(code);
    }
    return "";
}

/// A failure to connect as the server and libpq tell it, without the code and the place in the server's source.
std::string connectWords(std::string_view words, const std::string& sqlState) {
    std::string text(words.substr(0, words.find("\nLOCATION:")));
    if (const auto code = text.find(sqlState + ": "); !sqlState.empty() && code != std::string::npos)
        text.erase(code, sqlState.size() + 2);
    return oneLine(text);
}

} // namespace

// ---- connecting

std::unique_ptr<PostgresConnection> PostgresConnection::open(const DatabaseUrl& url, RoundTrips* roundTrips,
                                                             EngineError& error) {
    const auto hosts = postgresHosts(url);
    std::string attributes = engineOption(url, "target_session_attrs");
    if (attributes.empty()) // after a failover the hosts may still all answer, and one of them takes writes
        attributes = hosts.size() > 1 ? "read-write" : "any";
    std::vector<std::string> passes{attributes};
    if (attributes == "prefer-standby")
        passes = {"standby", "any"};

    const auto deadline = Clock::now() + url.connectLimit;
    error = {};
    std::string words;
    auto left = static_cast<int>(passes.size() * hosts.size());
    for (const auto& wanted : passes) {
        for (const auto& host : hosts) {
            std::unique_ptr<PostgresConnection> connection(new PostgresConnection(url, roundTrips));
            // A host that does not answer leaves the others their share of the time.
            const auto now = Clock::now();
            const auto share = now + (deadline - now) / left--;
            EngineError failure;
            if (connection->connect(postgresConninfo(url, host, wanted), share, failure))
                return connection;
            if (failure.words.empty())
                failure.words = "no answer within the limit of " + std::to_string(url.connectLimit.count()) + " ms" +
                                (hosts.size() > 1 ? " for all hosts" : "");
            if (failure.words.find(host.words()) == std::string::npos && hosts.size() > 1)
                failure.words.insert(0, host.words() + ": ");
            words += (words.empty() ? "" : "; ") + failure.words;
            if (error.status == kDbOk || error.status == kDbConnectionLost)
                error = failure;
        }
    }
    error.words = url.name + ": " + words;
    return nullptr;
}

bool PostgresConnection::connect(const std::string& conninfo, Clock::time_point deadline, EngineError& error) {
    connection_.reset(PQconnectStart(conninfo.c_str()));
    PGconn* const connection = connection_.get();
    if (connection == nullptr) {
        error = {kDbFailed, 0, "out of memory"};
        return false;
    }
    PQsetErrorVerbosity(connection, PQERRORS_VERBOSE); // with the server's code
    PQsetNoticeReceiver(
        connection,
        [](void*, const PGresult* notice) {
            EvDebug::DebugLvl("PostgresConnection", kEvLogDetail, "%s",
                              std::string(field(notice, PG_DIAG_MESSAGE_PRIMARY)).c_str());
        },
        nullptr);
    auto state = PQstatus(connection) == CONNECTION_BAD ? PGRES_POLLING_FAILED : PGRES_POLLING_WRITING;
    while (state != PGRES_POLLING_OK && state != PGRES_POLLING_FAILED) {
        if (!pollUntil(PQsocket(connection), state == PGRES_POLLING_READING ? POLLIN : POLLOUT, deadline)) {
            error.status = kDbTimedOut;
            return false;
        }
        state = PQconnectPoll(connection);
    }
    if (state == PGRES_POLLING_FAILED) {
        const std::string words = PQerrorMessage(connection);
        const std::string sqlState = connectSqlState(words);
        int status = sqlState.empty() ? kDbConnectionLost : postgresStatus(sqlState, "");
        if (PQconnectionNeedsPassword(connection) == 1)
            status = kDbFailed; // one was asked for, and none is there
        error = {status, 0, connectWords(words, sqlState)};
        if (words.find("definition of service") != std::string::npos)
            error.words += " (named by the environment's PGSERVICE)";
        return false;
    }
    PQsetErrorVerbosity(connection, PQERRORS_DEFAULT);
    PQsetnonblocking(connection, 1);
    return makeReady(error);
}

bool PostgresConnection::makeReady(EngineError& error) {
    keepsStatements_ = engineOption(url_, "prepared") != "off";
    const auto is = [this](const char* parameter, std::string_view value) {
        const char* const now = PQparameterStatus(connection_.get(), parameter);
        return now == nullptr || now == value; // a server of another make may not say
    };
    if (!is("server_encoding", "UTF8")) {
        error = {kDbNotADatabase, 0, "the database's encoding must be UTF8"};
        return false;
    }
    if (!is("standard_conforming_strings", "on") && !keepsStatements_) {
        error = {kDbFailed, 0, "the server's standard_conforming_strings must be on"};
        return false;
    }
    if (!keepsStatements_)
        return true; // a setting would stay with the proxy's connection, which is next given to somebody else
    const std::string settings = "SET statement_timeout = " + std::to_string(url_.statementLimit.count()) +
                                 "; SET lock_timeout = " + std::to_string(url_.lockLimit.count()) +
                                 "; SET default_transaction_isolation = 'read committed'"
                                 "; SET standard_conforming_strings = on";
    if (runScript(settings) == kDbOk)
        return true;
    error = error_;
    return false;
}

// ---- waiting

PostgresConnection::Clock::time_point PostgresConnection::statementDeadline() const {
    return url_.statementLimit.count() == 0 ? Clock::time_point::max() : Clock::now() + url_.statementLimit + kGrace;
}

bool PostgresConnection::waitForSocket(Clock::time_point deadline, bool alsoWrite) {
    return pollUntil(PQsocket(connection_.get()), static_cast<short>(alsoWrite ? POLLIN | POLLOUT : POLLIN), deadline);
}

bool PostgresConnection::nextResult(Clock::time_point deadline, PostgresResult& result) {
    PGconn* const connection = connection_.get();
    while (PQisBusy(connection) != 0) {
        const bool unsent = PQflush(connection) > 0;
        // What TLS has read ahead does not show on the socket.
        const bool readAhead = PQsslInUse(connection) != 0;
        if (readAhead && PQconsumeInput(connection) == 1 && PQisBusy(connection) == 0)
            break;
        if (!waitForSocket(deadline, unsent))
            return false;
        PQconsumeInput(connection); // its failure is met by PQgetResult
    }
    result.reset(PQgetResult(connection));
    return true;
}

int PostgresConnection::collect(StatementUse use, int syncs, Answer& answer) {
    if (roundTrips_ != nullptr)
        roundTrips_->store(roundTrips_->load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
    const auto deadline = statementDeadline();
    PGconn* const connection = connection_.get();
    const bool pipelined = syncs > 0;
    bool answered = false;
    for (;;) {
        PostgresResult result;
        if (!nextResult(deadline, result))
            return abandon(use);
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

int PostgresConnection::sendFailed() {
    lost_ = PQstatus(connection_.get()) == CONNECTION_BAD;
    return fail(lost_ ? kDbConnectionLost : kDbFailed, oneLine(PQerrorMessage(connection_.get())));
}

int PostgresConnection::failWith(const PGresult* failure, StatementUse use, bool answered) {
    const std::string sqlState(field(failure, PG_DIAG_SQLSTATE));
    const std::string words(field(failure, PG_DIAG_MESSAGE_PRIMARY)); // the details would repeat values
    const bool within = PQtransactionStatus(connection_.get()) == PQTRANS_INERROR;
    lost_ = PQstatus(connection_.get()) == CONNECTION_BAD;
    if (lost_) {
        // The server tells that it goes before it does anything else, unless the statement was done already. Without
        // its word the end of a single write is not known.
        const bool untouched = !sqlState.empty() && !answered;
        const int status =
            use == StatementUse::kWrite && !untouched && !writing_ ? kDbUnknownOutcome : kDbConnectionLost;
        return fail(status, words.empty() ? oneLine(PQerrorMessage(connection_.get())) : oneLine(words));
    }
    int status = postgresStatus(sqlState, field(failure, PG_DIAG_CONSTRAINT_NAME));
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
        lost_ = PQstatus(connection) == CONNECTION_BAD || pollUntil(PQsocket(connection), POLLIN, {});
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
    if (use == StatementUse::kWrite && isDead()) {
        fail(kDbConnectionLost, "the connection was closed by the server");
        error_.unsent = true;
        return error_.status;
    }
    if (lost_)
        return fail(kDbConnectionLost, "the connection was lost before");
    if (send(command) == 0)
        return sendFailed();
    Answer all;
    const int status = collect(use, 0, all);
    answer = std::move(all.last);
    return status;
}

int PostgresConnection::runTogether(std::span<const PostgresCommand> commands, StatementUse use,
                                    PostgresResult& answer) {
    if (isDead()) {
        fail(kDbConnectionLost, "the connection was closed by the server");
        error_.unsent = true;
        return error_.status;
    }
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
        return fail(kDbConnectionLost, "the connection was closed by the server");
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
        fail(kDbConnectionLost, "the connection was closed by the server");
        error_.unsent = true;
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
        if (!waitForSocket(deadline, true))
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
    const std::string_view context = field(answer.failure.get(), PG_DIAG_CONTEXT);
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
    // A number of our own that creations and upgrades of hub databases queue at.
    constexpr const char* kSchemaLock = "; SELECT pg_advisory_xact_lock(7305806893410)";
    std::string sql = "BEGIN ISOLATION LEVEL ";
    sql += kind == TransactionKind::kSchema ? "READ COMMITTED" : "REPEATABLE READ";
    sql += kind == TransactionKind::kRead ? " READ ONLY" : "";
    if (!keepsStatements_)
        sql += "; " + limitsInBand();
    if (kind == TransactionKind::kSchema)
        sql += kSchemaLock;
    const int status = runOnce(sql, StatementUse::kOneRow);
    if (status != kDbOk) {
        if (inTransaction()) {
            const EngineError why = error_;
            rollback();
            error_ = why;
        }
        return status;
    }
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

int PostgresConnection::commit() {
    if (lost_ || PQtransactionStatus(connection_.get()) != PQTRANS_INTRANS) {
        rollback();
        return fail(kDbTransactionFailed, "the database had rolled the transaction back");
    }
    if (isDead())
        return fail(kDbConnectionLost, "the connection was closed by the server before the commit was sent");
    const bool told = writing_ && !incarnation_.empty();
    PGconn* const connection = connection_.get();
    // The transaction's id comes with an answer of its own, before the commit's: it is there when that is lost.
    const PostgresCommand id{nullptr, "SELECT pg_current_xact_id_if_assigned()::text", nullptr};
    const PostgresCommand commit{nullptr, "COMMIT", nullptr};
    if (PQenterPipelineMode(connection) == 0 || (told && (send(id) == 0 || PQpipelineSync(connection) == 0)) ||
        send(commit) == 0 || PQpipelineSync(connection) == 0) {
        sendFailed();
        lost_ = true;
        return fail(kDbUnknownOutcome, error_.words);
    }
    Answer answer;
    const bool wrote = writing_;
    writing_ = false;
    ++transactionNumber_;
    const int status = collect(StatementUse::kWrite, told ? 2 : 1, answer);
    if (status == kDbOk) {
        if (std::strcmp(PQcmdStatus(answer.last.get()), "COMMIT") == 0)
            return kDbOk;
        return fail(kDbTransactionFailed, "the database rolled the transaction back");
    }
    if (!lost_) {
        if (inTransaction()) {
            const EngineError why = error_;
            rollback();
            error_ = why;
        }
        return status;
    }
    if (!wrote)
        return fail(kDbConnectionLost, error_.words);
    if (!told || answer.first == nullptr)
        return fail(kDbUnknownOutcome, error_.words);
    if (PQgetisnull(answer.first.get(), 0, 0) != 0)
        return fail(kDbConnectionLost, error_.words + ": nothing had been written");
    return settleCommit(PQgetvalue(answer.first.get(), 0, 0));
}

std::string PostgresConnection::incarnation() {
    // The ids of transactions mean what they meant as long as the server did not crash, and no other one of another
    // history took its place: a crash resets the statistics, a promotion begins a new line of log files.
    Answer answer;
    const int status =
        simple("SELECT s.system_identifier || ' ' || left(pg_walfile_name(pg_current_wal_lsn()), 8) || ' ' || "
               "extract(epoch FROM pg_postmaster_start_time()) || ' ' || extract(epoch FROM b.stats_reset), "
               "pg_current_xact_id_if_assigned() FROM pg_control_system() s, pg_stat_bgwriter b",
               StatementUse::kOneRow, answer);
    return status == kDbOk && PQntuples(answer.last.get()) == 1 ? PQgetvalue(answer.last.get(), 0, 0) : "";
}

int PostgresConnection::settleCommit(const std::string& transactionId) {
    const std::string why = error_.words;
    const auto deadline = Clock::now() + url_.connectLimit;
    const std::string ask = "SELECT pg_xact_status('" + transactionId + "'::xid8)";
    constexpr Milliseconds kBetween{100};
    for (bool first = true; first || Clock::now() < deadline; first = false) {
        if (!first)
            std::this_thread::sleep_for(kBetween);
        EngineError unreachable;
        DatabaseUrl url = url_;
        url.connectLimit = std::max(std::chrono::ceil<Milliseconds>(deadline - Clock::now()), kBetween);
        const auto other = open(url, nullptr, unreachable);
        const std::string there = other == nullptr ? "" : other->incarnation();
        if (there.empty())
            continue; // it may come to be a primary
        if (there.substr(0, there.find(' ')) != incarnation_.substr(0, incarnation_.find(' ')))
            break; // another server
        Answer answer;
        const int status = other->simple(ask, StatementUse::kOneRow, answer);
        const std::string_view outcome =
            status == kDbOk && PQgetisnull(answer.last.get(), 0, 0) == 0 ? PQgetvalue(answer.last.get(), 0, 0) : "";
        // Had the transaction been committed in the history that goes on, its id would say so for ever. That the id
        // says so now may be another transaction's doing, which got the id after a crash or a failover.
        constexpr std::string_view kNotYetGiven = "22023";
        if (outcome == "aborted" || other->sqlState_ == kNotYetGiven)
            return fail(kDbConnectionLost, why + ": the transaction was not committed");
        if (outcome == "committed" && there == incarnation_)
            return kDbOk;
        if (outcome != "in progress" && status != kDbConnectionLost)
            break;
    }
    return fail(kDbUnknownOutcome, why + ": whether the transaction was committed is not known");
}

} // namespace hubdb
