#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <limits>
#include <random>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "MessageText.h"
#include "message/JobMessages.h"
#include "message/LoginMessages.h"

namespace {

using namespace std::string_view_literals;

using JobManager::JobFilter;
using JobManager::JobListRequest;
using OvEntities::GenericEntity;
using OvEntities::UserEntity;
using ZorvanUtilities::JobListResponseVSDK;
using ZorvanUtilities::JobResponseVSDK;

TEST(Types, AreWrittenAsTheyWereReadAndReadByTheirOwnAlone) {
    const std::string user = " userId=\"-2147483648\"/>";
    const std::string entity = " subclientId=\"1\" backupSetId=\"2\" instanceId=\"3\" appTypeId=\"4\" clientId=\"5\"/>";
    const std::string filter = " jobIds=\"1 -2 2147483647\" opTypes=\"\"><user" + user + "<entity" + entity;
    const std::string job =
        " jobId=\"1\" operation=\"2\" state=\"4\" phase=\"5\" visible=\"6\" sourceClient=\"6\" agentType=\"7\""
        " instance=\"8\" backupSet=\"9\" subclient=\"10\" failureReason=\"14\" destinationClient=\"15\" userName=\"16\""
        " startTime=\"-9223372036854775808\" level=\"36\" agentTypeId=\"37\" jobCategory=\"50\"/>";
    const struct {
        CNMessageBase receiver;
        std::string text;
    } cases[] = {
        {UserEntity(), "<UserEntity" + user},
        {GenericEntity(), "<GenericEntity" + entity},
        {JobFilter(), "<JobFilter" + filter + "</JobFilter>"},
        {JobListRequest(), "<JobListRequest><filter" + filter + "</filter></JobListRequest>"},
        {JobResponseVSDK(), "<JobResponseVSDK" + job},
        {JobListResponseVSDK(), "<JobListResponseVSDK><job" + job + "<job" + job + "</JobListResponseVSDK>"},
        {JobListResponseVSDK(), "<JobListResponseVSDK/>"},
        {EvMgrs::LoginRequest(), "<LoginRequest userName=\"1\" password=\"2\" domain=\"3\" clientName=\"4\""
                                 " newPassword=\"5\"/>"},
    };
    for (const auto& [receiver, text] : cases) {
        EXPECT_EQ(CNMessageBase::isOldWay(receiver.getTagID()), text.starts_with("<LoginRequest")) << text;
        for (const auto& other : cases)
            EXPECT_EQ(readBothWays(text, other.receiver),
                      other.receiver.getTagID() == receiver.getTagID() ? text : kWrongType);
    }
    EXPECT_FALSE(CNMessageBase::isOldWay(0));

    JobResponseVSDK numbered; // each field set to its number
    for (const int number : {1, 6, 36, 37, 50})
        numbered.setInt(number, number);
    numbered.setInt(JobResponseVSDK::kStartTime, std::numeric_limits<std::int64_t>::min());
    for (const int number : {2, 4, 5, 6, 7, 8, 9, 10, 14, 15, 16})
        numbered.setString(number, std::to_string(number));
    EXPECT_EQ(xmlOf(numbered), "<JobResponseVSDK" + job);
    GenericEntity where;
    for (const auto& [number, id] : {std::pair{5, 1}, {8, 2}, {11, 3}, {14, 4}, {17, 5}})
        where.setInt(number, id);
    UserEntity who;
    who.setInt(0, std::numeric_limits<std::int32_t>::min());
    JobFilter which;
    which.addMessage(9, where);
    which.addMessage(1, who);
    which.setIntList(5, {});
    which.setIntList(4, {1, -2, std::numeric_limits<std::int32_t>::max()});
    JobListRequest request;
    request.addMessage(2, which);
    std::string text = "before ";
    EXPECT_EQ(XMLEncoder::serialize(&request, text, 0), kMessageOk);
    EXPECT_EQ(text, "before <JobListRequest><filter" + filter + "</filter></JobListRequest>");
}

TEST(Texts, OfAnyBytesComeBack) {
    std::vector<std::string> texts;
    for (int byte = 0; byte <= 0xFF; ++byte)
        texts.push_back((texts.empty() ? "" : texts.back()) + static_cast<char>(byte));
    for (int byte = 0; byte <= 0xFF; ++byte)
        texts.emplace_back(1, static_cast<char>(byte));
    // Bytes at the ends of what leads and continues characters, and those with a meaning in XML or for us.
    constexpr std::string_view kBytes = "\0\x01\x08\t\n\x0B\r\x1F \"&'<>\\x0AFa\x7F\x80\x8F\x90\x9F\xA0\xBD\xBE\xBF"
                                        "\xC0\xC1\xC2\xDF\xE0\xE1\xEC\xED\xEE\xEF\xF0\xF1\xF3\xF4\xF5\xFE\xFF"sv;
    std::mt19937 random(1); // the same texts in every run
    while (texts.size() < 20'000)
        for (std::string& text = texts.emplace_back(random() % 30, '\0'); char& byte : text)
            byte = kBytes[random() % kBytes.size()];
    JobResponseVSDK job;
    job.setInt(JobResponseVSDK::kJobId, 1);
    job.setInt(JobResponseVSDK::kVisible, 1);
    JobResponseVSDK read;
    for (const std::string& text : texts) {
        job.setString(JobResponseVSDK::kFailureReason, text);
        ASSERT_EQ(XMLDecoder::unSerialize(xmlOf(job), read), kMessageOk) << xmlOf(job);
        ASSERT_EQ(read.takeString(JobResponseVSDK::kFailureReason), text) << xmlOf(job);
    }
}

TEST(Texts, AreWrittenAsCharactersOfXmlOrEscapes) {
    const std::string characters = "\xC2\x80\xDF\xBF\xE0\xA0\x80\xED\x9F\xBF\xEE\x80\x80\xEF\xBF\xBD"
                                   "\xF0\x90\x80\x80\xF0\x9F\xBF\xBE\xF4\x8F\xBF\xBF a'b\x7F";
    EvMgrs::LoginRequest login;
    login.setString(EvMgrs::LoginRequest::kUser, characters);
    login.setString(EvMgrs::LoginRequest::kDomain, "a&b<c>d\"e\tf\ng\rh\\i\x01j");
    // Not characters, overlong, surrogate, beyond the last, cut, cut by another; and what looks like an escape.
    login.setString(EvMgrs::LoginRequest::kPassword,
                    "\xEF\xBF\xBE\xEF\xBF\xBF \xC1\xBF \xE0\x9F\xBF \xF0\x8F\xBF\xBF \xED\xA0\x80 \xF4\x90\x80\x80 "
                    "\xE2\x82 \xE2\x82\xE2\x82\xAC \\x41\\");
    EXPECT_EQ(xmlOf(login), "<LoginRequest userName=\"" + characters +
                                "\" password=\"\\xEF\\xBF\\xBE\\xEF\\xBF\\xBF \\xC1\\xBF \\xE0\\x9F\\xBF "
                                "\\xF0\\x8F\\xBF\\xBF \\xED\\xA0\\x80 \\xF4\\x90\\x80\\x80 \\xE2\\x82 "
                                "\\xE2\\x82\xE2\x82\xAC \\\\x41\\\\\""
                                " domain=\"a&amp;b&lt;c&gt;d&quot;e&#9;f&#10;g&#13;h\\\\i\\x01j\"/>");
}

TEST(Encoding, RefusesWhatIsNotWholeAndSaysWhereItEnds) {
    std::string text = "kept";
    EXPECT_EQ(XMLEncoder::serialize(nullptr, text, 0), kMessageIncomplete);
    EXPECT_EQ(text, "kept");
    JobListRequest request;
    EXPECT_EQ(XMLEncoder::serialize(&request, text, 0), kMessageIncomplete);
    EXPECT_EQ(text, "kept<JobListRequest");
    request.addMessage(JobListRequest::kFilter, JobFilter());
    EXPECT_EQ(xmlOf(request), kIncomplete) << "the filter has no user";

    EvMgrs::LoginRequest login;
    login.setString(EvMgrs::LoginRequest::kPassword, "");
    for (const auto& [size, fits] :
         {std::pair{std::size_t{4} << 20, true}, std::pair{(std::size_t{4} << 20) + 1, false},
          std::pair{std::size_t{10} << 20, false}}) {
        login.setString(EvMgrs::LoginRequest::kUser, std::string(size, 'x'));
        EXPECT_EQ(xmlOf(login) == kTooLarge, !fits) << size;
    }
}

TEST(Fields, RefuseWhatTheirTypeHasNot) {
    JobResponseVSDK job;
    EXPECT_FALSE(job.setInt(JobResponseVSDK::kJobId, std::int64_t{1} << 31));
    EXPECT_FALSE(job.setInt(JobResponseVSDK::kJobId, -(std::int64_t{1} << 31) - 1));
    EXPECT_FALSE(job.setString(JobResponseVSDK::kJobId, "1"));
    EXPECT_FALSE(job.addMessage(JobResponseVSDK::kJobId, UserEntity()));
    for (const int field : {-1, 3, static_cast<int>(JobResponseVSDK::kOperation), 51}) {
        EXPECT_FALSE(job.setInt(field, 1) || job.setIntList(field, {1}) || job.hasInt(field) || job.getInt(field) != 0);
        EXPECT_EQ(job.getString(field) + job.takeString(field), "");
        EXPECT_TRUE(job.getIntList(field).empty() && job.getMessages(field).empty() && job.takeMessages(field).empty());
        EXPECT_EQ(job.getMessage(field), nullptr);
    }
    EXPECT_FALSE(job.hasInt(JobResponseVSDK::kJobId));
    EXPECT_TRUE(job.setInt(6, 1)); // one number, two fields
    EXPECT_TRUE(job.setString(6, "mail01"));
    EXPECT_EQ(std::to_string(job.getInt(6)) + job.takeString(6), "1mail01");
    EXPECT_TRUE(job.hasInt(6));

    JobFilter filter;
    EXPECT_FALSE(filter.addMessage(JobFilter::kUser, GenericEntity()));
    UserEntity user;
    for (const int id : {1, 2}) {
        user.setInt(UserEntity::kUserId, id);
        EXPECT_TRUE(filter.addMessage(JobFilter::kUser, user));
    }
    EXPECT_EQ(xmlOf(filter), "<JobFilter><user userId=\"2\"/></JobFilter>") << "the last one";
    EXPECT_EQ(filter.takeMessages(JobFilter::kUser).size(), 1U);
    EXPECT_EQ(xmlOf(filter), kIncomplete) << "taken is not set";
}

TEST(Fields, OfAMovedMessageAreNotSetAndItCanBeReadAnew) {
    UserEntity user;
    user.setInt(UserEntity::kUserId, 7);
    const CNMessageBase taken = std::move(user);
    EXPECT_EQ(xmlOf(taken), "<UserEntity userId=\"7\"/>");
    EXPECT_FALSE(user.hasInt(UserEntity::kUserId) || user.setInt(UserEntity::kUserId, 8));
    EXPECT_EQ(xmlOf(CNMessageBase(user)), kIncomplete);
    JobFilter filter;
    EXPECT_TRUE(filter.addMessage(JobFilter::kUser, user));
    EXPECT_EQ(xmlOf(filter), kIncomplete);
    EXPECT_EQ(readBothWays("<UserEntity userId='9'", user), kMalformed);
    EXPECT_EQ(readBothWays("<UserEntity userId='9'/>", user), "<UserEntity userId=\"9\"/>");
}

} // namespace
