#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <random>
#include <string>
#include <string_view>

#include "common/VSDKErrors.h"
#include "message/JobMessages.h"
#include "message/LoginMessages.h"
#include "message/XMLEncoder.h"
#include "support/LiteralMasking.h"

namespace {

using EvMgrs::LoginRequest;
using ZorvanUtilities::JobResponseVSDK;

constexpr const char* kSentence = "Error. XML is not properly formatted so cannot unserialize it.";

/// Texts of fragments in random order, the same in every run.
class Fragments {
  public:
    std::size_t below(std::size_t end) { return static_cast<std::size_t>(random_() % end); }

    template <std::size_t kSize> std::string text(const std::array<std::string_view, kSize>& fragments) {
        std::string all;
        for (std::size_t left = below(14); left > 0; --left)
            all += fragments[below(kSize)];
        return all;
    }

  private:
    std::mt19937_64 random_{1};
};

TEST(Masking, OfChosenTexts) {
    const struct {
        const char* text;
        const char* masked;
        const char* attrBased;
    } cases[] = {
        {"", "", ""},
        {"<a password=\"secret\" b=\"c\"/>", "<a password=\"****\" b=\"c\"/>", "<a password=\"****\" b=\"c\"/>"},
        {"<a password=\"\" b=\"c\"/>", "<a password=\"****\" b=\"c\"/>", "<a password=\"****\" b=\"c\"/>"},
        {"<a b=\"c\" password=\"secret\"/>", "<a b=\"c\" password=\"****", "<a b=\"c\" password=\"****\"/>"},
        {"<a PassWord=\"secret\" b=\"c\"/>", "<a PassWord=\"secret\" b=\"c\"/>", "<a PassWord=\"****\" b=\"c\"/>"},
        {"<a newPASSWORD=\"x\" password=\"y\" />", "<a newPASSWORD=\"x\" password=\"****\" />",
         "<a newPASSWORD=\"****\" password=\"****\" />"},
        {"password=\"open", "password=\"****", "password=\"open"},
        {"password=\"", "password=\"****", "password=\""},
        {"password = \"x\" password='x' ", "password = \"x\" password='x' ", "password = \"x\" password='x' "},
        // The search goes on six characters further, which is just in time, and seven, which is not.
        {"password=\"0123456789\" a=\"\" password=\"next\" ", "password=\"****\" a=\"\" password=\"****\" ",
         "password=\"****\" a=\"\" password=\"****\" "},
        {"password=\"01234567890\" a=\"\" password=\"next\" ", "password=\"****\" a=\"\" password=\"next\" ",
         "password=\"****\" a=\"\" password=\"****\" "},
    };
    for (const auto& [text, masked, attrBased] : cases) {
        EXPECT_EQ(filterPassword(text), masked) << text;
        EXPECT_EQ(filterPasswordAttrBased(text), attrBased) << text;
    }
}

TEST(Masking, IsTheLiteralAlgorithms) {
    constexpr std::array<std::string_view, 16> kFragments{
        "password=\"", "password=\"", "PASSWORD=\"", "PassWord=\"", "newpassword=\"", "\"",        "\" ",  "\" ",
        " ",           "****",        "x",           "123",         "12345678901234", "password=", "pass", "\xC3\x84"};
    Fragments fragments;
    for (int round = 0; round < 50'000; ++round) {
        const std::string text = fragments.text(kFragments);
        ASSERT_EQ(filterPassword(text), support::literalFilterPassword(text)) << text;
        ASSERT_EQ(filterPasswordAttrBased(text), support::literalFilterPasswordAttrBased(text)) << text;
    }
}

// One that replaces in the text itself moves a tebibyte for this.
TEST(Masking, OfManyAttributes) {
    std::string text;
    std::string masked;
    while (text.size() < std::size_t{2} << 20) {
        text += "password=\"\" ";
        masked += "password=\"****\" ";
    }
    EXPECT_TRUE(filterPassword(text) == masked);
    EXPECT_TRUE(filterPasswordAttrBased(text) == masked);
}

TEST(LogXmlMessage, MasksTheOlderKindAlone) {
    const struct {
        const char* text;
        std::string logged;
    } cases[] = {
        {"", ""},
        {" ", kSentence},
        {"<LoginRequest userName='u' password='secret'", kSentence},
        {"<Nobody password='secret'/>", kSentence},
        {"<LoginRequest userName='u'/>", kSentence},
        {"<LoginRequest later='1' password = 'secret' NEWpassword='secret' userName='u'>secret</LoginRequest>",
         "<LoginRequest userName=\"u\" password=\"****\"/>"},
        {"<UserEntity password='secret' userId='7'/>", "<UserEntity userId=\"7\"/>"},
    };
    for (const auto& [text, logged] : cases)
        EXPECT_EQ(logXMLMessage(text), logged) << text;

    // Nothing that names a password in a message of the newer kind is masked.
    JobResponseVSDK job;
    EXPECT_EQ(logXMLMessage(&job), kSentence) << "it cannot be written whole";
    EXPECT_EQ(logXMLMessage(static_cast<CNMessageBase*>(nullptr)), "");
    job.setInt(JobResponseVSDK::kJobId, 1);
    job.setInt(JobResponseVSDK::kVisible, 1);
    job.setString(JobResponseVSDK::kPhase, "password=\"x\" ");
    const std::string written = "<JobResponseVSDK jobId=\"1\" phase=\"password=&quot;x&quot; \" visible=\"1\"/>";
    EXPECT_EQ(logXMLMessage(&job), written);
    EXPECT_EQ(logXMLMessage(written), written);
}

TEST(LogXmlMessage, LetsNoPasswordThrough) {
    constexpr std::array<std::string_view, 18> kFragments{
        "\"",     "\" ",  "'",     "<",  "&",    "\\", "\\x41", "\n",          "\r\n",
        "\t\x01", "\xFF", "&#10;", "/>", "****", " ",  "x",     "password=\"", " userName=\""};
    constexpr std::string_view kMarker = "PLANTED";
    Fragments fragments;
    for (int round = 0; round < 20'000; ++round) {
        LoginRequest login;
        for (const int field : {LoginRequest::kUser, LoginRequest::kDomain, LoginRequest::kClientName})
            if (field == LoginRequest::kUser || fragments.below(2) == 0)
                login.setString(field, fragments.text(kFragments));
        LoginRequest expected = login; // with what is to be read in place of the passwords
        for (const int field : {LoginRequest::kPassword, LoginRequest::kNewPassword})
            if (field == LoginRequest::kPassword || fragments.below(2) == 0) {
                std::string secret = fragments.text(kFragments);
                (secret += kMarker) += fragments.text(kFragments);
                login.setString(field, secret);
                expected.setString(field, "****");
            }
        std::string written;
        std::string logged;
        ASSERT_EQ(XMLEncoder::serialize(&login, written, 0), kMessageOk);
        ASSERT_EQ(XMLEncoder::serialize(&expected, logged, 0), kMessageOk);
        ASSERT_NE(written.find(kMarker), std::string::npos);
        ASSERT_EQ(logged.find(kMarker), std::string::npos);
        ASSERT_EQ(logXMLMessage(&login), logged);
        ASSERT_EQ(logXMLMessage(written), logged);
    }
}

} // namespace
