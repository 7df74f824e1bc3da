#pragma once

#include <libpq-fe.h>

#include <array>
#include <chrono>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "db/DatabaseUrl.h"
#include "db/engines/Engine.h"
#include "db/engines/postgres/PostgresWire.h"

namespace hubdb {

struct FreePostgresResult {
    void operator()(PGresult* result) const { PQclear(result); }
};
using PostgresResult = std::unique_ptr<PGresult, FreePostgresResult>;

/// The values of a statement as the server wants them: typed and binary. A NULL has the type that its place had before.
class PostgresParameters {
  public:
    /// The texts of `values` are borrowed. True when a place has another type than before.
    bool set(std::span<const Value> values);

    int count() const { return static_cast<int>(types_.size()); }
    const Oid* types() const { return types_.data(); }
    const char* const* data() const { return data_.data(); }
    const int* lengths() const { return lengths_.data(); }
    const int* formats() const { return formats_.data(); }
    /// The types as a text, for a statement's name.
    std::string typeText() const;

  private:
    std::vector<Oid> types_;
    std::vector<const char*> data_;
    std::vector<int> lengths_;
    std::vector<int> formats_;
    std::vector<std::array<char, 8>> numbers_;
    std::vector<std::uint32_t> ids_; ///< a set of ids in the order of the wire
};

/// A statement as it is sent: the name of a prepared one, or a text.
struct PostgresCommand {
    const char* name; ///< null: `sql` is parsed for this one execution
    const char* sql;
    const PostgresParameters* parameters; ///< null: none
};

/// One connection to a server. Nothing here waits without a limit.
///
/// The server keeps the limits on locks and on a statement's time by itself, as session settings or, where the
/// connection behind a proxy changes from transaction to transaction, with every transaction. The connection's own
/// clock runs a little longer: when the server does not answer even then, the statement is cancelled over another
/// connection, and when that does not help either, this one is given up.
class PostgresConnection : public Connection {
  public:
    using Clock = std::chrono::steady_clock;

    /// Which of the URL's hosts was connected last.
    using LastHost = std::atomic<std::size_t>;

    /// Null on failure, which `error` then tells for every host. Takes `url.connectLimit` for all hosts together, and
    /// begins with `lastHost`, which outlives the connection.
    static std::unique_ptr<PostgresConnection> open(const DatabaseUrl& url, LastHost& lastHost, RoundTrips* roundTrips,
                                                    EngineError& error);

    std::unique_ptr<Statement> prepare(const std::string& sql, StatementUse use) override;
    std::string callText(const OVDBRowDeclaration& declaration, std::size_t inputs) override;
    int begin(TransactionKind kind) override;
    int commit() override;
    int rollback() override;
    bool inTransaction() const override { return !lost_ && PQtransactionStatus(connection_.get()) != PQTRANS_IDLE; }
    bool isBroken() const override { return lost_ || stale_; }
    int runScript(const std::string& sql) override;
    std::unique_ptr<BulkWriter> bulkWriter() override;
    const EngineError& error() const override { return error_; }
    const char* isIn() const override { return " = ANY (? )"; }
    bool readsBlockWriters() const override { return false; }

    // ---- for its statements

    /// Runs one statement and keeps its last result, in one round trip.
    int run(const PostgresCommand& command, StatementUse use, PostgresResult& answer);
    /// Runs several in one round trip, as one transaction, and keeps the last one's result.
    int runTogether(std::span<const PostgresCommand> commands, StatementUse use, PostgresResult& answer);
    /// Has the server parse a statement under the name that its text and types give it. The name, empty on failure.
    std::string parse(const std::string& sql, const PostgresParameters& parameters);
    /// One more, or one less, statement object uses the name; the server forgets it some time after the last.
    void hold(const std::string& name) { ++held_[name]; }
    void letGo(const std::string& name) noexcept;
    /// Whether the server keeps prepared statements and cursors for this connection from one transaction to the next.
    bool keepsStatements() const { return keepsStatements_; }
    /// Counts transactions, so that a statement knows whether its cursor is still there.
    std::uint64_t transactionNumber() const { return transactionNumber_; }
    void closeCursor(const std::string& cursor) noexcept;
    std::string newCursorName() { return "vsdk_c" + std::to_string(++cursors_); }
    /// Remembers a failure that is no answer of the server. Its class.
    int fail(int status, const std::string& words);
    /// Whether the last failure is that of a prepared statement that the server forgot or whose tables changed. Then a
    /// new generation of statements begins.
    bool statementIsStale();
    /// Statements prepared under an earlier one are to be prepared again.
    unsigned generation() const { return generation_; }

    // ---- for its bulk writer

    /// Sends a COPY ... FROM STDIN and makes ready for its data.
    int beginCopy(const std::string& sql);
    int sendCopy(const std::string& data);
    /// Ends it. On failure `line` is the row at fault, from 1, or 0.
    int endCopy(std::uint64_t& line);

    /// For what happens seldom: a statement without values.
    int runOnce(const std::string& sql, StatementUse use) {
        Answer ignored;
        return simple(sql, use, ignored);
    }

  private:
    struct Finish {
        void operator()(PGconn* connection) const { PQfinish(connection); }
    };
    /// What came back for what was sent last.
    struct Answer {
        PostgresResult last;    ///< of the last statement that succeeded
        PostgresResult first;   ///< of the first
        PostgresResult failure; ///< of the first that failed
    };

    PostgresConnection(const DatabaseUrl& url, LastHost& lastHost, RoundTrips* roundTrips)
        : url_(url), lastHost_(lastHost), roundTrips_(roundTrips) {}

    bool connect(Clock::time_point deadline, EngineError& error);
    bool makeReady(EngineError& error);

    /// How much longer than the server the own clock waits: its answer may be under way.
    static constexpr std::chrono::milliseconds kGrace{500};

    Clock::time_point statementDeadline() const;
    /// Waits until the socket can take more, or has something to say before it does. False when the time is up.
    bool waitToSend(Clock::time_point deadline);
    /// The next result, as PQgetResult gives it. False when the time is up.
    bool nextResult(Clock::time_point deadline, PostgresResult& result);
    /// Takes the answer to what was sent: until the server is ready, or, of a pipeline, for so many synchronisations.
    int collect(StatementUse use, int syncs, Answer& answer);
    /// A statement that could not be sent.
    int sendFailed();
    /// One that was not sent, as the connection is dead.
    int failUnsent();
    int rollbackKeepingError();
    int failWith(const PGresult* failure, StatementUse use, bool answered);
    /// Asks the server, over another connection, to end what this one is at. False when it could not be asked.
    bool cancel();
    /// Gives up on a server that does not answer.
    int abandon(StatementUse use);
    /// Whether the server has closed the connection meanwhile, found out without sending anything.
    bool isDead();
    int send(const PostgresCommand& command);
    /// Sends all that libpq has taken.
    bool flush(Clock::time_point deadline);
    std::string limitsInBand() const;
    int simple(const std::string& sql, StatementUse use, Answer& answer);
    void forgetStatements();

    /// Where and since when this server runs, as a text that changes when it crashes or another takes its place.
    /// Empty when it cannot tell.
    std::string incarnation();
    int settleCommit(const std::string& transactionId);

    DatabaseUrl url_;
    LastHost& lastHost_;
    RoundTrips* roundTrips_;
    std::string conninfo_;
    std::unique_ptr<PGconn, Finish> connection_;
    SocketWatch watch_;
    Clock::time_point mustEndBy_ = Clock::time_point::max(); ///< whatever the limits of statements are
    bool sawServer_ = false;                                 ///< a server has answered, be it with a refusal
    EngineError error_;
    std::string sqlState_; ///< of the last failure
    bool lost_ = false;
    bool saidFarewell_ = false; ///< the server has said that it ends the connection
    bool stale_ = false;        ///< alive, but not to be used again
    bool keepsStatements_ = true;
    bool writing_ = false; ///< the transaction may write
    bool incarnationKnown_ = false;
    std::string incarnation_;
    std::uint64_t transactionNumber_ = 0;
    std::uint64_t cursors_ = 0;
    unsigned generation_ = 0;
    std::map<std::string, unsigned> held_; ///< names of prepared statements, and how many objects use each
    std::vector<std::string> unheld_;      ///< those that nobody uses any more
};

/// The class of a failure by the server's code for it and the constraint that it names.
int postgresStatus(std::string_view sqlState, std::string_view constraint);

} // namespace hubdb
