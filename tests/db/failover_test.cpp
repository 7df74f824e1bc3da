#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "Db/Tbl/HubTables.h"
#include "db/DBtran.h"
#include "db/HubDatabase.h"
#include "db/HubSchema.h"
#include "support/PostgresServer.h"

// A primary dies or hangs while threads work, and its standby takes over.

namespace {

using Clock = std::chrono::steady_clock;
using std::to_string;
using std::chrono::milliseconds;

constexpr milliseconds kConnectLimit{1500};
constexpr milliseconds kStatementLimit{1000};
/// Until a call ends, or the next one succeeds; with slack for a busy machine.
constexpr milliseconds kServiceLimit = kConnectLimit + kStatementLimit + milliseconds(3000);
constexpr int kListed = 600; ///< rows that never change, more than the first portion of a list; see below
constexpr int kWrongAnswer = 1;

bool waitUntil(Clock::time_point end, const std::function<bool()>& condition) {
    for (; !condition(); std::this_thread::sleep_for(milliseconds(2)))
        if (Clock::now() > end)
            return false;
    return true;
}

/// A hub database and its synchronous standby: what the primary acknowledges, the standby has.
struct Servers {
    Servers() {
        primary.run("CREATE DATABASE drill ENCODING 'UTF8' TEMPLATE template0");
        hubdb::DatabaseUrl where;
        std::string error;
        hubdb::DatabaseUrl::parse(primary.url("drill"), where, error);
        if (hubdb::createSchema(where, kHubObjects, error) != kDbOk)
            throw std::runtime_error(error);
        primary.run("INSERT INTO ZXGlobalParam (name, value) "
                    "SELECT 'listed' || i, rpad('listed' || i, 4000, '.') FROM generate_series(1, 600) i",
                    "drill");
        // Only now: without a standby nothing could have been written.
        primary.run("ALTER SYSTEM SET synchronous_standby_names = '*'");
        primary.run("SELECT pg_reload_conf()");
        const auto follows = [this] { return primary.ask("SELECT sync_state FROM pg_stat_replication") == "sync"; };
        if (!waitUntil(Clock::now() + std::chrono::seconds(10), follows))
            throw std::runtime_error("the standby does not follow");
        primary.run("CHECKPOINT"); // of the process that makes commits wait: it has read the setting then
    }
    std::string url() const {
        return "postgresql://hub_admin@/drill?host=" + primary.socketDirectory() + "," + standby.socketDirectory() +
               "&port=" + to_string(primary.port()) + "," + to_string(standby.port()) +
               "&connect_ms=" + to_string(kConnectLimit.count()) +
               "&statement_ms=" + to_string(kStatementLimit.count()) + "&lock_ms=500&pool_ms=2000&pool=4";
    }

    const support::PostgresServer primary{{"wal_level=replica"}};
    const support::PostgresServer standby = support::PostgresServer::standbyOf(primary);
};

/// A thread that does one thing over and over.
class Worker {
  public:
    /// `work` returns its status, or kWrongAnswer.
    Worker(std::string name, bool writes, std::function<int()> work)
        : name_(std::move(name)), writes_(writes), work_(std::move(work)),
          thread_([this](const std::stop_token& stop) { run(stop); }) {}

    const std::string& name() const { return name_; }
    int done() const { return done_; }
    int failed() const { return failed_; }
    void end() {
        thread_.request_stop();
        thread_.join();
        EXPECT_EQ(wrong_, "") << name_;
        // A commit may also ask the new primary what became of it.
        EXPECT_LE(longestCall_.count(), (kServiceLimit + kConnectLimit).count()) << name_;
    }

  private:
    void run(const std::stop_token& stop) {
        while (!stop.stop_requested()) {
            HubDatabase::clearLastFailure();
            const auto begun = Clock::now();
            const int status = work_();
            longestCall_ = std::max(longestCall_, std::chrono::ceil<milliseconds>(Clock::now() - begun));
            if (status == kDbOk) {
                ++done_;
                continue;
            }
            std::string words;
            const int told = HubDatabase::lastFailure(words);
            const bool excused =
                status == kDbConnectionLost || status == kDbTimedOut || (writes_ && status == kDbUnknownOutcome);
            if (!excused || told != status || words.empty())
                wrong_ = to_string(status) + ", and the last failure is " + to_string(told) + ": " + words;
            ++failed_;
            std::this_thread::sleep_for(milliseconds(5)); // the servers need the processors, too
        }
    }

    std::string name_;
    bool writes_;
    std::function<int()> work_;
    std::atomic<int> done_{0};
    std::atomic<int> failed_{0};
    milliseconds longestCall_{};
    std::string wrong_;
    std::jthread thread_;
};

class Failover : public ::testing::Test {
  protected:
    void SetUp() override {
        if (support::sharedPostgres() == nullptr)
            GTEST_SKIP() << "no PostgreSQL server: run the tests with ctest, or see scripts/postgres";
        servers_.emplace();
        std::string error;
        ASSERT_EQ(HubDatabase::connect(servers_->url(), error), 0) << error;
        workers_[0] = std::make_unique<Worker>("points", false, [this] { return readPoint(); });
        workers_[1] = std::make_unique<Worker>("lists", false, &readList);
        workers_[2] = std::make_unique<Worker>("writes", true, [this] { return write(); });
        workers_[3] = std::make_unique<Worker>("transactions", true, [this] { return transact(); });
        expectService();
    }
    void TearDown() override {
        for (auto& worker : workers_)
            worker.reset();
        HubDatabase::disconnect();
    }

    /// Every thread succeeds within the limits, with something that it began after this.
    void expectService() const {
        const auto end = Clock::now() + kServiceLimit;
        for (const auto& worker : workers_) {
            const int begun = worker->done() + 1; // it may have begun one earlier
            EXPECT_TRUE(waitUntil(end, [&] { return worker->done() > begun; })) << worker->name();
        }
    }
    int failed() const {
        int sum = 0;
        for (const auto& worker : workers_)
            sum += worker->failed();
        return sum;
    }
    /// Ends the threads and compares what they were told with what the new primary has.
    void expectAllAsTold() {
        for (const auto& worker : workers_)
            worker->end();
        std::map<std::string, int> stored;
        std::istringstream names(
            servers_->standby.ask("SELECT name FROM ZXGlobalParam WHERE id > " + to_string(kListed), "drill"));
        for (std::string name; names >> name;)
            ++stored[name];
        for (const auto* told : {&written_, &transacted_})
            for (const auto& [name, status] : *told) {
                const int whole = told == &written_ ? 1 : 2;
                const int rows = stored[name];
                stored.erase(name);
                if (status != kDbUnknownOutcome)
                    EXPECT_EQ(rows, status == kDbOk ? whole : 0) << name << ": status " << status;
                else
                    EXPECT_TRUE(rows == 0 || rows == whole) << name << ": " << rows << " rows";
            }
        EXPECT_TRUE(stored.empty()) << stored.begin()->first << " was written by nobody";
    }

    std::optional<Servers> servers_;
    std::array<std::unique_ptr<Worker>, 4> workers_;

  private:
    static int insert(const std::string& name, DBtran* transaction) {
        ZXGlobalParam row(transaction);
        dbSetText(row.getDataPtr()->name, name);
        return row.rowInsert(false);
    }
    /// A row that was always there, or the one that was acknowledged last.
    int readPoint() {
        const int newest = acknowledged_;
        const int number = ++points_ % kListed + 1;
        const bool known = number % 2 == 0 || newest == 0;
        const std::string name = known ? "listed" + to_string(number) : "w" + to_string(newest);
        ZXGlobalParam row;
        row.setWhere("name='%s'", name.c_str());
        const int status = getOneRow(&row, false, -1, 0);
        return status < 0 || (status == kDbOk && row.getDataPtr()->name == name) ? status : kWrongAnswer;
    }
    static int readList() {
        ZXGlobalParam row;
        row.setWhere("name like 'listed%%'");
        int status = 0;
        int count = 0;
        for (int state = 0; (status = getNextRow(&row, &state, -1, 0)) == kDbOk;) {
            const std::string& value = row.getDataPtr()->value.bytes;
            if (value.size() != 4000 || !value.starts_with("listed" + to_string(++count) + "."))
                return kWrongAnswer;
        }
        return status == kDbNoRow ? (count == kListed ? kDbOk : kWrongAnswer) : status;
    }
    int write() {
        const auto number = static_cast<int>(written_.size()) + 1;
        const std::string name = "w" + to_string(number);
        const int status = insert(name, nullptr);
        written_.emplace_back(name, status);
        if (status == kDbOk)
            acknowledged_ = number;
        return status;
    }
    int transact() {
        const std::string name = "t" + to_string(transacted_.size());
        DBtran transaction;
        int status = transaction.startTran();
        for (int row = 0; row < 2 && status == kDbOk; ++row)
            status = insert(name, &transaction);
        const bool committing = status == kDbOk;
        if (committing)
            status = transaction.commitTran();
        transacted_.emplace_back(name, status);
        const bool ended = !transaction.isOpen() || (!committing && transaction.rollbackTran() == 0);
        return ended && (committing || status != kDbUnknownOutcome) ? status : kWrongAnswer;
    }

    int points_ = 0;
    std::atomic<int> acknowledged_{0};
    std::vector<std::pair<std::string, int>> written_;    ///< the names of single rows and what was told of them
    std::vector<std::pair<std::string, int>> transacted_; ///< of transactions: two rows have the name
};

TEST_F(Failover, AfterThePrimarysDeath) {
    servers_->primary.kill();
    servers_->standby.promote();
    expectService();
    expectAllAsTold();
}

TEST_F(Failover, WhileTheOldPrimaryLivesOn) {
    servers_->standby.promote();
    // Its writes wait for a standby that is gone, until the library gives up.
    const int done = workers_[2]->done();
    EXPECT_TRUE(waitUntil(Clock::now() + kServiceLimit, [this] { return workers_[2]->failed() > 0; }));
    EXPECT_LE(workers_[2]->done(), done + 1) << "acknowledged without a standby";
    servers_->primary.kill();
    expectService();
    expectAllAsTold();
}

TEST_F(Failover, FromAHungPrimaryThatWakesLater) {
    servers_->primary.pause();
    servers_->standby.promote();
    expectService();
    const int before = failed();
    servers_->primary.resume();
    for (int i = 0; i < 5; ++i, std::this_thread::sleep_for(milliseconds(100)))
        expectService();
    EXPECT_EQ(failed(), before) << "a connection of the pool leads to the old primary";
    servers_->standby.ask("SELECT pg_terminate_backend(pid) FROM pg_stat_activity WHERE usename = 'hub_admin' "
                          "AND application_name = 'libvsdkdb'");
    expectService(); // on new connections, to the new primary again
    expectAllAsTold();
}

} // namespace
