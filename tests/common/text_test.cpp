#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <latch>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "common/CharUtilities.h"
#include "common/VSDKErrors.h"
#include "users/VSDKUsers.h"

namespace {

/// TZ while it lives, which the C library learns when it looks itself.
class Zone {
  public:
    explicit Zone(const char* zone) {
        if (const char* const before = std::getenv("TZ"); before != nullptr) {
            before_ = before;
        }
        setenv("TZ", zone, 1);
    }
    ~Zone() { before_ ? setenv("TZ", before_->c_str(), 1) : unsetenv("TZ"); }
    Zone(const Zone&) = delete;
    Zone& operator=(const Zone&) = delete;

  private:
    std::optional<std::string> before_;
};

std::string byCtime(unsigned long time) {
    const auto seconds = static_cast<std::time_t>(time);
    const char* const text = std::ctime(&seconds);
    const std::string line = text != nullptr ? text : "\n";
    return line.substr(0, line.size() - 1);
}

TEST(TimeText, OfChosenTimes) {
    const Zone zone("UTC0");
    const struct {
        unsigned long time;
        const char* text;
    } cases[] = {
        {0, "now"},
        {1, "Thu Jan  1 00:00:01 1970"},
        {951827696, "Tue Feb 29 12:34:56 2000"},
        {0x7FFFFFFF, "Tue Jan 19 03:14:07 2038"},
        {0x80000000, "Tue Jan 19 03:14:08 2038"},
        {0xFFFFFFFF, "Sun Feb  7 06:28:15 2106"},
        {0x100000000, "Sun Feb  7 06:28:16 2106"},
        {253402300799, "Fri Dec 31 23:59:59 9999"},
        {253402300800, "Sat Jan  1 00:00:00 10000"},
        {67767976233532799, "Tue Dec 31 23:59:59 2147483647"},
        {67767976233532800, ""},
        {67768036191676800, ""},
        {INT64_MAX, ""},
        {0x8000000000000000, ""},
        {UINT64_MAX, "Wed Dec 31 23:59:59 1969"},
    };
    for (const auto& [time, text] : cases) {
        EXPECT_EQ(UnixTimeToLocTimeString(time), text) << time;
        if (time <= UINT32_MAX) {
            EXPECT_EQ(dateToString(static_cast<unsigned>(time)), text) << time;
        }
    }
}

TEST(TimeText, IsTheCLibrarysInEveryZone) {
    std::mt19937_64 random(1); // the same times in every run
    for (const char* const name : {"UTC0", "CET-1CEST,M3.5.0,M10.5.0/3", "NST3:30NDT,M3.2.0,M11.1.0", "LINT-14"}) {
        const Zone zone(name);
        for (int i = 0; i < 2000; ++i) {
            const auto time32 = static_cast<unsigned>(random() | 1);
            EXPECT_EQ(dateToString(time32), byCtime(time32)) << name;
            const unsigned long time64 = random() >> random() % 32 | 1;
            EXPECT_EQ(UnixTimeToLocTimeString(time64), byCtime(time64)) << name << ' ' << time64;
        }
    }
}

TEST(TimeText, FollowsAChangeOfZoneByItself) {
    for (const auto& [name, text] : {std::pair{"UTC0", "Thu Jan  1 00:00:01 1970"},
                                     {"XXX-1", "Thu Jan  1 01:00:01 1970"},
                                     {"XXX+1", "Wed Dec 31 23:00:01 1969"}}) {
        const Zone zone(name);
        EXPECT_EQ(dateToString(1), text) << name;
    }
}

TEST(TimeText, IsEachThreadsOwn) {
    constexpr unsigned kThreads = 8;
    const Zone zone("UTC0");
    std::latch together(kThreads);
    std::vector<std::string> foreign(kThreads);
    std::vector<std::thread> threads;
    for (unsigned i = 0; i < kThreads; ++i) {
        threads.emplace_back([&, i] {
            const std::string own = "Thu Jan  1 00:00:0" + std::to_string(i + 1) + " 1970";
            together.arrive_and_wait();
            for (int round = 0; round < 100000 && foreign[i].empty(); ++round) {
                if (const std::string text = dateToString(i + 1); text != own) {
                    foreign[i] = text;
                }
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_THAT(foreign, testing::Each(""));
}

TEST(TextConversions, Copy) {
    const std::string text("a\0\xE2\x82\xAC\x12z", 7);
    EXPECT_EQ(toWideString(text), text);
    EXPECT_EQ(toNarrowString(text), text);
    for (const int size : {-1, 0, 1, 100}) {
        EXPECT_EQ(toWideString("\xC3\xA4 b\0c", size), "\xC3\xA4 b") << size;
        EXPECT_EQ(toNarrowString("\xC3\xA4 b\0c", size), "\xC3\xA4 b") << size;
    }
    EXPECT_EQ(toNarrowString(nullptr, 0), "");
    EXPECT_EQ(toWideString(nullptr, 7), "");
}

TEST(Guid, IsNewEachTimeAndOfTheStandardForm) {
    constexpr std::size_t kCount = 1000;
    std::set<std::string> seen;
    for (std::size_t i = 0; i < kCount; ++i) {
        std::string guid = "what was there before";
        EXPECT_TRUE(CreateGuid(guid));
        EXPECT_THAT(guid, testing::MatchesRegex("[0-9a-f]{8}-[0-9a-f]{4}-4[0-9a-f]{3}-[89ab][0-9a-f]{3}-[0-9a-f]{12}"));
        seen.insert(guid);
    }
    EXPECT_EQ(seen.size(), kCount);
}

} // namespace
