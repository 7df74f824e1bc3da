#include "Usage.h"

#include "Counts.h"

Usage::Usage(bool onServer, bool byLibrary)
    : onServer_(onServer), byLibrary_(byLibrary), statistics_(HubDatabase::statistics()),
      allocations_(allocationsOfThread()), roundTrips_(roundTripsOfThread()) {}

void Usage::tell(benchmark::State& state) const {
    const auto now = HubDatabase::statistics();
    const auto roundTrips = roundTripsOfThread() - roundTrips_;
    const auto tellOne = [&state](const char* name, std::uint64_t count) {
        state.counters[name] = benchmark::Counter(static_cast<double>(count), benchmark::Counter::kAvgIterations);
    };
    tellOne("allocations", allocationsOfThread() - allocations_);
    if (onServer_)
        tellOne("round trips", roundTrips);
    if (!byLibrary_)
        return;
    tellOne("executed", now.statementsExecuted - statistics_.statementsExecuted);
    tellOne("prepared", now.statementsPrepared - statistics_.statementsPrepared);
    tellOne("rows", now.rowsRead - statistics_.rowsRead);
    if (now.roundTrips - statistics_.roundTrips != roundTrips)
        state.SkipWithError("the library counts other round trips than were made");
}

MemoryPeak::MemoryPeak(bool wanted) : known_(wanted && forgetMemoryPeak()) {}

double MemoryPeak::megabytes() const {
    constexpr double kMegabyte = 1 << 20;
    return static_cast<double>(memoryPeak()) / kMegabyte;
}

void MemoryPeak::tell(benchmark::State& state) const {
    if (known_)
        state.counters["peak MB"] = megabytes();
}
