#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "MessageText.h"
#include "message/JobMessages.h"
#include "message/LoginMessages.h"

namespace {

using ZorvanUtilities::JobListResponseVSDK;
using ZorvanUtilities::JobResponseVSDK;

JobListResponseVSDK someAnswer() {
    JobResponseVSDK job;
    job.setInt(JobResponseVSDK::kJobId, 99);
    job.setInt(JobResponseVSDK::kVisible, 1);
    JobListResponseVSDK answer;
    answer.addMessage(JobListResponseVSDK::kJobs, job);
    return answer;
}

std::string readAnswer(const std::string& text) {
    return readBothWays(text, someAnswer());
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
    const std::string read = "<JobListResponseVSDK>"
                             "<job jobId=\"12\" state=\"Running\" visible=\"1\" sourceClient=\"mail01 &amp; more\""
                             " failureReason=\"5&#13;full&#10;\"/>"
                             "<job jobId=\"13\" visible=\"0\"/></JobListResponseVSDK>";
    for (std::size_t size = 0; size + 1 < text.size(); ++size)
        ASSERT_EQ(readAnswer(text.substr(0, size)), kMalformed) << size;
    EXPECT_EQ(readAnswer(text.substr(0, text.size() - 1)), read) << "without the line end";
    EXPECT_EQ(readAnswer(text), read);
    EXPECT_EQ(readAnswer("\xEF\xBB\xBF" + text), read) << "behind a byte order mark";
    EXPECT_EQ(readAnswer(text + " \t\r\n<!-- end --><?end?>"), read);
}

std::string answer(const std::string& jobs) {
    return "<JobListResponseVSDK>" + jobs + "</JobListResponseVSDK>";
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
        {job("level='2147483648'"), kBadValue},
        {job("level='-2147483649'"), kBadValue},
        {job("level='4294967297'"), kBadValue},
        {job("startTime='9223372036854775808'"), kBadValue},
        {job("startTime='99999999999999999999999'"), kBadValue},
        {job("level=''"), kBadValue},
        {job("level='-'"), kBadValue},
        {job("level='+1'"), kBadValue},
        {job("level=' 1'"), kBadValue},
        {job("level='1 '"), kBadValue},
        {job("level='1&#10;'"), kBadValue},
        {job("level='0x1'"), kBadValue},
        {job("level='1e1'"), kBadValue},
        {job("level='\xD9\xA1'"), kBadValue}, // another script's digit
        {job("level='\\x31'"), kBadValue},
        // texts
        {job("state='\\x41\\\\x\\x00'"), read(" state=\"A\\\\x\\x00\" visible=\"1\"")},
        {job("state='&apos;&quot;&#x41;&#65;\t\n'"), read(" state=\"'&quot;AA  \" visible=\"1\"")},
        {job("state='a\r\nb&#13;&#10;'"), read(" state=\"a b&#13;&#10;\" visible=\"1\"")},
        {job("state='\\q'"), kBadValue},
        {job("state='\\'"), kBadValue},
        {job("state='\\\\\\'"), kBadValue},
        {job("state='\\x1'"), kBadValue},
        {job("state='\\x1g'"), kBadValue},
        {job("state='\\x0a'"), kBadValue},
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
    JobManager::JobListRequest receiver;
    receiver.addMessage(JobManager::JobListRequest::kFilter, JobManager::JobFilter());
    const std::string user = "<user userId=\"7\"/>";
    const std::string entity =
        "<entity subclientId=\"1\" backupSetId=\"2\" instanceId=\"3\" appTypeId=\"4\" clientId=\"5\"/>";
    const struct {
        std::string attributes;
        std::string children;
        std::string result; ///< empty: read as it is
    } cases[] = {
        {" jobIds=\"1 -2 2147483647\" opTypes=\"\"", user + entity, ""},
        {"", user, ""},
        {"", "", kIncomplete},
        {"", entity, kIncomplete},
        {"", "<user/>", kIncomplete},
        {"", user + "<entity clientId='1'/>", kIncomplete},
        {"", user + user, kBadValue},
        {"", user + entity + entity, kBadValue},
        {" jobIds='1  2'", user, kBadValue},
        {" jobIds=' 1'", user, kBadValue},
        {" jobIds='1 '", user, kBadValue},
        {" jobIds=' '", user, kBadValue},
        {" jobIds='1&#9;2'", user, kBadValue},
        {" jobIds='1 x'", user, kBadValue},
        {" jobIds='1 2147483648'", user, kBadValue},
    };
    for (const auto& [attributes, children, result] : cases) {
        std::string text = "<JobListRequest><filter" + attributes + ">" + children + "</filter></JobListRequest>";
        EXPECT_EQ(readBothWays(text, receiver), result.empty() ? text : result) << text;
    }
    EXPECT_EQ(
        readBothWays("<JobListRequest><filter>" + user + "</filter><filter>" + user + "</filter></JobListRequest>",
                     receiver),
        kBadValue);
    // The name of an attribute is none of an element, and the other way round.
    EXPECT_EQ(readBothWays("<JobListRequest filter='x'><filter user='x'><jobIds>x</jobIds>" + user +
                               "</filter></JobListRequest>",
                           receiver),
              "<JobListRequest><filter>" + user + "</filter></JobListRequest>");
}

std::string repeated(std::size_t times, const std::string& text) {
    std::string all;
    for (std::size_t i = 0; i < times; ++i)
        all += text;
    return all;
}

TEST(Limits, HoldForWhatIsPassedOverToo) {
    const auto nested = [](std::size_t depth) {
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
