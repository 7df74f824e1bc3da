#include "jobmgr/OVManageDBForJM.h"
#include "jobs/JobsTest.h"
#include "system/OVClock.h"

namespace {

using List = VSDK_JobList;
using Jobs = std::vector<_VSDK_Job>;
using Ids = std::vector<long long>;

TEST(JobListSetUp, ChoosesTheModeAndTheDefaultNames) {
    const auto again = [](List list, Ids ids, const char* client) {
        list.initialize(std::move(ids), client, 0, "", "", "");
        return list;
    };
    const std::pair<List, std::string> cases[] = {
        {{-1LL, "c", 3, "", "", "s"}, "0|3|c|DefaultInstanceName|defaultBackupSet|s|0|0|0|0|{ -1 }"},
        {{Ids{}, "", -3, "", "", ""}, "2|-3|||||0|0|0|0|{}"},
        {{Ids{0, 7}, "c", 0, "", "", ""}, "1|0|c||||0|0|0|0|{ 0, 7 }"},
        {{Ids{1LL << 40, 0}, "", 0, "", "", ""}, "0|0|||||0|0|0|0|{ 1099511627776, 0 }"},
        {{0LL, "", 1, "", "", ""}, "1|1|||||0|0|0|0|{ 0 }"},
        {{0LL, "", 0, "", "b", ""}, "1|0||DefaultInstanceName|b||0|0|0|0|{ 0 }"},
        {{0LL, "", 0, "i", "", "s"}, "1|0||i|defaultBackupSet|s|0|0|0|0|{ 0 }"},
        {{2, 33, 4, 5, 6}, "2|33|||||2|4|5|6|{}"},
        {again({2, 33, 4, 5, 6}, {}, "c"), "1|0|c||||0|0|0|0|{}"},
        {again({7LL, "c", 0, "", "", ""}, {8}, ""), "0|0|||||0|0|0|0|{ 7, 8 }"},
        {again({0LL, "", 0, "", "", ""}, {8}, ""), "2|0|||||0|0|0|0|{ 0, 8 }"},
    };
    for (const auto& [list, expected] : cases)
        EXPECT_EQ(fieldsText(list.queryMode, list.appType, list.clientName, list.instanceName, list.backupsetName,
                             list.subclientName, list.clientId, list.instanceId, list.backupsetId, list.subclientId,
                             ::testing::PrintToString(list.jobIds)),
                  expected);
}

TEST(JobListSetUp, ReadsFailureReasons) {
    for (const auto& [text, expected] : {
             std::pair{"5\rDisk full\n7\rNo media\n", "5=Disk full;7=No media;"},
             {"no reason\n", ""},
             {"\r\n\r", "0=;0=;"},
             {" \t-5x\ra\n+7\rb\nx8\rc\n- 9\rd", "-5=a;7=b;0=c;0=d;"},
             {"5\ra\r6", "5=a\r6;0=6;"}, // the words of one that does not end are searched for the next
             {"99999999999999999999\rb\n-99999999999999999999\rc", "2147483647=b;-2147483648=c;"},
         })
        EXPECT_EQ(textOf(List::parseFailureReasons(text)), expected) << text;
}

/// One with all attributes but the start.
std::string jobXml(const std::string& category, int level = 1, int agent = 124, const std::string& more = "") {
    return R"(<job jobId="7" operation="op" state="st" phase="ph" visible="1" sourceClient="src" agentType="ag")"
           R"( instance="in" backupSet="bs" subclient="sc" failureReason="x&#13;y" destinationClient="dst")"
           R"( userName="us" level=")" +
           std::to_string(level) + "\" agentTypeId=\"" + std::to_string(agent) + "\"" +
           (category.empty() ? "" : " jobCategory=\"" + category + "\"") + more + "/>";
}

ENGINE_TEST(JobLists, JobsTest, ::testing::Values(false));

TEST_P(JobLists, FillWhatTheirCategorySays) {
    constexpr int kIds = -1;
    const std::tuple<int, std::string, std::string> cases[] = {
        // types, the category in the answer, what comes of it
        {List::kBackupJobs, "3", "7|op|st|ph|dst||ag|in|bs|sc|New Index|0=y;|us|"},
        {List::kRestoreJobs, "1", "7|op|st|ph|src|dst|ag|in|bs|||0=y;|us|"},
        {List::kAdminJobs, "1", "7|op|st|ph|src||ag|in|bs|sc|Full|0=y;|us|"},
        {kIds, "1", "7|op|st|ph|src||ag|in|bs|sc|New Index|0=y;|us|"},
        {kIds, "2", "7|op|st|ph|src|dst|ag|in|bs|||0=y;|us|"},
        {kIds, "3", "7|op|st|ph|src||ag|in|bs|sc|Full|0=y;|us|"},
        {kIds, "", "7|op|st|ph|src||ag|in|bs|sc||0=y;|us|"},
    };
    for (const auto& [types, category, job] : cases) {
        SCOPED_TRACE(std::to_string(types) + " " + category);
        answerJobs(jobXml(category) + jobXml(category, 1, 124, " startTime=\"6442450949\"") +
                   R"(<job jobId="8" visible="-1" newer="x"><newer/></job>)");
        Jobs jobs;
        EXPECT_EQ((types == kIds ? byIds({7}) : all()).FetchJobList(jobs, types, 0), 0);
        ASSERT_EQ(jobs.size(), 3U);
        EXPECT_EQ(textOf(jobs[0]), job + "-1");
        EXPECT_EQ(textOf(jobs[1]), job + "-2147483643"); // the low 32 bits
        EXPECT_EQ(textOf(jobs[2]), "8|||||||||||||-1");
    }
}

TEST_P(JobLists, NameTheLevelOfABackup) {
    std::string xml;
    std::string names;
    std::string found;
    for (const int agent : {5, 33, 46, 37, 62, 45, 56, 57, 58, 66, 67, 68, 73, 82, 83, 89, 90, 124, 131}) {
        for (const int level : {1, 2, 3, 4, -1})
            xml += jobXml("1", level, agent);
        names += agent == 5                   ? "Full;Transaction Log;Synthetic Full;Differential;;"
                 : agent == 33 || agent == 46 ? "Full;Incremental;Synthetic Full;Differential;;"
                 : agent == 37 || agent == 62 ? "Full;Incremental;Synthetic Full;Delta;;"
                                              : "New Index;;;;;";
    }
    answerJobs(xml);
    Jobs jobs;
    EXPECT_EQ(all().FetchJobList(jobs, List::kBackupJobs, 0), 0);
    for (const auto& job : jobs)
        found += job.backupLevel + ";";
    EXPECT_EQ(found, names);
}

/// Backups 1 and 4, restores 2 and 5, administrative 3 and 6 of client 2 "alpha", backup 7 of client 3 "beta"; and 8 of
/// client 2, which is finished.
std::string someJobs() {
    std::string sql = estate::client(2, "alpha") + estate::client(3, "beta") +
                      estate::instance(5, "DefaultInstanceName") + estate::backupSet(6, "defaultBackupSet") +
                      estate::subclient({10}) + estate::visibility(50, 2) + estate::visibility(51, 3) +
                      estate::row("JMJobStats", "jobId, hubCellId", 8, 2);
    constexpr int kOperations[] = {1, 4, 5};
    for (int id = 1; id <= 8; ++id) {
        sql += estate::row("JMJobEntity", "jobId, hubCellId, clientId, appTypeId, instanceId, backupSetId, subclientId",
                           id, 2, id == 7 ? 3 : 2, 33, 5, 6, 10);
        if (id < 8)
            sql +=
                estate::row("JMJobInfo", "jobId, hubCellId, opType, displayState", id, 2, kOperations[id % 3], id % 6);
    }
    return sql;
}

TEST_P(JobLists, AskForTheTypesInTheirOrder) {
    hub_->run(someJobs());
    const List named(0LL, "alpha", 0, "", "", "default");
    const std::tuple<List, int, int, std::string, std::uint64_t> cases[] = {
        // list, types, user, told: code, jobs, counters and how many jobs `out` has; and the statements
        {all(), 0, 0, "0|1 4 7 2 5 3 6|2|1|1|1|1|7", 3},
        {all(), 5, 0, "0|2 5 3 6|0|1|1|0|1|4", 2},
        {List(2, 0, 0, 0, 0), 7, 0, "0|1 4 2 5 3 6|1|1|1|1|1|6", 3},
        {named, 0, 0, "0|1 4 2 5|1|1|0|1|1|4", 3},
        {named, 1, 0, "0||0|0|0|0|0|0", 1},
        {List(0LL, "", 33, "", "", ""), 2, 0, "0|1 4 7|2|0|0|1|0|3", 2},
        {byIds({6, 1, 77, 1, 2}), 2, 0, "0|1 2 6|0|0|0|0|0|3", 1},
        {byIds({0, 1}), 2, 0, "0|1 4 7|2|0|0|1|0|3", 1},
        // What a user may not see is left out of lists, and ends a query by ids.
        {all(), 3, 50, "0|1 4 3 6|1|0|1|1|0|4", 2},
        {byIds({1, 2, 7}), 0, 50, "1026|1 2|0|0|0|0|0|2", 1},
        {byIds({1, 7}), 0, 51, "1026||0|0|0|0|0|0", 1},
    };
    for (const auto& [query, types, user, told, calls] : cases) {
        List list = query;
        Jobs out(1);
        statements();
        const int code = list.FetchJobList(out, types, user);
        EXPECT_EQ(fieldsText(code, idsOf(list.jobs), textOf(list.summary), out.size()), told);
        EXPECT_EQ(statements(), calls) << told << ": one call for each type, and one for names";
        const std::string first = idsOf(out);
        const int running = list.summary.running;
        EXPECT_EQ(list.FetchJobList(out, types, user), code) << "again";
        EXPECT_EQ(idsOf(out), first + (first.empty() ? "" : " ") + first);
        EXPECT_EQ(list.summary.running, 2 * running);
    }
}

TEST_P(JobLists, CountExactStatesAndTellWhichJobIsNotToBeSeen) {
    std::string xml;
    for (const std::string state : {"RUNNING", "Running ", "", "1", "Queued", "Queued", "Queued", "Running",
                                    "Suspended", "Suspended", "Waiting", "pending", "Completed"})
        xml += R"(<job jobId="1" visible="1" state=")" + state + "\"/>";
    answerJobs(xml + R"(<job jobId="8" visible="0" state="Pending"/>)" + jobXml("1"));
    using Fetch = int (List::*)(int);
    for (const auto& [name, fetch] : {std::pair<std::string, Fetch>{"FetchBackupJobs", &List::FetchBackupJobs},
                                      {"FetchRestoreJobs", &List::FetchRestoreJobs},
                                      {"FetchAdminJobs", &List::FetchAdminJobs},
                                      {"FetchJob", &List::FetchJob}})
        for (const bool ids : {false, true}) {
            support::LogLines lines(kEvLogDetail);
            List list = ids ? byIds({7, 8}) : all();
            const int code = (list.*fetch)(1);
            const std::string told = name == "FetchJob" ? "1026|13|0|0|0|0|0"
                                     : ids              ? "1026|13|1|0|1|2|3"
                                                        : "0|14|1|0|1|2|3";
            EXPECT_EQ(fieldsText(code, list.jobs.size(), textOf(list.summary)), told) << name;
            EXPECT_EQ(lines.taken(), "3 " + name + " Cannot see job 8\n");
        }
}

TEST_P(JobLists, FailWhereTheEngineFails) {
    hub_->run(someJobs());
    const std::string refused = "getJobsFromDB Error [-1] while calling the stored procedure JMGetRunningJobSummary\n";
    const List named(0LL, "alpha", 0, "", "", "");
    const std::tuple<List, std::string, int, std::string, std::string> cases[] = {
        // list, which call fails, told, logged
        {named, "getEntitiesIds", 1, "1285||" + std::string(dbStatusText(kDbBusy)) + "|1", ""},
        {List(0LL, "nobody", 0, "", "", ""), "", 1, "1285||there is no client \"nobody\"|1", ""},
        {named, kProcedure, 2, "-1|1 4||1", refused},
        {all(), kProcedure, 1, "-1|||1", refused},
        {all(), kProcedure, 3, "-1|1 4 7 2 5||1", refused},
        {byIds({1}), kProcedure, 1, "-1|||0", refused + "FetchJob getJobsFromDB failed with error code [-1]\n"},
    };
    for (const auto& [query, object, call, told, log] : cases) {
        at([name = object, left = call](hubdb::FaultPoint where, std::string_view of) mutable {
            return where == hubdb::FaultPoint::kExecute && of == name && --left == 0 ? kDbBusy : 0;
        });
        support::LogLines lines;
        List list = query;
        Jobs out(1);
        const int code = list.FetchJobList(out, 0, 0);
        EXPECT_EQ(fieldsText(code, idsOf(list.jobs), list.errorText, out.size()), told);
        EXPECT_EQ(lines.taken(), log);
    }
}

TEST_P(JobLists, AskAgainForAJobThatIsNotToBeSeen) {
    static std::string pauses;
    OVClock::setSleep([](int milliseconds) { pauses += std::to_string(milliseconds) + " "; });
    hub_->run(someJobs());
    const std::tuple<List, int, int, int, int, unsigned> cases[] = {
        // list, job, user, attempt, whether the user sees it, pauses
        {byIds({1}), 1, 50, 0, 1, 0},    {byIds({1}), 8, 50, 0, 1, 0},  {byIds({1}), 7, 0, 0, 1, 0},
        {byIds({1}), 7, 50, 0, 0, 3},    {byIds({1}), 7, 50, 2, 0, 1},  {byIds({1}), 7, 50, 3, 0, 0},
        {byIds({1}), 7, 50, -1, 0, 4},   {byIds({77}), 77, 0, 0, 0, 3}, {all(), 7, 50, 0, 0, 0},
        {byIds({0, 7}), 7, 50, 0, 0, 0},
    };
    for (const auto& [query, job, user, attempt, visible, times] : cases) {
        support::LogLines lines(kEvLogMessages);
        statements();
        EXPECT_EQ(List(query).isJobVisibleForThisUser(job, user, attempt), visible);
        EXPECT_EQ(statements(), times + 1U);
        std::string expected;
        for (int again = attempt; again < attempt + static_cast<int>(times); ++again)
            expected += "10 isJobVisibleForThisUser Retrying call to JMGetJobVisibilityMask attempt no [" +
                        std::to_string(again) + "]\n";
        EXPECT_EQ(lines.taken(), expected) << job << ' ' << attempt;
        EXPECT_EQ(std::exchange(pauses, ""), std::string("3000 3000 3000 3000 ").substr(0, 5U * times));
    }
    OVClock::setSleep(nullptr);
    // The last of several rows counts, and what was read before a failure.
    for (const auto& [query, visible] :
         {std::pair{"SELECT 50, 0 UNION ALL SELECT 50, -2", 1}, {"SELECT 50, 1 UNION ALL SELECT 50, 0", 0}}) {
        define("JMCheckUserJobVisibilityV2", query);
        EXPECT_EQ(all().isJobVisibleForThisUser(7, 50, 0), visible) << query;
    }
    fail(hubdb::FaultPoint::kNextRow, kDbFailed); // behind the first row
    EXPECT_EQ(all().isJobVisibleForThisUser(7, 50, 0), 1);
}

TEST_P(JobLists, DescribeRunningAndFinishedJobs) {
    const std::string columns = " (jobId, hubCellId, jobDescription) VALUES ";
    hub_->run("INSERT INTO JMJobInfo" + columns + "(1, 2, 'running'), (2, 2, NULL), (5, 3, 'elsewhere')");
    hub_->run("INSERT INTO JMJobStats" + columns +
              "(1, 2, 'finished'), (2, 2, 'not looked at'), (3, 2, 'finished'), (4, 2, NULL), (5, 3, 'elsewhere')");
    List list = all();
    list.errorText = "kept";
    support::LogLines lines(kEvLogMessages);
    const auto described = [&list](long long job) {
        list.description = "before";
        const int code = list.getDescription(job);
        return fieldsText(code, list.description);
    };
    for (const auto& [job, expected] :
         {std::pair{1LL, "0|running"}, {2, "0|"}, {3, "0|finished"}, {4, "0|"}, {5, "1|"}, {4294967297, "1|"}})
        EXPECT_EQ(described(job), expected) << job;
    fail(hubdb::FaultPoint::kExecute, kDbFailed);
    EXPECT_EQ(described(1), "0|finished");
    fail(hubdb::FaultPoint::kExecute, kDbFailed, 2);
    EXPECT_EQ(described(1), "1|");
    EXPECT_EQ(list.errorText + lines.taken(), "kept");
}

} // namespace
