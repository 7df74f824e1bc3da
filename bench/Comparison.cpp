#include "Comparison.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <random>
#include <stdexcept>

#include "AccessorReader.h"
#include "Estate.h"
#include "Usage.h"
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
    const MemoryPeak peak(onServer);
    const Usage usage(onServer, isLibrary(reader));
    while (state.KeepRunningBatch(count)) {
        if (reader.readAll() != count) {
            state.SkipWithError("the rows were not all read");
            break;
        }
    }
    usage.tell(state);
    peak.tell(state);
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

} // namespace

Comparison::~Comparison() {
    HubDatabase::disconnect();
}

void Comparison::connect(const std::string& url) {
    std::string error;
    if (HubDatabase::connect(url, error) != 0)
        throw std::runtime_error(error);
    onServer_ = isServer(url);
    ids_.clear();
    AccessorReader(AccessorReader::Mode::kOlder).eachRow([this](const APP_Client_t& row) { ids_.push_back(row.id); });
    if (ids_.empty())
        throw std::runtime_error("the database has no clients");
    std::shuffle(ids_.begin(), ids_.end(), std::mt19937(1));
}

void Comparison::run(const std::vector<Contender>& contenders, const char* library) {
    const auto pointReads = [&](bool inTransaction) {
        std::vector<Rounds::Entry> entries;
        for (const auto& contender : contenders)
            entries.push_back({contender.name, [this, &reader = contender.reader, inTransaction,
                                                walk = Walk(ids_)](State& state) mutable {
                                   measurePointReads(state, reader, walk, inTransaction, onServer_);
                               }});
        return entries;
    };
    std::vector<Rounds::Entry> iterations;
    for (const auto& contender : contenders)
        if (contender.readsAll)
            iterations.push_back({contender.name, [this, &reader = contender.reader](State& state) {
                                      measureIteration(state, reader, static_cast<int>(ids_.size()), onServer_);
                                  }});
    rounds_.compare("Point read of 24 columns by id", "point", pointReads(false));
    rounds_.compare("The same within one transaction", "within", pointReads(true));
    rounds_.compare("Iteration over all rows, per row", "iteration", iterations);
    rounds_.compare("FetchAppTypes(true), per client", "agents",
                    {{library, [this](State& state) { measureLists(state, ids_, onServer_); }}}, 5);
}
