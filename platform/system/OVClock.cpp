#include "system/OVClock.h"

#include <atomic>
#include <ctime>

namespace {

std::int64_t systemNow() {
    return std::time(nullptr);
}

std::atomic<OVClock::Now> clockSource{&systemNow};

} // namespace

std::int64_t OVClock::now() {
    return clockSource.load(std::memory_order_relaxed)();
}

void OVClock::set(Now source) {
    clockSource.store(source == nullptr ? &systemNow : source, std::memory_order_relaxed);
}
