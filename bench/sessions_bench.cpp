// What a request pays for its login session, looked up by its token and marked as used, against the same two statements
// by hand and through SOCI: with one and with several threads, the slowest calls, and with many sessions.
//
//   sessions_bench [--clients=N] [--rounds=N] [--engine=sqlite|postgresql] [--folder=DIR] [--benchmark_...]
//
//   --clients=N   ten sessions for each of them are many, 1000000 by default; few are a thousandth of that
//   --rounds=N    how often each comparison is measured, 45 by default; the slower ones less often
//   --engine=E    only this one; by default SQLite, then PostgreSQL on a server of the program's own
//   --folder=DIR  where copies of the SQLite files are worked on, instead of the build tree: on another file system
#include <algorithm>
#include <atomic>
#include <chrono>
#include <ctime>
#include <filesystem>
#include <future>
#include <iostream>
#include <limits>
#include <optional>
#include <random>
#include <stdexcept>

#include "Db/Tbl/UMVSDKSessions.h"
#include "Estate.h"
#include "PrivateServer.h"
#include "RawPostgres.h"
#include "RawSqlite.h"
#include "Rounds.h"
#include "Sessions.h"
#include "Usage.h"
#include "db/HubDatabase.h"
#include "system/OVClock.h"
#include "users/VSDKUsers.h"

namespace {

using benchmark::State;
using Clock = std::chrono::steady_clock;
using Milliseconds = std::chrono::duration<float, std::milli>;
using Settings = std::vector<std::string>;

constexpr const char* kEngine = "--engine=";
constexpr const char* kFolder = "--folder=";

/// Each call's own second: what is marked twice in one second is not written twice by every engine.
std::int64_t nextSecond() {
    static std::atomic<std::int64_t> last = std::time(nullptr);
    return ++last;
}

/// A session that is there.
struct KnownSession {
    std::string token;
    int number;
};
using KnownSessions = std::vector<KnownSession>;

class LibrarySessions : public SessionCaller {
  public:
    int call(const std::string& token) override {
        VSDK_Sessions sessions(std::numeric_limits<int>::max()); // asked for every session, and none expires
        int number = 0;
        int user = 0;
        if (const auto code = sessions.GetSessionId(token, number, user); code != 0) {
            std::string words;
            HubDatabase::lastFailure(words);
            throw std::runtime_error("the library answered " + std::to_string(code) + ": " + words);
        }
        return number;
    }
};

/// As one would write it by hand, into the accessor's own struct.
template <class Raw> class RawSessions : public SessionCaller {
  public:
    RawSessions(const std::string& url, const Settings& settings)
        : raw_(settled(url, settings)),
          read_(raw_.prepare(selectFrom<UMVSDKSessions_t2>("WHERE GUID=" + parameter(1)))),
          touch_(raw_.prepare("UPDATE UMVSDKSessions SET lastAccessedTime=" + parameter(1) +
                              " WHERE id=" + parameter(2))) {}

    int call(const std::string& token) override {
        BufferRow<UMVSDKSessions_t2> row{};
        read_.execute(std::string_view(token));
        const bool found = read_.next();
        if (found)
            fill(read_, row);
        read_.close();
        if (!found)
            throw std::runtime_error("the raw code found no session");
        if (touch_.change(OVClock::now(), row.buffer.id) != 1)
            throw std::runtime_error("the raw code marked no session");
        return row.buffer.evmgrsSessionId;
    }

  private:
    static std::string parameter(int number) { return Raw::parameter(number); }
    static Raw settled(const std::string& url, const Settings& settings) {
        Raw raw(url);
        for (const auto& setting : settings)
            raw.execute(setting);
        return raw;
    }

    Raw raw_;
    typename Raw::Statement read_;
    typename Raw::Statement touch_;
};

/// One contender with a caller for each of its threads. Each thread has its own sessions.
class Contender {
  public:
    using Callers = std::vector<std::unique_ptr<SessionCaller>>;

    Contender(Callers callers, const KnownSessions& known, bool onServer)
        : callers_(std::move(callers)), known_(known), onServer_(onServer), next_(callers_.size()) {
        for (std::size_t thread = 0; thread < callers_.size(); ++thread)
            next_[thread] = thread;
        taken_.reserve(1U << 20U); // so that keeping the times counts as no allocation
    }

    void measure(State& state) {
        if (callers_.size() == 1)
            measureOne(state);
        else
            measureThreads(state);
        if (taken_.empty())
            return;
        const auto share = [this](double part) {
            const auto at = taken_.begin() + static_cast<std::ptrdiff_t>(part * static_cast<double>(taken_.size() - 1));
            std::nth_element(taken_.begin(), at, taken_.end());
            return static_cast<double>(at->count());
        };
        state.counters["99.9% ms"] = share(0.999);
        state.counters["slowest ms"] = share(1);
    }

  private:
    void callOnce(std::size_t thread, std::vector<Milliseconds>& taken) {
        const KnownSession& known = known_[next_[thread] % known_.size()];
        next_[thread] += callers_.size();
        if (next_[thread] >= known_.size())
            next_[thread] = thread;
        const auto begin = Clock::now();
        if (callers_[thread]->call(known.token) != known.number)
            throw std::runtime_error("another session was found");
        taken.emplace_back(Clock::now() - begin);
    }
    void measureOne(State& state) {
        const Usage usage(onServer_, dynamic_cast<LibrarySessions*>(callers_[0].get()) != nullptr);
        for (auto _ : state)
            callOnce(0, taken_);
        usage.tell(state);
    }
    /// Whoever is ready takes the next call, so that one who is kept waiting does not hold up the others.
    void measureThreads(State& state) {
        const auto batch = static_cast<int>(100 * callers_.size());
        while (state.KeepRunningBatch(batch)) {
            std::atomic<int> left = batch;
            std::vector<std::future<std::vector<Milliseconds>>> threads;
            for (std::size_t thread = 0; thread < callers_.size(); ++thread)
                threads.push_back(std::async(std::launch::async, [this, thread, &left] {
                    std::vector<Milliseconds> taken;
                    while (left-- > 0)
                        callOnce(thread, taken);
                    return taken;
                }));
            for (auto& thread : threads) {
                const auto taken = thread.get();
                taken_.insert(taken_.end(), taken.begin(), taken.end());
            }
        }
    }

    Callers callers_;
    const KnownSessions& known_;
    bool onServer_;
    std::vector<std::size_t> next_;   ///< by thread
    std::vector<Milliseconds> taken_; ///< by all calls so far
};

template <class Raw> void addSessions(const std::string& url, int count) {
    Raw raw(url);
    raw.execute("DELETE FROM UMVSDKSessions");
    raw.execute("INSERT INTO UMVSDKSessions (userId, evmgrsSessionId, userName, password, created, lastAccessedTime, "
                "referenceCount, encryptedToken, sessionFileLocation, hostName, consoleType, timeout, imp_userId, "
                "tokenExpires) WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < " +
                std::to_string(count) +
                ") SELECT 1, i, 'user-' || i % 5000, '4b1de0c2a1f5' || i, 1700000000, 1700000000, 1, 'token-' || i, "
                "'/home/user-' || i % 5000 || '/.session', 'console-' || i % 700, 13, 0, 0, 0 FROM n");
}

/// A hub database with sessions, and some of these, spread over all, in no order.
template <class Raw> struct Place {
    Place(std::string place, const std::string& options, Settings all)
        : url(std::move(place)), settings(std::move(all)) {
        libraryUrl = options.empty() ? url : withOption(url, options);
        constexpr int kMost = 20'000;
        Raw raw(url);
        auto count = raw.prepare("SELECT max(evmgrsSessionId) FROM UMVSDKSessions");
        int sessions = 0;
        count.execute();
        count.next();
        count.copy(0, sessions);
        count.close();
        auto read = raw.prepare("SELECT GUID, evmgrsSessionId FROM UMVSDKSessions WHERE evmgrsSessionId % " +
                                std::to_string(std::max(1, sessions / kMost)) + " = 0");
        for (read.execute(); read.next();) {
            KnownSession session;
            read.copy(0, session.token);
            read.copy(1, session.number);
            known.push_back(session);
        }
        read.close();
        std::shuffle(known.begin(), known.end(), std::mt19937(1));
    }

    std::string url;
    std::string libraryUrl;
    Settings settings;
    KnownSessions known;
};

template <class Raw> class SessionCalls {
  public:
    SessionCalls(Rounds& rounds, const Place<Raw>& few, const Place<Raw>& many, std::string where)
        : rounds_(rounds), few_(few), many_(many), where_(std::move(where)) {}
    ~SessionCalls() { HubDatabase::disconnect(); }
    SessionCalls(const SessionCalls&) = delete;
    SessionCalls& operator=(const SessionCalls&) = delete;

    void compare() {
        for (const int threads : {1, 2, 4, 8})
            rounds_.compare(where_ + ", threads: " + std::to_string(threads), "threads-" + std::to_string(threads),
                            {entry("raw", few_, threads, &raw), entry("library", few_, threads, &library),
                             entry("SOCI, kept statements", few_, threads, &soci)},
                            threads == 1 ? 1 : 3);
        compareSizes("library", &library);
        compareSizes("raw", &raw);
    }

  private:
    using Make = std::unique_ptr<SessionCaller> (*)(const Place<Raw>&);

    static std::unique_ptr<SessionCaller> raw(const Place<Raw>& place) {
        return std::make_unique<RawSessions<Raw>>(place.url, place.settings);
    }
    static std::unique_ptr<SessionCaller> library(const Place<Raw>& /*place*/) {
        return std::make_unique<LibrarySessions>();
    }
    static std::unique_ptr<SessionCaller> soci(const Place<Raw>& place) {
        return sociSessions(place.url, place.settings);
    }

    void compareSizes(const std::string& name, Make make) {
        std::vector<Rounds::Entry> entries;
        for (const Place<Raw>* place : {&few_, &many_}) {
            entries.push_back(entry("", *place, 1, make));
            entries.back().name = place == &few_ ? "few sessions" : "many sessions";
        }
        rounds_.compare(where_ + ", " + name + " by number of sessions", name + "-by-size", entries, 1,
                        entries[0].name);
    }

    Rounds::Entry entry(std::string name, const Place<Raw>& place, int threads, Make make) {
        // Made when it first runs, and then warmed, so that a filter spares what it leaves out.
        return {std::move(name),
                [this, &place, threads, make, made = std::shared_ptr<Contender>()](State& state) mutable {
                    connect(place);
                    if (made == nullptr) {
                        Contender::Callers callers;
                        for (int i = 0; i < threads; ++i) {
                            callers.push_back(make(place));
                            requireMark(place, *callers.back());
                        }
                        made = std::make_shared<Contender>(std::move(callers), place.known, isServer(place.url));
                    }
                    made->measure(state);
                },
                threads > 1};
    }
    void connect(const Place<Raw>& place) {
        if (connected_ == &place)
            return;
        std::string error;
        if (HubDatabase::connect(place.libraryUrl, error) != 0)
            throw std::runtime_error(error);
        connected_ = &place;
        LibrarySessions library;
        for (std::size_t i = 0; i < std::min<std::size_t>(place.known.size(), 500); ++i) // so that it is warm
            (void)library.call(place.known[i].token);
    }
    /// Throws std::runtime_error unless a call marks the session that it finds.
    static void requireMark(const Place<Raw>& place, SessionCaller& caller) {
        const KnownSession& session = place.known.front();
        const std::string which = " WHERE evmgrsSessionId=" + std::to_string(session.number);
        Raw looker(place.url);
        for (const auto& setting : place.settings)
            looker.execute(setting);
        looker.execute("UPDATE UMVSDKSessions SET lastAccessedTime=1" + which);
        std::int64_t marked = 0;
        const std::int64_t now = OVClock::now();
        const bool right = caller.call(session.token) == session.number;
        auto read = looker.prepare("SELECT lastAccessedTime FROM UMVSDKSessions" + which);
        read.execute();
        if (read.next())
            read.copy(0, marked);
        read.close();
        if (!right || marked < now)
            throw std::runtime_error("a call does not mark the session");
    }

    Rounds& rounds_;
    const Place<Raw>& few_;
    const Place<Raw>& many_;
    std::string where_;
    const Place<Raw>* connected_ = nullptr;
};

/// A copy of a file on another file system, for as long as it lives.
class FileAt {
  public:
    FileAt(const std::string& url, const std::string& folder) : url_(url) {
        if (folder.empty())
            return;
        const auto file = std::filesystem::path(folder) /
                          ("sessions-" + std::to_string(std::filesystem::file_size(fileOf(url))) + ".db");
        std::filesystem::copy_file(fileOf(url), file, std::filesystem::copy_options::overwrite_existing);
        copy_ = file;
        url_ = "sqlite:" + file.string();
    }
    ~FileAt() {
        std::error_code ignored;
        if (!copy_.empty())
            for (const char* suffix : {"", "-journal", "-wal", "-shm"})
                std::filesystem::remove(copy_.string() + suffix, ignored);
    }
    FileAt(const FileAt&) = delete;
    FileAt& operator=(const FileAt&) = delete;

    const std::string& url() const { return url_; }

  private:
    std::string url_;
    std::filesystem::path copy_;
};

void onSqlite(int few, int many, const std::string& folder, Rounds& rounds) {
    const auto file = [](int sessions) {
        return generatedFile(1, "sessions" + std::to_string(sessions),
                             [sessions](const std::string& made) { addSessions<RawSqlite>(made, sessions); });
    };
    const FileAt fewUrl(file(few), folder);
    const FileAt manyUrl(file(many), folder);
    std::cout << fewUrl.url() << ", " << manyUrl.url() << ", SQLite " << sqlite3_libversion() << std::endl;
    for (const std::string journal : {"truncate", "wal"}) {
        // What the engine sets for its own connections; to wait is what one would ask SQLite for by hand. With the
        // engine's ten seconds the raw code fails where a disk is slow and threads are many.
        const Settings settings{"PRAGMA busy_timeout=60000", "PRAGMA journal_mode=" + journal,
                                "PRAGMA synchronous=FULL"};
        for (const auto* url : {&fewUrl.url(), &manyUrl.url()}) {
            RawSqlite raw(*url);
            raw.execute("PRAGMA journal_mode=" + journal); // before anybody else has the file
        }
        const Place<RawSqlite> fewPlace(fewUrl.url(), "journal=" + journal, settings);
        const Place<RawSqlite> manyPlace(manyUrl.url(), "journal=" + journal, settings);
        SessionCalls<RawSqlite>(rounds, fewPlace, manyPlace, "SQLite, " + journal).compare();
    }
}

void onPostgres(int few, int many, Rounds& rounds) {
    const PrivateServer server;
    const auto filled = [&server](int sessions) {
        const std::string name = "sessions" + std::to_string(sessions);
        std::string url = server.url();
        RawPostgres(url).execute("CREATE DATABASE " + name);
        url.replace(url.find("/postgres?"), sizeof "/postgres" - 1, "/" + name);
        generateEstate(url, 1);
        addSessions<RawPostgres>(url, sessions);
        RawPostgres(url).execute("VACUUM ANALYZE");
        return Place<RawPostgres>(url, "", {});
    };
    const auto fewPlace = filled(few);
    const auto manyPlace = filled(many);
    std::cout << "PostgreSQL " << RawPostgres(server.url()).serverVersion() << ", libpq " << PQlibVersion()
              << std::endl;
    SessionCalls<RawPostgres>(rounds, fewPlace, manyPlace, "PostgreSQL").compare();
}

void run(const BenchOptions& options, Rounds& rounds) {
    OVClock::set(&nextSecond);
    const int many = options.clients * 10;
    const int few = std::max(many / 1000, 16);
    const std::string only = options.value(kEngine);
    if (only.empty() || only == "sqlite")
        onSqlite(few, many, options.value(kFolder), rounds);
    if (only.empty() || only == "postgresql")
        onPostgres(few, many, rounds);
}

} // namespace

int main(int argc, char** argv) {
    return benchMain({argv, static_cast<std::size_t>(argc)}, {kEngine, kFolder}, run);
}
