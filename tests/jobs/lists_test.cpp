#include "jobmgr/OVManageDBForJM.h"
#include "jobs/JobsTest.h"
#include "system/OVClock.h"

namespace {

using List = VSDK_JobList;
using Jobs = std::vector<_VSDK_Job>;
using Ids = std::vector<long long>;

constexpr int kNotVisible = 1026;
constexpr int kNotFetched = 1285;

TEST(JobListSetUp, ChoosesTheModeAndTheDefaultNames) {
    const auto again = [](List list, Ids ids, const char* client) {
        list.initialize(std::move(ids), client, 0, "", "", "");
        return list;
    };
    const std::pair<List, std::string> cases[] = {
        {{0LL, "", 0, "", "", ""}, "2|0|||||0|0|0|0|0"},
        {{5LL, "", 0, "", "", ""}, "0|0|||||0|0|0|0|5"},
        {{-1LL, "c", 3, "", "", "s"}, "0|3|c|DefaultInstanceName|defaultBackupSet|s|0|0|0|0|-1"},
        {{Ids{}, "", 0, "", "", ""}, "2|0|||||0|0|0|0|"},
        {{Ids{0, 7}, "", 0, "", "", ""}, "2|0|||||0|0|0|0|0,7"},
        {{Ids{0, 7}, "c", 0, "", "", ""}, "1|0|c||||0|0|0|0|0,7"},
        {{Ids{1LL << 40, 0}, "", 0, "", "", ""}, "0|0|||||0|0|0|0|1099511627776,0"},
        {{0LL, "", 1, "", "", ""}, "1|1|||||0|0|0|0|0"},
        {{0LL, "", -3, "", "", ""}, "2|-3|||||0|0|0|0|0"},
        {{0LL, "", 0, "i", "", ""}, "1|0||i|||0|0|0|0|0"},
        {{0LL, "", 0, "", "b", ""}, "1|0||DefaultInstanceName|b||0|0|0|0|0"},
        {{0LL, "", 0, "", "", "s"}, "1|0||DefaultInstanceName|defaultBackupSet|s|0|0|0|0|0"},
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
    const std::pair<std::string, std::string> cases[] = {
        {"5\rDisk full\n7\rNo media\n", "5=Disk full;7=No media;"},
        {"12\rLast", "12=Last;"},
        {"no reason\n", ""},
        {"", ""},
        {"\r\n\r", "0=;0=;"},
        {" \t-5x\ra\n+7\rb\nx8\rc\n- 9\rd", "-5=a;7=b;0=c;0=d;"},
        {"1\na\r2\n3\r4", "1=2;3=4;"},
        {"5\ra\r6", "5=a\r6;0=6;"}, // the words of one that does not end are searched for the next
        {"2147483647\ra\n99999999999999999999\rb\n-99999999999999999999\rc",
         "2147483647=a;2147483647=b;-2147483648=c;"},
    };
    for (const auto& [text, expected] : cases) {
        std::string reasons;
        for (const auto& reason : List::parseFailureReasons(text))
            reasons += std::to_string(reason.code) + "=" + reason.text + ";";
        EXPECT_EQ(reasons, expected) << text;
    }
}

/// One with all attributes.
std::string jobXml(const std::string& category, int level = 1, int agent = 124, const std::string& more = "") {
    return "<job jobId=\"7\" operation=\"op\" state=\"st\" phase=\"ph\" visible=\"1\" sourceClient=\"src\" "
           "agentType=\"ag\" instance=\"in\" backupSet=\"bs\" subclient=\"sc\" failureReason=\"x&#13;y\" "
           "destinationClient=\"dst\" userName=\"us\" level=\"" +
           std::to_string(level) + "\" agentTypeId=\"" + std::to_string(agent) + "\"" +
           (category.empty() ? "" : " jobCategory=\"" + category + "\"") + more + "/>";
}
std::string listXml(const std::string& jobs) {
    return "<JobListResponseVSDK>" + jobs + "</JobListResponseVSDK>";
}

ENGINE_TEST(JobLists, JobsTest, ::testing::Values(false));

TEST_P(JobLists, FillWhatTheirCategorySays) {
    constexpr int kIds = -1;
    struct Case {
        int types;
        std::string category; ///< in the answer
        std::string job;
    };
    const Case cases[] = {
        {List::kBackupJobs, "3", "7|op|st|ph|dst||ag|in|bs|sc|New Index|0=y;|us|"},
        {List::kRestoreJobs, "1", "7|op|st|ph|src|dst|ag|in|bs|||0=y;|us|"},
        {List::kAdminJobs, "1", "7|op|st|ph|src||ag|in|bs|sc|Full|0=y;|us|"},
        {kIds, "1", "7|op|st|ph|src||ag|in|bs|sc|New Index|0=y;|us|"},
        {kIds, "2", "7|op|st|ph|src|dst|ag|in|bs|||0=y;|us|"},
        {kIds, "3", "7|op|st|ph|src||ag|in|bs|sc|Full|0=y;|us|"},
        {kIds, "", "7|op|st|ph|src||ag|in|bs|sc||0=y;|us|"},
        {kIds, "9", "7|op|st|ph|src||ag|in|bs|sc||0=y;|us|"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::to_string(c.types) + " " + c.category);
        answer(listXml(jobXml(c.category) + jobXml(c.category, 1, 124, " startTime=\"6442450949\"") +
                       R"(<job jobId="8" visible="-1" newer="x"><newer/></job>)"));
        List list = c.types == kIds ? byIds({7}) : all();
        Jobs jobs;
        EXPECT_EQ(list.FetchJobList(jobs, c.types == kIds ? 0 : c.types, 0), 0);
        ASSERT_EQ(jobs.size(), 3U);
        EXPECT_EQ(textOf(jobs[0]), c.job + "-1");
        EXPECT_EQ(textOf(jobs[1]), c.job + "-2147483643"); // the low 32 bits
        EXPECT_EQ(textOf(jobs[2]), "8|||||||||||||-1");
    }
}

TEST_P(JobLists, NameTheLevelOfABackup) {
    struct Case {
        const char* name; ///< in a backup list and by id; an administrative job has the plain name
        int level;
        int agent;
    };
    std::vector<Case> cases{{"Transaction Log", 2, 5},  {"Full", 1, 5},   {"Differential", 4, 5},
                            {"Delta", 4, 37},           {"Delta", 4, 62}, {"Incremental", 2, 37},
                            {"Differential", 4, 33},    {"Full", 1, 46},  {"", 0, 33},
                            {"Synthetic Full", 3, 130}, {"", 5, 33},      {"", -1, 33}};
    for (const int agent : {45, 56, 57, 58, 66, 67, 68, 73, 82, 83, 89, 90, 124, 131})
        cases.insert(cases.end(), {{"New Index", 1, agent}, {"", 2, agent}, {"", 4, agent}});
    std::string xml;
    for (const auto& c : cases)
        xml += jobXml("1", c.level, c.agent);
    answer(listXml(xml));
    Jobs listed;
    Jobs byId;
    Jobs administrative;
    EXPECT_EQ(all().FetchJobList(listed, List::kBackupJobs, 0), 0);
    EXPECT_EQ(byIds({7}).FetchJobList(byId, 0, 0), 0);
    EXPECT_EQ(all().FetchJobList(administrative, List::kAdminJobs, 0), 0);
    for (std::size_t i = 0; i < cases.size(); ++i) {
        SCOPED_TRACE(fieldsText(cases[i].level, cases[i].agent));
        EXPECT_EQ(listed[i].backupLevel, cases[i].name);
        EXPECT_EQ(byId[i].backupLevel, cases[i].name);
        EXPECT_EQ(administrative[i].backupLevel, getBkpLevelName(cases[i].level));
    }
}

/// Backups 1 and 4, restores 2 and 5, administrative 3 and 6 of client 2 "alpha", backup 7 of client 3 "beta".
std::string someJobs() {
    std::string sql = estate::client(2, "alpha") + estate::client(3, "beta") +
                      estate::instance(5, "DefaultInstanceName") + estate::backupSet(6, "defaultBackupSet") +
                      estate::subclient({10}) + estate::visibility(50, 2) + estate::visibility(51, 3);
    constexpr int kOperations[] = {1, 4, 5};
    for (int id = 1; id <= 6; ++id)
        sql += estate::job({.id = id, .operation = kOperations[id % 3], .state = id}) + estate::jobEntity({.job = id});
    return sql + estate::job({.id = 7}) + estate::jobEntity({.job = 7, .client = 3});
}

TEST_P(JobLists, AskForTheTypesInTheirOrder) {
    hub_->run(someJobs());
    const List named(0LL, "alpha", 0, "", "", "default");
    struct Case {
        const char* what;
        List list;
        int types;
        int user;
        std::string told; ///< code, jobs, counters and how many jobs `out` has
        std::uint64_t statements;
    };
    const Case cases[] = {
        {"all", all(), 0, 0, "0|1 4 7 2 5 3 6|2|1|1|1|1|7", 3},
        {"backups", all(), 2, 0, "0|1 4 7|2|0|0|1|0|3", 1},
        {"the rest", all(), 5, 0, "0|2 5 3 6|0|1|1|0|1|4", 2},
        {"unknown types", all(), 8, 0, "0||0|0|0|0|0|0", 0},
        {"a client's", List(2, 0, 0, 0, 0), 7, 0, "0|1 4 2 5 3 6|1|1|1|1|1|6", 3},
        {"named", named, 0, 0, "0|1 4 2 5|1|1|0|1|1|4", 3},
        {"named, administrative", named, 1, 0, "0||0|0|0|0|0|0", 1},
        {"an agent type", List(0LL, "", 33, "", "", ""), 2, 0, "0|1 4 7|2|0|0|1|0|3", 2},
        {"by ids", byIds({6, 1, 77, 1, 2}), 2, 0, "0|1 2 6|0|0|0|0|0|3", 1},
        {"by an unknown id", byIds({77}), 0, 0, "0||0|0|0|0|0|0", 1},
        {"first id 0", byIds({0, 1}), 2, 0, "0|1 4 7|2|0|0|1|0|3", 1},
        {"sent as 32 bits", byIds({4294967297}), 0, 0, "0|1|0|0|0|0|0|1", 1},
        // What a user may not see is left out of lists, and ends a query by ids.
        {"alpha's jobs", all(), 3, 50, "0|1 4 3 6|1|0|1|1|0|4", 2},
        {"no jobs", all(), 0, 99, "0||0|0|0|0|0|0", 3},
        {"ids up to beta's", byIds({1, 2, 7}), 0, 50, "1026|1 2|0|0|0|0|0|2", 1},
        {"ids of others", byIds({1, 7}), 0, 51, "1026||0|0|0|0|0|0", 1},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        List list = c.list;
        Jobs out(1);
        statements();
        const int code = list.FetchJobList(out, c.types, c.user);
        EXPECT_EQ(fieldsText(code, idsOf(list.jobs), textOf(list.summary), out.size()), c.told);
        EXPECT_EQ(statements(), c.statements) << "one call for each type, and one for names";
        const Jobs first = out;
        const int running = list.summary.running;
        EXPECT_EQ(list.FetchJobList(out, c.types, c.user), code) << "again";
        EXPECT_EQ(idsOf(out), idsOf(first) + (first.empty() ? "" : " ") + idsOf(first));
        EXPECT_EQ(list.summary.running, 2 * running);
    }
}

TEST_P(JobLists, TellWhichJobIsNotToBeSeen) {
    const std::string hidden = R"(<job jobId="8" visible="0"/>)";
    answer(listXml(jobXml("1") + hidden + jobXml("1")));
    using Fetch = int (List::*)(int);
    for (const auto& [name, fetch] : {std::pair<std::string, Fetch>{"FetchBackupJobs", &List::FetchBackupJobs},
                                      {"FetchRestoreJobs", &List::FetchRestoreJobs},
                                      {"FetchAdminJobs", &List::FetchAdminJobs},
                                      {"FetchJob", &List::FetchJob}}) {
        for (const bool ids : {false, true}) {
            SCOPED_TRACE(name);
            support::LogLines lines(kEvLogDetail);
            List list = ids ? byIds({7, 8}) : all();
            const bool stops = ids || name == "FetchJob";
            EXPECT_EQ((list.*fetch)(1), stops ? kNotVisible : 0);
            EXPECT_EQ(idsOf(list.jobs), stops ? "7" : "7 7");
            EXPECT_EQ(lines.taken(), "3 " + name + " Cannot see job 8\n");
        }
    }
}

TEST_P(JobLists, CountExactStates) {
    std::string xml;
    for (const char* state : {"running", "RUNNING", "Running ", "", "1", "Queued", "Running", "Suspended", "Waiting",
                              "Waiting", "Pending", "Completed"})
        xml += R"(<job jobId="1" visible="1" state=")" + std::string(state) + "\"/>";
    answer(listXml(xml));
    List list = all();
    EXPECT_EQ(list.FetchRestoreJobs(0), 0);
    EXPECT_EQ(textOf(list.summary), "1|1|2|1|1");
    List ids = byIds({1});
    EXPECT_EQ(ids.FetchJob(0), 0);
    EXPECT_EQ(textOf(ids.summary), "0|0|0|0|0");
}

TEST_P(JobLists, FailWhereTheEngineFails) {
    hub_->run(someJobs());
    const std::string refused = "getJobsFromDB Error [-1] while calling the stored procedure JMGetRunningJobSummary\n";
    struct Case {
        List list;
        const char* object;
        hubdb::FaultPoint point;
        int at; ///< which such call fails
        std::string told;
        std::string log;
    };
    using enum hubdb::FaultPoint;
    constexpr const char* kNames = "getEntitiesIds";
    const List named(0LL, "alpha", 0, "", "", "");
    const std::string busy = dbStatusText(kDbBusy);
    const Case cases[] = {
        {named, kNames, kExecute, 1, "1285||" + busy + "|1", ""},
        {named, kProcedure, kExecute, 1, "-1|||1", refused},
        {named, kProcedure, kExecute, 2, "-1|1 4||1", refused},
        {all(), kProcedure, kNextRow, 1, "-1|||1", refused},
        {all(), kProcedure, kExecute, 3, "-1|1 4 7 2 5||1", refused},
        {byIds({1}), kProcedure, kExecute, 1, "-1|||0",
         refused + "FetchJob getJobsFromDB failed with error code [-1]\n"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(fieldsText(c.object, c.at, c.told));
        at([&c, left = c.at](hubdb::FaultPoint where, std::string_view of) mutable {
            return where == c.point && of == c.object && --left == 0 ? kDbBusy : 0;
        });
        support::LogLines lines;
        List list = c.list;
        Jobs out(1);
        const int code = list.FetchJobList(out, 0, 0);
        EXPECT_EQ(fieldsText(code, idsOf(list.jobs), list.errorText, out.size()), c.told);
        EXPECT_EQ(lines.taken(), c.log);
    }
    atNoPoint();
    Jobs out(1);
    List unknown(0LL, "nobody", 0, "", "", "");
    EXPECT_EQ(unknown.FetchJobList(out, 0, 0), kNotFetched);
    EXPECT_EQ(unknown.errorText + idsOf(out), "there is no client \"nobody\"0");
    define(kNames, "SELECT 0, 0, 0, 0, '' FROM HubSchema WHERE 1 = 0");
    EXPECT_EQ(unknown.GetEntityIdFromNames(), kNotFetched) << "no row";
    unknown.SetError(nullptr);
    EXPECT_EQ(unknown.errorText, dbStatusText(kDbNoRow));
    unknown.SetError("");
    EXPECT_EQ(unknown.errorText, "");
}

TEST_P(JobLists, AskAgainForAJobThatIsNotToBeSeen) {
    static std::string pauses;
    pauses.clear();
    OVClock::setSleep([](int milliseconds) { pauses += std::to_string(milliseconds) + " "; });
    hub_->run(someJobs() + estate::row("JMJobStats", "jobId, hubCellId", 20, 2) + estate::jobEntity({.job = 20}));
    struct Case {
        const char* what;
        List list;
        int job;
        int user;
        int attempt;
        int visible;
        std::uint64_t calls;
    };
    const Case cases[] = {
        {"running", byIds({1}), 1, 50, 0, 1, 1},       {"finished", byIds({1}), 20, 50, 0, 1, 1},
        {"the system", byIds({1}), 7, 0, 0, 1, 1},     {"another's", byIds({1}), 7, 50, 0, 0, 4},
        {"after a try", byIds({1}), 7, 50, 1, 0, 3},   {"the last but one", byIds({1}), 7, 50, 2, 0, 2},
        {"the last", byIds({1}), 7, 50, 3, 0, 1},      {"before the first", byIds({1}), 7, 50, -1, 0, 5},
        {"none", byIds({77}), 77, 0, 0, 0, 4},         {"no ids", all(), 7, 50, 0, 0, 1},
        {"first id 0", byIds({0, 7}), 7, 50, 0, 0, 1},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        support::LogLines lines(kEvLogMessages);
        List list = c.list;
        statements();
        EXPECT_EQ(list.isJobVisibleForThisUser(c.job, c.user, c.attempt), c.visible);
        EXPECT_EQ(statements(), c.calls);
        std::string expectedPauses;
        std::string expectedLines;
        for (std::uint64_t call = 1; call < c.calls; ++call) {
            expectedPauses += "3000 ";
            expectedLines += "10 isJobVisibleForThisUser Retrying call to JMGetJobVisibilityMask attempt no [" +
                             std::to_string(c.attempt + static_cast<int>(call) - 1) + "]\n";
        }
        EXPECT_EQ(std::exchange(pauses, ""), expectedPauses);
        EXPECT_EQ(lines.taken(), expectedLines);
    }
    // The last of several rows counts, and what was read before a failure.
    for (const auto& [query, visible] : {std::pair<std::string, int>{"SELECT 50, 1 UNION ALL SELECT 50, 0", 0},
                                         {"SELECT 50, 0 UNION ALL SELECT 50, -2", 1},
                                         {"SELECT 50, 1 FROM HubSchema WHERE 1 = 0", 0},
                                         {"SELECT nothing FROM nowhere", 0}}) {
        define("JMCheckUserJobVisibilityV2", query);
        EXPECT_EQ(all().isJobVisibleForThisUser(7, 50, 0), visible) << query;
    }
    define("JMCheckUserJobVisibilityV2", "SELECT 50, 1 UNION ALL SELECT 50, 0");
    fail(hubdb::FaultPoint::kNextRow, kDbFailed); // behind the first row
    EXPECT_EQ(all().isJobVisibleForThisUser(7, 50, 0), 1);
    fail(hubdb::FaultPoint::kExecute, kDbFailed);
    EXPECT_EQ(all().isJobVisibleForThisUser(7, 50, 0), 0);
    OVClock::setSleep(nullptr);
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
    const std::pair<long long, std::string> cases[] = {{1, "0|running"}, {2, "0|"},  {3, "0|finished"}, {4, "0|"},
                                                       {5, "1|"},        {99, "1|"}, {4294967297, "1|"}};
    support::LogLines lines(kEvLogMessages);
    for (const auto& [job, expected] : cases) {
        list.description = "before";
        const int code = list.getDescription(job);
        EXPECT_EQ(fieldsText(code, list.description), expected) << job;
    }
    for (const auto& [table, expected] : {std::pair{"JMJobInfo", "0|finished"}, {"JMJobStats", "0|running"}}) {
        fail(hubdb::FaultPoint::kExecute, kDbFailed, 1, table);
        const int code = list.getDescription(1);
        EXPECT_EQ(fieldsText(code, list.description), expected);
    }
    fail(hubdb::FaultPoint::kExecute, kDbFailed, 2);
    EXPECT_EQ(list.getDescription(1), 1);
    EXPECT_EQ(list.description + list.errorText + lines.taken(), "kept");
}

} // namespace
