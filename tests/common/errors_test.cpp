#include "common/VSDKErrors.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <latch>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace {

constexpr const char* kUnknown = "Unknown Error Code.Please check logs for more details.";

template <class... Args> std::string format(const char* form, Args... args) {
    std::string out = "what was there before";
    GetFormattedErrorString(out, const_cast<char*>(form), args...);
    return out;
}

std::string localised(unsigned long code, unsigned long arg = 0) {
    std::string out = "what was there before";
    getLocaleErrorMsgFromVSDKErrorCode(out, code, arg);
    return out;
}

TEST(ErrorMap, IsFilledOnceByConcurrentFirstCallers) {
    for (int round = 0; round < 100; ++round) {
        EvMgrsToVSDKErrorMap.clear();
        needErrorMapInit = true;
        std::vector<std::string> messages(8);
        std::vector<unsigned long> codes(8, 329);
        std::vector<std::thread> threads;
        threads.reserve(messages.size());
        std::latch together(static_cast<std::ptrdiff_t>(messages.size()));
        for (std::size_t i = 0; i < messages.size(); ++i) {
            threads.emplace_back([&, i] {
                together.arrive_and_wait();
                if (i % 2 == 0) {
                    frameErrorMsg(messages[i], codes[i] = 0, -10);
                } else {
                    getLocaleErrorMsgFromVSDKErrorCode(messages[i], codes[i], 0);
                }
            });
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
        EXPECT_FALSE(needErrorMapInit);
        EXPECT_EQ(EvMgrsToVSDKErrorMap.size(), 11U);
        EXPECT_EQ(codes, std::vector<unsigned long>(8, 329));
        EXPECT_FALSE(messages[0].empty());
        EXPECT_EQ(messages, std::vector<std::string>(8, messages[0]));
    }

    EvMgrsToVSDKErrorMap[-10].first = 1; // a second filling would put it right
    initializeErrorMap();
    EXPECT_EQ(EvMgrsToVSDKErrorMap[-10].first, 1U);
    EvMgrsToVSDKErrorMap[-10].first = 329;
}

TEST(ErrorString, ChosenCodes) {
    const struct {
        int code;
        const char* text;
    } cases[] = {
        {0, "Successful"},
        {10, "Connection to the Hubserver terminated, Relogin required"},
        {266, "Connection to the Hubserver terminated, Relogin required"},
        {267, "User not logged in"},
        {521, "User not logged in"},
        {318, "Pass-Phrase is already exist for the client [%ls]. Use -o \"modfiy\" to change it"},
        {785, "User defined subclient cannot have / or \\ as content"},
        {1284, "Failed to fetch subclient information from the Hubserver database"},
        {2055, "DBERROR: Get Ownername failed "},
        {2326, "Failed.Instance name is empty.Provide new instance name in association."},
    };
    for (const auto& expected : cases) {
        EXPECT_STREQ(GetErrorString(expected.code), expected.text) << expected.code;
    }
    const std::string saml = GetErrorString(2054);
    EXPECT_NE(saml.find(". \t\t\t\n2.Its"), std::string::npos);
    EXPECT_EQ(saml.find('\\'), std::string::npos);
}

TEST(ErrorString, EveryOtherCodeIsUnknown) {
    for (const int code :
         {INT32_MIN, -101, -1, 13, 256, 281, 282, 331, 336, 339, 527, 1281, 1295, 1799, 2307, 2327, INT32_MAX}) {
        EXPECT_STREQ(GetErrorString(code), kUnknown) << code;
    }
    int known = 0;
    for (int code = -300; code < 3000; ++code) {
        known += std::string_view(GetErrorString(code)) != kUnknown ? 1 : 0;
    }
    EXPECT_EQ(known, 206);
}

TEST(FormattedErrorString, WidePlaceholdersTakeNarrowStringsAndLeaveAnS) {
    EXPECT_EQ(format("client [%ls] x", "abc"), "client [abcs] x");
    EXPECT_EQ(format(GetErrorString(778), "file", "-af"), "Failed to open arguments file, files, check option [-afs]");
    EXPECT_EQ(format(GetErrorString(781), "f", "o", "p"), "Failed to read the answer file, f, check option [os]|[p]");
    EXPECT_EQ(format(GetErrorString(327), 42), "Invalid sidbstoreid [42] specified.");
    EXPECT_EQ(format("%ls%ls%%ls%lss", "a", "b", "c"), "asbs%sscss");
    EXPECT_EQ(format("%ls", "%ls"), "%lss") << "an argument is no template";
    EXPECT_EQ(format(""), "");
    EXPECT_EQ(format(nullptr), "");
    EXPECT_EQ(format("no conversion", 1, "unused"), "no conversion");

    std::string many;
    for (int i = 0; i < 200'000; ++i) {
        many += "%%ls";
    }
    EXPECT_EQ(format(many.c_str()).substr(0, 8), "%ss%ss%s") << "long templates end, too";

    std::string out = "[%s]";
    GetFormattedErrorString(out, out.data(), out.c_str());
    EXPECT_EQ(out, "[[%s]]") << "the output may be template and argument";
}

TEST(FormattedErrorString, IsBoundedAtAWholeCharacter) {
    for (const std::size_t length : {1022U, 1023U, 1024U, 5000U}) {
        EXPECT_EQ(format("%s", std::string(length, 'x').c_str()),
                  std::string(std::min<std::size_t>(length, 1023), 'x'));
    }
    const std::string euro = "\xE2\x82\xAC";
    for (std::size_t before = 1019; before <= 1024; ++before) {
        const std::string ascii(before, 'x');
        const std::string whole = ascii + euro;
        EXPECT_EQ(format("%s", whole.c_str()), whole.size() <= 1023 ? whole : ascii.substr(0, 1023)) << before;
    }
}

TEST(FrameErrorMsg, TranslatesCodeAndKeepsAMessage) {
    const struct {
        int eventCode;
        unsigned long code;
    } cases[] = {{0, 259},   {-2, 277},   {-3, 261},   {-4, 260},   {-5, 336},  {-10, 329},
                 {-11, 330}, {-101, 338}, {-102, 337}, {-103, 339}, {-104, 336}};
    for (const auto& [eventCode, expected] : cases) {
        std::string message;
        unsigned long code = 0;
        frameErrorMsg(message, code, eventCode);
        EXPECT_EQ(code, expected) << eventCode;
        EXPECT_EQ(message, localised(expected)) << eventCode;
        EXPECT_GT(message.size(), 20U) << eventCode;
        EXPECT_EQ(message.find_first_of("%["), std::string::npos) << message;
        EXPECT_EQ(message.find("Unknown"), std::string::npos) << message;
        EXPECT_NE(message.back(), ' ') << message;

        message = "the caller's own";
        frameErrorMsg(message, code = 0, eventCode);
        EXPECT_EQ(code, expected);
        EXPECT_EQ(message, "the caller's own");
    }
    EXPECT_EQ(EvMgrsToVSDKErrorMap.at(-5), EvMgrsToVSDKErrorMap.at(-104));

    for (const int eventCode : {1, -1, -105, 259, INT32_MIN}) {
        std::string message;
        unsigned long code = 4711;
        frameErrorMsg(message, code, eventCode);
        EXPECT_EQ(code, 4711U);
        EXPECT_EQ(message, "");
    }
}

TEST(LocaleErrorMsg, TakesANumberAndIsEmptyForUnknownCodes) {
    EXPECT_NE(localised(338, 77).find("77"), std::string::npos);
    EXPECT_EQ(localised(338, 77).find("78"), std::string::npos);
    for (const unsigned long code : {0UL, 258UL, 340UL, ~0UL, 0x100000103UL}) {
        EXPECT_EQ(localised(code), "") << code;
    }
}

TEST(FatalError, Text) {
    EXPECT_EQ(vmFatalError, "**FatalError**");
}

} // namespace
