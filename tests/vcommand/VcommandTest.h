#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "support/Process.h"
#include "support/ToolTest.h"

using ::testing::HasSubstr;
using ::testing::Not;
using Json = nlohmann::ordered_json;
using Arguments = std::vector<std::string>;

/// Runs vcommand on a hub database of every engine.
class VcommandTool : public support::ToolTest {
  protected:
    /// With the test's database in the environment, in UTC.
    support::ProcessResult run(const Arguments& arguments, int out = -1) const {
        return runWith(hub_->url(), arguments, out);
    }
    static support::ProcessResult runWith(const std::string& url, const Arguments& arguments, int out = -1) {
        Arguments command{VSDK_VCOMMAND_PATH};
        command.insert(command.end(), arguments.begin(), arguments.end());
        return support::runProcess(command, {{"HUBDB_URL", url}, {"TZ", "UTC"}, {"XDG_STATE_HOME", "/nowhere"}}, out);
    }
    /// What a command prints that must succeed without a word on standard error.
    std::string printed(const Arguments& arguments) const {
        const auto result = run(arguments);
        EXPECT_EQ(result.exitCode, 0) << ::testing::PrintToString(arguments);
        EXPECT_EQ(result.err, "") << ::testing::PrintToString(arguments);
        return result.out;
    }
    /// The one JSON document on standard output.
    static Json document(const support::ProcessResult& result) {
        Json json = Json::parse(result.out, nullptr, false);
        EXPECT_FALSE(json.is_discarded()) << result.out << result.err;
        return json;
    }
    Json json(Arguments arguments) const {
        arguments.emplace_back("--json");
        return document(run(arguments));
    }
    /// The one column that a command lists, with blanks between the values.
    std::string column(const std::string& name, Arguments arguments) const {
        arguments.insert(arguments.end(), {"--csv", "--columns", name});
        std::string lines = printed(arguments);
        EXPECT_EQ(lines.substr(0, lines.find('\n')), name);
        lines.erase(0, lines.find('\n') + 1);
        std::ranges::replace(lines, '\n', ' ');
        return lines.substr(0, lines.empty() ? 0 : lines.size() - 1);
    }

    /// Holds a command to a failure: as lines for a person, and as a document.
    static void fails(const std::string& url, Arguments line, int exitCode, int code, const std::string& reason) {
        SCOPED_TRACE(url + " " + ::testing::PrintToString(line));
        const auto lower = [](std::string text) { // a server has folded the names of tables
            std::ranges::transform(text, text.begin(), [](unsigned char c) { return std::tolower(c); });
            return text;
        };
        const auto plain = runWith(url, line);
        EXPECT_EQ(plain.exitCode, exitCode);
        EXPECT_EQ(plain.out, "");
        EXPECT_THAT(plain.err, HasSubstr("vcommand: error " + std::to_string(code) + ": "));
        EXPECT_THAT(lower(plain.err), HasSubstr(lower(reason)));
        EXPECT_THAT(plain.err, Not(HasSubstr("\x1b")));

        line.insert(line.begin(), "--json");
        const auto asJson = runWith(url, line);
        EXPECT_EQ(asJson.exitCode, exitCode);
        EXPECT_EQ(asJson.err, plain.err);
        const Json error = document(asJson)["error"];
        EXPECT_EQ(error["code"], code);
        EXPECT_THAT(lower(error["reason"].get<std::string>()), HasSubstr(lower(reason)));
        EXPECT_THAT(plain.err, HasSubstr(error["message"].get<std::string>()));
    }
};

/// The same on the sample estate.
class SampleEstate : public VcommandTool {
  protected:
    void SetUp() override {
        VcommandTool::SetUp();
        if (IsSkipped())
            return;
        const auto loaded =
            support::runProcess({VSDK_HUBDB_PATH, "load", hub_->url(), VSDK_SOURCE_DIR "/examples/estate.json"});
        ASSERT_EQ(loaded.exitCode, 0) << loaded.err;
    }
};

/// Its engines.
inline auto everyEngine() {
    return ::testing::Values(&support::makeSqliteHub, &support::makePostgresHub, &support::makePooledPostgresHub);
}
