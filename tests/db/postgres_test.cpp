#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <netinet/in.h>

#include <chrono>
#include <cstdlib>
#include <functional>
#include <latch>
#include <thread>

#include "db/EngineTest.h"
#include "db/LossyProxy.h"
#include "support/PostgresServer.h"

// What only a server can meet: its end, its silence, its other clients, and the network between.

namespace {

using ::testing::AnyOf;
using ::testing::HasSubstr;
using ::testing::Not;
using Clock = std::chrono::steady_clock;

class Postgres : public EngineTest {
  protected:
    /// The library's connections to the test's database.
    static constexpr auto kOurs =
        " FROM pg_stat_activity WHERE datname = current_database() AND application_name = 'libvsdkdb'";

    void terminateConnections() const {
        hub_->ask(std::string("SELECT pg_terminate_backend(pid)") + kOurs);
        while (hub_->ask(std::string("SELECT count(*)") + kOurs) != "0")
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    pid_t onlyBackend() const { return std::stoi(hub_->ask(std::string("SELECT pid") + kOurs)); }
    std::string through(const LossyProxy& proxy) const {
        std::string url = hub_->url();
        const auto& direct = support::sharedPostgres()->socketDirectory();
        return url.replace(url.find(direct), direct.size(), proxy.directory());
    }
    static std::uint64_t roundTrips() { return HubDatabase::statistics().roundTrips; }
    void putMany(int count) const {
        hub_->run("INSERT INTO ZXGlobalParam (name, value) SELECT 'p' || i, repeat('v', 400) FROM generate_series(1, " +
                  std::to_string(count) + ") i");
    }
};
INSTANTIATE_TEST_SUITE_P(Engines, Postgres,
                         ::testing::Combine(::testing::Values(&support::makePostgresHub), ::testing::Values(false)));

TEST_P(Postgres, WhatEndsWhileNothingIsUnderWayIsNotNoticed) {
    put({"a"});
    const std::function<int()> operations[] = {[] { return find("a"); }, [] { return insert("b"); },
                                               [] {
                                                   DBtran transaction;
                                                   const int begun = transaction.startTran();
                                                   const int written = insert("c", &transaction);
                                                   return begun + written + transaction.commitTran();
                                               }};
    for (const auto& operation : operations)
        for (int again = 0; again < 2; ++again) {
            EXPECT_EQ(operation(), 0);
            terminateConnections();
        }
    EXPECT_EQ(names(), "a b b c c");
}

TEST_P(Postgres, WhatEndsUnderWayIsTold) {
    putMany(1000);
    ZXGlobalParam reader;
    int state = 0;
    ASSERT_EQ(getNextRow(&reader, &state, -1, 0), 0);
    terminateConnections();
    int status = 0;
    int rows = 1;
    while ((status = getNextRow(&reader, &state, -1, 0)) == 0)
        ++rows;
    EXPECT_EQ(status, kDbConnectionLost);
    EXPECT_LT(rows, 1000);
    EXPECT_THAT(reader.getErrorStr(status), HasSubstr("terminating connection"));

    DBtran transaction;
    ASSERT_EQ(transaction.startTran(), 0);
    ASSERT_EQ(insert("within", &transaction), 0);
    terminateConnections();
    EXPECT_EQ(insert("later", &transaction), kDbConnectionLost);
    EXPECT_EQ(transaction.commitTran(), kDbTransactionFailed);
    ASSERT_EQ(transaction.startTran(), 0);
    ASSERT_EQ(insert("within", &transaction), 0);
    terminateConnections();
    EXPECT_EQ(transaction.commitTran(), kDbConnectionLost);
    EXPECT_EQ(find("within"), 100);
    EXPECT_EQ(insert("after"), 0);
}

/// A commit is settled by the transaction's id where that arrived. A single write is never sent again, a read is.
TEST_P(Postgres, WhatTheNetworkLosesIsToldForWhatItMayHaveDone) {
    struct Case {
        LossyProxy::Loss loss;
        int committed;
        bool stored;
    };
    using Loss = LossyProxy::Loss;
    for (const auto& c : {Case{Loss::kRequest, kDbUnknownOutcome, false}, // nor did the id
                          Case{Loss::kLastAnswer, 0, true}, Case{Loss::kAnswers, kDbUnknownOutcome, true}}) {
        SCOPED_TRACE(static_cast<int>(c.loss));
        hub_->run("DELETE FROM ZXGlobalParam");
        LossyProxy proxy(support::sharedPostgres()->socketDirectory());
        std::string error;
        ASSERT_EQ(HubDatabase::connect(through(proxy), error), 0) << error;
        DBtran transaction;
        ASSERT_EQ(transaction.startTran(), 0);
        ASSERT_EQ(insert("within", &transaction), 0);
        // The question for the id goes ahead of the commit, and its answer may be there before that.
        proxy.lose(c.loss, c.loss == Loss::kAnswers ? "pg_current_xact_id" : "COMMIT", "COMMIT");
        EXPECT_EQ(transaction.commitTran(), c.committed) << transaction.errorWords();
        EXPECT_FALSE(transaction.isOpen());
        EXPECT_EQ(names(), c.stored ? "within" : "");
        EXPECT_EQ(find("nobody"), 100) << "on a new connection";
        DBtran reading(true);
        ASSERT_EQ(reading.startTran(), 0);
        EXPECT_EQ(find("nobody", &reading), 100);
        proxy.lose(c.loss, "COMMIT", "COMMIT");
        EXPECT_EQ(reading.commitTran(), kDbConnectionLost) << "nothing could be lost";

        proxy.lose(c.loss, "once", "INSERT");
        EXPECT_EQ(insert("once"), kDbUnknownOutcome);
        EXPECT_EQ(names(), c.stored ? "within once" : "");
        proxy.lose(c.loss, "once", "SELECT");
        EXPECT_EQ(find("once"), c.stored ? 0 : 100);
        HubDatabase::disconnect();
    }
}

TEST_P(Postgres, ACommitThatIsCutOffIsNotDone) {
    hub_->run("CREATE FUNCTION linger() RETURNS trigger LANGUAGE plpgsql AS "
              "$$ BEGIN PERFORM pg_sleep(30); RETURN NULL; END $$;"
              "CREATE CONSTRAINT TRIGGER late AFTER INSERT ON ZXGlobalParam DEFERRABLE INITIALLY DEFERRED "
              "FOR EACH ROW EXECUTE FUNCTION linger()");
    DBtran transaction;
    ASSERT_EQ(transaction.startTran(), 0);
    ASSERT_EQ(insert("a", &transaction), 0);
    std::thread killer([this] {
        while (hub_->ask(std::string("SELECT query") + kOurs + " AND query = 'COMMIT' AND state = 'active'").empty())
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        terminateConnections();
    });
    EXPECT_EQ(transaction.commitTran(), kDbConnectionLost);
    EXPECT_THAT(transaction.errorWords(), HasSubstr("was not committed"));
    killer.join();
    EXPECT_EQ(names(), "");
}

TEST_P(Postgres, WhatAProxyEndsMayBeDone) {
    const support::PgBouncer pool(*support::sharedPostgres(), {"query_timeout=1"});
    std::string error;
    ASSERT_EQ(HubDatabase::connect(pool.url(hub_->ask("SELECT current_database()")) + "&prepared=off", error), 0);
    ASSERT_EQ(insert("a"), 0);
    auto lock = hub_->lock();
    EXPECT_EQ(insert("b"), kDbUnknownOutcome);
    lock.reset();
    while (names() != "a b")
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    putMany(1000);
    DBtran transaction(true);
    ASSERT_EQ(transaction.startTran(), 0);
    ZXGlobalParam reader(&transaction);
    int state = 0;
    ASSERT_EQ(getNextRow(&reader, &state, -1, 0), 0);
    EXPECT_EQ(find("p1000", &transaction), 0) << "between two portions";
    EXPECT_THAT(readAll(reader), ::testing::EndsWith("p1000 100"));
}

TEST_P(Postgres, AHungServerIsGivenUp) {
    put({"a"});
    connect("statement_ms=200&connect_ms=500");
    ASSERT_EQ(find("a"), 0);
    const std::function<int()> single[] = {[] { return find("a"); }, [] { return insert("b"); }};
    for (const auto& operation : single) {
        terminateConnections();
        ASSERT_EQ(operation(), 0);
        const pid_t backend = onlyBackend();
        support::PostgresServer::pause(backend);
        const auto start = Clock::now();
        const int status = operation();
        EXPECT_LT(Clock::now() - start, std::chrono::seconds(5));
        support::PostgresServer::resume(backend);
        EXPECT_THAT(status, AnyOf(kDbTimedOut, kDbUnknownOutcome));
        EXPECT_EQ(status == kDbUnknownOutcome, &operation != single) << "of the write";
        EXPECT_EQ(operation(), 0) << "on another connection";
    }
    DBtran transaction;
    ASSERT_EQ(transaction.startTran(), 0);
    ASSERT_EQ(insert("c", &transaction), 0);
    const pid_t backend = std::stoi(hub_->ask(std::string("SELECT pid") + kOurs + " AND state LIKE 'idle in%'"));
    support::PostgresServer::pause(backend);
    EXPECT_EQ(find("c", &transaction), kDbTimedOut);
    EXPECT_EQ(transaction.commitTran(), kDbTransactionFailed);
    support::PostgresServer::resume(backend);
    EXPECT_EQ(find("c"), 100);
}

TEST_P(Postgres, ConnectingHasOneLimitForAllHosts) {
    const int silent = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0); // it accepts and never speaks
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    ASSERT_EQ(bind(silent, reinterpret_cast<const sockaddr*>(&address), length), 0);
    ASSERT_EQ(listen(silent, 4), 0);
    getsockname(silent, reinterpret_cast<sockaddr*>(&address), &length);
    const std::string host = "127.0.0.1:" + std::to_string(ntohs(address.sin_port));
    std::string error;
    const auto start = Clock::now();
    EXPECT_EQ(HubDatabase::connect("postgresql://u:secret@" + host + "," + host + "/hub?connect_ms=400", error),
              kDbTimedOut);
    EXPECT_LT(Clock::now() - start, std::chrono::seconds(3));
    EXPECT_THAT(error, HasSubstr(host));
    EXPECT_THAT(error, HasSubstr("400 ms"));
    EXPECT_THAT(error, Not(HasSubstr("secret")));

    // One that lets clients in and then says nothing.
    std::thread welcoming([silent] {
        for (int left = 3; left > 0; --left) { // those above still wait
            const int client = accept(silent, nullptr, nullptr);
            constexpr char kWelcome[] = "R\0\0\0\x08\0\0\0\0Z\0\0\0\x05I";
            send(client, kWelcome, sizeof kWelcome - 1, MSG_NOSIGNAL);
        }
    });
    const auto welcomed = Clock::now();
    EXPECT_EQ(
        HubDatabase::connect("postgresql://" + host + "/hub?sslmode=disable&connect_ms=300&statement_ms=60000", error),
        kDbTimedOut);
    EXPECT_LT(Clock::now() - welcomed, std::chrono::seconds(3));
    welcoming.join();

    std::string url = hub_->url("connect_ms=1000");
    const std::string directory = "host=" + support::sharedPostgres()->socketDirectory();
    url.replace(url.find(directory), directory.size(),
                "host=127.0.0.1," + directory.substr(5) + "&port=" + host.substr(host.find(':') + 1) + ",5432");
    EXPECT_EQ(HubDatabase::connect(url, error), 0) << error << ": the second host has its share of the time";
    close(silent);
}

TEST_P(Postgres, TheEnvironmentDoesNotChangeWhatTheUrlSays) {
    const std::pair<const char*, const char*> variables[] = {{"PGHOST", "/nowhere"},
                                                             {"PGHOSTADDR", "192.0.2.1"},
                                                             {"PGPORT", "1"},
                                                             {"PGUSER", "nobody"},
                                                             {"PGPASSWORD", "wrong"},
                                                             {"PGDATABASE", "nothing"},
                                                             {"PGOPTIONS", "-c nonsense"},
                                                             {"PGSSLMODE", "verify-full"},
                                                             {"PGTARGETSESSIONATTRS", "standby"},
                                                             {"PGAPPNAME", "other"},
                                                             {"PGCLIENTENCODING", "LATIN1"},
                                                             {"PGREQUIREPEER", "nobody"},
                                                             {"PGCHANNELBINDING", "require"},
                                                             {"PGGSSENCMODE", "require"},
                                                             {"PGCONNECT_TIMEOUT", "x"},
                                                             {"PGSSLMINPROTOCOLVERSION", "TLSv9"}};
    put({"Ω"});
    for (const auto& [name, value] : variables)
        setenv(name, value, 1);
    std::string error;
    const int connected = HubDatabase::connect(hub_->url(), error);
    const int found = find("Ω");
    std::string elsewhere;
    const int status = HubDatabase::connect("postgresql:///?host=/nowhere/else", elsewhere);
    for (const auto& [name, value] : variables)
        unsetenv(name);
    EXPECT_EQ(connected, 0) << error;
    EXPECT_EQ(found, 0);
    EXPECT_NE(hub_->ask(std::string("SELECT count(*)") + kOurs), "0") << "under its own name";
    EXPECT_EQ(status, kDbConnectionLost);
    EXPECT_THAT(elsewhere, HasSubstr("/nowhere/else"));
}

TEST_P(Postgres, RoundTripsAreAsFewAsTheyCanBe) {
    putMany(3000);
    ASSERT_EQ(find("p1"), 0);
    auto before = roundTrips();
    const auto taken = [&before] { return roundTrips() - std::exchange(before, roundTrips()); };
    EXPECT_EQ(find("p2"), 0);
    EXPECT_EQ(taken(), 1U);
    ASSERT_EQ(insert("x"), 0);
    taken();
    EXPECT_EQ(insert("y"), 0);
    EXPECT_EQ(taken(), 1U);
    for (const int rows : {256, 257, 3000}) {
        SCOPED_TRACE(rows);
        for (int again = 0; again < 2; ++again) {
            taken();
            ZXGlobalParam reader;
            reader.setWhere("id <= %d", rows);
            int state = 0;
            int count = 0;
            while (getNextRow(&reader, &state, -1, 0) == 0)
                ++count;
            EXPECT_EQ(count, rows);
            const auto trips = taken();
            if (again == 1) {
                EXPECT_LE(trips, rows == 256 ? 1U : rows == 257 ? 3U : 6U);
            }
        }
    }
    EXPECT_EQ(hub_->ask("SELECT count(*) FROM pg_locks l JOIN pg_stat_activity a USING (pid) "
                        "WHERE l.locktype = 'relation' AND a.application_name = 'libvsdkdb' AND "
                        "a.datname = current_database()"),
              "0");
}

TEST_P(Postgres, AListInPortionsIsTheListOfItsBeginning) {
    putMany(2000);
    for (const bool within : {false, true}) {
        SCOPED_TRACE(within);
        DBtran transaction;
        ASSERT_EQ(within ? transaction.startTran() : 0, 0);
        DBtran* const scope = within ? &transaction : nullptr;
        std::string last;
        int count = 0;
        ZXGlobalParam reader(scope);
        reader.setWhere("value like 'v%%'");
        for (int state = 0; getNextRow(&reader, &state, -1, 0) == 0; ++count) {
            last = reader.getDataPtr()->name;
            if (count % 500 == 0) {
                EXPECT_EQ(find("p2000", scope), 0) << "between two rows";
                EXPECT_EQ(reader.rowUpdate("modified=%d", count), 0);
                ZXGlobalParam added(scope);
                dbSetText(added.getDataPtr()->name, "added");
                dbSetText(added.getDataPtr()->value, "v");
                EXPECT_EQ(added.rowInsert(true), 0);
                EXPECT_EQ(count == 1000 ? added.rowDelete() : 0, 0);
            }
        }
        EXPECT_EQ(count, within ? 2003 : 2000) << "what was added meanwhile is not of it";
        EXPECT_EQ(last, within ? "added" : "p2000");
        EXPECT_EQ(within ? transaction.commitTran() : 0, 0);
    }
}

TEST_P(Postgres, AStatementThatTheServerForgotOrThatBecameStaleIsPreparedAgain) {
    put({"a"});
    hub_->run("CREATE FUNCTION forgetting() RETURNS integer LANGUAGE plpgsql AS "
              "$$ BEGIN EXECUTE 'DEALLOCATE ALL'; RETURN 0; END $$");
    int times = 0;
    const auto forget = [this, &times](bool byChange, DBtran* transaction) {
        if (byChange) {
            hub_->run("ALTER TABLE ZXGlobalParam ALTER COLUMN created TYPE " +
                      std::string(hub_->ask("SELECT pg_typeof(created) FROM ZXGlobalParam") == "bigint" ? "integer"
                                                                                                        : "bigint"));
            return;
        }
        ZXGlobalParam unlike(transaction); // a form of its own each time: the statement forgets itself too
        unlike.setWhere(("forgetting()=" + std::to_string(++times) + " or id=%d").c_str(), 1);
        EXPECT_EQ(getOneRow(&unlike, false, -1, 0), 0);
    };
    for (const bool byChange : {false, true}) {
        SCOPED_TRACE(byChange);
        ASSERT_EQ(find("a"), 0);
        forget(byChange, nullptr);
        EXPECT_EQ(find("a"), 0);
        EXPECT_EQ(find("a"), 0);

        DBtran transaction;
        ASSERT_EQ(transaction.startTran(), 0);
        ASSERT_EQ(find("a", &transaction), 0);
        ASSERT_EQ(transaction.commitTran(true), 0);
        forget(byChange, &transaction);
        EXPECT_EQ(find("a", &transaction), kDbSerialization) << "it may run again";
        EXPECT_EQ(transaction.commitTran(), kDbTransactionFailed);
        int status = kDbSerialization;
        for (int connections = 0; status == kDbSerialization && connections < 2; ++connections) { // each has its own
            ASSERT_EQ(transaction.startTran(), 0);
            status = find("a", &transaction);
            EXPECT_EQ(transaction.commitTran(), status == 0 ? 0 : kDbTransactionFailed);
        }
        EXPECT_EQ(status, 0);
    }
}

TEST_P(Postgres, TransactionsThatLoseAgainstOthersSaySo) {
    put({"a", "b"});
    const auto update = [](DBtran& transaction, int id) {
        ZXGlobalParam row(&transaction);
        row.setWhere("id=%d", id);
        return row.rowUpdate("modified=%d", id);
    };
    DBtran first;
    DBtran second;
    ASSERT_EQ(first.startTran(), 0);
    ASSERT_EQ(second.startTran(), 0);
    ASSERT_EQ(find("a", &second), 0) << "sees what was before the first's change";
    ASSERT_EQ(update(first, 1), 0);
    ASSERT_EQ(first.commitTran(true), 0);
    EXPECT_EQ(update(second, 1), kDbSerialization);
    EXPECT_EQ(second.commitTran(true), kDbTransactionFailed);

    ASSERT_EQ(second.startTran(), 0);
    ASSERT_EQ(update(first, 1), 0);
    ASSERT_EQ(update(second, 2), 0);
    int other = 0;
    std::thread crossing([&] { other = update(second, 1); });
    const int mine = update(first, 2);
    crossing.join();
    EXPECT_EQ(mine + other, kDbSerialization) << "one of a deadlock goes on";
}

TEST_P(Postgres, SingleWritesOfOneRowNeverFailEachOther) {
    put({"counter"});
    std::latch start(4);
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([&start] {
            start.arrive_and_wait();
            for (int n = 0; n < 50; ++n) {
                ZXGlobalParam row;
                row.setWhere("name='counter'");
                EXPECT_EQ(row.rowUpdate("modified=coalesce(modified,0)+%d", 1), 0);
            }
        });
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(hub_->ask("SELECT modified FROM ZXGlobalParam"), "200");
}

TEST_P(Postgres, AServerThatTakesNoWritesIsLeftForOneThatDoes) {
    put({"a"});
    const std::string database = hub_->ask("SELECT current_database()");
    connect();
    ASSERT_EQ(find("a"), 0);
    hub_->run("ALTER DATABASE " + database + " SET default_transaction_read_only = on");
    connect();
    EXPECT_EQ(find("a"), 0);
    EXPECT_EQ(insert("b"), kDbReadOnly);
    support::sharedPostgres()->run("ALTER DATABASE " + database + " RESET default_transaction_read_only");
    EXPECT_EQ(insert("c"), 0) << "the connection that was read-only is not used again";
    EXPECT_EQ(names(), "a c");
}

TEST_P(Postgres, ADatabaseOfAnotherEncodingIsRefused) {
    const std::string name = hub_->ask("SELECT current_database()") + "_latin1";
    const auto& server = *support::sharedPostgres();
    server.run("CREATE DATABASE " + name + " ENCODING 'LATIN1' LOCALE 'C' LOCALE_PROVIDER libc TEMPLATE template0");
    std::string error;
    EXPECT_EQ(HubDatabase::connect(server.url(name), error), kDbNotADatabase);
    EXPECT_THAT(error, HasSubstr("UTF8"));
    server.run("DROP DATABASE " + name);
}

} // namespace
