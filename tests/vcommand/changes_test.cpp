// What `subclient set` shows, writes and refuses.
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>

#include "db/LossyProxy.h"
#include "support/PostgresServer.h"
#include "support/TempDirectory.h"
#include "vcommand/VcommandTest.h"

namespace {

class Changes : public SampleEstate {
  protected:
    static Arguments set(Arguments line) {
        line.insert(line.begin(), {"subclient", "set"});
        return line;
    }
    /// The changes of a command, "field:before>after" each, behind its outcome.
    std::string changed(const Arguments& line) const {
        const Json answer = json(set(line));
        std::string text = answer.value("outcome", "none");
        for (const Json& one : answer.value("changes", Json::array()))
            text += " " + one["field"].get<std::string>() + ":" + one["before"].get<std::string>() + ">" +
                    one["after"].get<std::string>();
        return text;
    }
    std::string stored() const {
        return hub_->ask("SELECT id, dataArchGrpID, logArchGrpID, refTime FROM APP_Application ORDER BY id") +
               hub_->ask("SELECT componentNameId, type, fileName, modified FROM APP_ScFilterFile ORDER BY id") +
               hub_->ask("SELECT componentNameId, attrName, attrVal, modified FROM APP_SubClientProp ORDER BY id") +
               hub_->ask("SELECT id, modified FROM APP_BackupSetName ORDER BY id");
    }
};

INSTANTIATE_TEST_SUITE_P(Engines, Changes, everyEngine(),
                         [](const auto& test) { return support::toolEngineName(test); });

TEST_P(Changes, AreShownAndWritten) {
    const std::string before = stored();
    EXPECT_EQ(changed({"7", "--readers", "3", "--force", "--dry-run"}), "dry run dataReaders:0>3");
    EXPECT_EQ(changed({"2", "--content", "/var/spool", "/x", "--dry-run"}), "dry run content:>/x");
    EXPECT_EQ(stored(), before);
    EXPECT_EQ(printed(set({"spool", "--client", "mail01", "--content", "/var/spool", "/x", "--storage-policy", "long",
                           "--index-policy", "2"})),
              "FIELD               BEFORE        AFTER\n"
              "storagePolicy       short (2)     long (3)\n"
              "indexStoragePolicy  standard (1)  short (2)\n"
              "content             -             /x\n"
              "Done.\n");
    EXPECT_EQ(changed({"2", "--clear-content", "--description", "Text 数"}),
              "done description:>Text 数 content:/var/spool> content:/x>");
    EXPECT_EQ(changed({"reports", "--sql-database", "sales", "--sql-database", "stock=9", "--sql-database", "a=b=0"}),
              "done databases:stock (8)> databases:>stock (9) databases:>a=b (0)");
    const Json reports = json({"show", "subclient", "17"})["subclient"];
    EXPECT_EQ(reports["databases"].dump(),
              R"([{"id":7,"name":"sales"},{"id":9,"name":"stock"},{"id":0,"name":"a=b"}])");
    const Json spool = json({"show", "subclient", "2"})["subclient"];
    EXPECT_EQ(spool["content"].dump() + spool["storagePolicyId"].dump() + spool["indexStoragePolicyId"].dump() +
                  spool["description"].get<std::string>(),
              "[]32Text 数");
    EXPECT_EQ(changed({"reports", "--clear-content"}),
              "done databases:sales (7)> databases:stock (9)> databases:a=b (0)>");
    EXPECT_EQ(changed({"16", "--content", "/y"}), "done content:/tapes> content:>/y");
    EXPECT_EQ(changed({"7", "--readers", "3", "--force"}), "done dataReaders:0>3");
    const std::string rows = stored();
    EXPECT_EQ(printed(set({"reports", "--description", "", "--clear-content", "--storage-policy", "short"})),
              "FIELD  BEFORE  AFTER\nThere is nothing to change.\n");
    EXPECT_EQ(stored(), rows) << "neither is the time of the last backup forgotten";
    EXPECT_EQ(json({"show", "subclient", "7"})["subclient"]["description"], "closed years") << "which was not given";
}

TEST_P(Changes, AreRefusedWholly) {
    const support::TempDirectory directory;
    const auto file = [&](const std::string& name, const std::string& bytes) {
        std::ofstream(directory.file(name), std::ios::binary) << bytes;
        return directory.file(name);
    };
    const std::string before = stored();
    for (const auto& [line, exitCode, code, reason] : std::vector<std::tuple<Arguments, int, int, std::string>>{
             {{"9", "--readers", "2"}, 4, 1541, "--subclient 9"},
             {{"7", "--readers", "2"}, 4, 1544, "the subclient policy 3"},
             {{"8", "--content", "/x"}, 4, 1548, "is not changed"},
             {{"2", "--sql-database", "x"}, 4, 1548, "--content"},
             {{"17", "--content", "/x"}, 4, 1548, "--sql-database"},
             {{"2", "--content", "/x", "--force"}, 4, 1548, "--force"},
             {{"2", "--content", "/x", "--force", "--dry-run"}, 4, 1548, "--force"},
             {{"2", "--content", "/x", "x"}, 4, 1795, "\"x\" is not absolute"},
             {{"2", "--content", ""}, 4, 1795, "empty"},
             {{"2", "--content", "/x", "/x/"}, 4, 1795, "\"/x/\" is there twice"},
             {{"2", "--content", "//"}, 4, 1795, "\"default\" only"},
             {{"1", "--content", "/", "/var/./spool"}, 4, 1795, "belongs to the subclient \"spool\""},
             {{"2", "--description", "no", "--storage-policy", "99"}, 4, 1539, "no storage policy 99"},
             {{"2", "--storage-policy", "99", "--dry-run"}, 4, 1539, "no storage policy 99"},
             {{"2", "--index-policy", "0", "--readers", "3"}, 4, 1540, "no storage policy 0"},
             {{"2", "--description", "\xff", "--dry-run"}, 4, 771, "UTF-8"},
             {{"2", "--content", "/\xff", "--dry-run"}, 4, 771, "UTF-8"},
             {{"17", "--sql-database", std::string(2049, 'd')}, 4, 771, "2048"}}) {
        const auto result = run(set(line));
        EXPECT_EQ(result.exitCode, exitCode) << ::testing::PrintToString(line);
        EXPECT_THAT(result.err, HasSubstr("error " + std::to_string(code))) << ::testing::PrintToString(line);
        EXPECT_THAT(result.err, HasSubstr(reason));
        EXPECT_THAT(result.out, Not(HasSubstr("Done")));
        Arguments asJson = set(line);
        asJson.emplace_back("--json");
        EXPECT_EQ(document(run(asJson))["error"]["code"], code) << ::testing::PrintToString(line);
    }
    for (const auto& [line, exitCode, code, reason] : std::vector<std::tuple<Arguments, int, int, std::string>>{
             {{"99", "--readers", "2"}, 3, 1542, "no subclient with the id 99"},
             {{"2", "--storage-policy", "none"}, 3, 771, "no storage policy named"},
             {{"2", "--content-file", "/nowhere"}, 3, 771, "No such file"},
             {{"2", "--content-file", file("empty", "\n\r\n")}, 4, 771, "--clear-content"},
             {{"2", "--content-file", file("nul", std::string("/a\n/b\0c\n", 8))}, 4, 771, "line 2"},
             {{"2", "--content-file", directory.path()}, 1, 771, "cannot be read"},
             {{"17", "--sql-database", "a=1", "--sql-database", "a"}, 4, 771, "twice"},
             {{"17", "--sql-database", "a=b"}, 4, 771, "id"},
             {{"17", "--sql-database", "=1"}, 4, 771, "name"},
             {{"default", "--readers", "2"}, 4, 771, "several subclients"},
             {{"2"}, 2, 770, "nothing is to be changed"},
             {{"2", "--readers", "0"}, 2, 771, "no number"},
             {{"2", "--content", "/a", "--clear-content"}, 2, 771, "excludes"}})
        fails(hub_->url(), set(line), exitCode, code, reason);
    EXPECT_EQ(stored(), before);
}

TEST_P(Changes, PathsComeFromAFile) {
    const support::TempDirectory directory;
    std::ofstream(directory.file("paths"), std::ios::binary) << "\xEF\xBB\xBF/var/spool\r\n\n/größer \n/tapes";
    EXPECT_EQ(changed({"16", "--content-file", directory.file("paths")}), "done content:>/var/spool content:>/größer ");
}

/// Neither a commit that the server takes back at its end nor one whose answer is lost is told as a success.
class ChangesOnAServer : public Changes {};
INSTANTIATE_TEST_SUITE_P(Engines, ChangesOnAServer, ::testing::Values(&support::makePostgresHub),
                         [](const auto& test) { return support::toolEngineName(test); });

TEST_P(ChangesOnAServer, ACommitThatIsNotKnownToBeDoneHasAnExitCodeOfItsOwn) {
    const Arguments line = set({"2", "--readers", "5"});
    const std::string before = stored();
    hub_->run("CREATE FUNCTION refuse() RETURNS trigger LANGUAGE plpgsql AS $$ BEGIN RAISE 'too late'; END $$;"
              "CREATE CONSTRAINT TRIGGER late AFTER INSERT ON APP_SubClientProp DEFERRABLE INITIALLY DEFERRED "
              "FOR EACH ROW EXECUTE FUNCTION refuse()");
    const auto refused = run(line);
    EXPECT_EQ(refused.exitCode, 5);
    EXPECT_THAT(refused.err, HasSubstr("too late"));
    EXPECT_THAT(refused.out, HasSubstr("Nothing was written."));
    EXPECT_EQ(json(line)["outcome"], "not done");
    EXPECT_EQ(stored(), before);

    hub_->run("DROP TRIGGER late ON APP_SubClientProp");
    const std::string& direct = support::sharedPostgres()->socketDirectory();
    LossyProxy proxy(direct);
    std::string url = hub_->url();
    url.replace(url.find(direct), direct.size(), proxy.directory());
    proxy.lose(LossyProxy::Loss::kRequest, "COMMIT", "COMMIT");
    const auto lost = runWith(url, line);
    EXPECT_EQ(lost.exitCode, 6);
    EXPECT_THAT(lost.err, HasSubstr("it is not known"));
    EXPECT_THAT(lost.out, Not(::testing::AnyOf(HasSubstr("Done"), HasSubstr("Nothing"))));
    EXPECT_EQ(stored(), before) << "this time it was not";
}

/// On a terminal the changes come first, and what is not agreed to is not written.
TEST_P(Changes, AreAskedForOnATerminal) {
    const auto answered = [&](const char* answer, std::string& shown) {
        int terminal = -1;
        const pid_t child = forkpty(&terminal, nullptr, nullptr, nullptr);
        if (child == 0) {
            setenv("HUBDB_URL", hub_->url().c_str(), 1);
            setenv("XDG_STATE_HOME", "/nowhere", 1);
            execl(VSDK_VCOMMAND_PATH, "vcommand", "subclient", "set", "2", "--readers", "5", nullptr);
            _exit(127);
        }
        std::string seen;
        char bytes[4096];
        bool asked = false;
        for (ssize_t got = 0; (got = read(terminal, bytes, sizeof bytes)) > 0;) {
            seen.append(bytes, static_cast<std::size_t>(got));
            if (!asked && seen.find("[y/N]") != std::string::npos) {
                asked = true;
                EXPECT_GT(write(terminal, answer, std::strlen(answer)), 0);
            }
        }
        close(terminal);
        int status = 0;
        waitpid(child, &status, 0);
        shown = seen;
        return WEXITSTATUS(status);
    };
    std::string shown;
    const std::string before = stored();
    EXPECT_EQ(answered("\n", shown), 0);
    EXPECT_THAT(shown, HasSubstr("dataReaders"));
    EXPECT_THAT(shown, HasSubstr("Nothing was written."));
    EXPECT_EQ(stored(), before);
    EXPECT_EQ(answered("y\n", shown), 0);
    EXPECT_THAT(shown, HasSubstr("Done."));
    EXPECT_EQ(json({"show", "subclient", "2"})["subclient"]["dataReaders"], 5);
}

} // namespace
