#include <algorithm>

#include "jobmgr/OVManageDBForJM.h"
#include "jobs/JobsTest.h"
#include "message/JobMessages.h"
#include "message/MessageStatus.h"

namespace {

using List = VSDK_JobList;
using Answers = std::vector<ZorvanUtilities::JobResponseVSDK>;

ENGINE_TEST(JobAnswers, JobsTest, ::testing::Values(false));

TEST_P(JobAnswers, AndRequestsAreLogged) {
    answer("<JobListResponseVSDK></JobListResponseVSDK>");
    const std::string user = "><user userId=\"50\"/>";
    const std::string any = R"(<entity subclientId="0" backupSetId="0" instanceId="0" appTypeId="0" clientId="0"/>)";
    const std::string backups = " opTypes=\"4 14 18 30 43 59 60 65\"";
    std::string others; // what is neither a backup nor a restore
    for (int type = 1; type <= 154; ++type)
        if (OVManageDBForJM::getJobCategoryFromOpType(static_cast<OVOpType>(type)) == kAdministrativeCategory)
            others += (others.empty() ? "" : " ") + std::to_string(type);
    EXPECT_EQ(std::ranges::count(others, ' '), 154 - 8 - 7 - 1);
    const std::tuple<List, OVJobCategory, std::string> cases[] = {
        {byIds({7, 0, 4294967298, -1}), kAnyCategory, " jobIds=\"7 0 2 -1\"" + user},
        {byIds({7}), kBackupCategory, " jobIds=\"7\"" + backups + user},
        {byIds({0, 7}), kBackupCategory, backups + user + any},
        {byIds({}), kRestoreCategory, " opTypes=\"5 15 19 31 44 61 66\"" + user + any},
        {all(), kAdministrativeCategory, " opTypes=\"" + others + "\"" + user + any},
        {List(2, 33, 4, 5, 6), kAnyCategory,
         user + R"(<entity subclientId="6" backupSetId="5" instanceId="4" appTypeId="33" clientId="2"/>)"},
    };
    Answers jobs;
    for (const auto& [list, category, filter] : cases) {
        support::LogLines log(kEvLogMessages);
        jobs.resize(1);
        EXPECT_EQ(List(list).getJobsFromDB(50, category, &jobs), 0);
        EXPECT_TRUE(jobs.empty());
        EXPECT_EQ(
            log.taken(),
            "10 getJobsFromDB Calling JMGetRunningJobSummary with userId [50], input XML [<JobListRequest><filter" +
                filter + "</filter></JobListRequest>] \n" +
                "10 getJobsFromDB Response from JMGetRunningJobSummary [<JobListResponseVSDK/>]\n");
    }
    support::LogLines less(kEvLogMessages - 1);
    EXPECT_EQ(all().getJobsFromDB(50, kAnyCategory, &jobs), 0);
    EXPECT_EQ(less.taken(), "");
    EXPECT_EQ(all().getJobsFromDB(50, kAnyCategory, nullptr), 1);
    EXPECT_EQ(less.taken(), "1 getJobsFromDB output job pointer must be passed to the function\n");
    jobs.resize(3);
    EXPECT_EQ(byIds(std::vector<long long>(400'000, -2147483648)).getJobsFromDB(50, kAnyCategory, &jobs),
              kMessageTooLarge);
    EXPECT_EQ(less.taken(), "1 getJobsFromDB Error [-2005] while framing the XML string JobListRequest\n");
    EXPECT_EQ(jobs.size(), 3U);
}

TEST_P(JobAnswers, ThatCannotBeReadChangeNothingAndShowNoPassword) {
    const std::string good = R"(<JobListResponseVSDK><job jobId="1" visible="1"/><job )";
    const std::tuple<std::string, int, std::string> cases[] = {
        // answer, code, and what is logged of it when it is not the same
        {"", kMessageMalformed, ""},
        {good + "jobId=\"2\" visible=\"1\"></JobListResponseVSDK>", kMessageMalformed, ""},
        {"<JobListRequest><filter><user userId=\"1\"/></filter></JobListRequest>", kMessageWrongType, ""},
        {good + "jobId=\"2\"/></JobListResponseVSDK>", kMessageIncomplete, ""},
        {good + "jobId=\"2147483648\" visible=\"1\"/></JobListResponseVSDK>", kMessageBadValue, ""},
        {R"(<A password="" newPassword="hidden)", kMessageMalformed, R"(<A password="****" newPassword ...)"},
        {R"(<A Password="hidden)", kMessageMalformed, "<A Password ..."},
        {R"(<A password="a"password="hidden" x=""/>)", kMessageMalformed,
         R"(<A password="****"password="****" x=""/>)"},
        {R"(<job password="hidden"/>)", kMessageWrongType, R"(<job password="****"/>)"},
    };
    for (const auto& [xml, status, shown] : cases) {
        answer(xml);
        const std::string code = std::to_string(status);
        const std::string line =
            "getJobsFromDB Error [" + code + "] while unserializing the response XML from JMGetRunningJobSummary [" +
            (xml.empty() ? "" : "<?xml version='1.0' encoding='utf-8' ?>") + (shown.empty() ? xml : shown) + "]\n";
        support::LogLines lines;
        for (const bool ids : {false, true}) {
            List list = ids ? byIds({1}) : all();
            list.jobs.resize(2);
            std::vector<_VSDK_Job> out(1);
            EXPECT_EQ(list.FetchJobList(out, 0, 0), status) << xml;
            EXPECT_EQ(list.jobs.size(), 2U);
            EXPECT_EQ(out.size(), ids ? 2U : 1U);
            EXPECT_EQ(lines.taken(),
                      line + (ids ? "FetchJob getJobsFromDB failed with error code [" + code + "]\n" : ""));
        }
        Answers jobs(3);
        EXPECT_EQ(all().getJobsFromDB(0, kAnyCategory, &jobs), status);
        EXPECT_EQ(jobs.size(), 3U);
    }
}

} // namespace
