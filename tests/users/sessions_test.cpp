#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

#include "Db/Tbl/UMVSDKSessions.h"
#include "db/DBtran.h"
#include "users/UsersTest.h"

namespace {

USERS_TEST(StoredSessions, ::testing::Bool());

/// One operation on the sessions below.
struct Case {
    std::string name;
    std::function<std::string(VSDK_Sessions&)> operation; ///< code and out-arguments, which are -7 and "?" before
    std::string done;
    std::string changes;
    std::vector<std::string> failing; ///< what it comes to when the engine fails at each of its statements
    std::string gone;                 ///< when the first row that it changes goes before its last one
};

std::string members(const VSDK_Sessions& s) {
    return fieldsText("", s.sessionFileLocation, s.hostName, s.encryptedToken);
}
auto byToken(const std::string& token) {
    return [=](VSDK_Sessions& s) {
        int number = -7;
        int user = -7;
        const auto code = s.GetSessionId(token, number, user);
        return fieldsText(code, number, user) + members(s);
    };
}
auto byName(const std::string& name) {
    return [=](VSDK_Sessions& s) {
        int number = -7;
        int user = -7;
        const auto code = s.GetSessionId(name, "not looked at", number, user);
        return fieldsText(code, number, user) + members(s);
    };
}
auto info(const std::string& token) {
    return [=](VSDK_Sessions& s) {
        int number = -7;
        std::string user = "?";
        std::string password = "?";
        const auto code = s.GetSessionInfo(token, number, user, password);
        return fieldsText(code, number, user, password) + members(s);
    };
}
auto verify(const std::string& token, const std::string& password) {
    return [=](VSDK_Sessions& s) { return fieldsText(s.VerifyPassword(token, password)); };
}
auto countByName(const std::string& name, const std::string& password, int delta) {
    return [=](VSDK_Sessions& s) {
        int number = -7;
        std::string token = "?";
        const auto code = s.ModifyReferenceCount(name, password, delta, number, token);
        return fieldsText(code, number, token);
    };
}
auto countByToken(const std::string& token, int delta) {
    return [=](VSDK_Sessions& s) {
        int number = -7;
        int sum = -7;
        const auto code = s.ModifyReferenceCount(token, delta, number, sum);
        return fieldsText(code, number, sum);
    };
}
auto logout(const std::string& token) {
    return [=](VSDK_Sessions& s) {
        int number = -7;
        const auto code = s.DeleteSession(token, number);
        return fieldsText(code, number);
    };
}
template <class... Arguments> auto change(unsigned long (VSDK_Sessions::*operation)(Arguments...), auto... values) {
    return [=](VSDK_Sessions& s) { return fieldsText((s.*operation)(values...)); };
}

TEST_P(StoredSessions, EveryOperationEveryFailure) {
    const std::string secret = encrypted("secret");
    const std::string rows = sessionRow({.id = 1, .number = 7, .password = secret}) +
                             sessionRow({.id = 2, .password = encrypted("other")}) +
                             sessionRow({.id = 3, .number = 7, .password = secret}) +
                             sessionRow({.id = 4, .number = 9, .user = "bob", .password = "damaged"}) +
                             sessionRow({.id = 5, .user = "carol", .used = kNow - 600}) +
                             sessionRow({.id = 6, .number = 8, .user = "carol"}) +
                             sessionRow({.id = 7, .user = "dave", .count = 3, .created = 1000}) +
                             sessionRow({.id = 8, .user = "dave", .used = kNow - 300, .timeout = 5}) +
                             sessionRow({.id = 9, .user = "dave", .count = std::numeric_limits<int>::max()});
    hub_->run(userRow(kUser, "alice", encrypted("login")));

    const std::string one = tokenOf(1);
    const std::string none = tokenOf(99);
    const std::string found = "|7|50|file1|host1|tok1";
    const std::string told1 = "|7|alice|" + secret + "|file1|host1|tok1\n";
    const std::string noDomain = "5 GetSessionInfo No default domain is set, error[524289].\n";
    const std::string domainFails = "1 GetSessionInfo call to get default domain failed with error code: [-1]\n";
    using S = VSDK_Sessions;
    using Number = unsigned long (S::*)(const int&);
    using Numbers = unsigned long (S::*)(const int&, const int&);
    using TokenNumber = unsigned long (S::*)(const std::string&, const int&);
    const Number erase = &S::DeleteSession;
    const Numbers update = &S::UpdateSessions;
    const TokenNumber updateToken = &S::UpdateSessions;
    const std::vector<Case> cases{
        {"token", byToken(one), "0" + found, "1=7|0|1", {"1291|-7|-7|||", "1291" + found}, "1291" + found},
        {"no such token", byToken(none), "313|-7|-7|||", "", {"1291|-7|-7|||"}, ""},
        {"expired", byToken(tokenOf(5)), "313|-7|-7|||", "-5", {"1291|-7|-7|||", "1291|-7|-7|||"}, "1291|-7|-7|||"},
        {"by minutes", byToken(tokenOf(8)), "313|-7|-7|||", "-8", {"1291|-7|-7|||", "1291|-7|-7|||"}, "1291|-7|-7|||"},
        {"name", byName("alice"), "0|7|50|||", "", {"1291|-7|-7|||"}, ""},
        {"name, not the first", byName("carol"), "0|8|50|||", "", {"1291|-7|-7|||"}, ""},
        {"name, not connected", byName("dave"), "259|0|-7|||", "", {"1291|-7|-7|||"}, ""},
        {"no such name", byName("Alice"), "259|-7|-7|||", "", {"1291|-7|-7|||"}, ""},
        {"info",
         info(one),
         "0" + told1 + noDomain,
         "1=7|0|1",
         {"1291|-7|?|?|||", "0" + told1 + domainFails, "1291" + told1 + noDomain},
         "1291" + told1 + noDomain},
        {"info, no such token", info(none), "1293|-7|?|?|||", "", {"1291|-7|?|?|||"}, ""},
        {"info, no token", info(""), "1292|-7|?|?|||", "", {}, ""},
        {"password", verify(one, "login"), "0", "", {"1291", "259"}, ""},
        {"password, expired", verify(tokenOf(5), "login"), "0", "", {"1291", "259"}, ""},
        {"another password", verify(one, "secret"), "259", "", {"1291", "259"}, ""},
        {"password, no such token", verify(none, "login"), "1293", "", {"1291"}, ""},
        {"more, by name",
         countByName("alice", "secret", 2),
         "0|7|" + one,
         "1=7|0|3",
         {"1291|-7|?", "0|7|" + one, "1291|7|" + one},
         "1291|7|" + one},
        {"less, by name",
         countByName("alice", "secret", -1),
         "0|7|" + one,
         "-1",
         {"1291|-7|?", "1291|7|" + one},
         "1291|7|" + one},
        {"of the second", countByName("alice", "other", 1), "259|-7|?", "", {"1291|-7|?"}, ""},
        {"another case", countByName("alice", "Secret", 1), "259|-7|?", "", {"1291|-7|?"}, ""},
        {"with a NUL", countByName("alice", std::string("secret", 7), 1), "259|-7|?", "", {"1291|-7|?"}, ""},
        {"damaged", countByName("bob", "damaged", 1), "1289|-7|?", "", {"1291|-7|?"}, ""},
        {"empty", countByName("carol", "", 1), "1289|-7|?", "", {"1291|-7|?"}, ""},
        {"no such name", countByName("nobody", "secret", 1), "1293|-7|?", "", {"1291|-7|?"}, ""},
        {"more", countByToken(one, 2), "0|7|3", "1=7|0|3", {"1291|-7|-7", "0|7|3", "1291|7|3"}, "1291|7|3"},
        {"as many", countByToken(one, 0), "0|7|1", "1=7|0|1", {"1291|-7|-7", "1291|7|1"}, "1291|7|1"},
        {"less than none", countByToken(one, -5), "0|7|0", "-1", {"1291|-7|-7", "1291|7|-4"}, "1291|7|-4"},
        {"beyond 32 bits", countByToken(tokenOf(9), 1), "0|0|0", "-9", {"1291|-7|-7", "1291|0|-2147483648"}, ""},
        {"more, long ago", countByToken(tokenOf(7), 1), "2305|0|4", "", {"1291|-7|-7", "2305|0|4"}, ""},
        {"less, long ago", countByToken(tokenOf(7), -1), "0|0|2", "7=0|0|2", {"1291|-7|-7", "1291|0|2"}, ""},
        {"no such token", countByToken(none, 1), "1293|-7|-7", "", {"1291|-7|-7"}, ""},
        {"logout", logout(one), "0|7", "-1", {"1291|-7", "1291|7"}, "1292|7"},
        {"logout, no such token", logout(none), "1293|-7", "", {"1291|-7"}, ""},
        {"all with a number", change(erase, 7), "0", "-1 -3", {"1291"}, "0"},
        {"the one with a number", change(erase, 9), "0", "-4", {"1291"}, "1292"},
        {"none with the number", change(erase, 99), "1292", "", {"1291"}, ""},
        {"reset", change(&S::resetSessionId, 7), "0", "1=0|-100|1 3=0|-100|1", {"1291"}, ""},
        {"reset one", change(&S::resetSessionId, 9), "0", "4=0|-100|1", {"1291"}, "0"},
        {"reset none", change(&S::resetSessionId, 99), "0", "", {"1291"}, ""},
        {"reset all", change(&S::resetAllSessionId), "0", "1=0|-100|1 3=0|-100|1 4=0|-100|1 6=0|-100|1", {"1291"}, ""},
        {"renumber", change(update, 7, 70), "0", "1=70|-100|1 3=70|-100|1", {"1291"}, ""},
        {"renumber one", change(update, 9, -70), "0", "4=-70|-100|1", {"1291"}, "0"},
        {"renumber none", change(update, 99, 70), "0", "", {"1291"}, ""},
        {"renumber a token's", change(updateToken, tokenOf(2), 70), "0", "2=70|-100|1", {"1291"}, "0"},
        {"renumber no token's", change(updateToken, none, 70), "0", "", {"1291"}, ""},
    };
    const auto fill = [&] { hub_->run("BEGIN; DELETE FROM UMVSDKSessions; " + rows + "COMMIT"); };
    fill();
    const Sessions before = sessions();
    for (const auto& it : cases) {
        SCOPED_TRACE(it.name);
        const auto run = [&](const std::string& expected, const std::string& changes) {
            VSDK_Sessions object(600);
            EXPECT_EQ(told([&] { return it.operation(object); }), expected);
            const std::string changed = changesSince(before);
            EXPECT_EQ(changed, changes);
            if (!changed.empty())
                fill();
        };
        statements();
        run(it.done, it.changes);
        EXPECT_EQ(statements(), it.failing.size());
        for (int at = 0; const auto& expected : it.failing) {
            SCOPED_TRACE("failing at statement " + std::to_string(at + 1));
            failAt(++at);
            run(expected, expected.starts_with("0|") ? it.changes : "");
        }
        if (it.gone.empty())
            continue;
        SCOPED_TRACE("gone");
        const std::string row = it.changes.substr(it.changes.starts_with("-") ? 1 : 0, 1);
        atStatements([&, last = static_cast<int>(it.failing.size())](int at) {
            if (at == last)
                hub_->run("DELETE FROM UMVSDKSessions WHERE id = " + row);
            return 0;
        });
        run(it.gone, it.changes.find(' ') == std::string::npos ? "-" + row : it.changes);
    }
}

/// The second row's read fails.
TEST_P(StoredSessions, AWalkThatFailsOnItsWay) {
    hub_->run(sessionRow({.id = 1}) + sessionRow({.id = 2, .number = 7}));
    fail(hubdb::FaultPoint::kNextRow, kDbFailed);
    VSDK_Sessions object;
    EXPECT_EQ(byName("alice")(object), "1291|0|-7|||");
}

/// Beside what a session's begin is compared with.
TEST_P(StoredSessions, AnIncreaseSinceDomainlessLogin) {
    hub_->run(parameter("DefaultADUserDomain", "corp"));
    const std::string secret = encrypted("secret");
    struct Expected {
        int created;
        const char* code;
        const char* unread; ///< when the parameter cannot be read
    };
    for (const auto& [created, code, unread] :
         {Expected{1290, "2305", "2305"}, {1291, "2305", "0"}, {1292, "2305", "0"}, {1293, "0", "0"}}) {
        SCOPED_TRACE(created);
        for (const bool byItsName : {false, true})
            for (const bool fails : {false, true}) {
                hub_->run("DELETE FROM UMVSDKSessions; " +
                          sessionRow({.id = 1, .password = secret, .created = created}));
                failAt(fails ? 2 : 0);
                VSDK_Sessions object;
                const std::string result =
                    byItsName ? countByName("alice", "secret", 1)(object) : countByToken(tokenOf(1), 1)(object);
                const std::string expected = fails ? unread : code;
                EXPECT_EQ(result, expected + "|0|" + (byItsName ? tokenOf(1) : "2"));
                EXPECT_EQ(hub_->ask("SELECT referenceCount, created FROM UMVSDKSessions"),
                          (expected == "0" ? "2|" : "1|") + std::to_string(created));
            }
    }
    EXPECT_EQ(GetDomainlessLoginEnabledTime(), 1293);
    failAt(1);
    EXPECT_EQ(GetDomainlessLoginEnabledTime(), 1291);
}

// ---- new sessions

std::string added(VSDK_Sessions& session, const std::string& name, const std::string& password = "") {
    std::string token = "?";
    const auto code = session.InsertSession(50, 7, name, password, token, 3, 4);
    return fieldsText(code, token);
}

TEST_P(StoredSessions, InsertEveryFailure) {
    hub_->run(userRow(kUser, "corp\\alice", std::nullopt));
    const std::string unset = "5 GetActualUsernameFromDomainlessUsername No default domain is set, error[524289].\n";
    const std::string unread =
        "1 GetActualUsernameFromDomainlessUsername call to get default domain failed with error code: [-1]\n";
    struct Domain {
        std::optional<std::string> set;
        std::string name; ///< that is stored
        std::string log;
        std::vector<std::string> failing; ///< TOKEN stands for what was stored
    };
    const std::vector<Domain> domains{
        {std::nullopt, "al", "\n" + unset, {"0|TOKEN\n" + unread, "1291|?\n" + unset, "0|\n" + unset}},
        {"", "al", "", {"0|TOKEN\n" + unread, "1291|?", "0|"}},
        {"corp",
         "corp\\alice",
         "",
         {"0|TOKEN\n" + unread, "1291|?\n1 InsertSession Error [-1] in getting user name for userId [50]\n", "1291|?",
          "0|"}},
    };
    for (const auto& domain : domains) {
        hub_->run("DELETE FROM ZXGlobalParam; " +
                  (domain.set ? parameter("DefaultADUserDomain", domain.set) : std::string()));
        const auto run = [&](std::string expected, const std::string& name) {
            hub_->run("DELETE FROM UMVSDKSessions");
            VSDK_Sessions session;
            session.sessionFileLocation = "/file";
            session.hostName = "host";
            session.encryptedToken = "tok";
            const std::string result = told([&] { return added(session, "al", "e1$"); });
            const std::string token = hub_->ask("SELECT GUID FROM UMVSDKSessions");
            if (const auto at = expected.find("TOKEN"); at != std::string::npos)
                expected.replace(at, 5, token);
            EXPECT_EQ(result, expected);
            const std::string now = std::to_string(kNow);
            EXPECT_EQ(hub_->ask("SELECT userId, evmgrsSessionId, userName, password, created, lastAccessedTime, "
                                "referenceCount, encryptedToken, sessionFileLocation, hostName, consoleType, timeout, "
                                "imp_userId, tokenExpires, location, loginType FROM UMVSDKSessions"),
                      result.starts_with("0|")
                          ? "50|7|" + name + "|e1$|" + now + "|" + now + "|1|tok|/file|host|13|0|3|4||0"
                          : "");
            EXPECT_EQ(token.find_first_not_of("0123456789abcdef"), std::string::npos);
            EXPECT_EQ(token.size(), result.starts_with("0|") ? 64 : 0);
        };
        statements();
        run("0|TOKEN" + domain.log, domain.name);
        EXPECT_EQ(statements(), domain.failing.size());
        for (int at = 0; const auto& expected : domain.failing) {
            SCOPED_TRACE("failing at statement " + std::to_string(at + 1));
            failAt(++at);
            run(expected, at == 1 ? "al" : domain.name);
        }
    }
    VSDK_Sessions session;
    hub_->run("DELETE FROM UMUsers");
    EXPECT_EQ(told([&] { return added(session, "al"); }),
              "1291|?\n1 InsertSession Error [100] in getting user name for userId [50]\n");
    int error = 77;
    EXPECT_EQ(GetActualUsernameFromDomainlessUsername("al", 50, error), "al");
    EXPECT_EQ(error, 100);
}

TEST_P(StoredSessions, TextsThatDoNotFitAreNotStored) {
    using S = VSDK_Sessions;
    const std::vector<std::pair<std::size_t, std::string S::*>> fields{
        {510, nullptr}, {255, &S::sessionFileLocation}, {255, &S::hostName}, {400, &S::encryptedToken}};
    const auto store = [](std::string S::*member, const std::string& text) {
        S session;
        if (member != nullptr)
            session.*member = text;
        return added(session, member == nullptr ? text : "al");
    };
    for (const auto& [longest, member] : fields) {
        hub_->run("DELETE FROM UMVSDKSessions");
        EXPECT_EQ(store(member, std::string(longest - 2, 'x') + "ä").substr(0, 2), "0|");
        for (const auto& text : {std::string(longest - 1, 'x') + "ä", std::string("a\0b", 3), std::string("a\0", 2),
                                 std::string("\xFF"), std::string("\xC0\x80"), std::string("\xED\xA0\x80")}) {
            EXPECT_EQ(store(member, text), "1291|?") << longest;
            EXPECT_EQ(lastFailure(), kDbBadText);
            HubDatabase::clearLastFailure();
        }
        EXPECT_EQ(hub_->ask("SELECT count(*) FROM UMVSDKSessions"), "1");
    }
    S session;
    EXPECT_EQ(added(session, "al", std::string(401, 'x')), "1291|?");
    EXPECT_EQ(added(session, "al", std::string(400, 'x')).substr(0, 2), "0|");
}

/// It is another one each time, whatever the row's buffer holds.
TEST_P(StoredSessions, TheDatabaseGivesTheToken) {
    DBtran transaction;
    ASSERT_EQ(transaction.startTran(), 0);
    for (int i = 0; i < 1000; ++i) {
        UMVSDKSessions session(&transaction);
        dbSetText(session.getDataPtr()->GUID, tokenOf(1));
        dbSetText(session.getDataPtr()->location, "there");
        session.getDataPtr()->loginType = 9;
        ASSERT_EQ(session.rowInsert(true), 0);
    }
    ASSERT_EQ(transaction.commitTran(), 0);
    EXPECT_EQ(hub_->ask("SELECT count(DISTINCT GUID), min(length(GUID)), max(length(GUID)), "
                        "min(length(ltrim(GUID, '0123456789abcdef'))), max(location), max(loginType) "
                        "FROM UMVSDKSessions WHERE GUID <> '" +
                        tokenOf(1) + "'"),
              "1000|64|64|0||0");
}

// ---- names and domains

TEST_P(StoredSessions, ANameIsReadBackWithItsDomain) {
    using Value = std::optional<std::string>;
    const Value none = std::nullopt;
    const std::string noDefault = "5 GetSessionInfo No default domain is set, error[524289].\n";
    const std::string noDomain =
        "5 GetSessionInfo default HS domain is not set. Using \"[local]\" as default HS domain\n";
    struct Names {
        Value defaultDomain;
        Value domain;
        std::string stored;
        std::string name;
        std::string log;
    };
    const auto read = [] {
        VSDK_Sessions session;
        int number = 0;
        std::string name;
        std::string password;
        session.GetSessionInfo(tokenOf(1), number, name, password);
        return name;
    };
    const auto row = [](const std::string& name) {
        return "DELETE FROM UMVSDKSessions; " + sessionRow({.id = 1, .user = name});
    };
    for (const auto& [defaultDomain, domain, stored, name, log] :
         {Names{none, "corp", "alice", "alice", "\n" + noDefault},
          {none, "corp", "dom\\bob", "dom\\bob", "\n" + noDefault},
          {"", "corp", "alice", "alice", ""},
          {"x", "corp", "alice", "corp\\alice", "\n5 GetSessionInfo Default HS domain: [corp]\n"},
          {"x", "", "alice", "local\\alice", "\n5 GetSessionInfo Default HS domain: []\n"},
          {"x", none, "alice", "local\\alice", "\n" + noDomain},
          {"x", "corp", "dom\\bob", "dom\\bob", ""},
          {"x", "corp", "", "corp\\", "\n5 GetSessionInfo Default HS domain: [corp]\n"}}) {
        hub_->run("DELETE FROM ZXGlobalParam; " + row(stored) +
                  (defaultDomain ? parameter("DefaultADUserDomain", defaultDomain) : "") +
                  (domain ? parameter("DefaultHSDomain", domain) : ""));
        EXPECT_EQ(told(read), name + log);
    }
    hub_->run(row("alice"));
    failAt(3);
    EXPECT_EQ(told(read), "local\\alice\n1 GetSessionInfo Failed to find default HS domain with error: [-1]. Using "
                          "\"[local]\" as default HS domain\n");
}

} // namespace
