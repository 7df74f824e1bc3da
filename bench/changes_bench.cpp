// What a change of a subclient costs, against the same reads, comparisons and writes by hand and through SOCI: of its
// settings, of a few of many paths, of all of them; and what the check of its paths against those of the other
// subclients costs, in time and memory, with few and with many.
//
//   changes_bench [--clients=N] [--rounds=N] [--engine=sqlite|postgresql] [--benchmark_...]
//
//   --clients=N   the most paths of a subclient, 100000 by default; a tenth, and a hundredth of that are others. The
//                 sets whose paths are checked have a tenth, as many and ten times as many.
//   --rounds=N    how often each comparison is measured, 45 by default; the slower ones less often
//   --engine=E    only this one; by default SQLite, then PostgreSQL on a server of the program's own
#include <malloc.h>

#include <algorithm>
#include <array>
#include <iostream>
#include <stdexcept>
#include <unordered_set>

#include "BackupSets.h"
#include "Changes.h"
#include "Estate.h"
#include "Jobs.h"
#include "PrivateServer.h"
#include "RawLists.h"
#include "RawPostgres.h"
#include "RawSqlite.h"
#include "Rounds.h"
#include "Usage.h"
#include "appmgr/FSSubclientConf.h"
#include "db/HubDatabase.h"
#include "db/engines/sqlite/EmbeddedProcedures.h"
#include "system/OVClock.h"

namespace {

using benchmark::State;
using Settings = std::vector<std::string>;
using Paths = std::vector<std::string>;

constexpr const char* kEngine = "--engine=";
constexpr std::int64_t kNow = 1; ///< it stands still, so that each change moves a set's time by one
constexpr int kAgent = 33;
constexpr int kClient = 600'000'000; ///< beyond what an estate's generator uses, as are all ids here
constexpr int kInstance = kClient;
constexpr int kOthers = 100; ///< subclients beside the one whose paths are checked
constexpr int kAFew = 10;

Paths pathsBelow(const std::string& folder, int from, int to) {
    Paths paths;
    for (int i = from; i < to; ++i)
        paths.push_back(folder + "/projects/archive/folder-" + std::to_string(i));
    return paths;
}

// ---- the subclients, each in a set of its own

/// One that is changed between two states.
struct ChangedSubclient {
    int id; ///< and its set's
    std::array<SubclientState, 2> states;
    int current = 0;
    int setModified = 0;
};

ChangedSubclient settingsOnly() {
    return {kClient, {SubclientState{"papers of the house", 2, {}}, SubclientState{"papers and plans", 5, {}}}};
}
ChangedSubclient ofPaths(int number, int count, int changed) {
    ChangedSubclient one{kClient + number, {SubclientState{"papers of the house", 0, pathsBelow("/data", 0, count)}}};
    one.states[1] = one.states[0];
    auto& paths = one.states[1].paths;
    for (auto path = paths.end() - std::min(changed, count); path != paths.end(); ++path)
        path->replace(0, sizeof "/data" - 1, "/elsewhere");
    return one;
}

/// A set with many paths in kOthers subclients and one more, whose id is the set's.
BenchBackupSet checkedSet(int number, int paths) {
    const int id = kClient + number * 1000;
    return {kClient, kAgent, kInstance, id, paths};
}

template <class Raw> class Adder {
  public:
    explicit Adder(const std::string& url) : raw_(url) { raw_.execute("BEGIN"); }
    ~Adder() { raw_.execute("COMMIT"); }
    Adder(const Adder&) = delete;
    Adder& operator=(const Adder&) = delete;

    void add(const ChangedSubclient& one) {
        addSet(one.id);
        addSubclients(one.id, one.id, 1);
        addPaths(one.id, "'/data", one.states[0].paths.size(), 1);
    }
    void add(const BenchBackupSet& set) {
        addSet(set.backupSetId);
        addSubclients(set.backupSetId, set.backupSetId, kOthers + 1);
        addPaths(set.backupSetId + 1, "'/srv/share-' || " + std::to_string(set.backupSetId) + " || '",
                 static_cast<std::size_t>(set.subclients), kOthers);
    }

  private:
    static std::string numbers(std::size_t count) {
        return "WITH RECURSIVE n(i) AS (SELECT 0 UNION ALL SELECT i + 1 FROM n WHERE i + 1 < " + std::to_string(count) +
               ") SELECT ";
    }
    void addSet(int id) {
        raw_.execute("INSERT INTO APP_BackupSetName (id, name, status, modified) VALUES (" + std::to_string(id) +
                     ", 'set', 0, 1000)");
    }
    void addSubclients(int set, int first, int count) {
        const std::string id = std::to_string(first) + " + i";
        raw_.execute("INSERT INTO APP_Application (id, clientId, appTypeId, instance, backupSet, dataArchGrpID, "
                     "logArchGrpID, refTime, subclientName, subclientStatus) " +
                     numbers(static_cast<std::size_t>(count)) + id + ", " + std::to_string(kClient) + ", " +
                     std::to_string(kAgent) + ", " + std::to_string(kInstance) + ", " + std::to_string(set) +
                     ", 1, 2, 0, 'share-' || i, 0 FROM n");
        for (const char* property :
             {"'User Description', 1, 'papers of the house'", "'Number of Data Readers', 2, '2'"})
            raw_.execute("INSERT INTO APP_SubClientProp (componentNameId, attrName, attrType, attrVal, created, "
                         "modified, ccpId) " +
                         numbers(static_cast<std::size_t>(count)) + id + ", " + property + ", 1, 0, 0 FROM n");
    }
    void addPaths(int first, const std::string& folder, std::size_t count, int subclients) {
        if (count == 0)
            return;
        const auto each = std::max<std::size_t>(count / static_cast<std::size_t>(subclients), 1);
        raw_.execute("INSERT INTO APP_ScFilterFile (componentNameId, type, fileName, created, modified, ccpId) " +
                     numbers(count) + std::to_string(first) + " + i / " + std::to_string(each) + ", 1, " + folder +
                     "/projects/archive/folder-' || i, 1, 0, 0 FROM n");
    }

    Raw raw_;
};

/// A hub database with these subclients.
struct Place {
    std::string url;
    std::string libraryUrl;
    Settings settings;
};

std::string lastWords() {
    std::string words;
    HubDatabase::lastFailure(words);
    return words;
}

// ---- changes

class LibraryChanger : public Changer {
  public:
    explicit LibraryChanger(bool skipChecks, const int& setModified)
        : skipChecks_(skipChecks), setModified_(setModified) {}

    void change(int id, SubclientState& state) override {
        VSDK_Subclient subclient(id);
        subclient.backupSetModifiedTime = setModified_; // the checks compare it; reading it is no part of a change
        subclient.commitAppTypeId = kAgent;             // which the checks find
        subclient.SetDescription(state.description);
        subclient.setDataReaders(state.readers);
        if (!state.paths.empty())
            subclient.SetContent(&state.paths);
        const int code = subclient.Commit(skipChecks_);
        if (code != 0 || subclient.commitOutcome != VSDK_Subclient::CommitOutcome::kDone)
            throw std::runtime_error("the library answered " + std::to_string(code) + ": " + lastWords());
    }

  private:
    bool skipChecks_;
    const int& setModified_;
};

template <class Raw> constexpr bool kIsSqlite = std::is_same_v<Raw, RawSqlite>;

template <class Raw> class RawChanges : public ChangeStatements {
  public:
    RawChanges(const std::string& url, const Settings& settings)
        : raw_(settled(url, settings)), subclient_(raw_.prepare(sql_.subclient)), markSet_(raw_.prepare(sql_.markSet)),
          paths_(raw_.prepare(sql_.paths)), retirePath_(raw_.prepare(sql_.retirePath)),
          addPath_(raw_.prepare(sql_.addPath)), property_(raw_.prepare(sql_.property)),
          retireProperty_(raw_.prepare(sql_.retireProperty)), addProperty_(raw_.prepare(sql_.addProperty)) {}

    void begin() override {
        raw_.execute(kIsSqlite<Raw> ? "BEGIN IMMEDIATE" : "BEGIN ISOLATION LEVEL REPEATABLE READ");
    }
    void commit() override { raw_.execute("COMMIT"); }

    int readSubclient(int id) override {
        BufferRow<APP_Application_t2> row{};
        subclient_.execute(id);
        if (!subclient_.next())
            throw std::runtime_error("the raw code found no subclient");
        fill(subclient_, row);
        subclient_.close();
        return row.buffer.backupSet;
    }
    void markSet(int id, Time now) override { one(markSet_.change(now, now, id)); }
    void readPaths(int subclient, const UseRow& use) override {
        BufferRow<APP_ScFilterFile_t2> row{};
        for (paths_.execute(subclient); paths_.next();) {
            fill(paths_, row);
            use(row.buffer.id, row.buffer.fileName.bytes);
        }
        paths_.close();
    }
    void retirePath(int id, Time now) override { one(retirePath_.change(now, id)); }
    void addPath(int subclient, const std::string& path, Time now) override {
        one(addPath_.change(subclient, std::string_view(path), now));
    }
    void readProperty(int subclient, const std::string& name, const UseRow& use) override {
        BufferRow<APP_SubClientProp_t2> row{};
        for (property_.execute(subclient, std::string_view(name)); property_.next();) {
            fill(property_, row);
            use(row.buffer.id, row.buffer.attrVal.bytes);
        }
        property_.close();
    }
    void retireProperty(int id, Time now) override { one(retireProperty_.change(now, id)); }
    void addProperty(int subclient, const std::string& name, int type, const std::string& value, Time now) override {
        one(addProperty_.change(subclient, std::string_view(name), type, std::string_view(value), now));
    }

    Raw& raw() { return raw_; }

  private:
    static Raw settled(const std::string& url, const Settings& settings) {
        Raw raw(url);
        for (const auto& setting : settings)
            raw.execute(setting);
        return raw;
    }
    static void one(std::int64_t changed) {
        if (changed != 1)
            throw std::runtime_error("the raw code changed no row");
    }

    const ChangeSql sql_{&Raw::parameter};
    Raw raw_;
    typename Raw::Statement subclient_;
    typename Raw::Statement markSet_;
    typename Raw::Statement paths_;
    typename Raw::Statement retirePath_;
    typename Raw::Statement addPath_;
    typename Raw::Statement property_;
    typename Raw::Statement retireProperty_;
    typename Raw::Statement addProperty_;
};

/// A change by hand, after the reads of the library's checks; of content it checks nothing.
template <class Raw> class RawCheckedChanger : public Changer {
  public:
    RawCheckedChanger(std::unique_ptr<RawChanges<Raw>> changes, const int& setModified)
        : changes_(*changes), changer_(std::move(changes), kNow), setModified_(setModified),
          set_(prepareJobs().prepare(selectFrom<APP_BackupSetName_t2>("WHERE id=" + Raw::parameter(1)))),
          jobs_(changes_.raw().prepare(procedure())),
          properties_(changes_.raw().prepare(selectFrom<APP_SubClientProp_t2>(
              "WHERE componentNameId=" + Raw::parameter(1) + " AND modified=0 ORDER BY id"))) {}

    void change(int subclient, SubclientState& state) override {
        BufferRow<APP_BackupSetName_t2> set{};
        set_.execute(changes_.readSubclient(subclient));
        if (set_.next())
            fill(set_, set);
        set_.close();
        std::string request(kJobRequest);
        const std::string none = "subclientId=\"0\"";
        request.replace(request.find(none), none.size(), "subclientId=\"" + std::to_string(subclient) + '"');
        jobs_.execute(kJobUser, std::string_view(request));
        _VSDK_JobSummary summary;
        const bool busy = !jobs_.next() || !parseJobs(jobs_.text(0), summary).empty();
        jobs_.close();
        BufferRow<APP_SubClientProp_t2> property{};
        bool follows = false;
        for (properties_.execute(subclient); properties_.next();) {
            fill(properties_, property);
            follows = follows || std::string_view(property.buffer.attrName) == "Subclient Policy";
        }
        properties_.close();
        if (set.buffer.modified != setModified_ || busy || follows)
            throw std::runtime_error("the raw code may not change the subclient");
        changer_.change(subclient, state);
    }

  private:
    static std::string procedure() {
        constexpr const char* kProcedure = "JMGetRunningJobSummaryVSDK";
        if constexpr (kIsSqlite<Raw>)
            return hubdb::EmbeddedProcedures::find(kProcedure);
        else
            return std::string("SELECT * FROM ") + kProcedure + "($1, $2, '')";
    }
    Raw& prepareJobs() {
        if constexpr (kIsSqlite<Raw>)
            addJobFunctions(changes_.raw().handle());
        return changes_.raw();
    }

    RawChanges<Raw>& changes_;
    HandMadeChanger changer_;
    const int& setModified_;
    typename Raw::Statement set_;
    typename Raw::Statement jobs_;
    typename Raw::Statement properties_;
};

// ---- checks of content

/// One way to check own paths against those of a set. Failures are exceptions.
class ContentCheck {
  public:
    virtual ~ContentCheck() = default;
    virtual void run() = 0;
};

class LibraryCheck : public ContentCheck {
  public:
    LibraryCheck(const BenchBackupSet& set, Paths own) : own_(std::move(own)), subclient_(set.backupSetId) {
        if (subclient_.FetchProperties(nullptr, true) != 0)
            throw std::runtime_error("no subclient: " + lastWords());
        subclient_.SetContent(&own_);
    }
    void run() override {
        if (const int code = subclient_.CheckContentConsistancy(); code != 0)
            throw std::runtime_error("the check answered " + std::to_string(code) + ": " + lastWords());
    }

  private:
    Paths own_;
    VSDK_Subclient subclient_;
};

/// What the check reads, and no more.
class LibraryList : public ContentCheck {
  public:
    explicit LibraryList(const BenchBackupSet& set) : set_(set) {}

    void run() override {
        VSDK_SubclientList list(set_.clientId, set_.appTypeId, set_.instanceId, set_.backupSetId);
        benchmark::DoNotOptimize(list.FetchSubclients(true, true));
        live_ = inUse();
    }
    /// The bytes that were in use with the list, as it was last.
    static std::size_t inUse() {
        const auto info = mallinfo2();
        return info.uordblks + info.hblkhd;
    }
    std::size_t live() const { return live_; }

  private:
    BenchBackupSet set_;
    std::size_t live_ = 0;
};

/// The list by hand, and the library's rule of what is the same path.
template <class Raw> class RawCheck : public ContentCheck {
  public:
    RawCheck(const BenchBackupSet& set, const std::string& url, const Paths& own)
        : set_(set), list_(set, url), own_(own.begin(), own.end()) {}

    void run() override {
        int paths = 0;
        list_.fetch([&](const auto& list) {
            for (const VSDK_Subclient* other : list) {
                if (other->subclientId == set_.backupSetId)
                    continue;
                for (const std::string& path : other->content)
                    if (++paths; own_.contains(FSSubclientConf::normalised(path)))
                        throw std::runtime_error("the raw code found a path twice");
            }
        });
        if (paths != set_.subclients)
            throw std::runtime_error("the raw code read another number of paths");
    }

  private:
    BenchBackupSet set_;
    SubclientsBySets<Raw> list_;
    std::unordered_set<std::string> own_;
};

// ---- measurements

template <class Raw> class Changes {
  public:
    Changes(Rounds& rounds, Place place, std::string where)
        : rounds_(rounds), place_(std::move(place)), where_(std::move(where)), looker_(place_.url) {
        for (const auto& setting : place_.settings)
            looker_.execute(setting);
    }
    ~Changes() { HubDatabase::disconnect(); }
    Changes(const Changes&) = delete;
    Changes& operator=(const Changes&) = delete;

    void compareSettings(ChangedSubclient one) { compare("description and readers", "settings", one, true); }
    void compareContents(std::vector<ChangedSubclient>& some) {
        for (auto& one : some)
            compare(std::to_string(kAFew) + " of " + std::to_string(one.states[0].paths.size()) + " paths",
                    "few-of-" + std::to_string(one.states[0].paths.size()), one, false, share(one));
        std::vector<Rounds::Entry> entries;
        for (auto& one : some)
            entries.push_back(entry(std::to_string(one.states[0].paths.size()) + " paths", one, library(one, true)));
        rounds_.compare(where_ + ", library, " + std::to_string(kAFew) + " of many", "few-by-size", entries,
                        share(some.back()), entries.front().name);
    }
    void compareWhole(ChangedSubclient one) {
        const std::string count = std::to_string(one.states[0].paths.size());
        compare("all of " + count + " paths", "all-of-" + count, one, false, 3);
    }
    void compareChecks(const std::vector<BenchBackupSet>& sets) {
        const Paths own = pathsBelow("/own", 0, kOthers);
        std::vector<Rounds::Entry> sizes;
        for (const BenchBackupSet& set : sets) {
            const std::string count = std::to_string(set.subclients);
            sizes.push_back(checkEntry(count + " paths", set, checkOf(set, own)));
            rounds_.compare(
                where_ + ", check against " + count, "check-" + count,
                {checkEntry("raw", set,
                            [this, set, own] { return std::make_unique<RawCheck<Raw>>(set, place_.url, own); }),
                 checkEntry("library", set, checkOf(set, own)),
                 checkEntry("library, list alone", set, [set] { return std::make_unique<LibraryList>(set); })},
                kSlow);
        }
        rounds_.compare(where_ + ", library, check by size", "check-by-size", sizes, kSlow, sizes.front().name);
    }

  private:
    static constexpr int kSlow = 9;
    template <class What> using Make = std::function<std::unique_ptr<What>()>;

    static int share(const ChangedSubclient& one) { return one.states[0].paths.size() > 50'000 ? kSlow : 3; }

    static Make<Changer> library(const ChangedSubclient& one, bool skipChecks) {
        return [&one, skipChecks] { return std::make_unique<LibraryChanger>(skipChecks, one.setModified); };
    }
    static Make<ContentCheck> checkOf(const BenchBackupSet& set, const Paths& own) {
        return [set, own] { return std::make_unique<LibraryCheck>(set, own); };
    }
    auto rawChanges() { return std::make_unique<RawChanges<Raw>>(place_.url, place_.settings); }

    void compare(const std::string& what, const std::string& group, ChangedSubclient& one, bool checked,
                 int share = 1) {
        rounds_.compare(where_ + ", " + what, group,
                        {entry("raw", one, [this] { return std::make_unique<HandMadeChanger>(rawChanges(), kNow); }),
                         entry("library", one, library(one, true)),
                         entry("SOCI, kept statements", one,
                               [this] {
                                   return std::make_unique<HandMadeChanger>(sociChanges(place_.url, place_.settings),
                                                                            kNow);
                               })},
                        share);
        if (checked)
            rounds_.compare(where_ + ", " + what + ", checked", group + "-checked",
                            {entry("raw", one,
                                   [this, &one] {
                                       return std::make_unique<RawCheckedChanger<Raw>>(rawChanges(), one.setModified);
                                   }),
                             entry("library", one, library(one, false))});
    }

    // Made when they first run, so that a filter spares what it leaves out.

    Rounds::Entry entry(std::string name, ChangedSubclient& one, Make<Changer> make) {
        return {std::move(name), [this, &one, make, made = std::shared_ptr<Changer>()](State& state) mutable {
                    connect();
                    one.setModified = ask("SELECT modified FROM APP_BackupSetName WHERE id=" + std::to_string(one.id));
                    if (made == nullptr) {
                        made = make();
                        for (int i = 0; i < 2; ++i)
                            change(one, *made); // so that it is warm
                    }
                    measure(state, one, *made);
                }};
    }
    void measure(State& state, ChangedSubclient& one, Changer& changer) {
        forgetHistory(one);
        const int before = written(one);
        const Usage usage(isServer(place_.url), dynamic_cast<LibraryChanger*>(&changer) != nullptr);
        for (auto _ : state)
            change(one, changer);
        usage.tell(state);
        state.counters["written"] =
            benchmark::Counter(static_cast<double>(written(one) - before), benchmark::Counter::kAvgIterations);
        const Paths& paths = one.states[static_cast<std::size_t>(one.current)].paths;
        const std::string last = paths.empty() ? "" : paths.back();
        if (static_cast<std::size_t>(ask(rowsOf("APP_ScFilterFile", one) + " AND modified=0")) != paths.size() ||
            ask(rowsOf("APP_ScFilterFile", one) + " AND modified=0 AND fileName='" + last + "'") !=
                (paths.empty() ? 0 : 1))
            state.SkipWithError("the paths are not those that were given");
    }
    /// An earlier run, or the same with the other journal, may have left either.
    void findState(ChangedSubclient& one) {
        const std::string id = std::to_string(one.id);
        one.setModified = ask("SELECT modified FROM APP_BackupSetName WHERE id=" + id);
        const SubclientState& second = one.states[1];
        one.current = ask("SELECT count(*) FROM " +
                          (second.paths.empty() ? "APP_SubClientProp WHERE attrVal='" + second.description
                                                : "APP_ScFilterFile WHERE fileName='" + second.paths.back()) +
                          "' AND modified=0 AND componentNameId=" + id);
    }
    static void change(ChangedSubclient& one, Changer& changer) {
        one.current = 1 - one.current;
        changer.change(one.id, one.states[static_cast<std::size_t>(one.current)]);
        ++one.setModified;
    }

    Rounds::Entry checkEntry(std::string name, const BenchBackupSet& set, Make<ContentCheck> make) {
        return {std::move(name), [this, set, make](State& state) {
                    connect();
                    const std::unique_ptr<ContentCheck> check = make(); // its connection keeps nothing between rounds
                    const auto* const list = dynamic_cast<const LibraryList*>(check.get());
                    check->run();
                    const std::size_t before = LibraryList::inUse();
                    const MemoryPeak peak;
                    const Usage usage(isServer(place_.url), dynamic_cast<RawCheck<Raw>*>(check.get()) == nullptr);
                    while (state.KeepRunningBatch(set.subclients))
                        check->run();
                    usage.tell(state);
                    peak.tell(state);
                    if (list != nullptr)
                        state.counters["live MB"] = static_cast<double>(list->live() - before) / (1 << 20);
                }};
    }

    std::string rowsOf(const std::string& table, const ChangedSubclient& one) const {
        return "SELECT count(*) FROM " + table + " WHERE componentNameId=" + std::to_string(one.id);
    }
    /// Rows that were added or changed since the history was forgotten: what is history was changed once, and added
    /// once unless it was there before.
    int written(const ChangedSubclient& one) {
        int rows = ask("SELECT modified FROM APP_BackupSetName WHERE id=" + std::to_string(one.id));
        for (const char* table : {"APP_ScFilterFile", "APP_SubClientProp"})
            rows += ask(rowsOf(table, one)) + ask(rowsOf(table, one) + " AND modified<>0");
        return rows;
    }
    void forgetHistory(const ChangedSubclient& one) {
        for (const std::string table : {"APP_ScFilterFile", "APP_SubClientProp"}) {
            looker_.execute("DELETE FROM " + table + " WHERE componentNameId=" + std::to_string(one.id) +
                            " AND modified<>0");
            if constexpr (!kIsSqlite<Raw>)
                looker_.execute("VACUUM " + table);
        }
    }
    int ask(const std::string& sql) {
        std::int64_t answer = 0;
        auto statement = looker_.prepare("SELECT CAST((" + sql + ") AS bigint)");
        statement.execute();
        if (statement.next())
            statement.copy(0, answer);
        statement.close();
        return static_cast<int>(answer);
    }

    /// Connects the library, when it is not yet.
    void connect() {
        std::string error;
        if (!connected_ && HubDatabase::connect(place_.libraryUrl, error) != 0)
            throw std::runtime_error(error);
        connected_ = true;
    }

    Rounds& rounds_;
    Place place_;
    std::string where_;
    Raw looker_;
    bool connected_ = false;
};

/// The paths of one subclient in memory, each inserted once, with nothing to read.
void comparePathSets(int count, Rounds& rounds) {
    const Paths paths = pathsBelow("/data", 0, count);
    const auto measured = [&paths](auto fill) {
        return [&paths, fill](State& state) {
            const MemoryPeak peak;
            const std::size_t before = LibraryList::inUse();
            std::size_t live = before;
            while (state.KeepRunningBatch(static_cast<benchmark::IterationCount>(paths.size())))
                live = fill();
            peak.tell(state);
            state.counters["live MB"] = static_cast<double>(live - before) / (1 << 20);
        };
    };
    rounds.compare("Own paths in memory: " + std::to_string(count), "own",
                   {{"vector of strings", measured([&paths] {
                         Paths all(paths);
                         benchmark::DoNotOptimize(all);
                         return LibraryList::inUse();
                     })},
                    {"unordered_set of strings", measured([&paths] {
                         std::unordered_set<std::string> all;
                         for (const auto& path : paths)
                             all.insert(path);
                         return LibraryList::inUse();
                     })},
                    {"FSSubclientConf", measured([&paths] {
                         FSSubclientConf conf(kAgent);
                         conf.setName("share");
                         for (const auto& path : paths)
                             if (conf.setPath(path.c_str()) != 0)
                                 throw std::runtime_error(conf.reason());
                         return LibraryList::inUse();
                     })}},
                   9, "unordered_set of strings");
}

/// All that is compared, by the size that the caller asks for.
struct Plan {
    explicit Plan(int clients)
        : settings(settingsOnly()),
          whole(ofPaths(1, std::max(clients / 10, 1), clients)), contents{ofPaths(2, std::max(clients / 100, 1), kAFew),
                                                                          ofPaths(3, std::max(clients / 10, 1), kAFew),
                                                                          ofPaths(4, clients, kAFew)},
          sets{checkedSet(1, std::max(clients / 10 / kOthers, 1) * kOthers),
               checkedSet(2, std::max(clients / kOthers, 1) * kOthers),
               checkedSet(3, std::max(clients / kOthers, 1) * kOthers * 10)} {}

    template <class Raw> void fill(const std::string& url) const {
        Adder<Raw> adder(url);
        adder.add(settings);
        adder.add(whole);
        for (const auto& one : contents)
            adder.add(one);
        for (const auto& set : sets)
            adder.add(set);
    }
    template <class Raw> void run(Changes<Raw> changes) const {
        auto these = contents; // a file may have been changed by an earlier run: the first change makes up for it
        changes.compareSettings(settings);
        changes.compareContents(these);
        changes.compareWhole(whole);
        changes.compareChecks(sets);
    }

    ChangedSubclient settings;
    ChangedSubclient whole;
    std::vector<ChangedSubclient> contents;
    std::vector<BenchBackupSet> sets;
};

void onSqlite(const Plan& plan, int clients, Rounds& rounds) {
    const std::string url = generatedFile(std::max(clients / 100, 1), "changes" + std::to_string(clients),
                                          [&plan](const std::string& made) { plan.fill<RawSqlite>(made); });
    std::cout << url << ", SQLite " << sqlite3_libversion() << std::endl;
    for (const std::string journal : {"truncate", "wal"}) {
        const Settings settings{"PRAGMA busy_timeout=60000", "PRAGMA journal_mode=" + journal,
                                "PRAGMA synchronous=FULL"};
        RawSqlite(url).execute(settings[1]); // before anybody else has the file
        plan.run(
            Changes<RawSqlite>(rounds, {url, withOption(url, "journal=" + journal), settings}, "SQLite, " + journal));
    }
}

void onPostgres(const Plan& plan, int clients, Rounds& rounds) {
    const PrivateServer server;
    generateEstate(server.url(), std::max(clients / 100, 1));
    plan.fill<RawPostgres>(server.url());
    RawPostgres(server.url()).execute("VACUUM ANALYZE");
    std::cout << "PostgreSQL " << RawPostgres(server.url()).serverVersion() << ", libpq " << PQlibVersion()
              << std::endl;
    plan.run(Changes<RawPostgres>(rounds, {server.url(), server.url(), {kJobSettings}}, "PostgreSQL"));
}

void run(const BenchOptions& options, Rounds& rounds) {
    OVClock::set([] { return kNow; });
    const Plan plan(options.clients);
    comparePathSets(options.clients * 10, rounds);
    const std::string only = options.value(kEngine);
    if (only.empty() || only == "sqlite")
        onSqlite(plan, options.clients, rounds);
    if (only.empty() || only == "postgresql")
        onPostgres(plan, options.clients, rounds);
}

} // namespace

int main(int argc, char** argv) {
    return benchMain({argv, static_cast<std::size_t>(argc)}, {kEngine}, run);
}
