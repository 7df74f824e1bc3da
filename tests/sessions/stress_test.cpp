#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <iostream>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "db/HubDatabase.h"
#include "support/HubEngine.h"
#include "users/VSDKUsers.h"

// Many servers at once on one hub database. The processes are forked before anybody has connected: this program's tests
// never connect themselves.
//
// A few hundred operations by default, or for as long as VSDK_STRESS_SECONDS says; then it also tells what was done.

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kProcesses = 8;
constexpr int kOperations = 60; ///< of each process
constexpr int kNumbers = 10'000'000;

int secondsAsked() {
    const char* const asked = std::getenv("VSDK_STRESS_SECONDS");
    return asked == nullptr ? 0 : std::atoi(asked);
}

struct Account {
    int operations = 0;
    int failures = 0;
    double slowest = 0; ///< ms
    std::string words;  ///< of the first failures, blanks for line ends
    std::string rows;   ///< its sessions, "number|count" each, by number
};

/// One server: it knows what its own sessions must be, and uses one more that all have in common.
class Server {
  public:
    Server(int process, std::string common)
        : random_(static_cast<unsigned>(process)), lastNumber_(process * kNumbers), common_(std::move(common)) {}

    Account work() {
        const auto end = Clock::now() + std::chrono::seconds(secondsAsked());
        while (secondsAsked() > 0 ? Clock::now() < end : account_.operations < kOperations)
            step();
        for (const auto& own : sessions_)
            account_.rows +=
                (account_.rows.empty() ? "" : " ") + std::to_string(own.number) + "|" + std::to_string(own.count);
        return account_;
    }

  private:
    struct Own {
        std::string token;
        int number;
        int count;
    };

    void step() {
        constexpr std::size_t kFew = 4;
        constexpr std::size_t kMost = 20;
        const auto choice = random_() % 10;
        if (sessions_.size() < kFew || (choice < 2 && sessions_.size() < kMost)) {
            insert();
        } else {
            const auto own = sessions_.begin() + static_cast<std::ptrdiff_t>(random_() % sessions_.size());
            if (choice < 5)
                touch(own->token, own->number);
            else if (choice == 5)
                touch(common_, 0);
            else if (choice < 9)
                count(own, choice == 8 ? -1 : 1);
            else
                remove(own);
        }
    }

    void insert() {
        Own own{"", ++lastNumber_, 1};
        call("InsertSession", [&](VSDK_Sessions& sessions) {
            return sessions.InsertSession(1, own.number, "user", "", own.token, 0, 0);
        });
        require(own.token.size() == 64, "the token is " + own.token);
        sessions_.push_back(own);
    }
    void touch(const std::string& token, int expected) {
        int number = -1;
        int user = 0;
        call("GetSessionId", [&](VSDK_Sessions& sessions) { return sessions.GetSessionId(token, number, user); });
        require(number == expected, "the session is " + std::to_string(number));
    }
    void count(std::vector<Own>::iterator own, int delta) {
        int number = -1;
        int count = -1;
        call("ModifyReferenceCount",
             [&](VSDK_Sessions& sessions) { return sessions.ModifyReferenceCount(own->token, delta, number, count); });
        own->count += delta;
        require(number == own->number && count == own->count, "the count is " + std::to_string(count));
        if (own->count == 0)
            sessions_.erase(own);
    }
    void remove(std::vector<Own>::iterator own) {
        int number = -1;
        call("DeleteSession", [&](VSDK_Sessions& sessions) { return sessions.DeleteSession(own->token, number); });
        require(number == own->number, "the session was " + std::to_string(number));
        sessions_.erase(own);
    }

    template <class Operation> void call(const char* name, Operation operation) {
        VSDK_Sessions sessions(3600);
        HubDatabase::clearLastFailure();
        const auto begin = Clock::now();
        const unsigned long code = operation(sessions);
        const std::chrono::duration<double, std::milli> taken = Clock::now() - begin;
        account_.slowest = std::max(account_.slowest, taken.count());
        ++account_.operations;
        if (code != 0) {
            std::string words;
            HubDatabase::lastFailure(words);
            require(false, std::string(name) + " gave " + std::to_string(code) + " (" + words + ") after " +
                               std::to_string(taken.count()) + " ms");
        }
    }
    void require(bool right, const std::string& words) {
        constexpr int kTold = 5;
        if (!right && ++account_.failures <= kTold)
            account_.words += words + "; ";
    }

    std::mt19937 random_;
    int lastNumber_;
    std::string common_;
    std::vector<Own> sessions_;
    Account account_;
};

/// A server in a process of its own. Its account comes through a pipe when it has done its work.
class ServerProcess {
  public:
    ServerProcess(int process, const std::string& url, const std::string& common) {
        int ends[2] = {-1, -1};
        if (pipe(ends) != 0)
            throw std::runtime_error("no pipe");
        child_ = fork();
        if (child_ == 0) {
            alarm(static_cast<unsigned>(secondsAsked()) + 120);
            serve(process, url, common, ends[1]);
            _exit(0);
        }
        close(ends[1]);
        pipe_ = ends[0];
    }

    Account finish() const {
        std::string text;
        char bytes[4096];
        for (ssize_t size = 0; (size = read(pipe_, bytes, sizeof bytes)) > 0;)
            text.append(bytes, static_cast<std::size_t>(size));
        close(pipe_);
        int status = 0;
        waitpid(child_, &status, 0);
        Account account;
        std::istringstream in(text);
        in >> account.operations >> account.failures >> account.slowest;
        std::getline(in, account.rows); // the rest of that line
        std::getline(in, account.rows);
        if (status != 0 || !std::getline(in, account.words)) {
            ++account.failures;
            account.words += "the process ended with status " + std::to_string(status);
        }
        return account;
    }

  private:
    static void serve(int process, const std::string& url, const std::string& common, int pipe) {
        Account account;
        std::string error;
        if (HubDatabase::connect(url, error) == 0)
            account = Server(process, common).work();
        else
            account = {0, 1, 0, error, ""};
        HubDatabase::disconnect();
        std::replace(account.words.begin(), account.words.end(), '\n', ' ');
        std::ostringstream out;
        out << account.operations << ' ' << account.failures << ' ' << account.slowest << '\n'
            << account.rows << '\n'
            << account.words << '\n';
        const std::string text = out.str();
        for (std::size_t at = 0; at < text.size();) {
            const ssize_t written = write(pipe, text.data() + at, text.size() - at);
            if (written <= 0)
                _exit(1);
            at += static_cast<std::size_t>(written);
        }
    }

    pid_t child_;
    int pipe_;
};

struct StressedEngine {
    support::MakeHubEngine make;
    const char* name;
    const char* checks; ///< what the check needs
    const char* check;  ///< "ok" when the database is whole

    friend std::ostream& operator<<(std::ostream& out, const StressedEngine& engine) { return out << engine.name; }
};

constexpr const char* kCheckIndexes = "SELECT DISTINCT 'ok' || bt_index_check(indexrelid, true)::text FROM pg_index "
                                      "WHERE indrelid = 'UMVSDKSessions'::regclass";
constexpr StressedEngine kEngines[] = {
    {&support::makeSqliteHub, "Sqlite", "", "PRAGMA integrity_check"},
    {&support::makeSqliteWalHub, "SqliteWal", "", "PRAGMA integrity_check"},
    {&support::makePostgresHub, "Postgres", "CREATE EXTENSION amcheck", kCheckIndexes},
    {&support::makePooledPostgresHub, "PooledPostgres", "CREATE EXTENSION amcheck", kCheckIndexes}};

class Stress : public ::testing::TestWithParam<StressedEngine> {
  protected:
    void SetUp() override {
        try {
            hub_ = GetParam().make();
        } catch (const support::NoServer& none) {
            GTEST_SKIP() << none.what();
        }
    }

    std::unique_ptr<support::HubEngine> hub_;
};

TEST_P(Stress, NoProcessFailsAndNoSessionIsLost) {
    hub_->run("INSERT INTO UMVSDKSessions (userId, evmgrsSessionId, userName, created, lastAccessedTime, "
              "referenceCount, timeout) VALUES (1, 0, 'common', 1, 1, 1, -1)");
    const std::string common = hub_->ask("SELECT GUID FROM UMVSDKSessions");
    std::vector<ServerProcess> servers;
    for (int process = 1; process <= kProcesses; ++process)
        servers.emplace_back(process, hub_->url(), common);
    Account all;
    for (const auto& server : servers) {
        const Account account = server.finish();
        EXPECT_EQ(account.failures, 0) << account.words;
        EXPECT_GT(account.operations, 0);
        all.operations += account.operations;
        all.failures += account.failures;
        all.slowest = std::max(all.slowest, account.slowest);
        all.rows += (all.rows.empty() || account.rows.empty() ? "" : " ") + account.rows;
    }
    EXPECT_EQ(hub_->ask("SELECT evmgrsSessionId, referenceCount FROM UMVSDKSessions WHERE evmgrsSessionId <> 0 "
                        "ORDER BY evmgrsSessionId"),
              all.rows);
    EXPECT_EQ(hub_->ask("SELECT count(*), min(referenceCount) FROM UMVSDKSessions WHERE evmgrsSessionId = 0 AND "
                        "lastAccessedTime > 1"),
              "1|1");
    if (*GetParam().checks != '\0')
        hub_->run(GetParam().checks);
    EXPECT_EQ(hub_->ask(GetParam().check), "ok");
    if (secondsAsked() > 0)
        std::cout << GetParam().name << ": " << all.operations << " operations, the slowest took " << all.slowest
                  << " ms, failures: " << all.failures << std::endl;
}

INSTANTIATE_TEST_SUITE_P(Engines, Stress, ::testing::ValuesIn(kEngines),
                         [](const auto& test) { return std::string(test.param.name); });

} // namespace
