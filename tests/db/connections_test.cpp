#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <latch>
#include <thread>

#include "Db/Tbl/GetEntitiesIds.h"
#include "Db/Tbl/JMCheckUserJobVisibilityV2.h"
#include "Db/Tbl/Sec_VSDKMaintenance.h"
#include "db/EngineTest.h"

namespace {

using hubdb::FaultPoint;
using Clock = std::chrono::steady_clock;

ENGINE_TEST(Connections, EngineTest, ::testing::Values(false));

/// Runs `body` in a forked child. What it returns, from -128 to 127.
template <class Body> int inChild(const Body& body) {
    const pid_t child = fork();
    if (child == 0) {
        alarm(20);
        _exit(body());
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? static_cast<signed char>(WEXITSTATUS(status)) : 1000 + WTERMSIG(status);
}

TEST_P(Connections, ALockedDatabaseIsBusyOnceTheLimitHasPassed) {
    put({"a"});
    connect("lock_ms=100");
    ASSERT_EQ(find("a"), 0);
    auto lock = hub_->lock();
    const auto start = Clock::now();
    ZXGlobalParam reader;
    EXPECT_EQ(getOneRow(&reader, false, -1, 0), hub_->traits().lockStopsReaders ? kDbBusy : 0);
    EXPECT_EQ(reader.rowInsert(false), kDbBusy);
    EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(100));
    EXPECT_LT(Clock::now() - start, std::chrono::seconds(5));
    EXPECT_NE(reader.getErrorStr(kDbBusy).find("lock"), std::string::npos);
    DBtran transaction;
    EXPECT_EQ(transaction.startTran(), hub_->traits().oneWriter ? kDbBusy : 0);
    EXPECT_EQ(insert("b", &transaction), hub_->traits().oneWriter ? kDbTransactionFailed : kDbBusy);
    EXPECT_EQ(transaction.commitTran(), kDbTransactionFailed);
    std::string error;
    EXPECT_EQ(HubDatabase::connect(hub_->url("lock_ms=50"), error), hub_->traits().lockStopsReaders ? kDbBusy : 0);
    lock.reset();
    EXPECT_EQ(insert("c"), 0);
    EXPECT_EQ(transaction.startTran(), 0);
    EXPECT_EQ(transaction.commitTran(), 0);
    EXPECT_EQ(names(), "a c");
}

TEST_P(Connections, AStatementThatRunsTooLongIsEnded) {
    connect("statement_ms=100");
    hub_->define("JMCheckUserJobVisibilityV2", hub_->endless());
    JMCheckUserJobVisibilityV2 endless;
    endless.setValues(1, 1, "");
    const auto start = Clock::now();
    EXPECT_EQ(endless.openCursor(), kDbTimedOut);
    EXPECT_LT(Clock::now() - start, std::chrono::seconds(5));
    EXPECT_NE(endless.getErrorStr(kDbTimedOut).find("100 ms"), std::string::npos);
    EXPECT_EQ(insert("a"), 0) << "the connection is as good as before";

    DBtran transaction;
    ASSERT_EQ(transaction.startTran(), 0);
    ASSERT_EQ(insert("b", &transaction), 0);
    JMCheckUserJobVisibilityV2 within(&transaction);
    within.setValues(1, 1, "");
    EXPECT_EQ(within.openCursor(), kDbTimedOut);
    EXPECT_EQ(transaction.commitTran(), kDbTransactionFailed);
    EXPECT_EQ(names(), "a");
}

TEST_P(Connections, TheTimeThatACallerTakesBetweenRowsIsNotTheStatements) {
    connect("statement_ms=300");
    hub_->define("JMCheckUserJobVisibilityV2",
                 "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 30000) SELECT i, 0 FROM n");
    JMCheckUserJobVisibilityV2 rows;
    rows.setValues(1, 1, "");
    ASSERT_EQ(rows.openCursor(), 0);
    int status = 0;
    int count = 0;
    for (; (status = rows.fetchCursor(false)) == 0; ++count)
        if (count == 10'000)
            std::this_thread::sleep_for(std::chrono::milliseconds(400));
    EXPECT_EQ(status, 100) << rows.getErrorStr(status);
    EXPECT_EQ(count, 30'000);
}

TEST_P(Connections, WaitForAFreeOneHasItsLimit) {
    put({"a", "b"});
    connect("pool=2&pool_ms=50");
    ZXGlobalParam reader;
    int state = 0;
    ASSERT_EQ(getNextRow(&reader, &state, -1, 0), 0);
    DBtran transaction(true);
    ASSERT_EQ(transaction.startTran(), 0);
    std::thread([] {
        ZXGlobalParam starved;
        EXPECT_EQ(getOneRow(&starved, false, -1, 0), kDbTimedOut);
        EXPECT_NE(starved.getErrorStr(kDbTimedOut).find("50 ms"), std::string::npos);
        DBtran none;
        EXPECT_EQ(none.startTran(), kDbTimedOut);
    }).join();
    EXPECT_EQ(find("b"), 0) << "reads of one thread share their connection";
    ASSERT_EQ(transaction.commitTran(), 0);
    std::thread([] { EXPECT_EQ(find("b"), 0); }).join();
    EXPECT_EQ(opened(), 2U);
}

TEST_P(Connections, ManyThreadsShareFew) {
    put({"x"});
    connect("pool=2");
    std::latch start(8);
    std::atomic<int> failures = 0;
    std::vector<std::thread> threads;
    threads.reserve(8);
    for (int i = 0; i < 8; ++i)
        threads.emplace_back([&, i] {
            const std::string mine = "t" + std::to_string(i);
            start.arrive_and_wait();
            for (int n = 0; n < 10; ++n) {
                failures += find("x") != 0;
                DBtran transaction;
                failures += transaction.startTran() != 0 || insert(mine.c_str(), &transaction) != 0 ||
                            find(mine.c_str(), &transaction) != 0 || transaction.commitTran() != 0;
                ZXGlobalParam reader;
                reader.setWhere("name='%s'", mine.c_str());
                failures += getOneRow(&reader, false, -1, 0) != 0 || reader.rowUpdate("created=%d", n) != 0;
            }
        });
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(failures, 0);
    EXPECT_EQ(opened(), 2U);
    EXPECT_EQ(hub_->ask("SELECT count(*) FROM ZXGlobalParam"), "81");
}

TEST_P(Connections, ThoseInUseOutliveADisconnect) {
    put({"a", "b", "c"});
    ZXGlobalParam reader;
    int state = 0;
    ASSERT_EQ(getNextRow(&reader, &state, -1, 0), 0);
    DBtran transaction;
    ASSERT_EQ(transaction.startTran(), 0);
    ASSERT_EQ(insert("d", &transaction), 0);
    HubDatabase::disconnect();
    EXPECT_EQ(getNextRow(&reader, &state, -1, 0), 0);
    EXPECT_EQ(find("a"), kDbNotConnected);
    EXPECT_EQ(insert("x"), kDbNotConnected);
    EXPECT_EQ(transaction.commitTran(), 0);
    EXPECT_EQ(transaction.startTran(), kDbNotConnected);

    const auto other = support::makeSqliteHub();
    other->run("INSERT INTO ZXGlobalParam (name) VALUES ('of the other')");
    std::string error;
    ASSERT_EQ(HubDatabase::connect(other->url(), error), 0) << error;
    EXPECT_EQ(find("of the other"), 0);
    EXPECT_EQ(getNextRow(&reader, &state, -1, 0), 0);
    EXPECT_STREQ(reader.getDataPtr()->name, "c") << "of the database that it was begun on";
    EXPECT_EQ(find("of the other"), 0) << "beside that read";
    EXPECT_EQ(getNextRow(&reader, &state, -1, 0), 100);
    ASSERT_EQ(insert("e"), 0);
    EXPECT_EQ(names(), "a b c d");
    EXPECT_EQ(other->ask("SELECT name FROM ZXGlobalParam ORDER BY id"), "of the other e");
}

TEST_P(Connections, AReadThatLosesItsOneBeforeTheFirstRowRunsOnceMore) {
    put({"a", "b"});
    hub_->define("getEntitiesIds", "SELECT 1, 2, 3, 4, ''");
    hub_->define("sec_VSDKMaintenance", "DELETE FROM ZXGlobalParam WHERE name = 'b' AND ?1 = 0");
    ASSERT_EQ(find("a"), 0);
    struct Case {
        std::function<int()> operation;
        int times;
        int status;
        unsigned statements;
    };
    const auto reading = [] { return find("a"); };
    const auto calling = [] {
        GetEntitiesIds ids;
        ids.setValues(1, "", "", "", "");
        return ids.openCursor();
    };
    const auto cleaning = [] {
        Sec_VSDKMaintenance maintenance;
        maintenance.setValues(1);
        return maintenance.openCursor();
    };
    const auto updating = [] {
        ZXGlobalParam row;
        row.setWhere("id=%d", 1);
        return row.rowUpdate("created=1");
    };
    const Case cases[] = {{reading, 1, 0, 2},
                          {reading, 2, kDbConnectionLost, 2},
                          {calling, 1, 0, 2},
                          {cleaning, 1, kDbConnectionLost, 1},
                          {updating, 1, kDbConnectionLost, 1},
                          {[] { return insert("c"); }, 1, kDbConnectionLost, 1}};
    for (std::size_t i = 0; i < std::size(cases); ++i) {
        SCOPED_TRACE(i);
        HubDatabase::clearLastFailure();
        const auto connections = opened();
        statements();
        fail(FaultPoint::kExecute, kDbConnectionLost, cases[i].times);
        EXPECT_EQ(cases[i].operation(), cases[i].status);
        EXPECT_EQ(statements(), cases[i].statements);
        EXPECT_EQ(lastFailure(), cases[i].status) << "a loss that was mended is none";
        atNoPoint();
        EXPECT_EQ(find("a"), 0);
        EXPECT_EQ(opened(), connections + static_cast<unsigned>(cases[i].times)) << "a lost one is not used again";
    }
    EXPECT_EQ(names(), "a b");
}

TEST_P(Connections, AReadThatLosesItsOneLaterEndsThereAndOthersGoOn) {
    put({"a", "b", "c"});
    ZXGlobalParam first;
    ZXGlobalParam second;
    int firstState = 0;
    int secondState = 0;
    ASSERT_EQ(getNextRow(&first, &firstState, -1, 0), 0);
    ASSERT_EQ(getNextRow(&second, &secondState, -1, 0), 0);
    fail(FaultPoint::kNextRow, kDbConnectionLost);
    EXPECT_EQ(getNextRow(&first, &firstState, -1, 0), kDbConnectionLost);
    EXPECT_EQ(getNextRow(&first, &firstState, -1, 0), 100);
    EXPECT_EQ(first.rowDelete(), 100);
    EXPECT_EQ(find("b"), 0) << "on a connection of its own";
    int state = 0;
    EXPECT_EQ(getNextRow(&first, &state, -1, 0), 0);
    EXPECT_EQ(names(), "a b c");
}

// ---- forked children

TEST_P(Connections, AChildOfAnIdleParentConnectsByItselfWhereTheEngineAllowsIt) {
    put({"a", "b"});
    connect("lock_ms=300");
    ASSERT_EQ(find("a"), 0);
    EXPECT_EQ(inChild([] { return find("b") + insert("c"); }),
              hub_->traits().idleChildMayConnect ? 0 : 2 * kDbNotConnected);
    EXPECT_EQ(inChild([] { return inChild([] { return find("b"); }); }),
              hub_->traits().idleChildMayConnect ? 0 : kDbNotConnected)
        << "a grandchild";
    EXPECT_EQ(insert("d"), 0);
    EXPECT_EQ(names(), hub_->traits().idleChildMayConnect ? "a b c d" : "a b d");
}

TEST_P(Connections, AChildForkedInTheMiddleOfAReadLeavesItAlone) {
    put({"a", "b"});
    connect("lock_ms=300");
    ZXGlobalParam reader;
    int state = 0;
    ASSERT_EQ(getNextRow(&reader, &state, -1, 0), 0);
    const int allowed = hub_->traits().readingChildMayConnect ? 0 : kDbNotConnected;
    EXPECT_EQ(inChild([&] {
                  const int parents = getNextRow(&reader, &state, -1, 0);
                  std::string error;
                  const int connected = HubDatabase::connect(hub_->url(), error);
                  return parents != kDbConnectionLost ? 1 : connected != allowed ? 2 : find("b") != allowed ? 3 : 0;
              }),
              0);
    EXPECT_EQ(getNextRow(&reader, &state, -1, 0), 0);
    EXPECT_STREQ(reader.getDataPtr()->name, "b");
    EXPECT_EQ(getNextRow(&reader, &state, -1, 0), 100);
    EXPECT_EQ(insert("c"), 0);
}

TEST_P(Connections, AChildDoesNoHarmToItsParentsTransaction) {
    for (const bool disconnected : {false, true}) {
        SCOPED_TRACE(disconnected);
        connect();
        auto transaction = std::make_unique<DBtran>();
        ASSERT_EQ(transaction->startTran(), 0);
        ZXGlobalParam large(transaction.get());
        dbSetText(large.getDataPtr()->name, "large");
        large.getDataPtr()->value.bytes.resize(24'000'000, 'v'); // more than the engine keeps in memory
        ASSERT_EQ(large.rowInsert(false), 0);
        if (disconnected) {
            HubDatabase::disconnect();
            EXPECT_EQ(find("a"), kDbNotConnected);
        }
        EXPECT_EQ(inChild([&] {
                      const int within = insert("x", transaction.get());
                      const int commit = transaction->commitTran();
                      transaction.reset();
                      return within != kDbConnectionLost ? 1 : commit != kDbConnectionLost ? 2 : 0;
                  }),
                  0);
        EXPECT_EQ(insert("c", transaction.get()), 0);
        EXPECT_EQ(transaction->commitTran(), 0);
    }
    EXPECT_EQ(hub_->ask("SELECT name || length(value) FROM ZXGlobalParam ORDER BY id"),
              "large24000000 c0 large24000000 c0");
}

} // namespace
