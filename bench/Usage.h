#pragma once

#include <benchmark/benchmark.h>

#include <cstdint>

#include "db/HubDatabase.h"

/// What the operations of a measurement used up, each on the average: from the object's making on, on this thread.
class Usage {
  public:
    /// Round trips are told of a server, and of the library what only it counts.
    Usage(bool onServer, bool byLibrary);

    /// Fails the measurement when the library counted other round trips than were made.
    void tell(benchmark::State& state) const;

  private:
    bool onServer_;
    bool byLibrary_;
    HubDatabaseStatistics statistics_;
    std::uint64_t allocations_;
    std::uint64_t roundTrips_;
};

/// The most memory that the process has from the object's making on, beyond what it had then.
class MemoryPeak {
  public:
    /// Not `wanted`, it tells nothing.
    explicit MemoryPeak(bool wanted = true);

    void tell(benchmark::State& state) const;
    double megabytes() const;

  private:
    bool known_;
};
