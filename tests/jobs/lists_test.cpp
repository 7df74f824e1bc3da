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
        {{-1LL, "c", 3, "", "", "s"}, "0|3|c|DefaultInstanceName|defaultBackupSet|s|0|0|0|0|-1"},
        {{Ids{}, "", -3, "", "", ""}, "2|-3|||||0|0|0|0|"},
        {{Ids{0, 7}, "c", 0, "", "", ""}, "1|0|c||||0|0|0|0|0,7"},
        {{Ids{1LL << 40, 0}, "", 0, "", "", ""}, "0|0|||||0|0|0|0|1099511627776,0"},
        {{0LL, "", 1, "", "", ""}, "1|1|||||0|0|0|0|0"},
        {{0LL, "", 0, "", "b", ""}, "1|0||DefaultInstanceName|b||0|0|0|0|0"},
        {{0LL, "", 0, "i", "", "s"}, "1|0||i|defaultBackupSet|s|0|0|0|0|0"},
        {{2, 33, 4, 5, 6}, "2|33|||||2|4|5|6|"},
        {again({2, 33, 4, 5, 6}, {}, "c"), "1|0|c||||0|0|0|0|"},
        {again({7LL, "c", 0, "", "", ""}, {8}, ""), "0|0|||||0|0|0|0|7,8"},
        {again({0LL, "", 0, "", "", ""}, {8}, ""), "2|0|||||0|0|0|0|0,8"},
    };
    for (const auto& [list, expected] : cases) {
        std::string ids;
        for (const long long id : list.jobIds)
            ids += (ids.empty() ? "" : ",") + std::to_string(id);
        EXPECT_EQ(fieldsText(list.queryMode, list.appType, list.clientName, list.instanceName, list.backupsetName,
                             list.subclientName, list.clientId, list.instanceId, list.backupsetId, list.subclientId,
                             ids),
                  expected);
    }
}

TEST(JobListSetUp, ReadsFailureReasons) {
    for (const auto& [text, expected] : {
             std::pair{"5\rDisk full\n7\rNo media\n", "5=Disk full;7=No media;"},
             {"12\rLast", "12=Last;"},
             {"no reason\n", ""},
             {"\r\n\r", "0=;0=;"},
             {" \t-5x\ra\n+7\rb\nx8\rc\n- 9\rd", "-5=a;7=b;0=c;0=d;"},
             {"1\na\r2\n3\r4", "1=2;3=4;"},
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
std::string listXml(const std::string& jobs) {
    return "<JobListResponseVSDK>" + jobs + "</JobListResponseVSDK>";
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
        {kIds, "9", "7|op|st|ph|src||ag|in|bs|sc||0=y;|us|"},
    };
    for (const auto& [types, category, job] : cases) {
        SCOPED_TRACE(std::to_string(types) + " " + category);
        answer(listXml(jobXml(category) + jobXml(category, 1, 124, " startTime=\"6442450949\"") +
                       R"(<job jobId="8" visible="-1" newer="x"><newer/></job>)"));
        Jobs jobs;
        EXPECT_EQ((types == kIds ? byIds({7}) : all()).FetchJobList(jobs, types, 0), 0);
        ASSERT_EQ(jobs.size(), 3U);
        EXPECT_EQ(textOf(jobs[0]), job + "-1");
        EXPECT_EQ(textOf(jobs[1]), job + "-2147483643"); // the low 32 bits
        EXPECT_EQ(textOf(jobs[2]), "8|||||||||||||-1");
    }
}

TEST_P(JobLists, NameTheLevelOfABackup) {
    std::vector<std::tuple<int, int, std::string>> cases{
        // level, agent type, name
        {2, 5, "Transaction Log"}, {1, 5, "Full"},  {4, 5, "Differential"},     {4, 37, "Delta"}, {4, 62, "Delta"},
        {2, 37, "Incremental"},    {1, 46, "Full"}, {3, 130, "Synthetic Full"}, {-1, 33, ""},     {4, 45, ""},
    };
    for (const int agent : {45, 56, 57, 58, 66, 67, 68, 73, 82, 83, 89, 90, 124, 131})
        cases.insert(cases.end(), {{1, agent, "New Index"}, {2, agent, ""}});
    std::string xml;
    for (const auto& [level, agent, name] : cases)
        xml += jobXml("1", level, agent);
    answer(listXml(xml));
    Jobs jobs;
    EXPECT_EQ(all().FetchJobList(jobs, List::kBackupJobs, 0), 0);
    ASSERT_EQ(jobs.size(), cases.size());
    for (std::size_t i = 0; i < cases.size(); ++i)
        EXPECT_EQ(jobs[i].backupLevel, std::get<2>(cases[i])) << std::get<0>(cases[i]) << ' ' << std::get<1>(cases[i]);
}

std::string jobEntity(int job, int client) {
    return estate::row("JMJobEntity", "jobId, hubCellId, clientId, appTypeId, instanceId, backupSetId, subclientId",
                       job, 2, client, 33, 5, 6, 10);
}
/// Backups 1 and 4, restores 2 and 5, administrative 3 and 6 of client 2 "alpha", backup 7 of client 3 "beta".
std::string someJobs() {
    std::string sql = estate::client(2, "alpha") + estate::client(3, "beta") +
                      estate::instance(5, "DefaultInstanceName") + estate::backupSet(6, "defaultBackupSet") +
                      estate::subclient({10}) + estate::visibility(50, 2) + estate::visibility(51, 3);
    constexpr int kOperations[] = {1, 4, 5};
    for (int id = 1; id <= 7; ++id)
        sql += estate::row("JMJobInfo", "jobId, hubCellId, opType, displayState", id, 2, kOperations[id % 3], id % 6) +
               jobEntity(id, id < 7 ? 2 : 3);
    return sql;
}

TEST_P(JobLists, AskForTheTypesInTheirOrder) {
    hub_->run(someJobs());
    const List named(0LL, "alpha", 0, "", "", "default");
    struct Case {
        List list;
        int types;
        int user;
        std::string told; ///< code, jobs, counters and how many jobs `out` has
        std::uint64_t statements;
    };
    const Case cases[] = {
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
    for (const auto& c : cases) {
        SCOPED_TRACE(c.told);
        List list = c.list;
        Jobs out(1);
        statements();
        const int code = list.FetchJobList(out, c.types, c.user);
        EXPECT_EQ(fieldsText(code, idsOf(list.jobs), textOf(list.summary), out.size()), c.told);
        EXPECT_EQ(statements(), c.statements) << "one call for each type, and one for names";
        const std::string first = idsOf(out);
        const int running = list.summary.running;
        EXPECT_EQ(list.FetchJobList(out, c.types, c.user), code) << "again";
        EXPECT_EQ(idsOf(out), first + (first.empty() ? "" : " ") + first);
        EXPECT_EQ(list.summary.running, 2 * running);
    }
}

TEST_P(JobLists, CountExactStatesAndTellWhichJobIsNotToBeSeen) {
    std::string xml;
    for (const std::string state : {"RUNNING", "Running ", "", "1", "Queued", "Queued", "Queued", "Running",
                                    "Suspended", "Suspended", "Waiting", "pending", "Completed"})
        xml += R"(<job jobId="1" visible="1" state=")" + state + "\"/>";
    answer(listXml(xml + R"(<job jobId="8" visible="0" state="Pending"/>)" + jobXml("1")));
    using Fetch = int (List::*)(int);
    for (const auto& [name, fetch] : {std::pair<std::string, Fetch>{"FetchBackupJobs", &List::FetchBackupJobs},
                                      {"FetchRestoreJobs", &List::FetchRestoreJobs},
                                      {"FetchAdminJobs", &List::FetchAdminJobs},
                                      {"FetchJob", &List::FetchJob}})
        for (const bool ids : {false, true}) {
            support::LogLines lines(kEvLogDetail);
            List list = ids ? byIds({7, 8}) : all();
            const int code = (list.*fetch)(1);
            EXPECT_EQ(fieldsText(code, list.jobs.size(), textOf(list.summary)), name == "FetchJob" ? "1026|13|0|0|0|0|0"
                                                                                : ids              ? "1026|13|1|0|1|2|3"
                                                                                                   : "0|14|1|0|1|2|3")
                << name;
            EXPECT_EQ(lines.taken(), "3 " + name + " Cannot see job 8\n");
        }
}

TEST_P(JobLists, FailWhereTheEngineFails) {
    hub_->run(someJobs());
    const std::string refused = "getJobsFromDB Error [-1] while calling the stored procedure JMGetRunningJobSummary\n";
    struct Case {
        List list;
        std::string object;
        int at; ///< which such call fails
        std::string told;
        std::string log;
    };
    const List named(0LL, "alpha", 0, "", "", "");
    const Case cases[] = {
        {named, "getEntitiesIds", 1, "1285||" + std::string(dbStatusText(kDbBusy)) + "|1", ""},
        {List(0LL, "nobody", 0, "", "", ""), "", 1, "1285||there is no client \"nobody\"|1", ""},
        {named, kProcedure, 2, "-1|1 4||1", refused},
        {all(), kProcedure, 3, "-1|1 4 7 2 5||1", refused},
        {byIds({1}), kProcedure, 1, "-1|||0", refused + "FetchJob getJobsFromDB failed with error code [-1]\n"},
    };
    for (const auto& c : cases) {
        at([&c, left = c.at](hubdb::FaultPoint where, std::string_view of) mutable {
            return where == hubdb::FaultPoint::kExecute && of == c.object && --left == 0 ? kDbBusy : 0;
        });
        support::LogLines lines;
        List list = c.list;
        Jobs out(1);
        const int code = list.FetchJobList(out, 0, 0);
        EXPECT_EQ(fieldsText(code, idsOf(list.jobs), list.errorText, out.size()), c.told);
        EXPECT_EQ(lines.taken(), c.log);
    }
}

TEST_P(JobLists, AskAgainForAJobThatIsNotToBeSeen) {
    static std::string pauses;
    pauses.clear();
    OVClock::setSleep([](int milliseconds) { pauses += std::to_string(milliseconds) + " "; });
    hub_->run(someJobs() + estate::row("JMJobStats", "jobId, hubCellId", 20, 2) + jobEntity(20, 2));
    struct Case {
        List list;
        int job;
        int user;
        int attempt;
        int visible;
        int calls;
    };
    const Case cases[] = {
        {byIds({1}), 1, 50, 0, 1, 1},    {byIds({1}), 20, 50, 0, 1, 1}, {byIds({1}), 7, 0, 0, 1, 1},
        {byIds({1}), 7, 50, 0, 0, 4},    {byIds({1}), 7, 50, 2, 0, 2},  {byIds({1}), 7, 50, 3, 0, 1},
        {byIds({1}), 7, 50, -1, 0, 5},   {byIds({77}), 77, 0, 0, 0, 4}, {all(), 7, 50, 0, 0, 1},
        {byIds({0, 7}), 7, 50, 0, 0, 1},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(fieldsText(c.job, c.user, c.attempt));
        support::LogLines lines(kEvLogMessages);
        statements();
        EXPECT_EQ(List(c.list).isJobVisibleForThisUser(c.job, c.user, c.attempt), c.visible);
        EXPECT_EQ(statements(), c.calls);
        std::string expectedPauses;
        std::string expectedLines;
        for (int again = 0; again < c.calls - 1; ++again) {
            expectedPauses += "3000 ";
            expectedLines += "10 isJobVisibleForThisUser Retrying call to JMGetJobVisibilityMask attempt no [" +
                             std::to_string(c.attempt + again) + "]\n";
        }
        EXPECT_EQ(std::exchange(pauses, ""), expectedPauses);
        EXPECT_EQ(lines.taken(), expectedLines);
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
    const auto put = [](const char* table, int job, int hubCell, const std::optional<std::string>& text) {
        return estate::row(table, "jobId, hubCellId, jobDescription", job, hubCell, text);
    };
    hub_->run(put("JMJobInfo", 1, 2, "running") + put("JMJobStats", 1, 2, "finished") + put("JMJobInfo", 2, 2, {}) +
              put("JMJobStats", 2, 2, "not looked at") + put("JMJobStats", 3, 2, "finished") +
              put("JMJobStats", 4, 2, {}) + put("JMJobInfo", 5, 3, "elsewhere") + put("JMJobStats", 5, 3, "elsewhere"));
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
