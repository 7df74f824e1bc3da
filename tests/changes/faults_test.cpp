#include <atomic>
#include <span>
#include <thread>

#include "changes/ChangesTest.h"
#include "db/LossyProxy.h"
#include "support/PostgresServer.h"

// Commits that fail half way, and commits of two at a time.

namespace {

using hubdb::FaultPoint;

class FaultsTest : public ChangesTest {
  protected:
    const std::vector<std::pair<int, Stage>> kinds_{
        {11, files({"/docs", "/new"})},
        {12, databases({{2, "b"}, {9, "a"}, {3, "c"}})},
        {11, all({dataPolicy(9), indexPolicy(9)})},
        {11, all({description("x"), readers(5)})},
        {11, all({files({"/x"}), dataPolicy(8), indexPolicy(7), description("y"), readers(1)})},
        {10, all({files({"/", "/y"}), description("z")})}};
};

ENGINE_TEST(Faults, FaultsTest, ::testing::Values(true));

TEST_P(Faults, OfAnyStatementLeaveNothingBehind) {
    for (const auto& [id, stage] : kinds_) {
        reset();
        const auto before = state();
        for (int k = 0, left = -1; left < 0; ++k) {
            VSDK_Subclient one = staged(id, stage);
            left = k;
            at([&](FaultPoint point, std::string_view) {
                const bool here = point == FaultPoint::kExecute || point == FaultPoint::kNextRow;
                return here && left-- == 0 ? (k % 2 == 0 ? kDbFull : kDbConnectionLost) : 0;
            });
            const int code = one.Commit(true);
            atNoPoint();
            EXPECT_EQ(code == 0, left >= 0) << code << " at point " << k << " of " << changesOf(before);
            EXPECT_EQ(one.commitOutcome, left >= 0 ? Outcome::kDone : Outcome::kNotDone);
            EXPECT_EQ(changesOf(before).empty(), left < 0) << k;
        }
    }
}

TEST_P(Faults, OfTheTransactionAreTold) {
    const std::tuple<FaultPoint, int, int, Outcome, bool> cases[] = {
        {FaultPoint::kBegin, kDbBusy, 1546, Outcome::kNotDone, false},
        {FaultPoint::kBegin, kDbConnectionLost, 0, Outcome::kDone, true},
        {FaultPoint::kBeforeCommit, kDbFull, 0, Outcome::kNotDone, false},
        {FaultPoint::kBeforeCommit, kDbConnectionLost, 0, Outcome::kNotDone, false},
        {FaultPoint::kAfterCommit, kDbConnectionLost, 0, Outcome::kUnknown, true}};
    for (const auto& [id, stage] : kinds_)
        for (const auto& [point, fault, code, outcome, written] : cases) {
            reset();
            const auto before = state();
            VSDK_Subclient one = staged(id, stage);
            fail(point, fault);
            EXPECT_EQ(one.Commit(true), code);
            EXPECT_EQ(one.commitOutcome, outcome);
            const std::string changed = changesOf(before);
            EXPECT_EQ(one.Commit(true), 0) << "what is staged stays so";
            EXPECT_EQ(changed, written ? changesOf(before) : "");
        }
}

/// The first has written all and is about to commit when the second, which has passed its checks too, comes to where
/// only one can be.
TEST_P(Faults, OfEditorsWhoMeetAreNoMixture) {
    const bool waits = hub_->traits().oneWriter;
    for (const auto& [firstId, firstStage] : kinds_)
        for (const auto& [secondId, secondStage] : std::span(kinds_).last(3)) {
            reset();
            auto before = state();
            VSDK_Subclient first = staged(firstId, firstStage);
            VSDK_Subclient second = staged(secondId, secondStage);
            EXPECT_EQ(first.Commit(false), 0);
            const std::string onlyFirst = changesOf(before);
            EXPECT_EQ(second.Commit(false), 1794) << "within the same second";
            EXPECT_EQ(changesOf(before), onlyFirst);
            EXPECT_EQ(second.Commit(true), 0);
            const std::string both = changesOf(before);

            reset();
            before = state();
            first = staged(firstId, firstStage);
            second = staged(secondId, secondStage);
            std::atomic<int> stage = 0;
            const auto enter = [&stage](int next) {
                stage = next;
                stage.notify_all();
            };
            at([&, mine = std::this_thread::get_id()](FaultPoint point, std::string_view object) {
                if (std::this_thread::get_id() != mine) {
                    if (waits ? point == FaultPoint::kBegin : object == "APP_BackupSetName")
                        enter(2);
                } else if (point == FaultPoint::kBeforeCommit) {
                    enter(1);
                    stage.wait(1);
                }
                return 0;
            });
            int code = -1;
            std::thread thread([&] {
                stage.wait(0);
                code = second.Commit(true);
                enter(2);
            });
            EXPECT_EQ(first.Commit(true), 0);
            thread.join();
            atNoPoint();
            EXPECT_EQ(code == 0, waits) << code;
            EXPECT_EQ(second.commitOutcome, waits ? Outcome::kDone : Outcome::kNotDone);
            EXPECT_EQ(changesOf(before), waits ? both : onlyFirst);
            EXPECT_EQ(second.Commit(true), 0);
            EXPECT_EQ(changesOf(before), both);
        }
}

class LostConnections : public FaultsTest {};
INSTANTIATE_TEST_SUITE_P(Engines, LostConnections,
                         ::testing::Combine(::testing::Values(&support::makePostgresHub), ::testing::Values(true)));

TEST_P(LostConnections, LeaveAllOrNothing) {
    using Loss = LossyProxy::Loss;
    const std::tuple<Loss, const char*, const char*, int, Outcome, bool> cases[] = {
        {Loss::kRequest, "CASE WHEN", "UPDATE", 1538, Outcome::kNotDone, false},
        {Loss::kAnswers, "/x", "INSERT", 1538, Outcome::kNotDone, false},
        {Loss::kRequest, "COMMIT", "COMMIT", 0, Outcome::kUnknown, false},
        {Loss::kLastAnswer, "COMMIT", "COMMIT", 0, Outcome::kDone, true},
        {Loss::kAnswers, "assigned()::text", "COMMIT", 0, Outcome::kUnknown, true}};
    const auto& [id, stage] = kinds_[4];
    EXPECT_EQ(staged(id, stage).Commit(true), 0);
    for (const auto& [loss, text, tag, code, outcome, written] : cases) {
        reset();
        const auto before = state();
        std::string url = hub_->url();
        const auto& direct = support::sharedPostgres()->socketDirectory();
        LossyProxy proxy(direct);
        std::string error;
        ASSERT_EQ(HubDatabase::connect(url.replace(url.find(direct), direct.size(), proxy.directory()), error), 0);
        VSDK_Subclient one = staged(id, stage);
        proxy.lose(loss, text, tag);
        EXPECT_EQ(one.Commit(true), code) << text;
        EXPECT_EQ(one.commitOutcome, outcome) << text;
        EXPECT_EQ(changesOf(before).empty(), !written) << text;
        HubDatabase::disconnect();
    }
}

} // namespace
