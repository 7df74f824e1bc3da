#include <gtest/gtest.h>

#include <barrier>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include "db/DatabaseUrl.h"
#include "users/UsersTest.h"

namespace {

USERS_TEST(Attacks, ::testing::Values(true));

constexpr auto kInjections =
    "' OR '1'='1|' OR 1=1 --|alice' --|'; DELETE FROM UMUsers --|\\' OR 1=1 --|%s%s%n%d|$1|?1|%|_|| |NULL|"
    "\xEF\xBC\x87 OR 1=1|alice' AND '1'='1";
/// Which are no texts.
const std::vector<std::string> kBroken{
    std::string("\0", 1), std::string("' OR 1=1 --\0x", 13), "\xFF", "\xC0\xA7 OR 1=1 --", "\xED\xA0\x80", "alice\xC3"};

/// Nearly a text.
std::vector<std::string> nearly(const std::string& text) {
    std::string other = text;
    other[0] = static_cast<char>(other[0] ^ 0x20);
    return {other,      text.substr(1),           text.substr(0, text.size() - 1), text + " ",
            " " + text, std::string(text) += 'a', text.substr(0, 5) + "%",         std::string(text.size(), '_'),
            text + "\n"};
}

TEST_P(Attacks, ATokenThatIsNobodys) {
    const std::string secret = encrypted("secret");
    hub_->run(userRow(kUser, "alice", secret) + sessionRow({.id = 1, .number = 7, .password = secret}));
    std::vector<std::string> tokens{tokenOf(1) + std::string("\0", 1), tokenOf(1) + std::string("\0x", 2),
                                    std::string(1'000'000, '\'')};
    for (const auto& list : {nearly(tokenOf(1)), split(kInjections), kBroken})
        tokens.insert(tokens.end(), list.begin(), list.end());
    const Sessions before = sessions();
    const std::string users = hub_->ask("SELECT * FROM UMUsers");
    for (const auto& token : tokens) {
        SCOPED_TRACE(token.substr(0, 80));
        const bool broken = !hubdb::isWholeText(token);
        VSDK_Sessions session;
        int number = -7;
        int user = -7;
        std::string text = "?";
        support::LogLines lines(kEvLogMessages);
        EXPECT_EQ(session.GetSessionId(token, number, user), broken ? 1291 : 313);
        const unsigned long expected = broken ? 1291 : 1293;
        EXPECT_EQ(session.VerifyPassword(token, "secret"), expected);
        EXPECT_EQ(session.GetSessionInfo(token, number, text, text), token.empty() ? 1292 : expected);
        EXPECT_EQ(session.ModifyReferenceCount(token, 1, number, user), expected);
        EXPECT_EQ(session.DeleteSession(token, number), expected);
        EXPECT_EQ(session.UpdateSessions(token, 70), broken ? 1291 : 0);
        EXPECT_EQ(fieldsText(number, user, text, session.hostName), "-7|-7|?|");
        EXPECT_EQ(lines.taken().find(token.size() > 4 ? token : tokenOf(1)), std::string::npos);
        EXPECT_EQ(changesSince(before), "");
    }
    EXPECT_EQ(hub_->ask("SELECT * FROM UMUsers"), users);
}

TEST_P(Attacks, ALoginOrPasswordThatIsNobodys) {
    const std::string hash = hashed("geheim");
    const std::string theirs = encrypted("secret"); // of a database with another key
    connect("key=" + newKey("our.key"));
    const std::string secret = encrypted("secret");
    hub_->run(userRow(kUser, "alice", secret) + userRow(60, "hash", hash) + userRow(70, "off", secret, 0) +
              userRow(80, "theirs", theirs) + userRow(90, "none", "") + userRow(91, "plain", "secret") +
              sessionRow({.id = 1, .number = 7, .password = secret}) +
              sessionRow({.id = 2, .user = "theirs", .password = theirs}));
    std::vector<std::pair<std::string, std::string>> pairs{
        {"alice", secret},   {"alice", "e1$"},     {"hash", hash},  {"hash", "4"},       {"off", "secret"},
        {"theirs", theirs},  {"theirs", "secret"}, {"none", ""},    {"plain", "secret"}, {"hash", "secret"},
        {"alice", "geheim"}, {"1", "secret"},      {"50", "secret"}};
    for (const auto& list : {nearly("alice"), split(kInjections), kBroken})
        for (const auto& login : list)
            pairs.emplace_back(login, "secret");
    for (const auto& list : {nearly("secret"), split(kInjections), kBroken})
        for (const auto& password : list)
            pairs.emplace_back("alice", password);
    pairs.emplace_back("alice", std::string("secret", 7));
    const Sessions before = sessions();
    VSDK_Sessions session;
    VSDK_User user(0);
    for (const auto& [login, password] : pairs) {
        SCOPED_TRACE(login.substr(0, 80) + " " + password.substr(0, 80));
        EXPECT_EQ(user.VerifyPasswordbyLogin(login, password), 259);
        EXPECT_EQ(session.VerifyPassword(tokenOf(1), login == "alice" ? password : "?"), 259);
        int number = 0;
        std::string token;
        EXPECT_NE(session.ModifyReferenceCount(login, password, 1, number, token), 0);
        EXPECT_EQ(changesSince(before), "");
    }
    bool found = true;
    std::string password;
    EXPECT_EQ(user.GetUserPasswordByLogin("theirs", found, password), 1289);
    EXPECT_EQ(user.VerifyPasswordbyLogin("alice", "secret"), 0);
    EXPECT_EQ(session.VerifyPassword(tokenOf(1), "secret"), 0);
    for (const char* gone : {"UPDATE UMUsers SET enabled = 0", "DELETE FROM UMUsers"}) { // the session stays
        hub_->run(gone);
        EXPECT_EQ(session.VerifyPassword(tokenOf(1), "secret"), 259);
    }
}

TEST_P(Attacks, ATokenOfTheGone) {
    VSDK_Sessions session(600);
    int number = 0;
    int user = 0;
    const auto code = [&] { return session.GetSessionId(tokenOf(1), number, user); };
    const std::string row = sessionRow({.id = 1, .number = 7});
    hub_->run(row);
    EXPECT_EQ(session.DeleteSession(tokenOf(1), number), 0);
    EXPECT_EQ(code(), 313);
    hub_->run(row + parameter("VSDKSessionTimeOut", "600"));
    EXPECT_EQ(session.MonitorSessions(0, static_cast<int>(kNow) + 500), 0);
    EXPECT_EQ(code(), 313);
    hub_->run(row);
    clock = kNow + 500;
    EXPECT_EQ(code(), 313);
    clock = kNow; // and stays gone
    EXPECT_EQ(code(), 313);
}

TEST_P(Attacks, TwoWhoLogOutOneSession) {
    constexpr int kRounds = 20;
    std::array<unsigned long, 2> codes{};
    std::barrier together(2);
    const auto logOut = [&](std::size_t who) {
        for (int i = 0; i < kRounds; ++i) {
            if (who == 0)
                hub_->run("DELETE FROM UMVSDKSessions; " + sessionRow({.id = 1, .number = 7}));
            together.arrive_and_wait();
            VSDK_Sessions session;
            int number = 0;
            codes[who] = session.DeleteSession(tokenOf(1), number);
            together.arrive_and_wait();
            if (who == 0) {
                std::ranges::sort(codes);
                EXPECT_EQ(codes[0], 0);
                EXPECT_TRUE(codes[1] == 1292 || codes[1] == 1293) << codes[1];
            }
        }
    };
    std::jthread second(logOut, 1);
    logOut(0);
}

/// Neither the database nor a log ever has a password in clear, no log a token.
TEST_P(Attacks, NothingToFind) {
    support::LogLines lines(kEvLogMessages);
    std::vector<std::string> clear{"Prinzessin-1", "Prinzessin-2", "Prinzessin-3"};
    hub_->run(userRow(5, "hash", hashed(clear[0])) + userRow(6, "secret", encrypted(clear[1])) +
              parameter("DefaultADUserDomain", "corp"));
    VSDK_User user(0);
    VSDK_Sessions session;
    for (const bool local : {false, true}) {
        std::string password;
        EXPECT_EQ(user.CreateSystemLocalAdminUser(local ? "local" : "admin", local, password), 0);
        clear.push_back(password);
    }
    const std::size_t passwords = clear.size();
    bool found = false;
    std::string text;
    int number = 0;
    for (const auto& [id, login] : {std::pair{5, "hash"}, {6, "secret"}}) {
        const std::string& password = clear[id == 5 ? 0 : 1];
        std::string token;
        EXPECT_EQ(user.VerifyPasswordbyLogin(login, password), 0);
        EXPECT_EQ(user.VerifyPasswordbyLogin(login, clear[2]), 259);
        EXPECT_EQ(user.GetUserPasswordByLogin(login, found, text), 0);
        EXPECT_EQ(session.InsertSession(id, 7, login, encrypted(password), token, 0, 0), 0);
        EXPECT_EQ(session.VerifyPassword(token, password), 0);
        EXPECT_EQ(session.ModifyReferenceCount(login, password, 1, number, text), 0);
        EXPECT_EQ(session.ModifyReferenceCount(login, clear[2], 1, number, text), 259);
        EXPECT_EQ(session.GetSessionInfo(token, number, text, text), 0);
        EXPECT_EQ(session.InsertSession(99, 7, login, encrypted(password), text, 0, 0), 1291);
        clear.push_back(token);
    }
    EXPECT_EQ(session.InsertSession(5, 7, clear[2], clear[2] + '\xFF', text, 0, 0), 1291);
    EXPECT_EQ(session.MonitorSessions(0, 0), 0);

    const std::string log = lines.taken();
    std::string stored = hub_->ask("SELECT * FROM UMUsers") + hub_->ask("SELECT * FROM UMVSDKSessions");
    hubdb::DatabaseUrl where;
    std::string error;
    ASSERT_TRUE(hubdb::DatabaseUrl::parse(hub_->url(), where, error)) << error;
    if (where.engine == hubdb::DatabaseUrl::Engine::kSqlite) // and journals, and what was deleted
        for (const auto& file : std::filesystem::directory_iterator(std::filesystem::path(where.path).parent_path())) {
            std::ifstream bytes(file.path(), std::ios::binary);
            stored.append(std::istreambuf_iterator<char>(bytes), {});
        }
    EXPECT_NE(log.find("getting user name"), std::string::npos);
    for (std::size_t i = 0; i < clear.size(); ++i) {
        EXPECT_EQ(log.find(clear[i]), std::string::npos) << i;
        EXPECT_EQ(stored.find(clear[i]) == std::string::npos, i < passwords) << i; // tokens are there
    }
}

} // namespace
