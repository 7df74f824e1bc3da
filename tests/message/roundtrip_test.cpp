#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "MessageText.h"
#include "message/JobMessages.h"
#include "message/LoginMessages.h"

namespace {

using JobManager::JobFilter;
using JobManager::JobListRequest;
using OvEntities::GenericEntity;
using OvEntities::UserEntity;
using ZorvanUtilities::JobListResponseVSDK;
using ZorvanUtilities::JobResponseVSDK;

std::vector<CNMessageBase> ofEachType() {
    return {UserEntity(),      GenericEntity(),       JobFilter(),           JobListRequest(),
            JobResponseVSDK(), JobListResponseVSDK(), EvMgrs::LoginRequest()};
}

/// Fills messages with what is hard to carry.
class Filler {
  public:
    std::size_t below(std::size_t end) { return static_cast<std::size_t>(random_() % end); }

    std::string text() {
        // Bytes at the ends of what leads and continues characters, and those with a meaning in XML or for us.
        static constexpr std::string_view kBytes("\0\x01\x08\t\n\x0B\r\x1F \"&'<>\\x0AFa\x7F\x80\x8F\x90\x9F\xA0\xBD"
                                                 "\xBE\xBF\xC0\xC1\xC2\xDF\xE0\xE1\xEC\xED\xEE\xEF\xF0\xF1\xF3\xF4\xF5"
                                                 "\xFE\xFF",
                                                 48);
        std::string bytes(below(30), '\0');
        for (char& byte : bytes)
            byte = kBytes[below(kBytes.size())];
        return bytes;
    }

    template <class Number> Number number() {
        using Limits = std::numeric_limits<Number>;
        return std::array<Number, 4>{0, -1, Limits::min(), Limits::max()}.at(below(4));
    }

    /// Sets what must be set, and half of the rest.
    CNMessageBase& fill(CNMessageBase& message) {
        for (const MessageField& field : message.type().fields) {
            const bool done = (!field.required && below(2) == 0) || set(message, field);
            EXPECT_TRUE(done) << field.name;
        }
        return message;
    }

  private:
    bool set(CNMessageBase& message, const MessageField& field) {
        std::vector<std::int32_t> list;
        bool done = true;
        switch (field.kind) {
        case MessageFieldKind::kInt32:
            return message.setInt(field.number, number<std::int32_t>());
        case MessageFieldKind::kInt64:
            return message.setInt(field.number, number<std::int64_t>());
        case MessageFieldKind::kText:
            return message.setString(field.number, text());
        case MessageFieldKind::kIntList:
            for (std::size_t size = below(4); size > 0; --size)
                list.push_back(number<std::int32_t>());
            return message.setIntList(field.number, std::move(list));
        case MessageFieldKind::kMessage:
        case MessageFieldKind::kMessages:
            for (std::size_t size = field.kind == MessageFieldKind::kMessages ? below(4) : 1; done && size > 0;
                 --size) {
                CNMessageBase child(*field.child);
                done = message.addMessage(field.number, std::move(fill(child)));
            }
            return done;
        }
        return false;
    }

    std::mt19937_64 random_{1}; // the same messages in every run
};

TEST(RoundTrip, EveryTypeWithAllItCanHold) {
    Filler filler;
    EXPECT_FALSE(CNMessageBase::isOldWay(0));
    EXPECT_FALSE(CNMessageBase::isOldWay(8));
    for (int round = 0; round < 2000; ++round)
        for (CNMessageBase message : ofEachType()) {
            const std::string text = xmlOf(filler.fill(message));
            ASSERT_EQ(text.front(), '<');
            EXPECT_EQ(CNMessageBase::isOldWay(message.getTagID()), text.starts_with("<LoginRequest"));
            for (const CNMessageBase& receiver : ofEachType())
                ASSERT_EQ(readBothWays(text, receiver), receiver.getTagID() == message.getTagID() ? text : kWrongType);
        }
}

TEST(RoundTrip, EveryByteAloneAndInCompany) {
    Filler filler;
    std::vector<std::string> texts;
    for (int byte = 0; byte <= 0xFF; ++byte)
        texts.push_back((texts.empty() ? "" : texts.back()) + static_cast<char>(byte));
    for (int byte = 0; byte <= 0xFF; ++byte)
        texts.emplace_back(1, static_cast<char>(byte));
    while (texts.size() < 50'000)
        texts.push_back(filler.text());
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

TEST(Encoding, OfEachKind) {
    JobResponseVSDK job;
    job.setInt(JobResponseVSDK::kCategory, 3);
    job.setInt(JobResponseVSDK::kStartTime, std::numeric_limits<std::int64_t>::min());
    job.setInt(JobResponseVSDK::kVisible, std::numeric_limits<std::int32_t>::min());
    job.setInt(JobResponseVSDK::kJobId, std::numeric_limits<std::int32_t>::max());
    job.setString(JobResponseVSDK::kSourceClient, "");
    job.setString(JobResponseVSDK::kPhase, "a&b<c>d\"e'f\tg\nh\ri\\j\x01k\x7Fl");
    JobListResponseVSDK answer;
    EXPECT_EQ(xmlOf(answer), "<JobListResponseVSDK/>");
    answer.addMessage(JobListResponseVSDK::kJobs, job);
    job = JobResponseVSDK();
    job.setInt(JobResponseVSDK::kJobId, 0);
    job.setInt(JobResponseVSDK::kVisible, -1);
    answer.addMessage(JobListResponseVSDK::kJobs, job);
    EXPECT_EQ(xmlOf(answer),
              "<JobListResponseVSDK>"
              "<job jobId=\"2147483647\" phase=\"a&amp;b&lt;c&gt;d&quot;e'f&#9;g&#10;h&#13;i\\\\j\\x01k\x7Fl\""
              " visible=\"-2147483648\" sourceClient=\"\" startTime=\"-9223372036854775808\""
              " jobCategory=\"3\"/>"
              "<job jobId=\"0\" visible=\"-1\"/>"
              "</JobListResponseVSDK>");

    UserEntity user;
    user.setInt(UserEntity::kUserId, 7);
    JobFilter filter;
    filter.addMessage(JobFilter::kUser, user);
    filter.setIntList(JobFilter::kJobIds, {});
    filter.setIntList(JobFilter::kOpTypes, {4, -14, 18});
    JobListRequest request;
    request.addMessage(JobListRequest::kFilter, filter);
    std::string text = "before ";
    EXPECT_EQ(XMLEncoder::serialize(&request, text, 0), kMessageOk);
    EXPECT_EQ(text, "before <JobListRequest><filter jobIds=\"\" opTypes=\"4 -14 18\"><user userId=\"7\"/></filter>"
                    "</JobListRequest>");
}

TEST(Encoding, WritesCharactersOfXmlAsTheyAreAndEscapesOtherBytes) {
    const std::string characters = "\xC2\x80\xDF\xBF\xE0\xA0\x80\xED\x9F\xBF\xEE\x80\x80\xEF\xBF\xBD"
                                   "\xF0\x90\x80\x80\xF0\x9F\xBF\xBE\xF4\x8F\xBF\xBF";
    EvMgrs::LoginRequest login;
    login.setString(EvMgrs::LoginRequest::kUser, characters);
    // Not characters, overlong, surrogate, beyond the last, cut, cut by another; and what looks like an escape.
    login.setString(EvMgrs::LoginRequest::kPassword,
                    "\xEF\xBF\xBE\xEF\xBF\xBF \xC1\xBF \xE0\x9F\xBF \xF0\x8F\xBF\xBF \xED\xA0\x80 \xF4\x90\x80\x80 "
                    "\xE2\x82 \xE2\x82\xE2\x82\xAC \\x41\\");
    EXPECT_EQ(xmlOf(login), "<LoginRequest userName=\"" + characters +
                                "\" password=\"\\xEF\\xBF\\xBE\\xEF\\xBF\\xBF \\xC1\\xBF \\xE0\\x9F\\xBF "
                                "\\xF0\\x8F\\xBF\\xBF \\xED\\xA0\\x80 \\xF4\\x90\\x80\\x80 \\xE2\\x82 "
                                "\\xE2\\x82\xE2\x82\xAC \\\\x41\\\\\"/>");
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
