#pragma once

#include <stdexcept>
#include <string>

#include "common/Tool.h"

namespace tools {

/// Why a command has no answer. `what()` is the reason in one line, which is to be escaped before a terminal gets it.
class CommandError : public std::runtime_error {
  public:
    /// `errorCode` is of the library's error catalogue (common/VSDKErrors.h), 0 from a tool that tells none.
    CommandError(ExitCode exit, const std::string& reason, int errorCode = 0)
        : std::runtime_error(reason), exitCode(exit), code(errorCode) {}

    ExitCode exitCode;
    int code;
};

/// An argument as a message may repeat it: a URL, which may hold a password, is not.
inline std::string shown(const std::string& argument) {
    return argument.find("://") == std::string::npos ? argument : "(a URL)";
}

/// Codes of the catalogue for what the tools share.
inline constexpr int kNotConnected = 257;
inline constexpr int kUnsupportedOption = 769;
inline constexpr int kMissingArgument = 770;
inline constexpr int kInvalidArgument = 771;

} // namespace tools
