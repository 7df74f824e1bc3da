#include <set>

#include "appmgr/PropertyNames.h"
#include "changes/ChangesTest.h"

// What a commit checks before it writes.

namespace {

using hubdb::FaultPoint;

std::string job(int id, int operation, int subclient) {
    return estate::row("JMJobEntity", "jobId, hubCellId, clientId, appTypeId, instanceId, backupSetId, subclientId", id,
                       2, 2, 33, 5, 6, subclient) +
           estate::row("JMJobInfo", "jobId, hubCellId, opType", id, 2, operation);
}
std::string policy(const char* value, int type = 1) {
    return estate::property("SubClient", 11, appmgr::kSubclientPolicy, value, type);
}
std::string sets(const char* what, int id = 10) {
    return std::string("UPDATE APP_Application SET ") + what + " WHERE id = " + std::to_string(id) + ";\n";
}

ENGINE_TEST(Checks, ChangesTest, ::testing::Values(true));

TEST_P(Checks, TellTheFirstOfAllFaults) {
    VSDK_Subclient one = read(11);
    Paths paths{"/"};
    one.SetContent(&paths);
    std::set<std::string, std::less<>> broken{"JMGetRunningJobSummaryVSDK", "APP_SubClientProp"};
    hub_->run(sets("id = 99", 11) + "UPDATE APP_BackupSetName SET id = 5, modified = 78;" + job(1, 4, 11) +
              policy("3"));
    const std::tuple<std::string, const char*, int> repairs[] = {
        {"", "", 1542},
        {sets("id = 11", 99), "", 1793},
        {"UPDATE APP_BackupSetName SET id = 6", "", 1794},
        {"UPDATE APP_BackupSetName SET modified = 77", "", 1285},
        {"", "JMGetRunningJobSummaryVSDK", 1541},
        {"DELETE FROM JMJobInfo", "", 1543},
        {"", "APP_SubClientProp", 1544},
        {"DELETE FROM APP_SubClientProp WHERE attrVal = '3'", "", 1795},
        {sets("subclientName = 'first'") + sets("subclientName = 'default'", 11) + "DELETE FROM APP_ScFilterFile", "",
         0}};
    for (const auto& [sql, object, code] : repairs) {
        hub_->run(sql.empty() ? "SELECT 1" : sql);
        broken.erase(object);
        at([&](FaultPoint point, std::string_view of) {
            return point == FaultPoint::kExecute && broken.contains(of) ? kDbBusy : 0;
        });
        const auto before = state();
        EXPECT_EQ(one.CanICommit(), code);
        EXPECT_EQ(changesOf(before), "");
        EXPECT_EQ(one.Commit(false), code);
        EXPECT_EQ(one.commitOutcome, code == 0 ? Outcome::kDone : Outcome::kNone);
        EXPECT_EQ(changesOf(before).empty(), code != 0) << code;
    }
}

TEST_P(Checks, MindWhatStandsInTheWay) {
    const std::string theirs = estate::entry(10, "/new");
    const std::tuple<std::string, Stage, int> cases[] = {
        {"UPDATE APP_BackupSetName SET modified = 4294967373", all({}), 0}, // 32 bits are compared
        {job(1, 5, 11) + job(2, 1, 11) + job(3, 4, 10), all({}), 0},
        {job(4, 4, 11), all({}), 1541},
        {policy("0") + policy("5", 118), all({}), 0},
        {policy("5"), all({}), 1544},
        {"", files({}), 0},
        {"", files({"/docs", "/old", "/docs/tmp", "/docs/x"}), 0},
        {"", files({"new"}), 1795},
        {"", files({"/new", "//new/"}), 1795},
        {theirs, files({"/x", "/new"}), 1795},
        {theirs, dataPolicy(9), 0},
        {theirs + sets("subclientStatus = 6"), files({"/new"}), 1795},
        {theirs + sets("subclientStatus = 14"), files({"/new"}), 0},
        {theirs + sets("backupSet = 4"), files({"/new"}), 0},
        {theirs + sets("appTypeId = NULL") + sets("appTypeId = NULL", 11), files({"/new"}), 1795},
        {theirs + sets("dataArchGrpID = 99"), files({"/new"}), 1795}, // its policy is gone
        {estate::entry(10, "/new", 1, 5) + estate::entry(10, "/new", 2), files({"/new"}), 0},
        {sets("subclientName = 'docs'"), files({"/new"}), 1795},
        {sets("subclientName = 'docs', subclientStatus = 8"), files({"/new"}), 0}};
    for (const auto& [sql, stage, code] : cases) {
        reset();
        hub_->run("DELETE FROM JMJobEntity; DELETE FROM JMJobInfo;" + sql);
        VSDK_Subclient one = read(11);
        stage(one);
        EXPECT_EQ(one.CanICommit(), code) << sql;
    }
    reset();
    Paths paths{"/new"};
    for (const auto& [object, point] : {std::pair{"GetSubclientList", FaultPoint::kExecute},
                                        {"GetSubclientList", FaultPoint::kNextRow},
                                        {"APP_ScFilterFile", FaultPoint::kExecute},
                                        {"APP_ScFilterFile", FaultPoint::kNextRow},
                                        {"ArchGroup", FaultPoint::kExecute}}) {
        VSDK_Subclient one = read(11);
        one.SetContent(&paths);
        fail(point, kDbBusy, 1000, object);
        EXPECT_EQ(one.CanICommit(), 1795) << object;
        atNoPoint();
    }
}

} // namespace
