// What fetching lists of entities costs, against the same lists fetched by hand, in several ways, and through SOCI; and
// how lists of many elements do: their memory, a writer beside them, many threads.
//
//   catalogue_bench [--clients=N] [--rounds=N] [--engine=sqlite|postgresql] [--large] [--benchmark_...]
//
//   --clients=N  the size of the generated estates, 100000 by default; the lists of subclients have a tenth
//   --rounds=N   how often each comparison is measured, 45 by default; the slower ones less often
//   --engine=E   only this one; by default SQLite, then PostgreSQL on a server of the program's own
//   --large      also a list of ten times as many clients, whose estate takes minutes to generate
#include <malloc.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <future>
#include <iostream>
#include <memory>
#include <optional>
#include <stdexcept>
#include <thread>

#include "BackupSets.h"
#include "Db/Tbl/GetClientAndOSInfo.h"
#include "DelayingProxy.h"
#include "Estate.h"
#include "ListReader.h"
#include "PrivateServer.h"
#include "RawLists.h"
#include "RawPostgres.h"
#include "RawSqlite.h"
#include "Rounds.h"
#include "SociLists.h"
#include "Usage.h"
#include "db/HubDatabase.h"
#include "db/ReadScope.h"

namespace {

using benchmark::State;
using Clock = std::chrono::steady_clock;
using Milliseconds = std::chrono::duration<double, std::milli>;

constexpr const char* kEngine = "--engine=";
constexpr const char* kLarge = "--large";
constexpr const char* kMemory = "--memory="; // of one list of a database's clients; for the program itself

class LibraryClients : public ListReader<VSDK_Client> {
  public:
    void fetch(const std::function<void(const Entities&)>& look) override {
        VSDK_ClientList list;
        look(list.FetchClients(true).elements);
    }
};

class LibrarySubclients : public ListReader<VSDK_Subclient> {
  public:
    enum class Reads { kSingle, kSets };

    explicit LibrarySubclients(const BenchBackupSet& set, Reads reads = Reads::kSets) : set_(set), reads_(reads) {}

    void fetch(const std::function<void(const Entities&)>& look) override {
        hubdb::ReadScope::enabled = reads_ == Reads::kSets;
        VSDK_SubclientList list(set_.clientId, set_.appTypeId, set_.instanceId, set_.backupSetId);
        look(list.FetchSubclients(true, false).elements);
        hubdb::ReadScope::enabled = true;
    }

  private:
    BenchBackupSet set_;
    Reads reads_;
};

template <class Entity> bool isLibrary(const ListReader<Entity>& reader) {
    return dynamic_cast<const LibraryClients*>(&reader) != nullptr ||
           dynamic_cast<const LibrarySubclients*>(&reader) != nullptr;
}

void connect(const std::string& url) {
    std::string error;
    if (HubDatabase::connect(url, error) != 0)
        throw std::runtime_error(error);
}

/// What every contender must have read. Throws std::runtime_error when it is nothing.
template <class Entity> Digest digestOf(ListReader<Entity>& reader) {
    Digest digest;
    reader.fetch([&digest](const auto& list) { digest = Digest::of(list); });
    if (digest.entities == 0)
        throw std::runtime_error("a list is empty");
    return digest;
}
Digest digestOf(const BenchBackupSet& set) {
    LibrarySubclients single(set, LibrarySubclients::Reads::kSingle);
    return digestOf(single);
}

/// Times are per element, and include the list's deletion.
template <class Entity>
void measureList(State& state, ListReader<Entity>& reader, const Digest& expected, bool onServer) {
    const Usage usage(onServer, isLibrary(reader));
    HubDatabase::clearLastFailure();
    Digest found = expected;
    while (found == expected && state.KeepRunningBatch(static_cast<benchmark::IterationCount>(expected.entities)))
        reader.fetch([&](const auto& list) {
            state.PauseTiming();
            found = Digest::of(list);
            state.ResumeTiming();
        });
    if (found != expected) {
        std::string words;
        HubDatabase::lastFailure(words);
        state.SkipWithError(("another list than the library's single reads give, of " + std::to_string(found.entities) +
                             " instead of " + std::to_string(expected.entities) + ": " + words)
                                .c_str());
    }
    usage.tell(state);
}

/// Inserts single rows, each a transaction of its own, a millisecond after the one before, for as long as it lives.
class Writer {
  public:
    explicit Writer(const std::string& url) : raw_(url) {
        raw_.execute("PRAGMA busy_timeout=60000");
        raw_.execute("PRAGMA journal_mode=TRUNCATE"); // as the library's writers
        writing_ = std::async(std::launch::async, [this] { write(); });
        while (writes_ == 0 && writing_.wait_for(std::chrono::milliseconds(1)) == std::future_status::timeout)
            ;
    }
    ~Writer() { ending_ = true; }
    Writer(const Writer&) = delete;
    Writer& operator=(const Writer&) = delete;
    /// Ends it. How long a row took at most.
    Milliseconds longest() {
        ending_ = true;
        writing_.get();
        raw_.execute("DELETE FROM ZXGlobalParam WHERE name='benchmark'");
        return longest_;
    }

  private:
    void write() {
        while (!ending_) {
            const auto begin = Clock::now();
            raw_.execute("INSERT INTO ZXGlobalParam(name, value) VALUES ('benchmark', '1')");
            longest_ = std::max<Milliseconds>(longest_, Clock::now() - begin);
            ++writes_;
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }

    RawSqlite raw_;
    std::atomic<bool> ending_ = false;
    std::atomic<int> writes_ = 0;
    Milliseconds longest_{};
    std::future<void> writing_;
};

/// `url` names an estate of options.clients clients with the sets; `ofSize` an estate of another size.
template <class Raw> class Catalogue {
  public:
    Catalogue(const BenchOptions& options, Rounds& rounds, const BenchBackupSets& sets, std::string url,
              std::function<std::string(int)> ofSize)
        : options_(options), rounds_(rounds), sets_(sets), url_(std::move(url)), ofSize_(std::move(ofSize)) {
        connect(url_);
    }
    ~Catalogue() { HubDatabase::disconnect(); }
    Catalogue(const Catalogue&) = delete;
    Catalogue& operator=(const Catalogue&) = delete;

    void compareClients() {
        const auto library = std::make_shared<LibraryClients>();
        const Digest expected = digestOf(*library);
        rounds_.compare("FetchClients, per client", "clients",
                        {entry("raw", expected, std::make_shared<RawClients<Raw>>(url_)),
                         entry("library", expected, library),
                         entry("SOCI, kept statement", expected, sociClients(url_))},
                        3);
    }

    void compareSubclients() {
        const BenchBackupSet& set = sets_.whole;
        const Digest expected = digestOf(set);
        std::vector<Rounds::Entry> entries{
            entry("raw", expected, std::make_shared<SubclientsOneByOne<RawSource<Raw>>>(set, url_)),
            entry("raw, by sets", expected, std::make_shared<SubclientsBySets<Raw>>(set, url_)),
            entry("raw, joined", expected, std::make_shared<Joined>(set, url_, Joined::Columns::kAll)),
            entry("raw, joined, needed columns", expected,
                  std::make_shared<Joined>(set, url_, Joined::Columns::kNeeded)),
            entry("SOCI, kept statements", expected, sociSubclients(set, url_, true)),
            entry("SOCI, prepared each time", expected, sociSubclients(set, url_, false)),
            entry("library, single reads", expected, std::make_shared<LibrarySubclients>(set, Reads::kSingle)),
            entry("library", expected, std::make_shared<LibrarySubclients>(set))};
        if (onServer())
            entries.insert(entries.begin() + 2, entry("raw, by sets, pipelined", expected,
                                                      std::make_shared<SubclientsBySets<Raw>>(set, url_, true)));
        rounds_.compare("FetchSubclients, per subclient", "subclients", entries, 5);
    }

    /// The same with a network between. What reads one by one reads the smallest set.
    void compareAtDistance(const std::string& url) {
        const BenchBackupSet& few = sets_.fiftieth;
        const BenchBackupSet& many = sets_.whole;
        const Digest small = digestOf(few);
        const Digest whole = digestOf(many);
        connect(url);
        for (const Reads reads : {Reads::kSingle, Reads::kSets}) { // so that the connection is warm
            LibrarySubclients warm(few, reads);
            digestOf(warm);
        }
        rounds_.compare(
            "The same at 1 ms per round trip", "distance",
            {entry("raw", small, std::make_shared<SubclientsOneByOne<RawSource<Raw>>>(few, url)),
             entry("raw, by sets", whole, std::make_shared<SubclientsBySets<Raw>>(many, url)),
             entry("raw, by sets, pipelined", whole, std::make_shared<SubclientsBySets<Raw>>(many, url, true)),
             entry("raw, joined", whole, std::make_shared<Joined>(many, url, Joined::Columns::kAll)),
             entry("library, single reads", small, std::make_shared<LibrarySubclients>(few, Reads::kSingle)),
             entry("library", whole, std::make_shared<LibrarySubclients>(many))},
            9);
        connect(url_);
    }

    void compareSizes() {
        std::vector<Rounds::Entry> entries;
        std::vector<int> sizes{options_.clients / 100, options_.clients / 10, options_.clients};
        if (options_.has(kLarge))
            sizes.push_back(options_.clients * 10);
        const auto clients = std::make_shared<LibraryClients>();
        std::string url;
        for (const int size : sizes) {
            url = ofSize_(size);
            connect(url);
            const auto same = entry(std::to_string(size), digestOf(*clients), clients);
            entries.push_back({same.name, [url, same, clients](State& state) {
                                   connect(url);
                                   (void)digestOf(*clients); // so that the connection is warm
                                   same.measure(state);
                               }});
        }
        rounds_.compare("FetchClients by size, per client", "clients-by-size", entries, 5, entries[0].name);
        connect(url_);
        std::cout << std::endl;
        runProgram({std::filesystem::read_symlink("/proc/self/exe"), kMemory + url});

        entries.clear();
        for (const auto& set : {sets_.tenth, sets_.whole, sets_.tenfold})
            entries.push_back(
                entry(std::to_string(set.subclients), digestOf(set), std::make_shared<LibrarySubclients>(set)));
        rounds_.compare("FetchSubclients by size, per subclient", "subclients-by-size", entries, 9, entries[0].name);
    }

    void compareWithWriter() {
        const auto besideWriter = [this](const Rounds::Entry& entry) {
            return Rounds::Entry{entry.name, [this, entry, longest = Milliseconds()](State& state) mutable {
                                     Writer writer(url_);
                                     entry.measure(state);
                                     longest = std::max(longest, writer.longest());
                                     state.counters["wait ms"] = longest.count();
                                 }};
        };
        const auto clients = std::make_shared<LibraryClients>();
        const auto& set = sets_.tenfold;
        rounds_.compare(
            "Lists beside a writer, per element", "writer",
            {besideWriter(entry("FetchClients", digestOf(*clients), clients)),
             besideWriter(entry("FetchSubclients", digestOf(set), std::make_shared<LibrarySubclients>(set)))},
            9);
    }

    void compareThreads() {
        constexpr int kThreads = 8;
        const Digest expected = digestOf(sets_.whole);
        connect(withOption(url_, "pool=2"));
        rounds_.compare("8 threads on a pool of 2, per subclient", "threads",
                        {{"library",
                          [this, expected](State& state) {
                              const auto all = static_cast<benchmark::IterationCount>(kThreads * expected.entities);
                              bool same = true;
                              while (same && state.KeepRunningBatch(all)) {
                                  std::vector<std::future<Digest>> digests;
                                  for (int i = 0; i < kThreads; ++i)
                                      digests.push_back(std::async(std::launch::async, [this] {
                                          LibrarySubclients reader(sets_.whole);
                                          return digestOf(reader);
                                      }));
                                  for (auto& digest : digests)
                                      same = digest.get() == expected && same;
                              }
                              if (!same)
                                  state.SkipWithError("a thread's list is another");
                          }}},
                        9);
        connect(url_);
    }

  private:
    using Reads = LibrarySubclients::Reads;
    using Joined = SubclientsJoined<Raw>;

    bool onServer() const { return isServer(url_); }

    template <class Reader> Rounds::Entry entry(std::string name, const Digest& expected, Reader reader) const {
        return {std::move(name), [reader = std::shared_ptr(std::move(reader)), expected, onServer = onServer()](
                                     State& state) { measureList(state, *reader, expected, onServer); }};
    }

    const BenchOptions& options_;
    Rounds& rounds_;
    const BenchBackupSets& sets_;
    std::string url_;
    std::function<std::string(int)> ofSize_;
};

/// In a program that has done nothing else: memory that was used before would be used again and not be seen. With the
/// database's own cache filled, which belongs to the connection and not to the list.
void measureMemory(const std::string& url) {
    constexpr double kMegabyte = 1 << 20;
    const auto heap = [] {
        const auto use = mallinfo2();
        return static_cast<double>(use.uordblks + use.hblkhd) / kMegabyte;
    };
    connect(url);
    GetClientAndOSInfo rows(nullptr);
    rows.setValues(0);
    if (rows.openCursor() == 0)
        while (rows.fetchCursor(false) == 0)
            ;
    rows.closeCursor();
    const double before = heap();
    const MemoryPeak peak;
    VSDK_ClientList list;
    list.FetchClients(true);
    const double most = peak.megabytes();
    const double objects = heap() - before;
    std::cout << "FetchClients of " << list.elements.size() << " clients: peak " << most << " MB, its objects "
              << objects << " MB, ratio " << most / objects << std::endl;
    HubDatabase::disconnect();
}

void onSqlite(const BenchOptions& options, Rounds& rounds, const BenchBackupSets& sets) {
    const std::string url =
        generatedFile(options.clients, "catalogue", [&sets](const std::string& made) { addBackupSets(made, sets); });
    std::cout << url << ", SQLite " << sqlite3_libversion() << std::endl;
    Catalogue<RawSqlite> catalogue(options, rounds, sets, url, [](int clients) { return generatedFile(clients); });
    catalogue.compareClients();
    catalogue.compareSubclients();
    catalogue.compareSizes();
    catalogue.compareWithWriter();
    catalogue.compareThreads();
}

void onPostgres(const BenchOptions& options, Rounds& rounds, const BenchBackupSets& sets) {
    const PrivateServer server;
    const std::string& url = server.url();
    generateEstate(url, options.clients);
    addBackupSets(url, sets);
    RawPostgres(url).execute("VACUUM ANALYZE");
    const auto ofSize = [&](int clients) {
        if (clients == options.clients)
            return url;
        const std::string name = "estate" + std::to_string(clients);
        std::string sized = url;
        sized.replace(sized.find("/postgres?"), sizeof "/postgres" - 1, "/" + name);
        RawPostgres(url).execute("CREATE DATABASE " + name);
        generateEstate(sized, clients);
        RawPostgres(sized).execute("VACUUM ANALYZE");
        return sized;
    };
    std::cout << "PostgreSQL " << RawPostgres(url).serverVersion() << ", libpq " << PQlibVersion() << std::endl;
    const DelayingProxy proxy(url, std::chrono::microseconds(500));
    Catalogue<RawPostgres> catalogue(options, rounds, sets, url, ofSize);
    catalogue.compareClients();
    catalogue.compareSubclients();
    catalogue.compareAtDistance(proxy.url());
    catalogue.compareSizes();
    catalogue.compareThreads();
}

void run(const BenchOptions& options, Rounds& rounds) {
    if (options.has(kMemory)) {
        measureMemory(options.value(kMemory));
        rounds.noteDone();
        return;
    }
    const BenchBackupSets sets(options.clients / 10);
    const std::string only = options.value(kEngine);
    if (only.empty() || only == "sqlite")
        onSqlite(options, rounds, sets);
    if (only.empty() || only == "postgresql")
        onPostgres(options, rounds, sets);
}

} // namespace

int main(int argc, char** argv) {
    return benchMain({argv, static_cast<std::size_t>(argc)}, {kEngine, kLarge, kMemory}, run);
}
