#pragma once

#include <map>
#include <string>
#include <vector>

namespace support {

/// What a program answered.
struct ProcessResult {
    int exitCode; ///< 128 and the signal's number when a signal ended it
    std::string out;
    std::string err;
};

/// Runs a program to its end without a terminal, with the file `in` to read, `environment` beside this process's, and
/// standard output going to the descriptor `out` or, without one, into the result.
ProcessResult runProcess(const std::vector<std::string>& command,
                         const std::map<std::string, std::string>& environment = {}, int out = -1,
                         const std::string& in = "/dev/null");

} // namespace support
