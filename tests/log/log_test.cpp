#include "log/EvDebug.h"
#include "log/EvEvent.h"
#include "log/EvLogSink.h"
#include "log/EvMessageCatalogue.h"
#include "log/Utf8Cut.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <memory>
#include <ostream>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

struct Line {
    int level;
    std::string tag;
    std::string text;
    bool operator==(const Line&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Line& line) {
    return out << line.level << ' ' << line.tag << ": " << line.text;
}

class Log : public ::testing::Test {
  protected:
    void collect(int maxLevel) {
        setEvLogSink(
            [lines = lines_](const EvLogLine& l) {
                lines->push_back({l.level, std::string(l.tag), std::string(l.text)});
            },
            maxLevel);
    }
    std::vector<Line> taken() { return std::exchange(*lines_, {}); }
    void TearDown() override { setEvLogSink({}, 0); }

  private:
    std::shared_ptr<std::vector<Line>> lines_ = std::make_shared<std::vector<Line>>();
};

TEST_F(Log, LinesOfTheAcceptedLevelsArriveWithLevelTagAndText) {
    EvDebug::Error("nobody", "listens");
    collect(5);
    EvDebug::Error("f", "lost %s after %d", "it", 3);
    EvDebug::Debug("g", "found %llu", ~0ULL);
    EvDebug::DebugLvl("h", 5, "%s", "five");
    EvDebug::DebugLvl("h", 6, "%s", "six");
    EvDebug::DebugLvl("h", -7, "%s", "minus seven");
    log_error("Db/Tbl/Some.h", 42, "%s caught", "Some");
    EXPECT_EQ(taken(), (std::vector<Line>{{1, "f", "lost it after 3"},
                                          {3, "g", "found 18446744073709551615"},
                                          {5, "h", "five"},
                                          {1, "h", "minus seven"},
                                          {1, "Db/Tbl/Some.h:42", "Some caught"}}));
}

TEST_F(Log, EnabledTellsWhatTheSinkTakes) {
    EXPECT_FALSE(EvDebug::enabled(1));
    EXPECT_FALSE(EvDebug::enabled(-1));
    collect(3);
    EXPECT_TRUE(EvDebug::enabled(3));
    EXPECT_FALSE(EvDebug::enabled(4));
    collect(0);
    EXPECT_FALSE(EvDebug::enabled(0));
    setEvLogSink({}, 10);
    EXPECT_FALSE(EvDebug::enabled(1));
}

TEST_F(Log, TextsArriveWhole) {
    collect(10);
    for (const std::size_t length : {0U, 1U, 511U, 512U, 513U, 3U << 20U}) {
        const std::string text(length, 'x');
        EvDebug::DebugLvl("f", 10, "%s", text.c_str());
        EXPECT_TRUE(taken() == (std::vector<Line>{{10, "f", text}})) << length;
    }
    EvDebug::Error("f", "a%cb\n", '\0');
    EXPECT_EQ(taken().at(0).text, std::string("a\0b\n", 4));
}

TEST_F(Log, WhatCannotBeFormattedIsTold) {
    collect(10);
    EvDebug::Error("f", "name [%ls]", L"\x20AC"); // not in the C locale
    const char* volatile hiddenFormat = nullptr;  // the compiler's own check does not see it
    EvDebug::Error("f", hiddenFormat);
    EvDebug::Error(nullptr, "no function");
    log_error(nullptr, 7, "no file");
    const std::string longFormat = std::string(5000, 'y') + "%ls";
    hiddenFormat = longFormat.c_str();
    EvDebug::Error("f", hiddenFormat, L"\x20AC");
    const std::vector<Line> lines = taken();
    ASSERT_EQ(lines.size(), 5U);
    EXPECT_EQ(lines[0].text, "cannot format \"name [%ls]\"");
    EXPECT_EQ(lines[1].text, "cannot format \"(null)\"");
    EXPECT_EQ(lines[2], (Line{1, "", "no function"}));
    EXPECT_EQ(lines[3], (Line{1, ":7", "no file"}));
    EXPECT_EQ(lines[4].text.substr(0, 20), "cannot format \"yyyyy");
}

TEST_F(Log, ErrnoIsLeftAsItWas) {
    setEvLogSink([](const EvLogLine&) { errno = EBUSY; }, 1);
    errno = ENOENT;
    EvDebug::Error("f", "text");
    EXPECT_EQ(errno, ENOENT);
}

TEST_F(Log, ASinkThatThrowsOrLogsHarmsNobody) {
    int calls = 0;
    setEvLogSink(
        [&calls](const EvLogLine&) {
            ++calls;
            EvDebug::Error("sink", "from within");
            throw std::runtime_error("disk full");
        },
        10);
    EvDebug::Error("f", "one");
    log_error("f.h", 1, "two");
    EXPECT_EQ(calls, 2);
    setEvLogSink(
        [&calls](const EvLogLine&) {
            setEvLogSink({}, 0); // takes itself away while it runs
            calls += 10;
        },
        10);
    EvDebug::Error("f", "three");
    EvDebug::Error("f", "four");
    EXPECT_EQ(calls, 12);
}

// Every sink checks that it is alive and that it gets only its own levels while others take its place.
TEST_F(Log, SinksAreExchangedWhileOthersLog) {
    struct Witness {
        explicit Witness(int level) : maxLevel(level), text(std::to_string(level)) {}
        ~Witness() { text = "gone"; }
        int maxLevel;
        std::string text;
    };
    std::atomic<bool> stop{false};
    std::atomic<long> delivered{0};
    std::atomic<int> wrong{0};
    std::vector<std::thread> loggers;
    loggers.reserve(4);
    for (int i = 0; i < 4; ++i) {
        loggers.emplace_back([&] {
            for (int level = 1; !stop; level = level % 10 + 1) {
                EvDebug::DebugLvl("thread", level, "%d", level);
            }
        });
    }
    for (int i = 0; i < 20'000 || delivered == 0; ++i) {
        const auto witness = std::make_shared<const Witness>(i % 10 + 1);
        setEvLogSink(
            [&delivered, &wrong, witness](const EvLogLine& line) {
                ++delivered;
                wrong += line.level > witness->maxLevel || witness->text != std::to_string(witness->maxLevel) ? 1 : 0;
            },
            witness->maxLevel);
    }
    stop = true;
    for (std::thread& logger : loggers) {
        logger.join();
    }
    EXPECT_EQ(wrong, 0);
}

constexpr unsigned long kId = 0x2300FFFF;

std::string message(const EvEvent& event, unsigned long id, unsigned long arg = 0) {
    std::array<char, 4096> buffer{};
    buffer.fill('#');
    event.evPrintf(id, buffer.data(), buffer.size(), arg);
    return buffer.data();
}

class Catalogue : public ::testing::Test {
  protected:
    static void translate(const std::string& text) { EvMessageCatalogue::setTranslation({{kId, text}}); }
    void TearDown() override { EvMessageCatalogue::setTranslation({}); }
};

TEST_F(Catalogue, FillsPlaceholders) {
    EvEvent event;
    event << "one"
          << "%2 %lu %s"
          << "" << nullptr;
    const struct {
        const char* text;
        const char* expected;
    } cases[] = {
        {"", ""},
        {"plain", "plain"},
        {"%2, %1!", "%2 %lu %s, one!"},
        {"%1%1 %lu%lu", "oneone 77"},
        {"a %3, b %4. %9", "a, b."},
        {"%3|%1", "|one"},
        {"100%% %s %d %n %0 %l %", "100% %s %d %n %0 %l %"},
        {"%%1 %%lu", "%1 %lu"},
    };
    for (const auto& [text, expected] : cases) {
        translate(text);
        EXPECT_EQ(message(event, kId, 7), expected) << text;
    }
    translate("%lu");
    EXPECT_EQ(message(event, kId, ~0UL), "18446744073709551615");
}

TEST_F(Catalogue, IsBoundedAtEverySize) {
    const std::string text = "a\xC3\xA4\xE2\x82\xAC\xF0\x9F\x94\x92z"; // 1, 2, 3, 4 and 1 bytes
    EvEvent event;
    event << text.c_str();
    translate("<%1>");
    const std::string whole = "<" + text + ">";
    const std::vector<std::size_t> ends{0, 1, 2, 4, 7, 11, 12, 13};
    for (std::size_t size = 0; size <= whole.size() + 3; ++size) {
        std::string buffer(whole.size() + 8, '#');
        event.evPrintf(kId, buffer.data(), size, 0);
        std::size_t kept = 0;
        for (const std::size_t end : ends) {
            kept = end < size ? end : kept;
        }
        std::string expected(buffer.size(), '#');
        if (size > 0) {
            expected.replace(0, kept + 1, whole.substr(0, kept) + '\0');
        }
        EXPECT_EQ(buffer, expected) << size;
    }
    event.evPrintf(kId, nullptr, 100, 0);
}

TEST(Utf8Cut, KeepsCharactersWholeAndOtherBytesBounded) {
    using evlog::utf8Cut;
    EXPECT_EQ(utf8Cut("abc", 3), 3U);
    EXPECT_EQ(utf8Cut("abc", 2), 2U);
    EXPECT_EQ(utf8Cut("\xE2\x82\xAC", 2), 0U);
    EXPECT_EQ(utf8Cut("\x80\x80\x80\x80\x80\x80", 5), 5U) << "no UTF-8: cut where the room ends";
    EXPECT_EQ(utf8Cut("\x80\x80", 1), 1U);
    EXPECT_EQ(utf8Cut("abc", 0), 0U);
}

TEST_F(Catalogue, TranslationsGoBeforeEnglishAndUnknownIdsAreNamed) {
    const EvEvent event;
    const std::string english = message(event, 0x23000008);
    EXPECT_NE(english.find("password"), std::string::npos);
    EvMessageCatalogue::setTranslation({{0x23000008, "Nom d'utilisateur ou mot de passe incorrect."}});
    EXPECT_EQ(message(event, 0x23000008), "Nom d'utilisateur ou mot de passe incorrect.");
    EXPECT_NE(message(event, 0x2300124E).find("locked"), std::string::npos) << "not translated: English";
    EvMessageCatalogue::setTranslation({});
    EXPECT_EQ(message(event, 0x23000008), english);
    for (const unsigned long id : {0UL, 0x23000007UL, 0x23000009UL, 0x2300124FUL, ~0UL}) {
        char hex[32];
        std::snprintf(hex, sizeof hex, "0x%08lX", id);
        EXPECT_NE(message(event, id).find(hex), std::string::npos) << message(event, id);
    }
}

TEST_F(Catalogue, IsTranslatedWhileOthersRead) {
    std::atomic<bool> stop{false};
    std::thread reader([&] {
        while (!stop) {
            const std::string text = message(EvEvent(), kId);
            EXPECT_TRUE(text == "Unknown message 0x2300FFFF." || text == std::string(100, 'x')) << text;
        }
    });
    for (int i = 0; i < 2'000; ++i) {
        translate(std::string(100, 'x'));
        EvMessageCatalogue::setTranslation({});
    }
    stop = true;
    reader.join();
}

} // namespace
