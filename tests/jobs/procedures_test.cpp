#include <array>
#include <memory>
#include <numeric>

#include "Db/Tbl/GetEntitiesIds.h"
#include "Db/Tbl/JMCheckUserJobVisibilityV2.h"
#include "Db/Tbl/JMGetRunningJobSummaryVSDK.h"
#include "Db/Tbl/SprocWrapper.h"
#include "jobs/JobsTest.h"
#include "message/JobMessages.h"
#include "message/XMLDecoder.h"

namespace {

std::string everyByte() {
    std::string bytes(127, '\0');
    std::iota(bytes.begin(), bytes.end(), '\1');
    return bytes;
}

/// Characters of two to four bytes, the first and the last of each size among them, and two that XML does not know.
const std::string kCharacters = "\xC2\x80\xDF\xBF\xE0\xA0\x80\xED\x9F\xBF\xEE\x80\x80\xEF\xBF\xBD\xF0\x90\x80\x80"
                                "\xF4\x8F\xBF\xBF ä東🗄️\xEF\xBF\xBE\xEF\xBF\xBF";

/// A name on every level below a client, all with one id.
std::string named(int id, const std::string& name) {
    const std::string text = estate::escaped(name);
    return estate::client(id, text) + estate::row("APP_iDAType", "type, name", id, text) + estate::instance(id, text) +
           estate::backupSet(id, text) +
           estate::subclient(
               {.id = id, .appType = id, .name = text.c_str(), .client = id, .instance = id, .backupSet = id});
}
std::string texts(int job, const std::string& text, const std::string& failure) {
    return "UPDATE JMJobInfo SET currentPhaseName = '" + estate::escaped(text) + "', opUsername = '" +
           estate::escaped(text) + "', failureReason = '" + estate::escaped(failure) +
           "' WHERE jobId = " + std::to_string(job) + ";\n";
}

/// Jobs with everything known, with orphans, of nothing known, all NULL, with nothing in the texts, with all kinds of
/// texts, of another hubcell, at the ends of the ids; and finished ones from 20. User 50 may see client 2, 51 all, 52
/// also client 99.
std::string jobsOfAllKinds() {
    return named(2, "alpha") + named(3, everyByte()) + named(4, kCharacters) +
           estate::row("UMUsers", "id, login", 50, std::string("alice")) + estate::visibility(50, 2) +
           estate::visibility(51, 0) + estate::visibility(52, 2) + estate::visibility(52, 99) +
           "INSERT INTO JMJobInfo (jobId, hubCellId, opType, displayState, jobCategory) VALUES (1, 2, 4, 1, 1), "
           "(2, 2, 5, 2, 2), (3, 2, 1, 3, 3), (4, 2, 154, 4, 1), (5, 2, NULL, NULL, NULL), (6, 2, -1, 0, 1), "
           "(7, 2, 4, 5, 1), (8, 2, 31, 6, 1), (9, 3, 4, 1, 1), (1, 3, 4, 2, 1), (2147483647, 2, 65, 1, 1), "
           "(-2147483648, 2, 0, NULL, NULL);\n"
           "UPDATE JMJobInfo SET userId = 50, jobStartTime = 1700000000 WHERE jobId = 1;\n"
           "UPDATE JMJobInfo SET userId = 50, jobStartTime = -1, opUsername = 'bob' WHERE jobId = 2;\n"
           "INSERT INTO JMJobEntity (jobId, hubCellId, clientId, appTypeId, instanceId, backupSetId, subclientId, "
           "backupLevel, destClientId) VALUES (1, 2, 2, 2, 2, 2, 2, 1, 3), (2, 2, 2, 2, 2, 2, 2, 0, 4), "
           "(4, 2, 99, 98, 97, 96, 95, -7, 94), (5, 2, NULL, NULL, NULL, NULL, NULL, NULL, NULL), "
           "(7, 2, 3, 3, 3, 3, 3, 2, 4), (8, 2, 4, 4, 4, 4, 4, 4, 3), (2147483647, 2, 2, 3, 2, 4, 2, 3, 2), "
           "(20, 2, 2, 33, 5, 6, 10, 1, 0);\n"
           "INSERT INTO JMJobStats (jobId, hubCellId) VALUES (20, 2), (21, 3), (22, 2);\n" +
           texts(6, "", "") + texts(7, everyByte(), everyByte()) + texts(8, kCharacters, "5\rDisk full\n7\rNo media\n");
}

/// One estate in the databases of both engines. What is asked of one is asked of the other, and must be answered with
/// the same bytes.
class JobProcedures : public EngineTest {
  protected:
    void put(const std::string& sql) {
        hub_->run(sql);
        other_->run(sql);
    }
    template <class Ask> std::string same(Ask ask) {
        connect();
        const std::string answer = ask();
        std::string error;
        EXPECT_EQ(HubDatabase::connect(other_->url(), error), 0) << error;
        const std::string other = ask();
        EXPECT_TRUE(answer == other) << answer << "\nand\n" << other;
        return answer;
    }
    std::string summary(int user, const std::string& request) {
        return same([&] {
            SprocWrapper<JMGetRunningJobSummaryVSDK, JMGetRunningJobSummaryVSDK_t> procedure("", nullptr);
            procedure.getCursor()->setValues(user, request.c_str(), "");
            std::string xml;
            return procedure.getXMLFromCursor(xml, nullptr, false, false) == 0 ? xml : "refused";
        });
    }

  private:
    std::unique_ptr<support::HubEngine> other_ = support::makeSqliteHub();
};

INSTANTIATE_TEST_SUITE_P(Engines, JobProcedures, ::testing::Combine(everyServer(), ::testing::Values(false)),
                         &engineName);

std::string requestOf(const std::string& sets, const std::string& entity = "") {
    return "<JobListRequest><filter " + sets + "><user userId=\"7\"/>" +
           (entity.empty() ? "" : "<entity " + entity + "/>") + "</filter></JobListRequest>";
}
/// The ids in an answer, in parentheses those that the user may not see; or what is none.
std::string idsIn(const std::string& xml) {
    using List = ZorvanUtilities::JobListResponseVSDK;
    using Job = ZorvanUtilities::JobResponseVSDK;
    List list;
    if (XMLDecoder::unSerialize(xml, list) != 0)
        return xml;
    std::string ids;
    for (const auto& job : list.getMessages(List::kJobs)) {
        const std::string id = std::to_string(job.getInt(Job::kJobId));
        ids += (ids.empty() ? "" : " ") + (job.getInt(Job::kVisible) == 0 ? "(" + id + ")" : id);
    }
    return ids;
}

TEST_P(JobProcedures, AnswerTheSameForEveryRequest) {
    EXPECT_EQ(summary(0, requestOf("")), "<JobListResponseVSDK></JobListResponseVSDK>") << "no job";
    put(jobsOfAllKinds());
    const std::string every = "-2147483648 1 2 3 4 5 6 7 8 2147483647";
    const std::string root = requestOf("");
    const std::string anyEntity = "clientId='0' appTypeId='0' instanceId='0' backupSetId='0' subclientId='0'";
    std::vector<std::tuple<int, std::string, std::string>> cases{
        // user, request, and the jobs
        {0, "<?xml version='1.0' encoding='utf-8' ?><!-- all -->\n" + root + "\n", every},
        {0, "<JobListRequest><filter><x jobIds='1'/></filter><x><filter jobIds='1'/></x></JobListRequest>", every},
        {50, root, "(-2147483648) 1 2 (3) (4) (5) (6) (7) (8) 2147483647"},
        {51, root, every},
        {52, root, "(-2147483648) 1 2 (3) 4 (5) (6) (7) (8) 2147483647"},
        {-1, requestOf("jobIds='1 3'"), "(1) (3)"},
        {0, requestOf("jobIds='8 1 8 77 9 1 -2147483648'"), "-2147483648 1 8"},
        {0, requestOf("jobIds='0'"), ""},
        {0, requestOf("jobIds='007 -0'"), "7"},
        {0, requestOf("jobIds='1\n2\t&#51;'"), "1 2 3"}, // a parser makes blanks of line ends
        {0, requestOf("jobIds=''"), every},
        {0, requestOf("opTypes='4 65'"), "1 7 2147483647"},
        {0, requestOf("opTypes='154 -1 0 200'"), "-2147483648 4 6"},
        {0, requestOf("", anyEntity), every},
        {0, requestOf("", "clientId='2'"), "1 2 2147483647"},
        {0, requestOf("", "instanceId='4'"), "8"},
        {0, requestOf("", "backupSetId='4'"), "8 2147483647"},
        {0, requestOf("", "subclientId='95'"), "4"},
        {50, requestOf("jobIds='1 2 7 2147483647' opTypes='4 65'", "clientId='2' appTypeId='3'"), "2147483647"},
        {50, requestOf("jobIds='1 7' opTypes='4'", "clientId='3' appTypeId='3' instanceId='3' backupSetId='3'"), "(7)"},
    };
    for (const std::string refused :
         {"", "all", "<JobListRequest>", "<JobListRequest/><JobListRequest/>", "<JobFilter jobIds='1'/>",
          "<all><JobListRequest/></all>", "<!DOCTYPE JobListRequest><JobListRequest/>",
          "<!DOCTYPE JobListRequest [<!ENTITY one '1'>]><JobListRequest><filter jobIds='&one;'/></JobListRequest>"})
        cases.emplace_back(0, refused, "refused");
    for (const std::string refused :
         {"jobIds=1", "jobIds='1' jobIds='2'", "jobIds='&all;'", "jobIds='2147483648'", "jobIds='-2147483649'",
          "jobIds='1 99999999999999999999'", "jobIds='1,2'", "jobIds='+1'", "jobIds='1  2'", "jobIds=' 1'",
          "jobIds='1 '", "jobIds='1&#10;2'", "opTypes='4.0'", "><entity clientId='0x2'/",
          "><entity subclientId='4294967298'/"})
        cases.emplace_back(0, requestOf(refused), "refused");
    for (const auto& [user, request, jobs] : cases)
        EXPECT_EQ(idsIn(summary(user, request)), jobs) << request << " for " << user;
    EXPECT_EQ(
        summary(50, requestOf("jobIds='1 2 3 4 5 6'")),
        "<JobListResponseVSDK>"
        R"(<job jobId="1" operation="Backup" state="Running" visible="1" sourceClient="alpha" agentType="alpha")"
        R"( instance="alpha" backupSet="alpha" subclient="alpha" destinationClient="alpha" userName="alice")"
        R"( startTime="1700000000" level="1" agentTypeId="2" jobCategory="1"/>)"
        R"(<job jobId="2" operation="Restore" state="Pending" visible="1" sourceClient="alpha" agentType="alpha")"
        R"( instance="alpha" backupSet="alpha" subclient="alpha" destinationClient=")" +
            kCharacters.substr(0, kCharacters.size() - 6) +
            R"(\xEF\xBF\xBE\xEF\xBF\xBF" userName="bob" startTime="-1" level="0" agentTypeId="2" jobCategory="2"/>)"
            R"(<job jobId="3" operation="Data Aging" state="Waiting" visible="0" jobCategory="3"/>)"
            R"(<job jobId="4" operation="154" state="Suspended" visible="0" level="-7" agentTypeId="98")"
            R"( jobCategory="1"/><job jobId="5" visible="0"/>)"
            R"(<job jobId="6" operation="-1" state="0" visible="0" jobCategory="1"/></JobListResponseVSDK>)");
}

TEST_P(JobProcedures, TellWhoMaySeeAJob) {
    put(jobsOfAllKinds());
    const std::string everybody =
        "<Users><User Id='99'/><User Id=\"52\" /><User Id='51'/><User Id='50'/><User Id='0'/></Users>";
    std::vector<std::tuple<int, int, std::string, std::string>> cases{
        // hubcell, job, users, and the rows as user=visible with the status behind the last
        {2, 1, everybody, "0=1 50=1 51=1 52=1 99=0 100"},  // running
        {2, 4, everybody, "0=1 50=0 51=1 52=1 99=0 100"},  // of a client that there is not
        {2, 3, everybody, "0=1 50=0 51=1 52=0 99=0 100"},  // of no client
        {2, 20, everybody, "0=1 50=1 51=1 52=1 99=0 100"}, // finished
        {2, 77, everybody, "0=0 50=0 51=0 52=0 99=0 100"}, // none
        {2, 21, everybody, "0=0 50=0 51=0 52=0 99=0 100"}, // of another hubcell
        {3, 21, everybody, "0=1 50=0 51=1 52=0 99=0 100"},
        {2, 1, "<Users><User Id='50'/><User Name='51'/><User Id='50'/></Users>", "50=1 50=1 100"},
        {2, 1, "<Users/>", "100"},
    };
    for (const char* users : {"", "<User Id='50'/>", "<Users><User Id='50'/>", "<Users><User Id='50x'/></Users>"})
        cases.emplace_back(2, 1, users, "failed");
    for (const auto& [hubCell, job, users, told] : cases) {
        const auto ask = [&, cell = hubCell, id = job, to = users.c_str()] {
            JMCheckUserJobVisibilityV2 procedure;
            procedure.setValues(cell, id, to);
            std::string rows;
            int status = procedure.openCursor();
            while (status == 0 && (status = procedure.fetchCursor(false)) == 0)
                rows += fieldsText(procedure.getDataPtr()->userId) + "=" +
                        fieldsText(procedure.getDataPtr()->isJobVisible) + " ";
            return status < 0 ? "failed" : rows + std::to_string(status);
        };
        EXPECT_EQ(same(ask), told) << users << " and job " << job;
    }
}

TEST_P(JobProcedures, FindTheIdsOfNames) {
    using estate::subclient;
    put(estate::client(2, "alpha") + estate::client(3, "twin") + estate::client(4, "twin") +
        estate::client(5, "it''s \"%_\\") + estate::client(6, "bare") + estate::instance(5, "one") +
        estate::instance(6, "two") + estate::instance(7, "one") + estate::backupSet(6, "set") +
        estate::backupSet(7, "other") + estate::backupSet(8, "set") + subclient({10}) +
        subclient({.id = 11, .name = "docs"}) + subclient({.id = 12, .name = "docs", .instance = 6, .backupSet = 7}) +
        subclient({.id = 13, .appType = 5, .instance = 7}) + subclient({.id = 14, .name = "twice", .backupSet = 7}) +
        subclient({.id = 15, .name = "twice", .backupSet = 7}) +
        subclient({.id = 16, .name = "a''b", .client = 5, .instance = 6}) +
        subclient({.id = 17, .name = "docs", .client = 5, .instance = 6, .backupSet = 8}));
    const auto several = [](const std::string& what) {
        return "there are several: " + what + "; name its agent type or what it belongs to";
    };
    const char* const odd = "it's \"%_\\";
    using Names = std::array<const char*, 4>; // client, instance, backup set, subclient
    const std::tuple<int, Names, std::string> cases[] = {
        // agent type, names, and the ids or words
        {33, {"", "", "", ""}, "0|0|0|0"},
        {0, {"bare", "", "", ""}, "6|0|0|0"},
        {0, {"alpha", "two", "other", "docs"}, "2|6|7|12"},
        {33, {"alpha", "one", "set", "docs"}, "2|5|6|11"},
        {5, {"alpha", "one", "set", "default"}, "2|7|6|13"},
        {-1, {"alpha", "two", "", "docs"}, "2|6|0|12"},
        {0, {odd, "two", "set", "a'b"}, "5|6|6|16"},
        {0, {odd, "two", "set", "docs"}, "5|6|8|17"}, // only one of the two sets has it
        // Several.
        {0, {"twin", "", "", ""}, R"(there are several clients "twin")"},
        {0, {"alpha", "one", "", ""}, several(R"(instance "one" of client "alpha")")},
        {0,
         {"alpha", "one", "other", "twice"},
         several(R"(subclient "twice" in backup set "other" in instance "one" of client "alpha")")},
        {0, {odd, "two", "set", ""}, several(R"(backup set "set" in instance "two" of client "it's "%_\")")},
        // Unknown, everywhere or there.
        {0, {"Alpha", "", "", ""}, R"(there is no client "Alpha")"},
        {0, {"alph%", "one", "set", "docs"}, R"(there is no client "alph%")"},
        {5, {"alpha", "two", "", ""}, R"(there is no instance "two" of client "alpha" with agent type 5)"},
        {0, {"alpha", "two", "set", ""}, R"(there is no backup set "set" in instance "two" of client "alpha")"},
        // Below nothing.
        {0, {"", "one", "", ""}, R"(the instance "one" is named without its client)"},
        {0, {"", "one", "set", "docs"}, R"(the subclient "docs" is named without its client)"},
    };
    for (const auto& [agent, names, found] : cases) {
        const auto ask = [type = agent, &of = names] {
            GetEntitiesIds procedure;
            procedure.setValues(type, of[0], of[1], of[2], of[3]);
            if (procedure.openCursor() != 0 || procedure.fetchCursor(false) != 0)
                return std::string("failed");
            const auto& row = *procedure.getDataPtr();
            const std::string ids = fieldsText(row.r_clientId, row.r_instId, row.r_bkpSetId, row.r_subClntId);
            return ids == "0|0|0|0" && *row.r_errorString != '\0' ? row.r_errorString : ids + row.r_errorString;
        };
        EXPECT_EQ(same(ask), found) << agent << ::testing::PrintToString(names);
    }
}

ENGINE_TEST(JobTexts, JobsTest, ::testing::Bool());

TEST_P(JobTexts, ComeBackFromTheProceduresAsTheyAreStored) {
    hub_->run(jobsOfAllKinds());
    const std::string b = everyByte();
    const std::string& c = kCharacters;
    const std::tuple<int, int, std::string> cases[] = {
        {3, VSDK_JobList::kBackupJobs, // of the failure what is behind its CR
         fieldsText("7|Backup|Queued", b, b, "", b, b, b, b, "Incremental", "0=" + b.substr(13) + ";", b, -1)},
        {4, VSDK_JobList::kRestoreJobs,
         fieldsText("8|Log Restore|6", c, c, b, c, c, c, "", "", "5=Disk full;7=No media;", c, -1)},
    };
    for (const auto& [client, types, told] : cases) {
        std::vector<_VSDK_Job> jobs;
        EXPECT_EQ(VSDK_JobList(client, 0, 0, 0, 0).FetchJobList(jobs, types, 0), 0);
        ASSERT_EQ(jobs.size(), 1U);
        EXPECT_EQ(textOf(jobs[0]), told);
    }
}

} // namespace
