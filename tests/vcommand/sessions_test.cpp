// Logging in and out, and what asks for a session.
#include <pty.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "security/PasswordKey.h"
#include "support/TempDirectory.h"
#include "vcommand/VcommandTest.h"

namespace {

constexpr const char* kPassword = "correct horse";

class Sessions : public support::ToolTest {
  protected:
    void SetUp() override {
        ToolTest::SetUp();
        if (IsSkipped())
            return;
        const auto line = hubdb::PasswordKey::newLine();
        write("key", {line.data(), line.size()});
        write("password", std::string(kPassword) + "\n");
        ASSERT_EQ(hubdb({"user", "add", "alice", "--password-file", file("password")}).exitCode, 0);
    }

    std::string file(const std::string& name) const { return directory_.file(name); }
    void write(const std::string& name, const std::string& bytes) const {
        std::ofstream(file(name), std::ios::binary) << bytes;
    }
    std::string url() const { return hub_->url("key=" + file("key")); }

    support::ProcessResult tool(const std::string& path, Arguments line, const std::string& in = "/dev/null") const {
        line.insert(line.begin(), path);
        const auto result =
            support::runProcess(line, {{"HUBDB_URL", url()}, {"TZ", "UTC"}, {"XDG_STATE_HOME", file("state")}}, -1, in);
        told_ += result.out + result.err;
        return result;
    }
    support::ProcessResult hubdb(const Arguments& line) const { return tool(VSDK_HUBDB_PATH, line); }
    support::ProcessResult vcommand(const Arguments& line, const std::string& in = "/dev/null") const {
        return tool(VSDK_VCOMMAND_PATH, line, in);
    }
    support::ProcessResult logIn(const std::string& password = "password", const std::string& user = "alice") const {
        return vcommand({"login", user, "--password-file", file(password)});
    }
    /// Holds a command to a refusal, or to success with the code 0.
    void answers(const Arguments& line, int code, int exitCode = 4) const {
        const auto result = vcommand(line);
        EXPECT_EQ(result.exitCode, code == 0 ? 0 : exitCode) << ::testing::PrintToString(line) << result.err;
        const std::string words = "vcommand: error " + std::to_string(code) + ": ";
        EXPECT_THAT(result.err, HasSubstr(code == 0 ? "" : words));
    }
    std::string tokenFile() const {
        std::string found;
        for (const auto& entry : std::filesystem::directory_iterator(file("state/vcommand")))
            if (entry.path().extension().empty()) // neither a lock nor a draft
                found = entry.path();
        return found;
    }
    std::string sessions(const std::string& columns = "userName, referenceCount") const {
        return hub_->ask("SELECT " + columns + " FROM UMVSDKSessions ORDER BY id");
    }
    void age(int seconds) const {
        hub_->run("UPDATE UMVSDKSessions SET lastAccessedTime = lastAccessedTime - " + std::to_string(seconds));
    }

    support::TempDirectory directory_;
    mutable std::string told_; ///< by all tools
};

INSTANTIATE_TEST_SUITE_P(Engines, Sessions, everyEngine(),
                         [](const auto& test) { return support::toolEngineName(test); });

TEST_P(Sessions, BeginAndEnd) {
    hubdb({"param", "set", "VSDKSessionsAudit", "0"});
    write("wrong", "battery\n");
    answers({"whoami"}, 1293);
    answers({"login", "alice", "--password-file", file("wrong")}, 259);
    answers({"login", "nobody' OR '1'='1", "--password-file", file("password")}, 259);
    answers({"login", "a\"\\\n", "--password-file", file("password")}, 259);
    answers({"login", "\xff", "--password-file", file("password")}, 259);
    EXPECT_EQ(sessions(), "");

    EXPECT_EQ(logIn().exitCode, 0);
    const std::string first = sessions("GUID");
    const auto whoami = vcommand({"whoami", "--json"});
    const Json session = Json::parse(whoami.out)["session"];
    EXPECT_EQ(session["user"], "alice");
    EXPECT_EQ(session["userId"], 1);
    EXPECT_EQ(session["idleSeconds"], 0);
    EXPECT_EQ(std::filesystem::status(tokenFile()).permissions(), std::filesystem::perms{0600});
    EXPECT_EQ(std::filesystem::status(file("state/vcommand")).permissions(), std::filesystem::perms{0700});

    EXPECT_EQ(vcommand({"login", "alice", "--password-stdin"}, file("password")).exitCode, 0);
    EXPECT_EQ(sessions(), "alice|1") << "the first session was ended";
    const std::string second = sessions("GUID");
    EXPECT_NE(second, first);
    EXPECT_EQ(Json::parse(vcommand({"sessions", "list", "--json"}).out)["sessions"].size(), 1);

    answers({"logout"}, 0);
    EXPECT_EQ(sessions(), "");
    EXPECT_EQ(tokenFile(), "");
    answers({"logout"}, 1293);

    std::string events;
    for (std::size_t at = 0; (at = told_.find("audit: ", at)) != std::string::npos; ++at) {
        const std::string line = told_.substr(at, told_.find('\n', at) - at);
        EXPECT_THAT(line, ::testing::ContainsRegex("^audit: [0-9T:-]+Z vcommand [a-z]+ user=.* host=\".+\"$"));
        events += line.substr(line.find("vcommand ") + 9, line.find(" host") - line.find("vcommand ") - 9) + "; ";
    }
    EXPECT_EQ(events, "refused user=\"alice\"; refused user=\"nobody' OR '1'='1\"; "
                      "refused user=\"a\\x22\\x5C\\x0A\"; refused user=\"\\xFF\"; login user=\"alice\"; "
                      "login user=\"alice\"; logout user=\"alice\"; logout user=\"alice\"; ");
    for (const auto& secret : {std::string(kPassword), std::string("battery"), first, second})
        EXPECT_THAT(told_, Not(HasSubstr(secret)));
}

TEST_P(Sessions, AreAskedForWhereTheDatabaseSaysSo) {
    const std::vector<Arguments> guarded{
        {"list", "clients"}, {"show", "client", "2"}, {"sessions", "list"}, {"sessions", "purge"}};
    hub_->run("INSERT INTO SimOperatingSystem (id, Name) VALUES (1, 'Linux'); "
              "INSERT INTO APP_Client (id, name, simOperatingSystemId) VALUES (2, 'mail01', 1);");
    const auto each = [&](int code) {
        for (const auto& line : guarded)
            answers(line, code);
    };
    each(0);
    hubdb({"param", "set", "VSDKSessionsRequired", "1"});
    each(1293);
    hubdb({"param", "set", "VSDKSessionTimeOut", "1000"});
    logIn();
    age(990);
    each(0);
    age(990); // since then: they were uses
    answers({"whoami"}, 0);
    age(1000);
    answers({"list", "clients"}, 313);
    each(1293); // the token is forgotten
    hubdb({"param", "set", "VSDKSessionsRequired", "0"});
    each(0);

    logIn();
    age(500);
    const std::string before = sessions("lastAccessedTime");
    each(0);
    EXPECT_EQ(sessions("lastAccessedTime"), before) << "a session that is not needed is left alone";

    hub_->run("ALTER TABLE ZXGlobalParam RENAME TO Gone");
    answers({"list", "clients"}, 1291, 1); // nobody knows whether they are for everybody
}

TEST_P(Sessions, EndWithTheirUser) {
    logIn();
    EXPECT_THAT(hubdb({"user", "disable", "alice"}).out, HasSubstr("1 login session was ended"));
    answers({"whoami"}, 313);
    EXPECT_EQ(logIn().exitCode, 4);
    hubdb({"user", "enable", "alice"});
    EXPECT_EQ(logIn().exitCode, 0);
    write("other", "battery staple");
    EXPECT_EQ(hubdb({"user", "passwd", "alice", "--password-file", file("other")}).exitCode, 0);
    answers({"whoami"}, 313);
    EXPECT_EQ(logIn().exitCode, 4);
    EXPECT_EQ(logIn("other").exitCode, 0);

    hub_->run("INSERT INTO UMVSDKSessions (userId, userName, timeout, lastAccessedTime) VALUES (1, 'idle', 5, 1000)");
    hubdb({"param", "set", "VSDKSessionsAudit", "1"});
    EXPECT_THAT(vcommand({"sessions", "purge"}).err, HasSubstr("vcommand expired user=\"idle\" host=\"\"\n"));
    EXPECT_EQ(sessions("userName"), "alice");
}

TEST_P(Sessions, AreKeptInAFileThatOnlyTheUserReads) {
    logIn();
    const std::string path = tokenFile();
    ASSERT_EQ(chmod(path.c_str(), 0640), 0);
    answers({"whoami"}, 616);
    ASSERT_EQ(chmod(path.c_str(), 0600), 0);
    answers({"whoami"}, 0);
    std::filesystem::rename(path, file("elsewhere"));
    std::filesystem::create_symlink(file("elsewhere"), path);
    answers({"whoami"}, 616, 1);
    std::filesystem::remove(path);
    std::ofstream(path) << R"({"database": "another", "token": "00"})";
    ASSERT_EQ(chmod(path.c_str(), 0600), 0);
    answers({"whoami"}, 1293);
    for (const std::string broken : {"", "{", "[]", R"({"token": 7})", R"({"token": ""})"}) {
        std::ofstream(path) << broken;
        answers({"whoami"}, 520);
    }
    EXPECT_EQ(logIn().exitCode, 0) << "a new login replaces it";
    answers({"whoami"}, 0);

    const std::string before = sessions("id");
    ASSERT_EQ(chmod(file("state/vcommand").c_str(), 0500), 0);
    if (geteuid() != 0) // who may write everywhere
        answers({"login", "alice", "--password-file", file("password")}, 616, 1);
    EXPECT_EQ(sessions("id"), before) << "a session that cannot be kept is ended";
    chmod(file("state/vcommand").c_str(), 0700);
}

TEST_P(Sessions, PasswordsComeFromFilesAndStreams) {
    struct Case {
        std::string bytes;
        int exitCode;
    };
    int user = 0;
    for (const auto& [bytes, exitCode] : std::vector<Case>{{"x", 0},
                                                           {std::string(247, 'x') + "\n", 0},
                                                           {std::string(248, 'x') + "\n", 4},
                                                           {std::string(5000, 'x'), 4},
                                                           {"", 4},
                                                           {"\n", 4},
                                                           {"one\ntwo\n", 4},
                                                           {std::string("a\0b\n", 4), 4},
                                                           {" blank at both ends \n", 0},
                                                           {"\xff\xfe\n", 0}}) {
        write("given", bytes);
        const std::string name = "user" + std::to_string(++user);
        EXPECT_EQ(hubdb({"user", "add", name, "--password-file", file("given")}).exitCode, exitCode) << bytes;
        EXPECT_EQ(vcommand({"login", name, "--password-stdin"}, file("given")).exitCode, exitCode) << bytes;
    }
    answers({"login", "alice", "--password-file", file("missing")}, 771, 3);
    answers({"login", "alice", "--password-file", ""}, 771, 3);
    answers({"login", "alice"}, 770, 2); // there is no terminal to ask
    answers({"login", "alice", "in the wrong place"}, 769, 2);
    EXPECT_THAT(told_, Not(HasSubstr("wrong place")));
}

/// What a terminal shows while a person types `typed`, after each prompt one line of it, and the exit code.
std::pair<std::string, int> typeInto(const Arguments& command, const std::vector<std::string>& typed) {
    int terminal = -1;
    const pid_t child = forkpty(&terminal, nullptr, nullptr, nullptr);
    if (child == 0) {
        std::vector<char*> arguments;
        for (const auto& argument : command)
            arguments.push_back(const_cast<char*>(argument.c_str()));
        arguments.push_back(nullptr);
        execv(arguments[0], arguments.data());
        _exit(127);
    }
    std::string shown;
    char byte = 0;
    for (std::size_t lines = 0; read(terminal, &byte, 1) == 1;) {
        shown += byte;
        if (lines < typed.size() && shown.ends_with(": ")) // it has been silenced by now
            (void)!write(terminal, typed[lines].data(), typed[lines].size()), ++lines;
    }
    close(terminal);
    int status = 0;
    waitpid(child, &status, 0);
    return {shown, WIFEXITED(status) ? WEXITSTATUS(status) : -1};
}

TEST_P(Sessions, PasswordsAreNotShownOnATerminal) {
    struct Case {
        Arguments command;
        std::vector<std::string> typed;
        int exitCode;
    };
    for (const auto& [command, typed, exitCode] :
         std::vector<Case>{{{VSDK_HUBDB_PATH, "user", "add", "bob"}, {"hush hush\n", "hush hash\n"}, 4},
                           {{VSDK_HUBDB_PATH, "user", "add", "bob"}, {"hush hush\n", "hush hush\n"}, 0},
                           {{VSDK_HUBDB_PATH, "user", "add", "bob"}, {"hush hush\n", "hush hush\n"}, 4},
                           {{VSDK_VCOMMAND_PATH, "login", "bob"}, {"hush\x03"}, 1},
                           {{VSDK_VCOMMAND_PATH, "login", "bob"}, {"\x04"}, 4},
                           {{VSDK_VCOMMAND_PATH, "login", "bob"}, {"hush hush\n"}, 0}}) {
        Arguments line{"/usr/bin/env", "HUBDB_URL=" + url(), "XDG_STATE_HOME=" + file("state")};
        line.insert(line.end(), command.begin(), command.end());
        const auto [shown, code] = typeInto(line, typed);
        EXPECT_EQ(code, exitCode) << shown;
        EXPECT_THAT(shown, Not(HasSubstr("hush")));
    }
    EXPECT_EQ(sessions("userName"), "bob");
}

TEST_P(Sessions, WithoutAKeyKeepNoPassword) {
    logIn();
    EXPECT_THAT(sessions("password"), ::testing::StartsWith("e1$"));
    std::filesystem::remove(file("key"));
    EXPECT_EQ(logIn().exitCode, 0);
    EXPECT_EQ(sessions("password"), "");
    answers({"whoami"}, 0);

    // A system user's password cannot be compared without: that is no wrong password.
    hub_->run("INSERT INTO UMUsers (name, login, password, enabled) VALUES ('s', 's', 'e1$AAAA', 1)");
    write("damaged", "x");
    const auto result = logIn("damaged", "s");
    EXPECT_EQ(result.exitCode, 1) << result.err;
    EXPECT_THAT(result.err, HasSubstr("missing"));
}

} // namespace
