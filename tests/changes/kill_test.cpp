#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <random>

#include "changes/ChangesTest.h"
#include "support/Process.h"

// A process that is killed while it changes a subclient leaves the whole change or nothing of it.

namespace {

constexpr int kKills = 100;
constexpr int kPaths = 150;

/// All that a commit writes. No part of one state is a part of the other.
struct State {
    std::string description;
    int readers;
    int dataPolicy;
    int indexPolicy;
    std::vector<std::string> paths;
};
State stateOf(bool odd) {
    State state = odd ? State{"odd", 3, 9, 7, {}} : State{"even", 4, 7, 9, {}};
    for (int i = 0; i < kPaths; ++i)
        state.paths.push_back("/" + state.description + "/" + std::to_string(i));
    return state;
}

bool commit(bool odd) {
    State state = stateOf(odd);
    VSDK_Subclient docs(11);
    if (docs.FetchProperties(nullptr, true) != 0)
        return false;
    docs.SetContent(&state.paths);
    docs.SetDataStoragePolicy(state.dataPolicy);
    docs.SetIndexStoragePolicy(state.indexPolicy);
    docs.SetDescription(state.description);
    docs.setDataReaders(state.readers);
    return docs.Commit(false) == 0 && docs.commitOutcome == VSDK_Subclient::CommitOutcome::kDone;
}

constexpr const char* kUrl = "VSDK_KILL_TEST_URL";
constexpr int kBegun = 0; ///< where a byte goes before each commit

/// This program as the one to be killed: commits in turn the state that the subclient has not.
class ToBeKilled : public ::testing::Environment {
    void SetUp() override {
        if (std::getenv(kUrl) == nullptr)
            return;
        alarm(120); // should nobody be left to kill it
        OVClock::set([]() -> std::int64_t { return 1000; });
        std::string error;
        VSDK_Subclient docs(11);
        if (HubDatabase::connect(std::getenv(kUrl), error) == 0 && docs.FetchProperties(nullptr, true) == 0)
            for (bool odd = docs.applicationText == "odd"; write(kBegun, "", 1) == 1 && commit(!odd);)
                odd = !odd;
        _exit(1);
    }
};
const auto* const kToBeKilled = ::testing::AddGlobalTestEnvironment(new ToBeKilled);
/// Starts that and kills it, a while after its first commit begins. How many had begun; -1 when it ended otherwise.
int beginAndKill(const std::string& url, std::chrono::duration<double, std::micro> after) {
    int ends[2] = {-1, -1};
    const pid_t child = pipe2(ends, O_CLOEXEC) == 0 ? fork() : -1;
    if (child < 0)
        throw std::runtime_error("no process");
    if (child == 0) { // a fork alone could not use a file with a write-ahead log
        dup2(ends[1], kBegun);
        dup2(open("/dev/null", O_WRONLY), STDOUT_FILENO);
        setenv(kUrl, url.c_str(), 1);
        execl("/proc/self/exe", "changes_test", nullptr);
        _exit(1);
    }
    close(ends[1]);
    pollfd first{ends[0], POLLIN, 0};
    poll(&first, 1, -1);
    usleep(static_cast<unsigned>(after.count()));
    kill(child, SIGKILL);
    int status = 0;
    waitpid(child, &status, 0);
    char bytes[4096]; // more than it can have begun
    const auto begun = read(ends[0], bytes, sizeof bytes);
    close(ends[0]);
    return WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL ? static_cast<int>(begun) : -1;
}

class Kills : public ChangesTest {
  protected:
    void expectRows(const std::string& table, int current, int history) const {
        const std::string of11 = " FROM " + table + " WHERE componentNameId = 11 AND modified = ";
        EXPECT_EQ(hub_->ask("SELECT count(*)" + of11 + "0"), std::to_string(current)) << table;
        EXPECT_EQ(hub_->ask("SELECT count(*)" + of11 + "1000"), std::to_string(history)) << table;
    }
    void forgetHistory() const {
        for (const char* table : {"APP_ScFilterFile", "APP_SubClientProp"})
            hub_->run(std::string("DELETE FROM ") + table + " WHERE modified = 1000");
    }
};

const auto kKilledOn =
    ::testing::Values(&support::makeSqliteHub, &support::makeSqliteWalHub, &support::makePostgresHub);
INSTANTIATE_TEST_SUITE_P(Engines, Kills, ::testing::Combine(kKilledOn, ::testing::Values(true)), &engineName);

TEST_P(Kills, LeaveAWholeState) {
    const auto begin = std::chrono::steady_clock::now();
    ASSERT_TRUE(commit(true));
    const std::chrono::duration<double, std::micro> taken = std::chrono::steady_clock::now() - begin;
    forgetHistory();
    std::mt19937 random(7);
    std::uniform_real_distribution<> share(0, 1.5); // of a commit's time
    int commits = 1; // the backup set's time tells how many there were, as the clock stands
    int cut = 0;
    int odd = 0;
    for (int round = 0; round < kKills && !HasFailure(); ++round) {
        SCOPED_TRACE(round);
        HubDatabase::disconnect();
        const int begun = beginAndKill(hub_->url(), taken * share(random));
        ASSERT_GT(begun, 0);
        if (!hub_->traits().oneWriter) // a server may not have noticed yet: whoever writes holds this row
            hub_->run("UPDATE APP_BackupSetName SET name = name WHERE id = 6");
        connect();
        VSDK_Subclient docs = read(11);
        const int before = std::exchange(commits, docs.backupSetModifiedTime - 999);
        odd += commits % 2;
        const State state = stateOf(commits % 2 == 1);
        EXPECT_EQ(docs.content, std::list<std::string>(state.paths.begin(), state.paths.end()));
        EXPECT_EQ(docs.applicationText, state.description);
        EXPECT_EQ(std::tie(docs.applicationNumber1, docs.applicationNumber2, docs.applicationNumber3),
                  std::tie(state.readers, state.dataPolicy, state.indexPolicy));
        const int lost = begun - (commits - before); // one that was told done is never lost
        EXPECT_TRUE(lost == 0 || lost == 1) << lost;
        cut += lost;
        expectRows("APP_ScFilterFile", kPaths + 1, kPaths * (commits - before)); // one entry is no content
        expectRows("APP_SubClientProp", 2, 2 * (commits - before));
        forgetHistory();
    }
    EXPECT_TRUE(odd > 0 && odd < kKills) << odd;
    EXPECT_GT(cut, 0) << "no commit was met";
    const auto checked = support::runProcess({VSDK_HUBDB_PATH, "check", hub_->url()});
    EXPECT_EQ(checked.exitCode, 0) << checked.out << checked.err;
}

} // namespace
