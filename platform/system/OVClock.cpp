#include "system/OVClock.h"

#include <atomic>
#include <chrono>
#include <ctime>
#include <thread>

namespace {

std::int64_t systemNow() {
    return std::time(nullptr);
}

void systemSleep(int milliseconds) {
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

std::atomic<OVClock::Now> clockSource{&systemNow};
std::atomic<OVClock::Sleep> sleepSource{&systemSleep};

} // namespace

std::int64_t OVClock::now() {
    return clockSource.load(std::memory_order_relaxed)();
}

void OVClock::set(Now source) {
    clockSource.store(source == nullptr ? &systemNow : source, std::memory_order_relaxed);
}

void OVClock::sleep(int milliseconds) {
    sleepSource.load(std::memory_order_relaxed)(milliseconds);
}

void OVClock::setSleep(Sleep sleeper) {
    sleepSource.store(sleeper == nullptr ? &systemSleep : sleeper, std::memory_order_relaxed);
}
