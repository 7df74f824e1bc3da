#pragma once

#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>

#include "common/Table.h"
#include "common/Tool.h"

/// What a command found, for a person and for a program.
struct Answer {
    tools::Table table;
    nlohmann::ordered_json json;
};

/// Why a command has no answer. `what()` is the reason in one line.
class CommandError : public std::runtime_error {
  public:
    CommandError(tools::ExitCode exit, int errorCode, const std::string& reason)
        : std::runtime_error(reason), exitCode(exit), code(errorCode) {}

    tools::ExitCode exitCode;
    int code; ///< of the library's error catalogue (common/VSDKErrors.h)
};

/// Codes of the catalogue that the commands report themselves.
inline constexpr int kInternalError = 1;
inline constexpr int kNotConnected = 257;
inline constexpr int kUnsupportedOption = 769;
inline constexpr int kMissingArgument = 770;
inline constexpr int kInvalidArgument = 771;
inline constexpr int kClientFetchFailed = 1280;
inline constexpr int kAppTypeFetchFailed = 1281;

/// Throws a CommandError with `code` and the engine's words if the database has failed in this thread since the last
/// HubDatabase::clearLastFailure(). Lists keep such failures to themselves.
void throwDatabaseFailure(int code);
