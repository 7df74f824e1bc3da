#pragma once

#include <array>
#include <cstdint>
#include <fstream>
#include <functional>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "entities/EntityTest.h"
#include "log/EvLogSink.h"
#include "security/OVPassword.h"
#include "security/PasswordKey.h"
#include "support/TempDirectory.h"
#include "system/OVClock.h"
#include "users/VSDKUsers.h"

/// Users and their sessions, with a key of stored passwords and a clock that stands still.
class UsersTest : public EntityTest {
  protected:
    static constexpr std::int64_t kNow = 1'700'000'000;

    void SetUp() override {
        EntityTest::SetUp();
        if (IsSkipped())
            return;
        clock = kNow;
        OVClock::set([] { return clock; });
        connect("key=" + newKey("hub.key"));
    }
    void TearDown() override {
        EntityTest::TearDown();
        OVClock::set(nullptr);
        beforeEach = nullptr;
    }

    /// The path of a file that holds a key of its own.
    std::string newKey(const std::string& name) const {
        const auto line = hubdb::PasswordKey::newLine();
        std::ofstream(directory_.file(name)).write(line.data(), line.size());
        return directory_.file(name);
    }
    static std::string encrypted(const std::string& clear) {
        std::array<char, 4096> stored{};
        unsigned long length = stored.size();
        EXPECT_EQ(OVPassword::encrypt(clear.c_str(), stored.data(), &length), OVPassword::kDone);
        return stored.data();
    }
    static std::string hashed(const std::string& clear) {
        std::string stored;
        EXPECT_EQ(OVPassword::hash(clear, stored), OVPassword::kDone);
        return stored;
    }

    /// The texts between | and |.
    static std::vector<std::string> split(const std::string& texts) {
        std::vector<std::string> parts;
        std::istringstream left(texts);
        for (std::string part; std::getline(left, part, '|');)
            parts.push_back(part);
        return parts;
    }

    // ---- rows, around the library

    static std::string userRow(int id, const std::string& login, const std::optional<std::string>& password,
                               int enabled = 1) {
        return estate::row("UMUsers", "id, login, password, enabled", id, login, password, enabled);
    }
    struct Session {
        int id;
        int number = 0;
        std::string user = "alice";
        std::string password = "";
        std::int64_t used = kNow - 100;
        int timeout = 0;
        int count = 1;
        std::int64_t created = kNow - 1000;
    };
    static constexpr int kUser = 50; ///< of all sessions
    static std::string tokenOf(int id) {
        const std::string digits = std::to_string(id);
        return std::string(64 - digits.size(), 'a') + digits;
    }
    static std::string sessionRow(const Session& one) {
        const std::string id = std::to_string(one.id);
        return estate::row("UMVSDKSessions",
                           "id, userId, GUID, evmgrsSessionId, userName, password, created, lastAccessedTime, "
                           "referenceCount, encryptedToken, sessionFileLocation, hostName, timeout",
                           one.id, kUser, tokenOf(one.id), one.number, one.user, one.password, one.created, one.used,
                           one.count, "tok" + id, "file" + id, "host" + id, one.timeout);
    }
    std::string parameter(const std::string& name, const std::optional<std::string>& value) const {
        return estate::row("ZXGlobalParam", "name, value", name, value);
    }

    /// The sessions by their ids: number, seconds since the last use and count; # and the rest.
    using Sessions = std::map<int, std::string>;
    Sessions sessions() const {
        Sessions rows;
        std::istringstream found(
            hub_->ask("SELECT id, evmgrsSessionId, lastAccessedTime - " + std::to_string(kNow) +
                      ", referenceCount, '#', userId, GUID, userName, password, created, encryptedToken, "
                      "sessionFileLocation, hostName, consoleType, timeout, imp_userId, tokenExpires, location, "
                      "loginType FROM UMVSDKSessions ORDER BY id"));
        for (std::string row; found >> row;)
            rows[std::stoi(row)] = row.substr(row.find('|') + 1);
        return rows;
    }
    /// "-1" for a row that is gone, "1=7|0|3" for one whose first three columns are others now.
    std::string changesSince(const Sessions& before) const {
        std::string changes;
        const Sessions after = sessions();
        for (const auto& [id, row] : before) {
            const auto now = after.find(id);
            const auto rest = [](const std::string& text) { return text.substr(text.find('#')); };
            if (now == after.end())
                changes += " -" + std::to_string(id);
            else if (now->second != row)
                changes +=
                    " " + std::to_string(id) + "=" +
                    (rest(now->second) == rest(row) ? now->second.substr(0, now->second.find("|#")) : now->second);
        }
        for (const auto& [id, row] : after)
            changes += before.contains(id) ? "" : " +" + std::to_string(id);
        return changes.empty() ? "" : changes.substr(1);
    }

    // ---- what happens on the way

    /// Calls `then(1)`, `then(2)` ... before the statements that follow; what it returns is the engine's status.
    static void atStatements(std::function<int(int)> then) {
        beforeEach = std::move(then);
        reached = 0;
        hubdb::faultHook = [](hubdb::FaultPoint at, const char* /*object*/) {
            return at == hubdb::FaultPoint::kExecute ? beforeEach(++reached) : 0;
        };
    }
    static void failAt(int statement, int status = kDbFailed) {
        atStatements([=](int at) { return at == statement ? status : 0; });
    }

    /// What an operation comes to: its text, and the lines that it logs, all levels, each with its level.
    template <class Operation> static std::string told(const Operation& operation) {
        support::LogLines lines(kEvLogMessages);
        const std::string text = operation();
        hubdb::faultHook = nullptr;
        const std::string log = lines.taken();
        return text + (log.empty() ? "" : "\n" + log);
    }

    inline static std::int64_t clock = kNow;
    support::TempDirectory directory_;

  private:
    inline static std::function<int(int)> beforeEach;
    inline static int reached = 0;
};

/// Defines a suite of tests of users and runs it on every engine in the given binding modes.
#define USERS_TEST(Suite, modes)                                                                                       \
    class Suite : public UsersTest {};                                                                                 \
    INSTANTIATE_TEST_SUITE_P(Engines, Suite, ::testing::Combine(everyEngine(), modes),                                 \
                             [](const auto& test) { return engineName(test); })
