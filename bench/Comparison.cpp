#include "Comparison.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <charconv>
#include <exception>
#include <iostream>
#include <random>
#include <stdexcept>
#include <string_view>

#include "AccessorReader.h"
#include "Counts.h"
#include "RatioTable.h"
#include "db/HubDatabase.h"
#include "entities/VSDKAppTypeInfo.h"

namespace {

using benchmark::State;
using Ids = std::vector<int>;

/// The clients that are read. Every contender goes its own way round, on from where it stopped.
class Walk {
  public:
    explicit Walk(const Ids& ids) : ids_(ids) {}
    int next() {
        at_ = at_ + 1 < ids_.size() ? at_ + 1 : 0;
        return ids_[at_];
    }

  private:
    const Ids& ids_;
    std::size_t at_ = 0;
};

/// What the operations of a measurement used up, each on the average.
class Usage {
  public:
    Usage(bool onServer, bool byLibrary) : onServer_(onServer), byLibrary_(byLibrary) {}

    void tell(State& state) const {
        const auto now = HubDatabase::statistics();
        const auto roundTrips = roundTripsOfThread() - roundTrips_;
        tell(state, "allocations", allocationsOfThread() - allocations_);
        if (onServer_)
            tell(state, "round trips", roundTrips);
        if (!byLibrary_)
            return;
        tell(state, "executed", now.statementsExecuted - statistics_.statementsExecuted);
        tell(state, "prepared", now.statementsPrepared - statistics_.statementsPrepared);
        if (now.roundTrips - statistics_.roundTrips != roundTrips)
            state.SkipWithError("the library counts other round trips than were made");
    }

  private:
    static void tell(State& state, const char* name, std::uint64_t count) {
        state.counters[name] = benchmark::Counter(static_cast<double>(count), benchmark::Counter::kAvgIterations);
    }

    bool onServer_;
    bool byLibrary_;
    HubDatabaseStatistics statistics_ = HubDatabase::statistics();
    std::uint64_t allocations_ = allocationsOfThread();
    std::uint64_t roundTrips_ = roundTripsOfThread();
};

bool isLibrary(const Reader& reader) {
    return dynamic_cast<const AccessorReader*>(&reader) != nullptr;
}

void measurePointReads(State& state, Reader& reader, Walk& walk, bool inTransaction, bool onServer) {
    reader.begin(inTransaction);
    const Usage usage(onServer, isLibrary(reader));
    for (auto _ : state) {
        const int id = walk.next();
        if (reader.readOne(id) != id) {
            state.SkipWithError("a client was not read");
            break;
        }
    }
    usage.tell(state);
    reader.end();
}

/// Times are per row.
void measureIteration(State& state, Reader& reader, int count, bool onServer) {
    reader.begin(false);
    const bool peakIsKnown = onServer && forgetMemoryPeak();
    const Usage usage(onServer, isLibrary(reader));
    while (state.KeepRunningBatch(count)) {
        if (reader.readAll() != count) {
            state.SkipWithError("the rows were not all read");
            break;
        }
    }
    usage.tell(state);
    if (peakIsKnown) {
        constexpr double kMegabyte = 1 << 20;
        state.counters["peak MB"] = static_cast<double>(memoryPeak()) / kMegabyte;
    }
    reader.end();
}

/// The agents of every client, with name and status: times are per client.
void measureLists(State& state, const Ids& ids, bool onServer) {
    const Usage usage(onServer, true);
    std::size_t agents = 0;
    while (state.KeepRunningBatch(static_cast<benchmark::IterationCount>(ids.size()))) {
        for (const int id : ids) {
            VSDK_AppTypeList list(id);
            agents += list.FetchAppTypes(true).elements.size();
        }
    }
    usage.tell(state);
    std::string words;
    if (agents == 0 || HubDatabase::lastFailure(words) != 0)
        state.SkipWithError(("agents were not read " + words).c_str());
}

bool parse(std::span<char*> arguments, const std::string& databaseOption, Comparison::Options& options) {
    return std::ranges::all_of(arguments, [&](std::string_view argument) {
        const auto value = argument.substr(argument.find('=') + 1);
        const auto number = [value](int& out) {
            const char* const end = value.data() + value.size();
            return std::from_chars(value.data(), end, out).ptr == end && out > 0;
        };
        if (argument.starts_with(databaseOption))
            options.database = value;
        return argument.starts_with(databaseOption) ||
               (argument.starts_with("--clients=") && number(options.clients)) ||
               (argument.starts_with("--rounds=") && number(options.rounds));
    });
}

} // namespace

Comparison::~Comparison() {
    HubDatabase::disconnect();
}

void Comparison::connect(const std::string& url) {
    std::string error;
    if (HubDatabase::connect(url, error) != 0)
        throw std::runtime_error(error);
    onServer_ = !url.starts_with("sqlite:");
    ids_.clear();
    AccessorReader(AccessorReader::Mode::kOlder).eachRow([this](const APP_Client_t& row) { ids_.push_back(row.id); });
    if (ids_.empty())
        throw std::runtime_error("the database has no clients");
    std::shuffle(ids_.begin(), ids_.end(), std::mt19937(1));
}

void Comparison::run(const std::vector<Contender>& contenders, const char* library) {
    // One kind of read after the other: another's rows would push this one's out of the library's cache.
    const auto compare = [&](const char* title, const std::string& group, int rounds, const auto& addTo) {
        benchmark::ClearRegisteredBenchmarks();
        addTo([&](const char* contender, auto measure) {
            benchmark::RegisterBenchmark((group + "/" + contender).c_str(), measure);
        });
        RatioTable table(title);
        for (int round = 0; round < rounds && !table.failed(); ++round)
            if (benchmark::RunSpecifiedBenchmarks(&table) == 0)
                return; // the caller's filter left none
        table.print(std::cout);
        measured_ = true;
        failed_ = failed_ || table.failed();
    };
    const auto pointReads = [&](bool inTransaction) {
        return [&, inTransaction](const auto& add) {
            for (const auto& contender : contenders)
                add(contender.name,
                    [this, &reader = contender.reader, inTransaction, walk = Walk(ids_)](State& state) mutable {
                        measurePointReads(state, reader, walk, inTransaction, onServer_);
                    });
        };
    };
    const int rounds = options_.rounds;
    compare("Point read of 24 columns by id", "point", rounds, pointReads(false));
    compare("The same within one transaction", "within", rounds, pointReads(true));
    compare("Iteration over all rows, per row", "iteration", rounds, [&](const auto& add) {
        for (const auto& contender : contenders)
            if (contender.readsAll)
                add(contender.name, [this, &reader = contender.reader](State& state) {
                    measureIteration(state, reader, static_cast<int>(ids_.size()), onServer_);
                });
    });
    compare("FetchAppTypes(true), per client", "agents", (rounds + 4) / 5,
            [&](const auto& add) { add(library, [this](State& state) { measureLists(state, ids_, onServer_); }); });
}

int comparisonMain(std::span<char*> arguments, const std::string& databaseOption,
                   const std::function<void(Comparison&)>& compare) {
    // A round is to be over before the machine's load changes. What the caller says comes later and counts.
    std::string minTime = "--benchmark_min_time=0.03";
    std::vector<char*> all{arguments[0], minTime.data()};
    all.insert(all.end(), arguments.begin() + 1, arguments.end());
    int count = static_cast<int>(all.size());
    all.push_back(nullptr);
    benchmark::Initialize(&count, all.data());
    Comparison::Options options;
    if (!parse(std::span(all).subspan(1, static_cast<std::size_t>(count) - 1), databaseOption, options)) {
        std::cerr << "usage: " << arguments[0] << " [--clients=N] [" << databaseOption
                  << "...] [--rounds=N] [--benchmark_...]\n";
        return 2;
    }
    try {
        Comparison comparison(options);
        compare(comparison);
        return comparison.succeeded() ? 0 : 1;
    } catch (const std::exception& failure) {
        std::cerr << failure.what() << '\n';
        return 1;
    }
}
