#include "db/engines/postgres/PostgresWire.h"

#include <poll.h>

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
