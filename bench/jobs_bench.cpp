// What a list of running jobs costs, against the same procedure called by hand and its answer read with expat, and
// against SOCI; with few and with many jobs.
//
//   jobs_bench [--clients=N] [--rounds=N] [--engine=sqlite|postgresql] [--benchmark_...]
//
//   --clients=N   as many running jobs are the most, 100000 by default; the others are a tenth, and so on. The estate
//                 that they work on has a tenth as many clients.
//   --rounds=N    how often each comparison is measured, 45 by default; those of many jobs less often
//   --engine=E    only this one; by default SQLite, then PostgreSQL on a server of the program's own
#include <algorithm>
#include <iostream>
#include <iterator>
#include <stdexcept>
#include <tuple>

#include "Estate.h"
#include "Jobs.h"
#include "PrivateServer.h"
#include "RawPostgres.h"
#include "RawSqlite.h"
#include "Rounds.h"
#include "Usage.h"
#include "db/HubDatabase.h"
#include "db/engines/sqlite/EmbeddedProcedures.h"

namespace {

using benchmark::State;

constexpr const char* kEngine = "--engine=";
constexpr const char* kProcedure = "JMGetRunningJobSummaryVSDK";

/// The procedure's call, or on SQLite, which has no procedures, its text.
template <class Raw> std::string procedureCall() {
    if constexpr (std::is_same_v<Raw, RawSqlite>)
        return hubdb::EmbeddedProcedures::find(kProcedure);
    else
        return std::string("SELECT * FROM ") + kProcedure + "($1, $2, '')";
}

class LibraryJobs : public JobCaller {
  public:
    JobRecords call(_VSDK_JobSummary& summary) override {
        VSDK_JobList list(0, 0, 0, 0, 0);
        JobRecords jobs;
        if (const int code = list.FetchJobList(jobs, VSDK_JobList::kBackupJobs, kJobUser); code != 0) {
            std::string words;
            HubDatabase::lastFailure(words);
            throw std::runtime_error("the library answered " + std::to_string(code) + ": " + words);
        }
        summary = list.summary;
        return jobs;
    }
};

template <class Raw> class RawJobs : public JobCaller {
  public:
    explicit RawJobs(const std::string& url) : raw_(opened(url)), statement_(raw_.prepare(procedureCall<Raw>())) {}

    JobRecords call(_VSDK_JobSummary& summary) override {
        statement_.execute(kJobUser, kJobRequest);
        if (!statement_.next())
            throw std::runtime_error("the procedure gave the raw code no answer");
        JobRecords jobs = parseJobs(statement_.text(0), summary);
        statement_.close();
        return jobs;
    }

  private:
    static Raw opened(const std::string& url) {
        Raw raw(url);
        if constexpr (std::is_same_v<Raw, RawSqlite>)
            addJobFunctions(raw.handle());
        else
            raw.execute(kJobSettings);
        return raw;
    }

    Raw raw_;
    typename Raw::Statement statement_;
};

/// Throws std::runtime_error unless two callers tell the same.
void requireSame(JobCaller& one, JobCaller& other) {
    const auto fields = [](const _VSDK_Job& job) {
        return std::tie(job.jobId, job.attr2, job.status, job.attr5, job.attr6, job.attr15, job.attr7, job.attr8,
                        job.attr9, job.attr10, job.backupLevel, job.attr16, job.attr35);
    };
    const auto reasons = [](const _VSDK_JobFailureReason& reason) { return std::tie(reason.code, reason.text); };
    const auto counts = [](const _VSDK_JobSummary& summary) {
        return std::tie(summary.running, summary.pending, summary.waiting, summary.suspended, summary.queued);
    };
    _VSDK_JobSummary oneSummary;
    _VSDK_JobSummary otherSummary;
    const JobRecords ones = one.call(oneSummary);
    const JobRecords others = other.call(otherSummary);
    if (counts(oneSummary) != counts(otherSummary) || !std::ranges::equal(ones, others, {}, fields, fields) ||
        !std::ranges::equal(ones, others, [&](const _VSDK_Job& left, const _VSDK_Job& right) {
            return std::ranges::equal(left.failureReasons, right.failureReasons, {}, reasons, reasons);
        }))
        throw std::runtime_error("another list of jobs than the library's");
}

/// Running backups of file systems in place of what there is: in all states and levels, one in three held up for two
/// reasons.
template <class Raw> void addJobs(const std::string& url, int count) {
    Raw raw(url);
    const auto character = [](int code) { return std::string(Raw::kCharacter) + "(" + std::to_string(code) + ")"; };
    const std::string number =
        "WITH RECURSIVE n(i) AS (SELECT 0 UNION ALL SELECT i + 1 FROM n WHERE i + 1 < " + std::to_string(count) + ")";
    raw.execute("DELETE FROM JMJobInfo");
    raw.execute("INSERT INTO JMJobEntity (jobId, hubCellId, clientId, appTypeId, instanceId, backupSetId, subclientId, "
                "backupLevel, destClientId) " +
                number +
                ", s AS (SELECT row_number() OVER (ORDER BY id) - 1 AS number, * FROM APP_Application "
                "WHERE appTypeId = 33) "
                "SELECT 10000000 + i, 2, clientId, appTypeId, instance, backupSet, id, 1 + i % 4, clientId "
                "FROM n JOIN s ON s.number = i % (SELECT count(*) FROM s)");
    raw.execute("INSERT INTO JMJobInfo (jobId, hubCellId, opType, userId, currentPhaseName, jobStartTime, "
                "displayState, opUsername, jobCategory, failureReason) " +
                number +
                " SELECT 10000000 + i, 2, 4, 1, CASE WHEN i % 4 = 0 THEN 'Archive Index' ELSE 'Scan' END, 1700000000 + "
                "i, 1 + i % 5, 'user-' || (i % 5000), 1, CASE WHEN i % 3 = 0 THEN '67109199' || " +
                character('\r') + " || 'no path to the \"media\" of library ' || (i % 90) || " + character('\n') +
                " || '318767156' || " + character('\r') + " || 'try again\\later & look' || " + character('\n') +
                " ELSE NULL END FROM n");
}

/// A hub database with running jobs.
template <class Raw> struct Place {
    std::string url;
    std::string options; ///< of the library's URL
    int jobs;
};
template <class Raw> using Places = std::vector<Place<Raw>>;

template <class Raw> class JobCalls {
  public:
    JobCalls(Rounds& rounds, const Places<Raw>& places, std::string where)
        : rounds_(rounds), places_(places), where_(std::move(where)) {}
    ~JobCalls() { HubDatabase::disconnect(); }
    JobCalls(const JobCalls&) = delete;
    JobCalls& operator=(const JobCalls&) = delete;

    void compare() {
        for (const auto& place : places_)
            rounds_.compare(where_ + ", jobs: " + std::to_string(place.jobs), "jobs-" + std::to_string(place.jobs),
                            {entry("raw", place, &raw), entry("library", place, &library), entry("SOCI", place, &soci)},
                            shareOf(place));
        compareSizes("library", &library);
        compareSizes("raw", &raw);
    }

  private:
    using Make = std::unique_ptr<JobCaller> (*)(const Place<Raw>&);

    static std::unique_ptr<JobCaller> raw(const Place<Raw>& place) { return std::make_unique<RawJobs<Raw>>(place.url); }
    static std::unique_ptr<JobCaller> library(const Place<Raw>& /*place*/) { return std::make_unique<LibraryJobs>(); }
    static std::unique_ptr<JobCaller> soci(const Place<Raw>& place) {
        return sociJobs(place.url, procedureCall<Raw>());
    }

    static int shareOf(const Place<Raw>& place) {
        constexpr int kMany = 10'000;
        return place.jobs > kMany ? 9 : place.jobs == kMany ? 3 : 1;
    }

    void compareSizes(const std::string& name, Make make) {
        std::vector<Rounds::Entry> entries;
        for (const auto& place : places_)
            entries.push_back(entry(std::to_string(place.jobs) + " jobs", place, make));
        rounds_.compare(where_ + ", " + name + " by number of jobs", name + "-by-size", entries,
                        shareOf(places_.back()), entries.front().name);
    }

    Rounds::Entry entry(std::string name, const Place<Raw>& place, Make make) {
        // Made when it first runs, so that a filter spares what it leaves out.
        return {std::move(name), [this, &place, make, made = std::shared_ptr<JobCaller>()](State& state) mutable {
                    connect(place);
                    LibraryJobs library;
                    if (made == nullptr) {
                        made = make(place);
                        requireSame(library, *made);
                    }
                    measure(state, place, *made);
                }};
    }

    static void measure(State& state, const Place<Raw>& place, JobCaller& caller) {
        const Usage usage(isServer(place.url), dynamic_cast<LibraryJobs*>(&caller) != nullptr);
        while (state.KeepRunningBatch(place.jobs)) {
            _VSDK_JobSummary summary;
            if (caller.call(summary).size() != static_cast<std::size_t>(place.jobs))
                state.SkipWithError("another number of jobs");
        }
        usage.tell(state);
    }

    /// Connects the library, when it is not yet, and lets it call once, so that it is warm.
    void connect(const Place<Raw>& place) {
        if (connected_ == &place)
            return;
        std::string error;
        if (HubDatabase::connect(place.options.empty() ? place.url : withOption(place.url, place.options), error) != 0)
            throw std::runtime_error(error);
        connected_ = &place;
        LibraryJobs jobs;
        _VSDK_JobSummary summary;
        const auto before = HubDatabase::statistics();
        (void)jobs.call(summary);
        if (HubDatabase::statistics().statementsExecuted != before.statementsExecuted + 1)
            throw std::runtime_error("a list of one category is not one call of the procedure");
    }

    Rounds& rounds_;
    const Places<Raw>& places_;
    std::string where_;
    const Place<Raw>* connected_ = nullptr;
};

void onSqlite(const std::vector<int>& sizes, int clients, Rounds& rounds) {
    std::cout << "SQLite " << sqlite3_libversion() << std::endl;
    for (const std::string journal : {"truncate", "wal"}) {
        Places<RawSqlite> places;
        for (const int jobs : sizes) {
            places.push_back({generatedFile(clients, "jobs" + std::to_string(jobs),
                                            [jobs](const std::string& made) { addJobs<RawSqlite>(made, jobs); }),
                              "journal=" + journal, jobs});
            RawSqlite(places.back().url).execute("PRAGMA journal_mode=" + journal);
        }
        JobCalls<RawSqlite>(rounds, places, "SQLite, " + journal).compare();
    }
}

void onPostgres(const std::vector<int>& sizes, int clients, Rounds& rounds) {
    const PrivateServer server;
    Places<RawPostgres> places;
    for (const int jobs : sizes) {
        const std::string name = "jobs" + std::to_string(jobs);
        std::string url = server.url();
        RawPostgres(url).execute("CREATE DATABASE " + name);
        url.replace(url.find("/postgres?"), sizeof "/postgres" - 1, "/" + name);
        generateEstate(url, clients);
        addJobs<RawPostgres>(url, jobs);
        RawPostgres(url).execute("VACUUM ANALYZE");
        places.push_back({url, "", jobs});
    }
    std::cout << "PostgreSQL " << RawPostgres(server.url()).serverVersion() << ", libpq " << PQlibVersion()
              << std::endl;
    JobCalls<RawPostgres>(rounds, places, "PostgreSQL").compare();
}

void run(const BenchOptions& options, Rounds& rounds) {
    std::vector<int> sizes;
    for (const int part : {1000, 100, 10, 1})
        sizes.push_back(std::max(options.clients / part, 1));
    const int clients = std::max(options.clients / 10, 1);
    const std::string only = options.value(kEngine);
    if (only.empty() || only == "sqlite")
        onSqlite(sizes, clients, rounds);
    if (only.empty() || only == "postgresql")
        onPostgres(sizes, clients, rounds);
}

} // namespace

int main(int argc, char** argv) {
    return benchMain({argv, static_cast<std::size_t>(argc)}, {kEngine}, run);
}
