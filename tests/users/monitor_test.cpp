#include <gtest/gtest.h>

#include <cerrno>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "users/UsersTest.h"

namespace {

USERS_TEST(ExpiringSessions, ::testing::Bool());

constexpr int kMost = std::numeric_limits<int>::max();
constexpr int kLeast = std::numeric_limits<int>::min();

TEST_P(ExpiringSessions, AtTheLimit) {
    constexpr std::int64_t kNever = kNow;
    struct Limit {
        int service;       ///< seconds
        int own;           ///< minutes
        std::int64_t idle; ///< seconds with which it has expired; one less, and it has not
    };
    const std::vector<Limit> limits{{600, 0, 600},        {1, 0, 1},           {kMost, 0, kMost},
                                    {600, 5, 300},        {-1, 5, 300},        {600, 35791395, -2147483596},
                                    {600, 71582788, -16}, {600, 71582789, 44}, {0, 0, kNever},
                                    {-1, 0, kNever},      {kLeast, 0, kNever}, {600, -5, kNever},
                                    {600, kLeast, kNever}};
    for (const auto& [service, own, limit] : limits)
        for (const bool expired : {false, true}) {
            const std::int64_t idle = expired ? limit : limit - 1;
            if (expired && limit == kNever)
                continue;
            SCOPED_TRACE(std::to_string(service) + " s, " + std::to_string(own) + " min, idle " + std::to_string(idle));
            hub_->run("DELETE FROM UMVSDKSessions; " + sessionRow({.id = 1, .used = kNow - idle, .timeout = own}));
            VSDK_Sessions session(service);
            int number = 0;
            int user = 0;
            EXPECT_EQ(session.GetSessionId(tokenOf(1), number, user), expired ? 313 : 0);
            EXPECT_EQ(hub_->ask("SELECT lastAccessedTime FROM UMVSDKSessions"), expired ? "" : std::to_string(kNow));
        }
}

/// Values of the parameter, = and what they are taken for.
constexpr auto kTimeouts =
    "NULL=0|1800=1800|60=60|0=0|abc=0|=0| 12x=12|\t\n\v\f\r +60\n=60|-5=-5| - 5=0|--5=0|+-5=0|++5=0|-0=0|1e3=1|0x10=0|"
    "0600=600|60.9=60|6_0=6|\u00A060=0|\u0663=0|60\u0663=60|000000000000000000000000000060=60|2147483647=2147483647|"
    "2147483648=-2147483648|-2147483648=-2147483648|-2147483649=2147483647|4294967296=0|4294967297=1|-4294967295=1|"
    "99999999999=1215752191|9223372036854775807=-1|9223372036854775808=-1|-9223372036854775808=0|"
    "-9223372036854775809=-1|00099999999999999999999999=-1|-99999999999999999999999=-1";

/// The parameter of such a text, and then another one, which does not count.
std::string timeout(const std::string& text) {
    const std::string value = text.substr(0, text.find('='));
    return "DELETE FROM ZXGlobalParam; " +
           estate::row("ZXGlobalParam", "name, value", "VSDKSessionTimeOut",
                       value == "NULL" ? std::nullopt : std::optional(value)) +
           estate::row("ZXGlobalParam", "name, value", "VSDKSessionTimeOut", "1");
}
int secondsOf(const std::string& text) {
    return static_cast<int>(std::stol(text.substr(text.find('=') + 1)));
}

TEST_P(ExpiringSessions, TheTimeOutOfTheService) {
    VSDK_Sessions session(5);
    const auto read = [&session](int before) {
        errno = before;
        session.updateSessionTimeout();
        return session.sessionTimeout;
    };
    EXPECT_EQ(read(0), -1);
    for (const auto& text : split(kTimeouts)) {
        hub_->run(timeout(text));
        EXPECT_EQ(read(0), secondsOf(text)) << text;
    }
    hub_->run(timeout("1800"));
    for (const auto& [before, seconds] : {std::pair{ENOENT, 1800}, {ERANGE, -1}, {EINVAL, -1}, {0, 1800}}) {
        EXPECT_EQ(read(before), seconds);
        EXPECT_EQ(errno, before);
    }
    failAt(1);
    EXPECT_EQ(read(0), -1);
}

/// What comparing passwords leaves behind says nothing about the parameter.
TEST_P(ExpiringSessions, TheTimeOutAfterAWrongPassword) {
    hub_->run(parameter("VSDKSessionTimeOut", "1800") + sessionRow({.id = 1}) +
              userRow(kUser, "alice", hashed("right")));
    VSDK_Sessions session;
    errno = 0;
    EXPECT_EQ(session.VerifyPassword(tokenOf(1), "wrong"), 259);
    session.updateSessionTimeout();
    EXPECT_EQ(session.sessionTimeout, 1800);
}

TEST_P(ExpiringSessions, Audit) {
    VSDK_Sessions session;
    session.updateAudit();
    EXPECT_FALSE(session.auditEnabled);
    for (const char* value : {"0", ""}) {
        hub_->run("DELETE FROM ZXGlobalParam; " + parameter("VSDKSessionsAudit", value));
        session.updateAudit();
        EXPECT_TRUE(session.auditEnabled);
    }
    failAt(1);
    session.updateAudit();
    EXPECT_FALSE(session.auditEnabled);
}

/// Each session is there twice, for a purge and for those who ask for it by its token.
TEST_P(ExpiringSessions, APurgeRemovesWhatATokenWouldNotFind) {
    constexpr int kCopy = 1000;
    const auto compare = [this](int now, const std::vector<Session>& list) {
        std::string rows;
        for (int id = 0; Session row : list)
            for (const int copy : {++id, id + kCopy}) {
                row.id = copy;
                rows += sessionRow(row);
            }
        hub_->run("BEGIN; DELETE FROM UMVSDKSessions; " + rows + "COMMIT");
        clock = now;
        VSDK_Sessions session;
        errno = 0;
        session.updateSessionTimeout();
        std::string live;
        for (int id = 1; id <= static_cast<int>(list.size()); ++id) {
            int number = 0;
            int user = 0;
            if (const auto code = session.GetSessionId(tokenOf(id), number, user); code == 0)
                live += (live.empty() ? "" : " ") + std::to_string(id);
            else
                EXPECT_EQ(code, 313);
        }
        hub_->run("DELETE FROM UMVSDKSessions WHERE id < 1000");
        EXPECT_EQ(told([&] { return std::to_string(session.MonitorSessions(-1, now)); }),
                  "0\n3 MonitorSessions Going to delete expired user sessions\n");
        EXPECT_EQ(hub_->ask("SELECT id - 1000 FROM UMVSDKSessions ORDER BY id"), live);
    };
    const auto idle = [](int now, std::int64_t seconds, int own) {
        return Session{.id = 0, .used = now - seconds, .timeout = own};
    };
    const int today = static_cast<int>(kNow);
    compare(today, {idle(today, kMost, 0), idle(today, 300, 5), idle(today, 299, 5)});
    for (const auto& text : split(kTimeouts)) {
        SCOPED_TRACE(text);
        const int seconds = secondsOf(text);
        hub_->run(timeout(text));
        compare(today, {idle(today, seconds, 0), idle(today, seconds - 1LL, 0), idle(today, kMost, 0),
                        idle(today, kMost, -1)});
    }
    hub_->run(timeout("60"));
    for (const int now : {today, 0, kMost, kLeast}) {
        SCOPED_TRACE(now);
        std::vector<Session> rows;
        for (const int own : {0, 1, 35791394, 35791395, 71582788, 71582789, kMost, -1, kLeast}) {
            const auto product = static_cast<std::int32_t>(static_cast<std::uint32_t>(own == 0 ? 1 : own) * 60U);
            rows.push_back(idle(now, product, own));
            rows.push_back(idle(now, product - 1LL, own));
            for (const auto used : {std::numeric_limits<std::int64_t>::min(), std::numeric_limits<std::int64_t>::max()})
                rows.push_back({.id = 0, .used = used, .timeout = own});
        }
        compare(now, rows);
    }
}

TEST_P(ExpiringSessions, APurgeIsOneWriteThatIsNeverRunTwice) {
    hub_->run("INSERT INTO UMVSDKSessions (userId, userName, created, lastAccessedTime, referenceCount, timeout) WITH "
              "RECURSIVE r(n) AS (SELECT 1 UNION ALL SELECT n + 1 FROM r WHERE n < 1000) SELECT 1, 'u', 1, 1, 1, 1 "
              "FROM r");
    const auto purge = [] {
        VSDK_Sessions session;
        return std::to_string(session.MonitorSessions(0, 61));
    };
    const std::string log = "\n3 MonitorSessions Going to delete expired user sessions\n";
    for (const int status : {kDbFailed, kDbConnectionLost, kDbBusy}) {
        fail(hubdb::FaultPoint::kExecute, status);
        statements();
        EXPECT_EQ(told(purge), "1291" + log + "3 MonitorSessions Error in reading rows from UMVSDKSessions table " +
                                   std::to_string(status) + "\n");
        EXPECT_EQ(statements(), 1);
        EXPECT_EQ(lastFailure(), status);
        EXPECT_EQ(hub_->ask("SELECT count(*) FROM UMVSDKSessions"), "1000");
    }
    statements();
    EXPECT_EQ(told(purge), "0" + log);
    EXPECT_EQ(statements(), 1);
    EXPECT_EQ(hub_->ask("SELECT count(*) FROM UMVSDKSessions"), "0");
    EXPECT_EQ(told(purge), "0" + log);
}

} // namespace
