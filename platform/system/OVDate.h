#pragma once

#include <cstdint>

#include "system/OVClock.h"

/// A point in time, in Unix seconds, UTC. A value.
class OVDate {
  public:
    /// Now, as OVClock tells it.
    OVDate() : seconds_(OVClock::now()) {}
    explicit OVDate(std::int64_t seconds) : seconds_(seconds) {}

    std::int64_t getSeconds() const { return seconds_; }

  private:
    std::int64_t seconds_;
};
