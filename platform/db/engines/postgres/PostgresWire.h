#pragma once

#include <libpq-fe.h>

#include <chrono>
#include <string>
#include <string_view>

namespace hubdb {

using PostgresClock = std::chrono::steady_clock;

/// True when the descriptor is ready, false when the time is up; PostgresClock::time_point::max() is without end.
bool pollUntil(int descriptor, short events, PostgresClock::time_point deadline);

/// Waits for a socket to be readable. poll(2) would set and take back a timer with every wait; here one timer is left
/// to run, and set anew when it ends before the time is up.
class SocketWatch {
  public:
    SocketWatch() = default;
    ~SocketWatch();
    SocketWatch(const SocketWatch&) = delete;
    SocketWatch& operator=(const SocketWatch&) = delete;

    /// Without it, or after it failed, pollUntil does the work.
    void begin(int socket);
    /// True when the socket can be read, false when the time is up.
    bool waitUntil(PostgresClock::time_point deadline);

  private:
    void setTimer(PostgresClock::time_point end);
    void end() noexcept;

    int socket_ = -1;
    int events_ = -1;
    int timer_ = -1;
    PostgresClock::time_point timerEnd_ = PostgresClock::time_point::max();
};

/// What the server or libpq says, in one line.
std::string oneLine(std::string_view words);

/// A field of a failure, empty when it has none.
std::string_view fieldOf(const PGresult* result, int code);

} // namespace hubdb
