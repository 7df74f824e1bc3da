#include <malloc.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <barrier>
#include <chrono>
#include <ranges>
#include <thread>

#include "Db/Tbl/HubTables.h"
#include "scope/ScopeTest.h"

namespace {

using hubdb::FaultPoint;
using hubdb::ReadScope;
using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

/// Entities 1 to kElements of every kind.
class ScopedThreads : public ScopeTest {
  protected:
    static constexpr int kElements = 1200;

    void SetUp() override {
        ScopeTest::SetUp();
        if (IsSkipped())
            return;
        hub_->run("BEGIN;" + rowsOf(1, kElements) + "COMMIT;");
    }

    static std::string all() { return subclients(1, 33, 1, 1); }
    static std::vector<int> ids(int to = kElements) {
        const auto numbers = std::views::iota(1, to + 1);
        return {numbers.begin(), numbers.end()};
    }
    static std::string policyName(int id) {
        ArchGroup policy(nullptr);
        policy.setWhere("id=%d", id);
        const int status = getOneRow(&policy, false, -1, 0);
        return status == 0 ? policy.getDataPtr()->name : std::to_string(status);
    }
    static int rename(const char* name, int id) {
        ArchGroup policy(nullptr);
        policy.setWhere("id=%d", id);
        return policy.rowUpdate("name='%s'", name);
    }
    /// Calls `then` when a list is about to take its nth row from a read of ids, or from a set.
    static void atRow(std::string_view object, int nth, const std::function<void()>& then) {
        at([=, left = nth](FaultPoint point, std::string_view of) mutable {
            if (point == FaultPoint::kNextRow && of == object && left-- == 0)
                then();
            return 0;
        });
    }
};
INSTANTIATE_TEST_SUITE_P(Engines, ScopedThreads, ::testing::Combine(everyEngine(), ::testing::Values(true)),
                         &engineName);

class ScopedSnapshots : public ScopedThreads {};
INSTANTIATE_TEST_SUITE_P(Engines, ScopedSnapshots,
                         ::testing::Combine(::testing::Values(&support::makeSqliteWalHub, &support::makePostgresHub,
                                                              &support::makePooledPostgresHub),
                                            ::testing::Values(true)),
                         &engineName);

class ScopedDetachedRows : public ScopedThreads {};
INSTANTIATE_TEST_SUITE_P(Engines, ScopedDetachedRows,
                         ::testing::Combine(::testing::Values(&support::makeSqliteHub, &support::makeSqliteWalHub),
                                            ::testing::Values(true)),
                         &engineName);

// ---- what the listing thread does itself

TEST_P(ScopedThreads, ARowFromASetIsChangedByItsKeyAndTheScopeIsOver) {
    for (const bool typed : {false, true}) {
        DBtable::b_newDBBase = typed;
        {
            ReadScope scope;
            scope.visit(APP_Application_t2::kRow, ids(10));
            APP_SubClientProp rows(nullptr);
            rows.setWhere("componentNameId=%d and modified=0", 3);
            ASSERT_EQ(getOneRow(&rows, false, -1, 0), 0);
            ASSERT_TRUE(scope.isOpen());
            const auto before = HubDatabase::statistics().statementsExecuted;
            rows.setWhere("componentNameId=%d and modified=0", 4);
            int state = 0;
            ASSERT_EQ(getNextRow(&rows, &state, -1, 0), 0) << "from the set of getNextRow";
            rows.setWhere("componentNameId=%d and modified=0", 5);
            state = 0;
            ASSERT_EQ(getNextRow(&rows, &state, -1, 0), 0);
            EXPECT_EQ(HubDatabase::statistics().statementsExecuted, before + 1);
            rows.getDataPtr()->id = 9; // the row is the one that was read
            EXPECT_EQ(rows.rowUpdate("attrVal='%s'", typed ? "typed" : "printf"), 0);
            EXPECT_FALSE(scope.isOpen());
            EXPECT_EQ(getNextRow(&rows, &state, -1, 0), 100) << "the rows that it had are still its own";
            EXPECT_EQ(rows.rowUpdate("attrVal='x'"), 100) << "behind the last row";
        }
        EXPECT_EQ(hub_->ask("SELECT componentNameId FROM APP_SubClientProp WHERE attrVal = '" +
                            std::string(typed ? "typed" : "printf") + "'"),
                  "5");
    }
    ReadScope scope;
    scope.visit(APP_Application_t2::kRow, ids(10));
    APP_SubClientProp row(nullptr);
    row.setWhere("componentNameId=%d and modified=0", 7);
    ASSERT_EQ(getOneRow(&row, false, -1, 0), 0);
    EXPECT_EQ(row.rowDelete(), 0);
    EXPECT_FALSE(scope.isOpen());
    EXPECT_EQ(getOneRow(&row, false, -1, 0), 100) << "not from the set";
    EXPECT_EQ(hub_->ask("SELECT count(*) FROM APP_SubClientProp WHERE componentNameId = 7"), "0");
    EXPECT_EQ(hub_->ask("SELECT count(*) FROM APP_SubClientProp"), std::to_string(kElements - 1));
}

TEST_P(ScopedThreads, WhatAThreadWritesItsListDoesNotMiss) {
    connect("pool=2&pool_ms=500&lock_ms=1000");
    enum class How { kWrite, kTransaction };
    for (const How how : {How::kWrite, How::kTransaction}) {
        ReadScope scope;
        scope.begin();
        int seen = 0;
        scope.each(ArchGroup_t2::kRow, ids(), [&](int id) {
            if (id == 700 && how == How::kWrite) {
                EXPECT_EQ(rename("mine", 701), 0);
            } else if (id == 700) {
                DBtran transaction;
                EXPECT_EQ(transaction.startTran(), 0);
                ArchGroup policy(&transaction);
                policy.setWhere("id=%d", 702);
                EXPECT_EQ(getOneRow(&policy, false, -1, 0), 0);
                EXPECT_EQ(policy.rowUpdate("name='transacted'"), 0);
                EXPECT_EQ(transaction.commitTran(), 0);
            }
            const bool changed = id == 701 || (id == 702 && how == How::kTransaction);
            EXPECT_EQ(policyName(id), !changed ? "policy " + std::to_string(id) : id == 701 ? "mine" : "transacted");
            ++seen;
        });
        EXPECT_EQ(seen, kElements);
        EXPECT_FALSE(scope.isOpen());
    }
    EXPECT_EQ(rename("policy 701", 701) + rename("policy 702", 702), 0);
    // In the middle of a list of entities: while its ids, and while the rows of a set are read.
    for (const auto& [list, object, nth] : {std::tuple{Reads([] { return mediaAgents(); }), "MMHost", 3},
                                            {[] { return agents(1); }, "APP_IDAName", 700}}) {
        const std::string whole = list();
        atRow(object, nth, [] { EXPECT_EQ(rename("policy 9", 9), 0); });
        EXPECT_EQ(list(), whole);
        atRow(object, nth, [] {
            DBtran transaction;
            EXPECT_EQ(transaction.startTran(), 0);
            EXPECT_EQ(transaction.commitTran(), 0);
        });
        EXPECT_EQ(list(), whole);
        atNoPoint();
    }
}

TEST_P(ScopedThreads, ALongReadWithinAScopeOutlivesIt) {
    enum class EndedBy { kWrite, kItsOwner, kFailedSet };
    for (const EndedBy how : {EndedBy::kWrite, EndedBy::kItsOwner, EndedBy::kFailedSet}) {
        SCOPED_TRACE(static_cast<int>(how));
        auto scope = std::make_unique<ReadScope>();
        scope->begin();
        scope->visit(APP_iDAType_t2::kRow, ids(3));
        ArchGroup reader(nullptr);
        int state = 0;
        int status = 0;
        int rows = 0;
        for (; (status = getNextRow(&reader, &state, -1, 0)) == 0; ++rows) {
            if (rows != 10)
                continue;
            if (how == EndedBy::kWrite) {
                EXPECT_EQ(reader.rowUpdate("flags=1"), 0);
            } else if (how == EndedBy::kItsOwner) {
                scope.reset();
            } else {
                fail(FaultPoint::kExecute, kDbFailed, 1, "APP_iDAType");
                APP_iDAType type(nullptr);
                type.setWhere("type=%d", 2);
                EXPECT_EQ(getOneRow(&type, false, -1, 0), 0);
                EXPECT_FALSE(scope->isOpen());
            }
        }
        EXPECT_EQ(status, 100) << reader.getErrorStr(status);
        EXPECT_EQ(rows, kElements);
    }
    EXPECT_EQ(hub_->ask("SELECT id FROM ArchGroup WHERE flags = 1"), "11");
}

TEST_P(ScopedThreads, ALogSinkMayWrite) {
    const std::string whole = all();
    hub_->run((onServer() ? "ALTER TABLE APP_SubClientProp DROP CONSTRAINT attrName_width;"
                          : "PRAGMA ignore_check_constraints = ON;") +
              std::string("INSERT INTO APP_SubClientProp (componentNameId, attrName) VALUES (600, '") +
              std::string(3000, 'x') + "')");
    std::atomic<int> wrote = 0;
    setEvLogSink([&](const EvLogLine&) { wrote += rename("policy 9", 9) == 0 ? 1 : 100; }, kEvLogFailures);
    EXPECT_EQ(all(), whole);
    setEvLogSink({}, 0);
    EXPECT_GE(wrote, 1);
    EXPECT_LT(wrote, 100);
}

TEST_P(ScopedThreads, AListWithinAScopeIsWhole) {
    const std::string whole = all();
    const std::string hosts = mediaAgents();
    ReadScope scope;
    scope.begin();
    scope.each(ArchGroup_t2::kRow, ids(600), [&](int id) {
        EXPECT_EQ(policyName(id), "policy " + std::to_string(id));
        if (id == 100 || id == 550) {
            EXPECT_EQ(all(), whole);
            EXPECT_EQ(mediaAgents(), hosts);
        }
    });
}

TEST_P(ScopedThreads, ADisconnectInTheMiddleDoesNoHarm) {
    const std::string whole = all();
    for (const bool again : {false, true}) {
        atRow("GetSubclientList", 600, [&] {
            HubDatabase::disconnect();
            if (again)
                connect();
        });
        const std::string text = all();
        atNoPoint();
        EXPECT_EQ(std::ranges::count(text, '\n'), kElements) << "the read of ids has its connection";
        if (again) {
            EXPECT_EQ(text, whole);
        }
        connect();
        EXPECT_EQ(all(), whole);
        ReadScope scope;
        scope.each(ArchGroup_t2::kRow, ids(600), [&](int id) {
            const std::string name = policyName(id);
            if (id == 100)
                HubDatabase::disconnect();
            if (id == 100 && again)
                connect();
            if (id <= 100 || again) {
                EXPECT_EQ(name, "policy " + std::to_string(id));
            }
        });
        connect();
    }
    EXPECT_EQ(rename("policy 1", 1), 0);
}

TEST_P(ScopedThreads, AChildForkedInTheMiddleLeavesTheTransactionAlone) {
    const int allowed = hub_->traits().readingChildMayConnect ? 0 : kDbNotConnected;
    ReadScope scope;
    scope.each(ArchGroup_t2::kRow, ids(600), [&](int id) {
        EXPECT_EQ(policyName(id), "policy " + std::to_string(id));
        if (id != 100)
            return;
        const pid_t child = fork();
        if (child == 0) {
            alarm(20);
            APP_Client other(nullptr);
            other.setWhere("id=%d", 3);
            const int read = getOneRow(&other, false, -1, 0);
            const std::string kept = policyName(101);
            const bool right = read == allowed && (kept == "policy 101" || kept == std::to_string(allowed));
            {
                ReadScope nested;
                scope.visit(ArchGroup_t2::kRow, ids(5)); // what it had is forgotten, its connection the parent's
                (void)policyName(3);
            }
            scope.~ReadScope();
            _exit(right ? 0 : 1);
        }
        int status = 0;
        waitpid(child, &status, 0);
        EXPECT_EQ(status, 0);
    });
    EXPECT_TRUE(scope.isOpen()) << "the parent's went on";
}

// ---- other threads

TEST_P(ScopedThreads, ManyListsShareFewConnections) {
    connect("pool=2");
    const std::string whole = all();
    const std::string hosts = mediaAgents();
    std::atomic<int> wrong = 0;
    std::vector<std::thread> threads;
    threads.reserve(8);
    for (int i = 0; i < 8; ++i)
        threads.emplace_back([&, i] {
            for (int n = 0; n < 3; ++n) {
                wrong += all() != whole || mediaAgents() != hosts ? 1 : 0;
                wrong += i % 4 == 0 && rename("policy 5", 5) != 0 ? 100 : 0;
            }
        });
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(wrong, 0);
    EXPECT_EQ(opened(), 2U);
}

TEST_P(ScopedThreads, ATransactionInEachListDoesNotWaitForTheOthers) {
    connect("pool=2&pool_ms=2000");
    std::barrier both(2);
    std::atomic<int> failures = 0;
    const auto listAndWrite = [&] {
        ReadScope scope;
        scope.each(ArchGroup_t2::kRow, ids(10), [&](int id) {
            failures += policyName(id) != "policy " + std::to_string(id);
            if (id != 5)
                return;
            both.arrive_and_wait(); // each has a connection now
            DBtran transaction;
            failures += transaction.startTran() != 0;
            failures += transaction.commitTran() != 0;
        });
    };
    std::thread other(listAndWrite);
    listAndWrite();
    other.join();
    EXPECT_EQ(failures, 0);
}

TEST_P(ScopedSnapshots, ListsAreOneSnapshotWhereThatBlocksNobody) {
    struct Case {
        Reads list;
        std::string_view object; ///< before the second set of which others change it
        const char* change;
    };
    for (const auto& [list, object, change] :
         {Case{[] { return all(); }, "ArchGroup", "UPDATE ArchGroup SET name = 'new' WHERE id > 900"},
          Case{[] { return mediaAgents(); }, "APP_Client", "UPDATE APP_Client SET name = 'new' WHERE id > 900"}}) {
        const std::string whole = list();
        int chunks = 0;
        at([&](FaultPoint point, std::string_view of) {
            if (point == FaultPoint::kExecute && of == object && chunks++ == 1)
                hub_->run(change);
            return 0;
        });
        EXPECT_EQ(list(), whole);
        EXPECT_GT(chunks, 1);
        atNoPoint();
    }
}

TEST_P(ScopedThreads, ASlowListKeepsNoWriterWaiting) {
    connect("lock_ms=700");
    ReadScope scope;
    std::thread writer;
    std::atomic<int> written = 1;
    scope.each(ArchGroup_t2::kRow, ids(12), [&](int id) {
        EXPECT_EQ(policyName(id), "policy " + std::to_string(id));
        if (id == 1)
            writer = std::thread([&] { written = rename("new", 600); });
        std::this_thread::sleep_for(milliseconds(100));
    });
    writer.join();
    EXPECT_EQ(written, 0);
}

TEST_P(ScopedThreads, AWriterGetsThroughASlowRead) {
    connect("lock_ms=1500");
    for (const int perRow : {2, 150}) { // ms
        ArchGroup reader(nullptr);
        reader.setOrderBy("id DESC");
        int state = 0;
        ASSERT_EQ(getNextRow(&reader, &state, -1, 0), 0);
        std::atomic<int> written = 1;
        std::thread writer([&] { written = rename("new", 1); });
        int rows = 1;
        int status = 0;
        std::string last = reader.getDataPtr()->name;
        while ((status = getNextRow(&reader, &state, -1, 0)) == 0) {
            ++rows;
            last = reader.getDataPtr()->name;
            if (written == 1)
                std::this_thread::sleep_for(milliseconds(perRow));
        }
        writer.join();
        EXPECT_EQ(written, 0) << perRow;
        EXPECT_EQ(status, 100);
        EXPECT_EQ(rows, kElements);
        EXPECT_EQ(last, "policy 1") << "as it was when the read began";
        EXPECT_EQ(rename("policy 1", 1), 0);
    }
}

// ---- rows that were read ahead

TEST_P(ScopedDetachedRows, WhatIsWrongBehindDetachedRowsIsToldAtItsPlace) {
    hub_->run("PRAGMA ignore_check_constraints = ON; UPDATE ArchGroup SET flags = 1099511627776 WHERE id = 900");
    hub_->define("JMCheckUserJobVisibilityV2", "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n) "
                                               "SELECT i, abs(-9223372036854775008 - i) % 2 FROM n");
    for (const bool early : {false, true}) {
        ArchGroup misfit(nullptr);
        JMCheckUserJobVisibilityV2 broken(nullptr);
        broken.setValues(1, 1, "");
        int state = 0;
        ASSERT_EQ(getNextRow(&misfit, &state, -1, 0), 0);
        ASSERT_EQ(broken.openCursor(), 0);
        ASSERT_EQ(rename("policy 2", 2), 0) << "both reads are detached";
        for (int id = 2; id < (early ? 300 : 900); ++id) {
            ASSERT_EQ(getNextRow(&misfit, &state, -1, 0), 0);
            ASSERT_EQ(misfit.getDataPtr()->name, "policy " + std::to_string(id));
        }
        for (int i = 1; i < (early ? 300 : 800); ++i)
            ASSERT_EQ(broken.fetchCursor(false), 0) << i;
        if (!early) {
            EXPECT_EQ(getNextRow(&misfit, &state, -1, 0), kDbBadValue);
            EXPECT_EQ(broken.fetchCursor(false), kDbBadStatement);
            EXPECT_NE(broken.getErrorStr(kDbBadStatement).find("overflow"), std::string::npos);
        }
    }
    // The statements are as good as new, within a transaction too.
    DBtran transaction;
    ASSERT_EQ(transaction.startTran(), 0);
    ArchGroup within(&transaction);
    int state = 0;
    ASSERT_EQ(getNextRow(&within, &state, -1, 0), 0);
    within.setWhere("id<%d", 900);
    int rows = 0;
    for (state = 0; getNextRow(&within, &state, -1, 0) == 0; ++rows)
        if (rows == 10) {
            EXPECT_EQ(rename("policy 3", 3), kDbBusy) << "this thread's own transaction holds the lock";
        }
    EXPECT_EQ(rows, 899);
    EXPECT_EQ(transaction.commitTran(), 0);
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__) // which have heaps of their own
TEST_P(ScopedDetachedRows, DetachedRowsAreFreedAsTheyAreTaken) {
    constexpr int kRows = 64;
    constexpr std::size_t kRowBytes = 1'000'000;
    hub_->run("INSERT INTO ZXGlobalParam (name, value) SELECT name, hex(zeroblob(500000)) FROM ArchGroup WHERE id <= " +
              std::to_string(kRows));
    const auto used = [] { return mallinfo2().uordblks + mallinfo2().hblkhd; };
    ZXGlobalParam reader(nullptr);
    int state = 0;
    ASSERT_EQ(getNextRow(&reader, &state, -1, 0), 0);
    ASSERT_EQ(rename("policy 2", 2), 0);
    const std::size_t all = used();
    for (int i = 1; i < kRows; ++i)
        ASSERT_EQ(getNextRow(&reader, &state, -1, 0), 0);
    EXPECT_LT(used() + kRowBytes * (kRows - 10), all);
}
#endif

} // namespace
