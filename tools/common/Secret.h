#pragma once

#include <optional>
#include <string>

namespace tools {

/// A password, wiped when it goes.
class Secret {
  public:
    Secret() = default;
    ~Secret();
    Secret(const Secret&) = delete;
    Secret& operator=(const Secret&) = delete;

    std::string text;
};

/// Where a command takes a password from. Never from its arguments, which every user of the machine can read.
struct PasswordSource {
    std::optional<std::string> file; ///< the first and only line of a file
    bool standardInput = false;      ///< the same of standard input, unless that is a terminal
};

/// Reads a password from where the options say, else from the terminal, without showing it: with `twice` asked again.
/// At most 247 bytes, not empty, no NUL. Throws a CommandError.
void readPassword(const PasswordSource& source, const std::string& prompt, bool twice, Secret& password);

} // namespace tools
