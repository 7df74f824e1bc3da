// Users and global parameters.
#include "db/HubDatabase.h"
#include "hubdb/HubdbTool.h"
#include "security/PasswordKey.h"
#include "support/ToolTest.h"
#include "users/VSDKUsers.h"

namespace {

class Users : public support::ToolTest, protected HubdbTool {
  protected:
    void SetUp() override {
        ToolTest::SetUp();
        const auto line = hubdb::PasswordKey::newLine();
        key_ = "key=" + write("key", {line.data(), line.size()});
        password_ = write("password", "first\n");
    }
    support::ProcessResult hubdb(std::vector<std::string> words) const {
        words.insert(words.end(), {"--db", hub_->url(key_)});
        return run(words);
    }
    /// What a command says on success, and its exit code and reason else.
    std::string answer(const std::vector<std::string>& words) const {
        const auto result = hubdb(words);
        return result.exitCode == 0 ? result.out : std::to_string(result.exitCode) + " " + result.err;
    }
    std::string ask(const std::string& columns, const std::string& of) const {
        return hub_->ask("SELECT " + columns + " FROM " + of + " ORDER BY id");
    }

    std::string key_;
    std::string password_;
};

INSTANTIATE_TEST_SUITE_P(Engines, Users, ::testing::Values(&support::makeSqliteHub, &support::makePostgresHub),
                         [](const auto& test) { return support::toolEngineName(test); });

TEST_P(Users, AreAddedAndChanged) {
    EXPECT_EQ(answer({"user", "add", "al'ice", "--name", "A", "--description", "d", "--password-file", password_}),
              "added the user 'al'ice' with the id 1\n");
    EXPECT_EQ(answer({"user", "add", "bob", "--password-file", password_}), "added the user 'bob' with the id 2\n");
    EXPECT_EQ(ask("login, name, description, enabled, origHCId", "UMUsers"), "al'ice|A|d|1|2 bob|bob||1|2");
    for (const auto& [words, reason] : std::vector<std::pair<std::vector<std::string>, std::string>>{
             {{"user", "add", "bob", "--password-file", password_}, "4 hubdb: there is a user 'bob' already\n"},
             {{"user", "add", "", "--password-file", password_}, "4 hubdb: the login is empty\n"},
             {{"user", "add", std::string(511, 'x'), "--password-file", password_},
              "4 hubdb: the login is longer than 510 bytes\n"},
             {{"user", "add", "\xff", "--password-file", password_}, "4 hubdb: the login is not UTF-8\n"},
             {{"user", "disable", "carol"}, "3 hubdb: there is no user 'carol'\n"},
             {{"user", "passwd", "Bob", "--password-file", password_}, "3 hubdb: there is no user 'Bob'\n"},
             {{"user", "add", "--password-file", password_}, "2 hubdb: LOGIN is missing: see --help\n"}})
        EXPECT_EQ(answer(words), reason);
    EXPECT_EQ(ask("login", "UMUsers"), "al'ice bob") << "what was refused left nothing";

    hub_->run("INSERT INTO UMVSDKSessions (userId, userName) VALUES (1, 'a'), (2, 'b'), (1, 'a')");
    EXPECT_EQ(answer({"user", "disable", "al'ice"}), "disabled 'al'ice'; 2 login sessions were ended\n");
    EXPECT_EQ(ask("userName", "UMVSDKSessions"), "b");
    EXPECT_THAT(answer({"user", "list"}), ::testing::ContainsRegex("al'ice +A +no +hash +d"));
    EXPECT_EQ(answer({"user", "enable", "al'ice"}), "enabled 'al'ice'\n");
    EXPECT_EQ(ask("enabled", "UMUsers"), "1 1");
}

TEST_P(Users, KeepTheFormOfTheirPassword) {
    std::string error;
    ASSERT_EQ(HubDatabase::connect(hub_->url(key_), error), 0) << error;
    std::string clear;
    ASSERT_EQ(VSDK_User(0).CreateSystemLocalAdminUser("system", true, clear), 0U);
    answer({"user", "add", "alice", "--password-file", password_});
    const std::string second = write("second", "second\n");
    for (const std::string user : {"system", "alice"}) {
        EXPECT_EQ(answer({"user", "passwd", user, "--password-file", second}),
                  "changed the password of '" + user + "'; 0 login sessions were ended\n");
        EXPECT_EQ(VSDK_User(0).VerifyPasswordbyLogin(user, "second"), 0U);
        EXPECT_EQ(VSDK_User(0).VerifyPasswordbyLogin(user, "first"), 259U);
    }
    EXPECT_EQ(VSDK_User(1).GetUserAndPassword(error, clear), 0U);
    EXPECT_EQ(clear, "second") << "the service still has it in clear";
    HubDatabase::disconnect();
}

TEST_P(Users, ParametersAreSetAndRead) {
    hub_->run("INSERT INTO ZXGlobalParam (name, value) VALUES ('twice', 'a'), ('twice', 'b')");
    for (const auto& [words, said] : std::vector<std::pair<std::vector<std::string>, std::string>>{
             {{"param", "get", "VSDKSessionTimeOut"}, "3 hubdb: the parameter 'VSDKSessionTimeOut' is not set\n"},
             {{"param", "set", "VSDKSessionTimeOut", "30m"},
              "4 hubdb: VSDKSessionTimeOut takes a whole number from 0 to 2147483647\n"},
             {{"param", "set", "VSDKSessionsRequired", "off"},
              "4 hubdb: VSDKSessionsRequired takes a whole number from 0 to 1\n"},
             {{"param", "set", "VSDKSessionTimeOut", "1800"}, ""},
             {{"param", "set", "VSDKSessionTimeOut", "60"}, ""},
             {{"param", "get", "VSDKSessionTimeOut"}, "60\n"},
             {{"param", "set", "it's", "a\nb"}, ""},
             {{"param", "get", "it's"}, "a\\x0Ab\n"},
             {{"param", "set", std::string(129, 'n'), "v"}, "4 hubdb: the name is longer than 128 bytes\n"},
             {{"param", "set", "twice", ""}, ""},
             {{"param", "list"},
              "NAME                VALUE\nVSDKSessionTimeOut  60\nit's                a\\x0Ab\n"
              "twice               -\ntwice               -\n"},
             {{"param", "unset", "twice"}, ""},
             {{"param", "unset", "twice"}, "3 hubdb: the parameter 'twice' is not set\n"}})
        EXPECT_EQ(answer(words), said) << ::testing::PrintToString(words);
}

} // namespace
