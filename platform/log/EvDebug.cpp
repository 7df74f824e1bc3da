#include "log/EvDebug.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <exception>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <string_view>
#include <utility>

#include "log/EvLogSink.h"

namespace {

constinit std::mutex gate;
/// The level that the sink accepts, 0 without one. Changes together with the sink, under the gate.
constinit std::atomic<int> acceptedLevel{0};

/// At process exit the log closes before the sink goes; later lines end at the level and never reach the slot.
struct Slot {
    std::shared_ptr<const EvLogSink> sink;

    ~Slot() {
        const std::lock_guard lock(gate);
        acceptedLevel = 0;
    }
};
constinit Slot slot;

thread_local bool delivering = false;

bool accepts(int level) noexcept {
    return std::max(level, kEvLogFailures) <= acceptedLevel;
}

std::shared_ptr<const EvLogSink> sinkFor(int level) {
    const std::lock_guard lock(gate);
    return accepts(level) ? slot.sink : nullptr;
}

/// The formatted text: in `room` if it fits there, else in `overflow`.
std::string_view formatted(std::span<char> room, std::string& overflow, const char* format, va_list args) {
    va_list again;
    va_copy(again, args);
    int length = format != nullptr ? std::vsnprintf(room.data(), room.size(), format, args) : -1;
    if (length >= static_cast<int>(room.size())) {
        try {
            overflow.resize(static_cast<std::size_t>(length));
            std::vsnprintf(overflow.data(), overflow.size() + 1, format, again);
        } catch (const std::exception&) {
            overflow.clear();
            length = -1;
        }
    }
    va_end(again);
    if (!overflow.empty()) {
        return overflow;
    }
    if (length < 0) {
        length = std::snprintf(room.data(), room.size(), "cannot format \"%s\"", format != nullptr ? format : "(null)");
        length = std::clamp(length, 0, static_cast<int>(room.size()) - 1);
    }
    return {room.data(), static_cast<std::size_t>(length)};
}

void deliver(int level, const char* tag, const char* format, va_list args) noexcept {
    if (delivering) {
        return;
    }
    delivering = true;
    const int callersErrno = errno;
    try {
        if (const auto sink = sinkFor(level)) {
            std::array<char, 512> room;
            std::string overflow;
            (*sink)(
                {std::max(level, kEvLogFailures), tag != nullptr ? tag : "", formatted(room, overflow, format, args)});
        }
    } catch (...) { // a log that fails must not fail what it tells of
    }
    errno = callersErrno;
    delivering = false;
}

} // namespace

void setEvLogSink(EvLogSink sink, int maxLevel) {
    std::shared_ptr<const EvLogSink> next; // holds the former sink in the end, which so goes outside the lock
    if (sink && maxLevel >= kEvLogFailures) {
        next = std::make_shared<const EvLogSink>(std::move(sink));
    }
    const std::lock_guard lock(gate);
    acceptedLevel = next ? maxLevel : 0;
    slot.sink.swap(next);
}

bool EvDebug::enabled(int level) noexcept {
    return accepts(level);
}

void EvDebug::Debug(const char* function, const char* format, ...) noexcept {
    if (!accepts(kEvLogInformation)) {
        return;
    }
    va_list args;
    va_start(args, format);
    deliver(kEvLogInformation, function, format, args);
    va_end(args);
}

void EvDebug::Error(const char* function, const char* format, ...) noexcept {
    if (!accepts(kEvLogFailures)) {
        return;
    }
    va_list args;
    va_start(args, format);
    deliver(kEvLogFailures, function, format, args);
    va_end(args);
}

void EvDebug::DebugLvl(const char* function, int level, const char* format, ...) noexcept {
    if (!accepts(level)) {
        return;
    }
    va_list args;
    va_start(args, format);
    deliver(level, function, format, args);
    va_end(args);
}

void log_error(const char* file, int line, const char* format, ...) noexcept {
    if (!accepts(kEvLogFailures)) {
        return;
    }
    std::array<char, 4096 + 16> tag; // the longest path, a colon and a number
    std::snprintf(tag.data(), tag.size(), "%s:%d", file != nullptr ? file : "", line);
    va_list args;
    va_start(args, format);
    deliver(kEvLogFailures, tag.data(), format, args);
    va_end(args);
}
