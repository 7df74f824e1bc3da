// Running jobs, single ones, and the screen that keeps up with them.
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>

#include "support/TempDirectory.h"
#include "vcommand/VcommandTest.h"

namespace {

class Jobs : public SampleEstate {
  protected:
    /// The jobs' ids that a command lists, with blanks between them.
    std::string ids(Arguments line) const {
        line.insert(line.begin(), "jobs");
        return column("id", line);
    }
    /// The sample has no names that several entities have.
    void addTwin() const {
        hub_->run("INSERT INTO APP_Application (id, clientId, appTypeId, instance, backupSet, subclientName, "
                  "subclientStatus) VALUES (900, 4, 5, 6, 7, 'default', 0)");
    }
};

INSTANTIATE_TEST_SUITE_P(Engines, Jobs, everyEngine(), [](const auto& test) { return support::toolEngineName(test); });

TEST_P(Jobs, AreChosen) {
    const std::string lasting = "104 105 106 107";
    for (const auto& [line, wanted] : std::vector<std::pair<Arguments, std::string>>{
             {{}, lasting},
             {{"--type", "backup"}, "104 105"},
             {{"--type", "admin", "--type", "restore"}, "106 107"},
             {{"--client", "db01"}, "105"},
             {{"--client", "4"}, "105"},
             {{"--client", "Zürich-東京", "--type", "backup"}, ""},
             {{"--agent", "Mailbox"}, "104"},
             {{"--agent", "4"}, "105"},
             {{"--client", "mail01", "--agent", "8", "--instance", "mailboxes", "--backupset", "defaultBackupSet",
               "--subclient", "default"},
              "104"},
             {{"--client", "2", "--subclient", "3"}, "104"},
             {{"--client", "mail01", "--instance", "2", "--subclient", "default"}, "104"},
             {{"--subclient", "9"}, "105"},
             {{"--filter", "state!=Running", "--sort", "id,desc"}, "107 105"},
             {{"--filter", "failureReasons~media agent"}, "105"}})
        EXPECT_EQ(ids(line), wanted) << ::testing::PrintToString(line);
    EXPECT_EQ(json({"jobs", "--summary"})["summary"].dump(),
              R"({"running":2,"pending":1,"waiting":1,"suspended":0,"queued":0,"other":0})");
    EXPECT_EQ(json({"jobs", "--type", "restore"})["jobs"].dump(),
              R"([{"id":106,"operation":"Restore","state":"Running","phase":"Restore","client":"Zürich-東京",)"
              R"("destinationClient":"files-north","agentType":"File System","instance":"DefaultInstance",)"
              R"("backupSet":"defaultBackupSet","subclient":"","level":"","user":"admin","started":1717200000,)"
              R"("failureReasons":[]}])");
}

TEST_P(Jobs, AreShown) {
    const Json shown = json({"job", "105", "101", "105"})["jobs"];
    ASSERT_EQ(shown.size(), 2U) << "each once";
    EXPECT_EQ(shown[0]["failureReasons"].dump(), R"([{"code":1601,"text":"No media agent is free"},)"
                                                 R"({"code":72,"text":"The library has no media left"}])");
    EXPECT_EQ(shown[0]["level"], "Incremental");
    EXPECT_EQ(shown[0]["finished"], false);
    EXPECT_EQ(shown[1]["state"], "Finished");
    EXPECT_EQ(shown[1]["finished"], true);
    EXPECT_EQ(shown[1]["description"], "mailboxes before the move");
    EXPECT_THAT(printed({"job", "101", "105"}),
                ::testing::AllOf(HasSubstr("finished:          yes\n"), HasSubstr("\n\nid:                105\n"),
                                 HasSubstr("The library has no media left (72)\n")));
}

TEST_P(Jobs, WhatCannotBeMeantIsRefused) {
    addTwin();
    struct Case {
        Arguments line;
        int exitCode;
        int code;
        std::string reason;
    };
    for (const auto& [line, exitCode, code, reason] : std::vector<Case>{
             {{"job", "999"}, 3, 1285, "there is no job 999"},
             {{"job", "104", "999"}, 3, 1285, "there is no job 999"},
             {{"job", "4294967400"}, 2, 771, "'4294967400' is no job id"},
             {{"job", "-104"}, 2, 771, "'-104' is no job id"},
             {{"job", "0104"}, 2, 771, "'0104' is no job id"},
             {{"job", "0"}, 2, 771, "'0' is no job id"},
             {{"job"}, 2, 770, "ID is required"},
             {{"jobs", "--type", "Backup"}, 2, 771, "--type"},
             {{"jobs", "--client", "nobody"}, 3, 771, "there is no client named 'nobody'"},
             {{"jobs", "--client", "999"}, 3, 771, "there is no client with the id 999"},
             {{"jobs", "--agent", "nothing"}, 3, 771, "there is no agent type named 'nothing'"},
             {{"jobs", "--agent", "0"}, 3, 771, "there is no agent type with the number 0"},
             {{"jobs", "--instance", "0"}, 3, 771, "there is no instance with the id 0"},
             {{"jobs", "--backupset", "7", "--client", "mail01"}, 3, 771, "there is no backup set with the id 7"},
             {{"jobs", "--subclient", "default"}, 2, 770, "the subclient 'default' is named without its client"},
             {{"jobs", "--client", "mail01", "--instance", "o'clock"}, 3, 771, "there is no instance named 'o'clock'"},
             {{"jobs", "--client", "db01", "--subclient", "default"}, 4, 771, "several subclients are named 'default'"},
             {{"jobs", "--summary", "--limit", "1"}, 2, 771, "--summary"},
             {{"jobs", "--interval", "5"}, 2, 771, "--watch"},
             {{"jobs", "--watch"}, 2, 771, "--watch needs a terminal"}})
        fails(hub_->url(), line, exitCode, code, reason);
    hub_->run(GetParam() == &support::makeSqliteHub ? "DROP TABLE JMJobEntity" : "DROP TABLE JMJobEntity CASCADE");
    fails(hub_->url(), {"jobs"}, 1, 1285, "JMJobEntity");
    fails(hub_->url(), {"job", "104"}, 1, 1285, "JMJobEntity");
}

/// A terminal that a command was started on.
class Terminal {
  public:
    Terminal(const std::string& url, const Arguments& line) {
        winsize size{};
        size.ws_row = 4;
        size.ws_col = 60;
        child_ = forkpty(&side_, nullptr, nullptr, &size);
        if (child_ != 0)
            return;
        setenv("HUBDB_URL", url.c_str(), 1);
        std::vector<char*> words{const_cast<char*>(VSDK_VCOMMAND_PATH)};
        for (const std::string& word : line)
            words.push_back(const_cast<char*>(word.c_str()));
        words.push_back(nullptr);
        execv(words[0], words.data());
        _exit(127);
    }
    ~Terminal() { close(side_); }
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;

    /// Reads on until a text was there, all has been read, or it was shown too often without it.
    bool sees(const std::string& text) {
        constexpr std::size_t kTooMuch = 10'000;
        std::size_t at = 0;
        std::array<char, 4096> bytes{};
        while ((at = shown_.find(text)) == std::string::npos) {
            const ssize_t size = read(side_, bytes.data(), bytes.size());
            if (size <= 0 || shown_.size() > kTooMuch)
                return false;
            shown_.append(bytes.data(), static_cast<std::size_t>(size));
        }
        shown_.erase(0, at + text.size());
        return true;
    }
    void type(char c) const { EXPECT_EQ(write(side_, &c, 1), 1); }
    int exitCode() const {
        int status = 0;
        waitpid(child_, &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    }

  private:
    int side_ = -1;
    pid_t child_;
    std::string shown_;
};

TEST_P(Jobs, AreWatched) {
    Terminal terminal(hub_->url(), {"jobs", "--watch", "--interval", "1"});
    EXPECT_TRUE(terminal.sees("\x1b[?1049h\x1b[?25l\x1b[H"));
    EXPECT_TRUE(terminal.sees("104"));
    EXPECT_TRUE(terminal.sees("\n\x1b[J(2 more)")) << "four lines"; // erased first: the last column may be the cursor's
    hub_->run("DELETE FROM JMJobInfo WHERE jobId = 104");
    EXPECT_TRUE(terminal.sees("107")) << "drawn again, and now it fits";
    terminal.type('\x03');
    EXPECT_TRUE(terminal.sees("\x1b[?25h\x1b[?1049l")) << "the terminal is as it was";
    EXPECT_EQ(terminal.exitCode(), 0);
}

TEST_P(Jobs, AreThoseOfWhoIsLoggedIn) {
    const support::TempDirectory directory;
    const auto tool = [&](const std::string& path, Arguments line, const std::string& in = "/dev/null") {
        line.insert(line.begin(), path);
        const auto result = support::runProcess(
            line, {{"HUBDB_URL", hub_->url()}, {"XDG_STATE_HOME", directory.file("state")}}, -1, in);
        return result.exitCode == 0 ? result.out : std::to_string(result.exitCode) + " " + result.err;
    };
    std::ofstream(directory.file("password")) << "correct horse\n";
    ASSERT_THAT(tool(VSDK_HUBDB_PATH, {"param", "set", "VSDKSessionsAudit", "0"}), "");
    ASSERT_THAT(tool(VSDK_HUBDB_PATH, {"user", "add", "alice", "--password-stdin"}, directory.file("password")),
                HasSubstr("added"));
    ASSERT_THAT(tool(VSDK_VCOMMAND_PATH, {"login", "alice", "--password-stdin"}, directory.file("password")),
                HasSubstr("alice"));
    const Arguments list{"jobs", "--csv", "--columns", "id"};
    for (const auto& [visible, answer] :
         std::vector<std::pair<Arguments, std::string>>{{{"--client", "mail01", "--client", "5"}, "id\n104\n106\n"},
                                                        {{"--client", "4"}, "id\n105\n"},
                                                        {{"--all"}, "id\n104\n105\n106\n107\n"},
                                                        {{"--none"}, "id\n"}}) {
        Arguments line{"user", "jobs", "alice"};
        line.insert(line.end(), visible.begin(), visible.end());
        EXPECT_THAT(tool(VSDK_HUBDB_PATH, line), HasSubstr("'alice' sees "));
        EXPECT_EQ(tool(VSDK_VCOMMAND_PATH, list), answer);
    }
    EXPECT_THAT(tool(VSDK_HUBDB_PATH, {"user", "jobs", "alice", "--client", "nobody"}),
                "3 hubdb: there is no client 'nobody'\n");
    hub_->run("UPDATE APP_Client SET name = 'mail01' WHERE id = 4");
    EXPECT_THAT(tool(VSDK_HUBDB_PATH, {"user", "jobs", "alice", "--client", "mail01"}),
                "4 hubdb: several clients are named 'mail01': give an id\n");
    EXPECT_THAT(tool(VSDK_VCOMMAND_PATH, {"job", "105"}), HasSubstr("error 1026"));
    EXPECT_THAT(tool(VSDK_VCOMMAND_PATH, {"job", "101"}), HasSubstr("job 101 is not yours to see"));
    tool(VSDK_VCOMMAND_PATH, {"logout"});
    EXPECT_EQ(tool(VSDK_VCOMMAND_PATH, list), "id\n104\n105\n106\n107\n");
    tool(VSDK_HUBDB_PATH, {"param", "set", "VSDKSessionsRequired", "1"});
    EXPECT_THAT(tool(VSDK_VCOMMAND_PATH, list), HasSubstr("error 1293"));
}

} // namespace
