#include "db/engines/postgres/PostgresWire.h"

#include <poll.h>
#include <sys/epoll.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>

namespace hubdb {

bool pollUntil(int descriptor, short events, PostgresClock::time_point deadline) {
    pollfd watched{descriptor, events, 0};
    int ready = 0;
    do {
        int wait = -1;
        if (deadline != PostgresClock::time_point::max()) {
            const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - PostgresClock::now()).count();
            wait = static_cast<int>(std::clamp<std::int64_t>(left, 0, 1'000'000'000));
        }
        ready = poll(&watched, 1, wait);
    } while (ready < 0 && errno == EINTR);
    return ready > 0;
}

SocketWatch::~SocketWatch() {
    end();
}

void SocketWatch::end() noexcept {
    for (int* descriptor : {&events_, &timer_}) {
        if (*descriptor >= 0)
            close(*descriptor);
        *descriptor = -1;
    }
}

void SocketWatch::begin(int socket) {
    socket_ = socket;
    events_ = epoll_create1(EPOLL_CLOEXEC);
    timer_ = timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK);
    for (const int descriptor : {socket_, timer_}) {
        epoll_event event{};
        event.events = EPOLLIN;
        event.data.fd = descriptor;
        if (epoll_ctl(events_, EPOLL_CTL_ADD, descriptor, &event) != 0)
            return end();
    }
}

void SocketWatch::setTimer(PostgresClock::time_point end) {
    constexpr std::int64_t kSecond = 1'000'000'000;
    itimerspec when{};
    if (end != PostgresClock::time_point::max()) { // which stops it
        const auto nanoseconds = std::chrono::nanoseconds(end.time_since_epoch()).count();
        when.it_value = {nanoseconds / kSecond, nanoseconds % kSecond};
    }
    timerfd_settime(timer_, TFD_TIMER_ABSTIME, &when, nullptr);
    timerEnd_ = end;
}

bool SocketWatch::waitUntil(PostgresClock::time_point deadline) {
    if (events_ < 0)
        return pollUntil(socket_, POLLIN, deadline);
    if (deadline < timerEnd_)
        setTimer(deadline);
    for (;;) {
        epoll_event event{};
        const int ready = epoll_wait(events_, &event, 1, -1);
        if (ready < 0 && errno != EINTR)
            return false;
        if (ready != 1)
            continue;
        if (event.data.fd == socket_)
            return true;
        if (PostgresClock::now() >= deadline)
            return false;
        setTimer(deadline);
    }
}

std::string oneLine(std::string_view words) {
    std::string line;
    for (const char c : words) {
        const bool blank = c == '\n' || c == '\t' || c == ' ';
        if (!blank)
            line += c;
        else if (!line.empty() && line.back() != ' ')
            line += ' ';
    }
    if (line.ends_with(' '))
        line.pop_back();
    return line;
}

std::string_view fieldOf(const PGresult* result, int code) {
    const char* const text = PQresultErrorField(result, code);
    return text == nullptr ? std::string_view() : text;
}

} // namespace hubdb
