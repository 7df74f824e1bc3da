#include <algorithm>
#include <cstring>
#include <thread>

#include "db/engines/postgres/PostgresConnection.h"
#include "db/engines/postgres/PostgresWire.h"

// Why a lost commit is settled like this: docs/decisions/0009-settling-a-lost-commit.md.

namespace hubdb {

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
        return fail(writing_ ? kDbUnknownOutcome : kDbConnectionLost, error_.words);
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
    if (!lost_)
        return rollbackKeepingError();
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
               "pg_current_xact_id_if_assigned() " // fails where a commit's id could not be asked for
               "FROM pg_control_system() s, pg_stat_bgwriter b",
               StatementUse::kOneRow, answer);
    return status == kDbOk && PQntuples(answer.last.get()) == 1 ? PQgetvalue(answer.last.get(), 0, 0) : "";
}

int PostgresConnection::settleCommit(const std::string& transactionId) {
    const std::string why = error_.words;
    const auto deadline = Clock::now() + url_.connectLimit;
    const std::string ask = "SELECT pg_xact_status('" + transactionId + "'::xid8)";
    constexpr std::chrono::milliseconds kBetween{100};
    for (bool first = true; first || Clock::now() < deadline; first = false) {
        if (!first)
            std::this_thread::sleep_for(kBetween);
        EngineError unreachable;
        DatabaseUrl url = url_;
        url.connectLimit = std::max(std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()), kBetween);
        const auto other = open(url, lastHost_, nullptr, unreachable);
        if (other != nullptr)
            other->mustEndBy_ = deadline;
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
        // A commit may still wait for a standby, or have been cut off from that: a later one that is acknowledged tells
        // that it has arrived there.
        if (outcome == "committed" && there == incarnation_ &&
            other->runOnce("SELECT pg_logical_emit_message(true, 'libvsdkdb', '')", StatementUse::kWrite) == kDbOk)
            return kDbOk;
        if (outcome != "in progress" && status != kDbConnectionLost)
            break;
    }
    return fail(kDbUnknownOutcome, why + ": whether the transaction was committed is not known");
}

} // namespace hubdb
