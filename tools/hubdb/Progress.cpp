#include "hubdb/Progress.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>

#include "common/Tool.h"

Progress::Progress(std::string title) : title_(std::move(title)), wanted_(tools::isTerminal(STDERR_FILENO)) {}

Progress::~Progress() {
    if (wanted_)
        std::fputs("\r\x1b[K", stderr);
}

void Progress::show(std::uint64_t done, std::uint64_t whole, std::uint64_t rows) {
    constexpr auto kBetween = std::chrono::milliseconds(100);
    constexpr std::uint64_t kWidth = 30;
    const auto now = std::chrono::steady_clock::now();
    if (!wanted_ || now - shown_ < kBetween)
        return;
    shown_ = now;
    std::string bar;
    if (whole != 0) {
        const std::uint64_t filled = std::min(done, whole) * kWidth / whole;
        bar = " [" + std::string(filled, '#') + std::string(kWidth - filled, ' ') + "]";
    }
    std::fprintf(stderr, "\r%s%s %llu rows\x1b[K", title_.c_str(), bar.c_str(), static_cast<unsigned long long>(rows));
}
