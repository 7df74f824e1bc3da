#include "Counts.h"

#include <malloc.h>
#include <sys/socket.h>

#include <cstdlib>
#include <fstream>
#include <new>
#include <stdexcept>
#include <string>
#include <utility>

namespace {

thread_local std::uint64_t allocations = 0;
thread_local std::uint64_t roundTrips = 0;
thread_local bool unanswered = false;
std::uint64_t memoryBefore = 0;

/// A line of the process's status, in bytes.
std::uint64_t memory(const std::string& name) {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);)
        if (line.starts_with(name + ":"))
            return std::stoull(line.substr(name.size() + 1)) * 1024;
    throw std::runtime_error("no " + name + " in /proc/self/status");
}

} // namespace

std::uint64_t allocationsOfThread() {
    return allocations;
}

std::uint64_t roundTripsOfThread() {
    return roundTrips;
}

std::uint64_t memoryPeak() {
    return memory("VmHWM") - memoryBefore;
}

bool forgetMemoryPeak() {
    malloc_trim(0);
    const bool forgotten = static_cast<bool>((std::ofstream("/proc/self/clear_refs") << 5).flush());
    memoryBefore = memory("VmHWM");
    return forgotten;
}

// The standard library's other forms, for arrays and without exceptions, call these.

void* operator new(std::size_t size) {
    ++allocations;
    if (void* const memory = std::malloc(size == 0 ? 1 : size))
        return memory;
    throw std::bad_alloc();
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t /*size*/) noexcept {
    std::free(memory);
}

// Called by libpq in place of the C library's.

extern "C" [[gnu::visibility("default")]] ssize_t send(int socket, const void* data, std::size_t size, int flags) {
    unanswered = true;
    return sendto(socket, data, size, flags, nullptr, 0);
}

extern "C" [[gnu::visibility("default")]] ssize_t recv(int socket, void* data, std::size_t size, int flags) {
    const ssize_t received = recvfrom(socket, data, size, flags, nullptr, nullptr);
    if (received > 0 && std::exchange(unanswered, false))
        ++roundTrips;
    return received;
}
