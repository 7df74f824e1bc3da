#include "dblayer/VSDKDBLayerBase.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstddef>
#include <random>
#include <set>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include "entities/VSDKAppTypeInfo.h"

namespace {

using namespace std::string_literals;

static_assert(std::is_empty_v<VSDKDB_Base>);

const std::set<int> kGroup1{6, 7, 51, 52, 59, 60, 77, 90};
const std::set<int> kGroup2{46, 78, 89};
const std::set<int> kGroup3{25, 40};
const std::set<int> kGroup4{65, 75, 76, 87};
const std::set<int> kGroup5{8, 9, 14, 15, 35, 44, 45, 53, 54, 55, 56, 57, 67, 68, 82};

/// As it is defined: one replacement after the other, each looked for from the start of the text.
void replaceAll(std::string& text, char byte, std::string_view mark) {
    for (std::size_t at = 0; (at = text.find(byte)) != std::string::npos;) {
        text.replace(at, 1, mark);
    }
}

std::string replacedStepByStep(std::string text, int appTypeId) {
    if (kGroup1.contains(appTypeId)) {
        replaceAll(text, 0x12, "<-->");
    }
    if (kGroup2.contains(appTypeId)) {
        replaceAll(text, 0x13, "/");
        text = text.substr(0, text.find(0x0E));
    }
    if (kGroup3.contains(appTypeId)) {
        replaceAll(text, 0x15, "-->");
    }
    if (kGroup4.contains(appTypeId)) {
        replaceAll(text, 0x12, ">");
        replaceAll(text, 0x13, "-->");
        replaceAll(text, 0x15, "|");
    }
    if (kGroup5.contains(appTypeId)) {
        replaceAll(text, 0x12, "<-->");
    }
    return text;
}

TEST(Separators, AreShownAsTheAgentUsesThem) {
    const std::string all = "a\022b\023c\025d\016e";
    const struct {
        int appTypeId;
        std::string text, shown;
    } cases[] = {
        {6, "a\x12z", "a<-->z"},
        {46, "x\x13y\x0Ez", "x/y"},
        {65, "\x12\x13\x15", ">-->|"},
        {25, "\x12p\x13q\x15r", "\x12p\x13q-->r"},
        {1, all, all},
        {-6, all, all},
        {0, all, all},
        {8, all, "a<-->b\x13" + all.substr(4)},
        {65, all, "a>b-->c|d\016e"},
        {89, all, "a\022b/c\025d"},
        {78, "\x0E", ""},
        {78, "\x13\x0E\x13\x0E", "/"},
        {90, "\x12\x12\x12", "<--><--><-->"},
        {90, "<-->\x12", "<--><-->"},
        {40, "\x15", "-->"},
        {7, "no separator", "no separator"},
        {7, "", ""},
        {76, "n\0u\x12l\0l"s, "n\0u>l\0l"s},
        {6, "\xE2\x82\xAC\x12\xFF\x92", "\xE2\x82\xAC<-->\xFF\x92"},
    };
    for (const auto& [appTypeId, text, shown] : cases) {
        EXPECT_EQ(VSDKDB_Base::ReplaceSpecialChars(text, appTypeId), shown) << appTypeId;
    }
    EXPECT_EQ(VSDK_AppType(2, 6).ReplaceSpecialChars("a\x12z", 6), "a<-->z") << "every entity has it";
}

TEST(Separators, OfRandomTextsAreThoseOfTheSteps) {
    constexpr std::string_view kBytes = "\x12\x13\x15\x0E<->/|a";
    std::mt19937 random(1); // the same texts in every run
    for (int i = 0; i < 300; ++i) {
        std::string text(random() % 30, '\0');
        for (char& byte : text) {
            byte = kBytes[random() % kBytes.size()];
        }
        for (int appTypeId = -1; appTypeId <= 100; ++appTypeId) {
            EXPECT_EQ(VSDKDB_Base::ReplaceSpecialChars(text, appTypeId), replacedStepByStep(text, appTypeId))
                << appTypeId << ' ' << testing::PrintToString(text);
            EXPECT_EQ(VSDKDB_Base::TruncateToSpecialChars(text, appTypeId),
                      kGroup1.contains(appTypeId) ? text.substr(0, text.find(0x12)) : text)
                << appTypeId << ' ' << testing::PrintToString(text);
        }
    }
}

TEST(Separators, CostNoMoreThanTheTextIsLong) {
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(VSDKDB_Base::ReplaceSpecialChars(std::string(4'000'000, '\x12'), 6).size(), 16'000'000U);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20)) << "searching anew takes hours";
}

TEST(Separators, TextWithoutAnyIsHandedThroughInItsOwnMemory) {
    std::string text(1000, 'x');
    const char* const memory = text.data();
    text = VSDKDB_Base::ReplaceSpecialChars(std::move(text), 6);
    EXPECT_EQ(text.data(), memory);
    text = VSDKDB_Base::TruncateToSpecialChars(std::move(text), 6);
    EXPECT_EQ(text.data(), memory);
}

} // namespace
