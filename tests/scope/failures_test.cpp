#include "Db/Tbl/HubTables.h"
#include "scope/ScopeTest.h"

namespace {

using hubdb::FaultPoint;
using hubdb::ReadScope;

/// Twelve entities of every kind.
class ScopedFailures : public ScopeTest {
  protected:
    void SetUp() override {
        ScopeTest::SetUp();
        if (!IsSkipped())
            hub_->run("BEGIN;" + rowsOf(1, 12) + "COMMIT;");
    }

    /// Nothing is left of a list: others can write at once, no transaction is open, and both connections of a pool of
    /// two are free.
    void expectNothingLeft() const {
        hub_->run("INSERT INTO ZXGlobalParam (name) VALUES ('x')");
        if (onServer()) {
            EXPECT_EQ(hub_->ask("SELECT count(*) FROM pg_stat_activity WHERE datname = current_database() "
                                "AND state LIKE 'idle in%'"),
                      "0");
        }
        DBtran first;
        DBtran second(true);
        EXPECT_EQ(first.startTran(), 0);
        EXPECT_EQ(second.startTran(), 0);
    }
};
INSTANTIATE_TEST_SUITE_P(Engines, ScopedFailures, ::testing::Combine(everyEngine(), ::testing::Values(true)),
                         &engineName);

class ScopedFailuresOfAServer : public ScopedFailures {};
INSTANTIATE_TEST_SUITE_P(Engines, ScopedFailuresOfAServer, ::testing::Combine(everyServer(), ::testing::Values(true)),
                         &engineName);

// ---- a statement fails

TEST_P(ScopedFailures, OfASetCostNothing) {
    connect("pool=2&pool_ms=300");
    for (const auto& each : listsOfRows()) {
        const std::string whole = each.read();
        for (const FaultPoint point : {FaultPoint::kBegin, FaultPoint::kExecute, FaultPoint::kNextRow})
            for (const int status : {kDbFailed, kDbBusy, kDbConnectionLost}) {
                bool failed = true;
                for (int nth = 0; failed; ++nth) {
                    SCOPED_TRACE(each.name + " point " + std::to_string(static_cast<int>(point)) + " " +
                                 std::to_string(nth) + " status " + std::to_string(status));
                    int left = nth;
                    failed = false;
                    at([&](FaultPoint where, std::string_view object) {
                        if (where != point || object == each.ids || left-- != 0)
                            return 0;
                        failed = true;
                        return status;
                    });
                    const Outcome sets = outcome(each.read);
                    atNoPoint();
                    EXPECT_EQ(sets.text, whole);
                    EXPECT_EQ(sets.failure, 0);
                }
            }
        expectNothingLeft();
    }
}

TEST_P(ScopedFailures, OfASingleReadCostOneElement) {
    struct Read {
        const char* of;
        const char* object;
    };
    for (const Read& read : {Read{"agents", "APP_iDAType"}, Read{"instances", "APP_InstanceName"},
                             Read{"subclients", "ArchGroup"}, Read{"media agents", "APP_Client"}}) {
        const auto& each = list(read.of);
        const std::string whole = each.read();
        SCOPED_TRACE(read.of);
        fail(FaultPoint::kExecute, kDbBusy, 2, read.object); // the set, and the single read in its place
        const Outcome sets = outcome(each.read);
        EXPECT_EQ(sets.failure, kDbBusy);
        std::istringstream wanted(whole);
        std::istringstream got(sets.text);
        int differing = 0;
        for (std::string one, other; std::getline(wanted, one) && std::getline(got, other);)
            differing += one != other ? 1 : 0;
        EXPECT_EQ(differing, 1);
        EXPECT_EQ(std::ranges::count(sets.text, '\n'), std::ranges::count(whole, '\n'));
    }
}

TEST_P(ScopedFailures, OfTheReadOfIdsAreThoseOfSingleReads) {
    for (const auto& each : listsOfRows())
        for (const FaultPoint point : {FaultPoint::kExecute, FaultPoint::kNextRow})
            for (const int nth : {0, 1, 5}) {
                SCOPED_TRACE(each.name + " " + std::to_string(nth));
                const auto failing = [&] {
                    return readAt(each.read, [&, left = nth](FaultPoint where, std::string_view object) mutable {
                        return where == point && object == each.ids && left-- == 0 ? kDbFailed : 0;
                    });
                };
                // Within the scope's transaction, which may be to blame, a read that has delivered nothing runs again.
                const Outcome sets = outcome(failing);
                if (point == FaultPoint::kNextRow || sets.failure != 0)
                    expectSame(sets, single(failing));
                else
                    EXPECT_EQ(sets.text, each.read());
            }
    expectNothingLeft();
}

TEST_P(ScopedFailures, TheLastOneIsTheListsOwn) {
    const auto failing = [] {
        int ofSets = ReadScope::enabled ? 2 : 1; // the set, and the single read in its place
        int rows = 5;
        return readAt(list("agents").read, [=](FaultPoint where, std::string_view object) mutable -> int {
            if (where == FaultPoint::kExecute && object == "APP_iDAType" && ofSets-- > 0)
                return kDbBusy;
            return where == FaultPoint::kNextRow && object == "APP_IDAName" && rows-- == 0 ? kDbFull : 0;
        });
    };
    const Outcome singles = single(failing);
    ASSERT_EQ(singles.failure, kDbFull);
    EXPECT_EQ(outcome(failing).failure, kDbFull);
}

TEST_P(ScopedFailures, ATableThatGoesOrChangesMeanwhileIsAsWithSingleReads) {
    const auto& each = list("subclients");
    const std::string whole = each.read();
    struct Change {
        const char* when; ///< this table is to be read
        const char* change;
        const char* undo;
    };
    constexpr Change kChanges[] = {
        {"APP_ScFilterFile", "ALTER TABLE APP_ScFilterFile RENAME TO Gone",
         "ALTER TABLE Gone RENAME TO APP_ScFilterFile"},
        {"ArchPipeConfig", "ALTER TABLE ArchPipeConfig RENAME COLUMN numNWAgents TO gone",
         "ALTER TABLE ArchPipeConfig RENAME COLUMN gone TO numNWAgents"},
        {"APP_SubClientProp", "ALTER TABLE APP_SubClientProp ADD COLUMN more text",
         "ALTER TABLE APP_SubClientProp DROP COLUMN more"},
        {"ArchGroup", "ALTER TABLE ArchGroup RENAME flags TO gone; ALTER TABLE ArchGroup ADD COLUMN flags bigint",
         "ALTER TABLE ArchGroup DROP COLUMN flags; ALTER TABLE ArchGroup RENAME gone TO flags"},
        {"APP_BackupSetName", "ALTER TABLE APP_BackupSetName RENAME TO Gone",
         "ALTER TABLE Gone RENAME TO APP_BackupSetName"}};
    connect("pool=2&pool_ms=300");
    for (const Change& one : kChanges) {
        if (!onServer() && one.when == std::string_view("ArchGroup"))
            continue; // its columns are of no other type
        SCOPED_TRACE(one.change);
        const auto changing = [&] {
            (void)each.read(); // prepared before
            HubDatabase::clearLastFailure();
            bool changed = false;
            // Where this thread's reads keep everybody else out, before them.
            const std::string_view before = readsBlockWriters() ? each.ids : one.when;
            std::string text = readAt(each.read, [&](FaultPoint where, std::string_view object) {
                if (where == FaultPoint::kExecute && object == before && !std::exchange(changed, true))
                    hub_->run(one.change);
                return 0;
            });
            hub_->run(one.undo);
            return text;
        };
        const Outcome singles = single(changing);
        const Outcome sets = outcome(changing);
        if (onServer() || readsBlockWriters())
            expectSame(sets, singles);
        else // tables are part of what the list sees unchanged
            EXPECT_EQ(sets.text, whole);
        expectNothingLeft();
    }
}

TEST_P(ScopedFailuresOfAServer, AStatementThatWaitsTooLongIsAsWithSingleReads) {
    for (const char* const options : {"pool=2&lock_ms=40", "pool=2&lock_ms=10000&statement_ms=40"}) {
        connect(options);
        const auto locked = [&] {
            bool done = false;
            std::string text = readAt(list("subclients").read, [&](FaultPoint where, std::string_view object) {
                if (where == FaultPoint::kExecute && object == "ArchPipeConfig" && !std::exchange(done, true))
                    hub_->run("ALTER TABLE ArchPipeConfig RENAME TO Hidden; CREATE VIEW ArchPipeConfig AS SELECT h.* "
                              "FROM Hidden h, LATERAL (SELECT pg_sleep(0.06) WHERE h.appNumber < 99) s");
                return 0;
            });
            hub_->run("DROP VIEW ArchPipeConfig; ALTER TABLE Hidden RENAME TO ArchPipeConfig");
            return text;
        };
        const Outcome singles = single(locked);
        const Outcome sets = outcome(locked);
        expectSame(sets, singles);
        expectNothingLeft();
    }
}

} // namespace
