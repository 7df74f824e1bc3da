// What reading rows costs through the accessors, against the same reads written by hand and through SOCI.
//
//   rows_bench [--clients=N] [--database=FILE] [--rounds=N] [--benchmark_...]
//
//   --clients=N      the size of the generated estate, 100000 by default
//   --database=FILE  an existing hub database instead
//   --rounds=N       how often each kind of read is measured, 45 by default, the slowest a fifth as often. In a round
//                    the contenders run one after the other, so that what else the machine does hits all alike.
#include <benchmark/benchmark.h>

#include <charconv>
#include <exception>
#include <iostream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Allocations.h"
#include "Db/Tbl/APP_Client.h"
#include "Estate.h"
#include "RatioTable.h"
#include "RawReader.h"
#include "SociReader.h"
#include "db/DBtran.h"
#include "db/HubDatabase.h"
#include "entities/VSDKAppTypeInfo.h"

namespace {

using benchmark::State;

/// What is measured besides the library, on connections that stay open and warm as the library's does.
struct Contestants {
    std::vector<int> ids; ///< of all clients, in random order
    RawReader& raw;
    SociReader& soci;
};

/// The clients that are read. Every contender goes its own way round, on from where it stopped.
class Walk {
  public:
    explicit Walk(const std::vector<int>& ids) : ids_(ids) {}
    int next() {
        at_ = at_ + 1 < ids_.size() ? at_ + 1 : 0;
        return ids_[at_];
    }

  private:
    const std::vector<int>& ids_;
    std::size_t at_ = 0;
};

/// What the operations of a measurement used up, each on the average.
class Usage {
  public:
    void allocationsTo(State& state) const { tell(state, "allocations", allocationsOfThread() - allocations_); }
    void allTo(State& state) const {
        const auto now = HubDatabase::statistics();
        allocationsTo(state);
        tell(state, "executed", now.statementsExecuted - statistics_.statementsExecuted);
        tell(state, "prepared", now.statementsPrepared - statistics_.statementsPrepared);
    }

  private:
    static void tell(State& state, const char* name, std::uint64_t count) {
        state.counters[name] = benchmark::Counter(static_cast<double>(count), benchmark::Counter::kAvgIterations);
    }

    HubDatabaseStatistics statistics_ = HubDatabase::statistics();
    std::uint64_t allocations_ = allocationsOfThread();
};

/// Binds values as typed objects while it lives.
class NewerMode {
  public:
    NewerMode() { DBtable::b_newDBBase = true; }
    ~NewerMode() { DBtable::b_newDBBase = false; }
    NewerMode(const NewerMode&) = delete;
    NewerMode& operator=(const NewerMode&) = delete;
};

// ---- one client by its id: a function answers the id of the row that it read

template <class ReadOne> void measureReads(State& state, Walk& walk, ReadOne readOne) {
    for (auto _ : state) {
        const int id = walk.next();
        if (readOne(id) != id) {
            state.SkipWithError("a client was not read");
            break;
        }
    }
}

int readByAccessor(int id, DBtran* transaction) {
    APP_Client client(transaction);
    client.setIsolationType(4);
    client.setWhere("id=%d", id);
    return getOneRow(&client, false, -1, 0) == 0 ? client.getDataPtr()->id : 0;
}

/// A reader's transaction while it lives, if it is asked for.
template <class Reader> class Within {
  public:
    Within(bool asked, Reader& reader) : reader_(asked ? &reader : nullptr) {
        if (reader_ != nullptr)
            reader_->execute("BEGIN");
    }
    ~Within() {
        if (reader_ != nullptr)
            reader_->execute("COMMIT");
    }
    Within(const Within&) = delete;
    Within& operator=(const Within&) = delete;

  private:
    Reader* reader_;
};

void registerPointReads(const Contestants& with, const std::string& group, bool inTransaction) {
    const auto add = [&](const char* contender, auto measure) {
        benchmark::RegisterBenchmark((group + "/" + contender).c_str(), measure);
    };
    const auto measureAccessor = [inTransaction](State& state, Walk& walk) {
        DBtran transaction(true);
        if (inTransaction && transaction.startTran() != 0)
            state.SkipWithError("no transaction");
        const Usage usage;
        measureReads(state, walk, [&](int id) { return readByAccessor(id, inTransaction ? &transaction : nullptr); });
        usage.allTo(state);
    };
    add("raw", [&with, inTransaction, walk = Walk(with.ids)](State& state) mutable {
        const Within within(inTransaction, with.raw);
        const Usage usage;
        measureReads(state, walk, [&with](int id) {
            APP_Client_t row{}; // empty for each read, as an accessor's is
            const bool found = with.raw.readOne(id, row);
            benchmark::DoNotOptimize(row);
            return found ? row.id : 0;
        });
        usage.allocationsTo(state);
    });
    add("accessor", [measureAccessor, walk = Walk(with.ids)](State& state) mutable { measureAccessor(state, walk); });
    add("accessor, newer mode", [measureAccessor, walk = Walk(with.ids)](State& state) mutable {
        const NewerMode mode;
        measureAccessor(state, walk);
    });
    add("SOCI, kept statement", [&with, inTransaction, walk = Walk(with.ids)](State& state) mutable {
        const Within within(inTransaction, with.soci);
        const Usage usage;
        measureReads(state, walk, [&with](int id) { return with.soci.readOneKept(id); });
        usage.allocationsTo(state);
        with.soci.endKeptRead();
    });
    add("SOCI, prepared each time", [&with, inTransaction, walk = Walk(with.ids)](State& state) mutable {
        const Within within(inTransaction, with.soci);
        const Usage usage;
        measureReads(state, walk, [&with](int id) { return with.soci.readOneFresh(id); });
        usage.allocationsTo(state);
    });
}

// ---- all clients: a function answers how many it read; times are per row

template <class ReadAll> void measureRows(State& state, int count, ReadAll readAll) {
    while (state.KeepRunningBatch(count)) {
        if (readAll() != count) {
            state.SkipWithError("the rows were not all read");
            break;
        }
    }
}

int iterateByAccessor() {
    APP_Client clients(nullptr);
    clients.setIsolationType(4);
    int count = 0;
    int started = 0;
    while (getNextRow(&clients, &started, -1, 0) == 0)
        ++count;
    return count;
}

void registerIterations(const Contestants& with, const std::string& group) {
    const auto add = [&](const char* contender, auto measure) {
        benchmark::RegisterBenchmark((group + "/" + contender).c_str(), measure);
    };
    const int count = static_cast<int>(with.ids.size());
    add("raw", [&with, count](State& state) {
        const Usage usage;
        measureRows(state, count, [&with] {
            int rows = 0;
            const bool read = with.raw.readAll([&rows](const APP_Client_t& row) {
                benchmark::DoNotOptimize(row);
                ++rows;
            });
            return read ? rows : 0;
        });
        usage.allocationsTo(state);
    });
    add("accessor", [count](State& state) {
        const Usage usage;
        measureRows(state, count, iterateByAccessor);
        usage.allTo(state);
    });
    add("accessor, newer mode", [count](State& state) {
        const NewerMode mode;
        const Usage usage;
        measureRows(state, count, iterateByAccessor);
        usage.allTo(state);
    });
    add("SOCI, kept statement", [&with, count](State& state) {
        const Usage usage;
        measureRows(state, count, [&with] { return with.soci.readAll(); });
        usage.allocationsTo(state);
    });
}

// ---- the agents of every client, with name and status: times are per client

void registerLists(const Contestants& with, const std::string& group) {
    benchmark::RegisterBenchmark((group + "/library").c_str(), [&with](State& state) {
        const Usage usage;
        std::size_t agents = 0;
        while (state.KeepRunningBatch(static_cast<benchmark::IterationCount>(with.ids.size()))) {
            for (const int id : with.ids) {
                VSDK_AppTypeList list(id);
                agents += list.FetchAppTypes(true).elements.size();
            }
        }
        usage.allTo(state);
        std::string words;
        if (agents == 0 || HubDatabase::lastFailure(words) != 0)
            state.SkipWithError(("agents were not read " + words).c_str());
    });
}

struct Options {
    int clients = 100'000;
    int rounds = 45;
    std::string database; ///< empty: generated

    bool parse(const std::vector<std::string_view>& arguments) {
        for (const auto argument : arguments) {
            const auto value = argument.substr(argument.find('=') + 1);
            const auto number = [value](int& out) {
                const char* const end = value.data() + value.size();
                return std::from_chars(value.data(), end, out).ptr == end && out > 0;
            };
            if (argument.starts_with("--database="))
                database = value;
            else if (!(argument.starts_with("--clients=") && number(clients)) &&
                     !(argument.starts_with("--rounds=") && number(rounds)))
                return false;
        }
        return true;
    }
};

int run(const Options& options) {
    const std::string file = options.database.empty() ? generatedEstate(options.clients) : options.database;
    std::string error;
    if (HubDatabase::connect("sqlite:" + file, error) != 0) {
        std::cerr << error << '\n';
        return 1;
    }
    RawReader raw(file);
    SociReader soci(file);
    const Contestants with{clientIds(raw), raw, soci};
    std::cout << file << ": " << with.ids.size() << " clients, SQLite " << sqlite3_libversion() << std::endl;
    // One kind of read after the other: another's rows would push this one's out of the library's cache.
    bool failed = false;
    bool measured = false;
    const auto measure = [&](const char* title, int rounds, const auto& registerContenders) {
        benchmark::ClearRegisteredBenchmarks();
        registerContenders();
        RatioTable table(title);
        for (int round = 0; round < rounds && !table.failed(); ++round)
            if (benchmark::RunSpecifiedBenchmarks(&table) == 0)
                return; // the caller's filter left none
        table.print(std::cout);
        measured = true;
        failed = failed || table.failed();
    };
    const int rounds = options.rounds;
    measure("Point read of 24 columns by id", rounds, [&with] { registerPointReads(with, "point", false); });
    measure("The same within one transaction", rounds, [&with] { registerPointReads(with, "within", true); });
    measure("Iteration over all rows, per row", rounds, [&with] { registerIterations(with, "iteration"); });
    measure("FetchAppTypes(true), per client", (rounds + 4) / 5, [&with] { registerLists(with, "agents"); });
    HubDatabase::disconnect();
    return measured && !failed ? 0 : 1;
}

} // namespace

int main(int argc, char** argv) {
    // A round is to be over before the machine's load changes. What the caller says comes later and counts.
    std::string minTime = "--benchmark_min_time=0.03";
    std::vector<char*> arguments{argv[0], minTime.data()};
    arguments.insert(arguments.end(), argv + 1, argv + argc);
    int count = static_cast<int>(arguments.size());
    arguments.push_back(nullptr);
    benchmark::Initialize(&count, arguments.data());
    Options options;
    if (!options.parse({arguments.begin() + 1, arguments.begin() + count})) {
        std::cerr << "usage: " << argv[0] << " [--clients=N] [--database=FILE] [--rounds=N] [--benchmark_...]\n";
        return 2;
    }
    try {
        return run(options);
    } catch (const std::exception& failure) {
        std::cerr << failure.what() << '\n';
        return 1;
    }
}
