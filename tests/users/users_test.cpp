#include "users/VSDKUsers.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "users/UsersTest.h"

namespace {

USERS_TEST(StoredUsers, ::testing::Values(true));

/// One operation, on the object of user 5.
struct Case {
    std::string name;
    std::function<std::string(VSDK_User&)> operation;
    std::string done;                 ///< code, out-arguments and the object's id
    std::vector<std::string> failing; ///< when the engine fails at each of its statements
};

auto verify(const std::string& login, const std::string& password) {
    return [=](VSDK_User& user) { return fieldsText(user.VerifyPasswordbyLogin(login, password), user.userId); };
}
auto byLogin(const std::string& login) {
    return [=](VSDK_User& user) {
        bool found = login != "bob"; // is set either way
        std::string password = "?";
        const auto code = user.GetUserPasswordByLogin(login, found, password);
        return fieldsText(code, found, password, user.userId);
    };
}
auto byId(int id) {
    return [=](VSDK_User& user) {
        std::string login = "?";
        std::string password = "?";
        user.userId = id;
        const auto code = user.GetUserAndPassword(login, password);
        return fieldsText(code, login, password, user.userId);
    };
}

TEST_P(StoredUsers, EveryLookupEveryFailure) {
    const std::string hash = hashed("geheim");
    hub_->run(userRow(5, "alice", encrypted("secret")) + userRow(6, "Zoë", hash) +
              userRow(7, "bob", encrypted("bob's"), 0) + userRow(8, "four", "4") + userRow(9, "none", std::nullopt) +
              userRow(10, "cut", encrypted("secret").substr(0, 30)) + userRow(-1, "minus", encrypted("one")));
    const std::vector<Case> cases{
        {"valid", verify("alice", "secret"), "0|5", {"259|5", "259|5"}},
        {"valid, hashed", verify("Zoë", "geheim"), "0|5", {"259|5", "259|5"}},
        {"negative id", verify("minus", "one"), "0|5", {"259|5", "259|5"}},
        {"another", verify("alice", "Secret"), "259|5", {"259|5", "259|5"}},
        {"disabled", verify("bob", "bob's"), "259|5", {"259|5", "259|5"}},
        {"unknown", verify("Alice", "secret"), "259|5", {"259|5"}},
        {"password", byLogin("alice"), "0|1|secret|5", {"1288|0||5"}},
        {"of the disabled", byLogin("bob"), "0|1|bob's|7", {"1288|0||5"}},
        {"hash", byLogin("Zoë"), "0|1|" + hash + "|6", {"1288|0||5"}},
        {"nearly a hash", byLogin("four"), "1289|1|?|5", {"1288|0||5"}},
        {"no password", byLogin("none"), "1289|1|?|5", {"1288|0||5"}},
        {"cut", byLogin("cut"), "1289|1|?|5", {"1288|0||5"}},
        {"nobody's", byLogin("ALICE"), "0|0||5", {"1288|0||5"}},
        {"id", byId(5), "0|alice|secret|5", {"1288|?|?|5"}},
        {"id, hash", byId(6), "0|Zoë|" + hash + "|6", {"1288|?|?|6"}},
        {"id, nearly a hash", byId(8), "0|four|4|8", {"1288|?|?|8"}},
        {"id, no password", byId(9), "1289|?|?|9", {"1288|?|?|9"}},
        {"id, cut", byId(10), "1289|?|?|10", {"1288|?|?|10"}},
        {"id, unknown", byId(99), "1288|?|?|99", {"1288|?|?|99"}},
    };
    const std::string before = hub_->ask("SELECT * FROM UMUsers ORDER BY id");
    for (const auto& it : cases) {
        SCOPED_TRACE(it.name);
        const auto run = [&it] {
            VSDK_User user(5);
            return told([&] { return it.operation(user); });
        };
        statements();
        EXPECT_EQ(run(), it.done);
        EXPECT_EQ(statements(), it.failing.size());
        for (int at = 0; const auto& expected : it.failing) {
            failAt(++at);
            EXPECT_EQ(run(), expected) << at;
        }
    }
    EXPECT_EQ(hub_->ask("SELECT * FROM UMUsers ORDER BY id"), before);
}

std::string create(const std::string& login, bool local, std::string& password) {
    VSDK_User user(5);
    password = "?";
    const auto code = user.CreateSystemLocalAdminUser(login, local, password);
    return fieldsText(code, user.userId);
}

bool isGuid(std::string text) {
    const bool random = text.size() == 36 && text[14] == '4';
    std::ranges::replace_if(
        text, [](char c) { return std::string("0123456789abcdef").find(c) != std::string::npos; }, 'x');
    return random && text == "xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx";
}

TEST_P(StoredUsers, ASystemUser) {
    std::vector<std::string> passwords(2);
    for (const bool local : {false, true}) {
        const std::string login = local ? "Lokal'" : "admin";
        std::string& password = passwords[local ? 1 : 0];
        EXPECT_EQ(told([&] { return create(login, local, password); }), "0|5");
        EXPECT_TRUE(isGuid(password)) << password;
        const std::string id = hub_->ask("SELECT max(id) FROM UMUsers");
        EXPECT_EQ(hub_->ask("SELECT name, login, description, flags, enabled, origHCId FROM UMUsers WHERE id = " + id),
                  login + "|" + login + "|System created " +
                      (local ? "local User for vcommand operations|65541" : "Admin User for vcommand operations|37") +
                      "|1|2");
        VSDK_User user(5);
        EXPECT_EQ(byLogin(login)(user), "0|1|" + password + "|" + id);
        EXPECT_EQ(verify(login, password)(user), "0|" + id);
    }
    EXPECT_NE(passwords[0], passwords[1]);
    std::string guid = "?";
    EXPECT_TRUE(CreateGuid(guid));
    EXPECT_TRUE(isGuid(guid)) << guid;

    std::string password;
    const std::string before = hub_->ask("SELECT * FROM UMUsers ORDER BY id");
    for (const auto& login :
         {std::string("admin"), std::string(1019, 'x') + "ä", std::string("a\0b", 3), std::string("a\xC3")}) {
        EXPECT_EQ(told([&] { return create(login, true, password); }), "1295|5");
        EXPECT_TRUE(isGuid(password)) << password;
    }
    failAt(1);
    EXPECT_EQ(told([&] { return create("new", true, password); }), "1295|5");
    connect("key=" + directory_.file("none"));
    EXPECT_EQ(told([&] { return create("new", true, password); }), "1289|5");
    EXPECT_EQ(password, "?");
    EXPECT_EQ(hub_->ask("SELECT * FROM UMUsers ORDER BY id"), before);
    connect("key=" + directory_.file("hub.key"));
    EXPECT_EQ(create(std::string(1018, 'x') + "ä", true, password), "0|5");
}

} // namespace
