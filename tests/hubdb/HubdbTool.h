#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <future>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "schema/SchemaVersion.h"
#include "support/HubEngine.h"
#include "support/Process.h"
#include "support/TempDirectory.h"

using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

/// The version that this library uses, and one that it does not know yet.
inline const std::string kThis = std::to_string(hubdb::kSchemaVersion);
inline const std::string kNext = std::to_string(hubdb::kSchemaVersion + 1);
inline const std::string kAsDeclared = "the schema is that of version " + kThis + "\n"; ///< says a check

/// Empty where there is no file.
inline std::string contents(const std::string& path) {
    if (!std::filesystem::is_regular_file(path))
        return "";
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

/// Commands that need a hub database of this version and say why they have none.
inline const std::vector<std::vector<std::string>> kOnADatabase = {
    {"check"}, {"upgrade"}, {"load", VSDK_SOURCE_DIR "/examples/estate.json"}, {"generate", "--clients", "2"}};

/// Runs hubdb, with a directory for the test's files.
class HubdbTool {
  protected:
    static support::ProcessResult run(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), VSDK_HUBDB_PATH);
        return support::runProcess(arguments, {{"HUBDB_URL", ""}});
    }
    /// Runs a command that must end with `exitCode` and whose one line on standard error must tell `reason`.
    static void fails(const std::vector<std::string>& arguments, int exitCode, const std::string& reason) {
        const auto result = run(arguments);
        EXPECT_EQ(result.exitCode, exitCode) << result.err;
        EXPECT_THAT(result.err, StartsWith("hubdb: "));
        EXPECT_THAT(result.err, HasSubstr(reason));
        EXPECT_EQ(result.err.find('\n'), result.err.size() - 1) << result.err;
        EXPECT_EQ(result.out, "");
    }
    static void succeeds(const std::vector<std::string>& arguments) {
        const auto result = run(arguments);
        ASSERT_EQ(result.exitCode, 0) << result.err << result.out;
    }

    /// Creates the databases in a process each, all at once.
    static std::vector<std::future<support::ProcessResult>> createAtOnce(const std::vector<std::string>& urls) {
        std::vector<std::future<support::ProcessResult>> running;
        for (const auto& url : urls)
            running.push_back(std::async(std::launch::async, [url] { return run({"create", url}); }));
        return running;
    }
    /// Waits for creations of one database and holds them to it that one of them succeeded, with these words.
    static void expectOneCreated(std::vector<std::future<support::ProcessResult>> running, const std::string& words) {
        int made = 0;
        for (auto& one : running) {
            const auto result = one.get();
            made += result.exitCode == 0 ? 1 : 0;
            EXPECT_THAT(result.exitCode, ::testing::AnyOf(0, 1));
            EXPECT_EQ(result.out, result.exitCode == 0 ? words : "");
            EXPECT_THAT(result.err, HasSubstr(result.exitCode == 0 ? "" : "holds tables already"));
        }
        EXPECT_EQ(made, 1);
    }

    std::string write(const std::string& name, const std::string& bytes) const {
        std::ofstream(directory_.file(name), std::ios::binary) << bytes;
        return directory_.file(name);
    }

    support::TempDirectory directory_;
};
