#include <gtest/gtest.h>

#include <cstddef>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "MessageText.h"

namespace {

std::string answer(const std::string& jobs) {
    return "<JobListResponseVSDK>" + jobs + "</JobListResponseVSDK>";
}

/// What comes of reading into an answer that holds another job.
std::string readAnswer(const std::string& text) {
    static const auto kReceiver = XMLDecoder::unSerialize(answer("<job jobId='99' visible='1'/>"));
    return readBothWays(text, *kReceiver);
}

std::string fileText(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    EXPECT_TRUE(file.is_open()) << path;
    return {std::istreambuf_iterator<char>(file), {}};
}

const std::filesystem::path kData = VSDK_SOURCE_DIR "/tests/data";

// Each file is well-formed.xml with one rule broken.
TEST(Malformed, FilesAreRefusedWhole) {
    std::size_t files = 0;
    for (const auto& file : std::filesystem::directory_iterator(kData / "malformed")) {
        ++files;
        EXPECT_EQ(readAnswer(fileText(file.path())), kMalformed) << file.path();
    }
    EXPECT_GT(files, 100U);
}

TEST(Malformed, EveryCutOfADocumentIsRefusedAndTheWholeIsNot) {
    const std::string text = fileText(kData / "well-formed.xml");
    const std::string read =
        answer("<job jobId=\"12\" state=\"Running\" visible=\"1\" sourceClient=\"mail01 &amp; more\""
               " failureReason=\"5&#13;full&#10;\"/><job jobId=\"13\" visible=\"0\"/>");
    for (std::size_t size = 0; size + 1 < text.size(); ++size)
        ASSERT_EQ(readAnswer(text.substr(0, size)), kMalformed) << size;
    EXPECT_EQ(readAnswer(text.substr(0, text.size() - 1)), read) << "without the line end";
    EXPECT_EQ(readAnswer(text), read);
    EXPECT_EQ(readAnswer("\xEF\xBB\xBF" + text), read) << "behind a byte order mark";
    EXPECT_EQ(readAnswer(text + " \t\r\n<!-- end --><?end?>"), read);
}

std::string job(const std::string& attributes) {
    return answer("<job jobId=\"1\" visible=\"1\" " + attributes + "/>");
}
std::string read(const std::string& attributes) {
    return answer("<job jobId=\"1\"" + attributes + "/>");
}

TEST(Decoding, OfAnswers) {
    const std::string bare = read(" visible=\"1\"");
    const struct {
        std::string text;
        std::string result;
    } cases[] = {
        // the root
        {"<JobListRequest/>", kWrongType},
        {"<JobResponseVSDK jobId='1' visible='1'/>", kWrongType},
        {"<jobListResponseVSDK/>", kWrongType},
        {"<nobody><JobListResponseVSDK/></nobody>", kWrongType},
        {"<x:JobListResponseVSDK xmlns:x='y'/>", kWrongType},
        {"<JobListResponseVSDK xmlns='y'/>", "<JobListResponseVSDK/>"},
        // what must be there, and what may be there but once
        {answer("<job visible='1'/>"), kIncomplete},
        {answer("<job jobId='1'/>"), kIncomplete},
        {answer("<job jobId='1' Visible='1'/>"), kIncomplete},
        {answer("<job jobId='1' visible='1'/><job/>"), kIncomplete},
        // numbers
        {job("level='2147483647' agentTypeId='-2147483648'"),
         read(" visible=\"1\" level=\"2147483647\" agentTypeId=\"-2147483648\"")},
        {job("level='007' agentTypeId='-0'"), read(" visible=\"1\" level=\"7\" agentTypeId=\"0\"")},
        {job("startTime='-9223372036854775808'"), read(" visible=\"1\" startTime=\"-9223372036854775808\"")},
        // texts
        {job("state='\\x41\\\\x\\x00'"), read(" state=\"A\\\\x\\x00\" visible=\"1\"")},
        {job("state='&apos;&quot;&#x41;&#65;\t\n'"), read(" state=\"'&quot;AA  \" visible=\"1\"")},
        {job("state='a\r\nb&#13;&#10;'"), read(" state=\"a b&#13;&#10;\" visible=\"1\"")},
        // what a newer sender knows
        {job("later='x' Level='x' userId='x'"), bare},
        {job("a:level='x' xmlns:a='x'"), bare},
        {answer("<task jobId='x'><job/><job jobId='x'/></task><job visible='1' jobId='1'/>words"), bare},
        {answer("<job jobId='1' visible='1'><job/><level>x</level></job>"), bare},
        {answer("<Job jobId='x'/><job jobId='1' visible='1'/><jobs/>"), bare},
        {"<JobListResponseVSDK job='x'><job jobId='1' visible='1'/></JobListResponseVSDK>", bare},
        {answer("<task><job></task></job>"), kMalformed},
        // a fault behind jobs that were read
        {answer("<job jobId='1' visible='1'/><job jobId='2' visible='x'/>"), kBadValue},
    };
    for (const auto& [text, result] : cases)
        EXPECT_EQ(readAnswer(text), result) << text;
}

TEST(Decoding, OfRequests) {
    const auto request = [](const std::string& attributes, const std::string& children) {
        return "<JobListRequest><filter" + attributes + ">" + children + "</filter></JobListRequest>";
    };
    const std::string user = "<user userId=\"7\"/>";
    const std::string entity =
        "<entity subclientId=\"1\" backupSetId=\"2\" instanceId=\"3\" appTypeId=\"4\" clientId=\"5\"/>";
    const std::string whole = request(" jobIds=\"1 -2 2147483647\" opTypes=\"\"", user + entity);
    const struct {
        std::string text;
        std::string result;
    } cases[] = {
        {whole, whole},
        {"<JobListRequest/>", kIncomplete},
        {request("", entity), kIncomplete},
        {request("", "<user/>"), kIncomplete},
        {request("", user + "<entity clientId='1'/>"), kIncomplete},
        {request("", user + user), kBadValue},
        {request("", user + entity + entity), kBadValue},
        {request("", user + "</filter><filter>" + user), kBadValue},
        // the name of an attribute is none of an element, and the other way round
        {request(" user='x' filter='x'", "<jobIds>x</jobIds>" + user), request("", user)},
    };
    const auto receiver = XMLDecoder::unSerialize(request(" jobIds='99'", user));
    for (const auto& [text, result] : cases)
        EXPECT_EQ(readBothWays(text, *receiver), result) << text;
}

TEST(Decoding, OfValuesThatAreNone) {
    for (const char* const number : {"", "-", "+1", " 1", "1 ", "1&#10;", "0x1", "1e1", "\xD9\xA1", "\\x31",
                                     "2147483648", "-2147483649", "4294967297", "9223372036854775808"})
        EXPECT_EQ(readAnswer(job("level='" + std::string(number) + "'")), kBadValue) << number;
    EXPECT_EQ(readAnswer(job("startTime='9223372036854775808'")), kBadValue);
    for (const char* const text : {"\\q", "\\", "\\\\\\", "\\x", "\\x1", "\\x1g", "\\x0a", "a\\X0A"})
        EXPECT_EQ(readAnswer(job("state='" + std::string(text) + "'")), kBadValue) << text;
    const auto receiver = XMLDecoder::unSerialize("<JobFilter opTypes='9'><user userId='9'/></JobFilter>");
    for (const char* const list : {" ", " 1", "1 ", "1  2", "1,2", "1&#9;2", "1 x", "1 2147483648"})
        EXPECT_EQ(
            readBothWays("<JobFilter jobIds='" + std::string(list) + "'><user userId='1'/></JobFilter>", *receiver),
            kBadValue)
            << list;
}

TEST(Limits, HoldForWhatIsPassedOverToo) {
    const auto repeated = [](std::size_t times, const std::string& text) {
        std::string all;
        for (std::size_t i = 0; i < times; ++i)
            all += text;
        return all;
    };
    const auto nested = [&](std::size_t depth) {
        return answer(repeated(depth - 1, "<a>") + repeated(depth - 1, "</a>"));
    };
    const auto attributes = [](std::size_t count) {
        std::string text = "<a";
        for (std::size_t i = 0; i < count; ++i)
            text += " a" + std::to_string(i) + "=''";
        return answer(text + "/>");
    };
    const auto value = [](std::size_t size) { return answer("<a b='" + std::string(size, 'x') + "'/>"); };
    constexpr std::size_t kMebibyte = std::size_t{1} << 20;
    const struct {
        const char* what;
        std::string fits;
        std::string tooLarge;
    } cases[] = {
        {"depth", nested(16), nested(17)},
        {"attributes", attributes(64), attributes(65)},
        {"bytes of a value", value(4 * kMebibyte), value(4 * kMebibyte + 1)},
        {"bytes of a value", value(0), value(10 * kMebibyte)},
        {"elements", "<JobListResponseVSDK/>", answer(repeated(4'000'000, "<a/>"))},
    };
    for (const auto& [what, fits, tooLarge] : cases) {
        EXPECT_EQ(readAnswer(fits), "<JobListResponseVSDK/>") << what;
        EXPECT_EQ(readAnswer(tooLarge), kTooLarge) << what;
    }
}

} // namespace
