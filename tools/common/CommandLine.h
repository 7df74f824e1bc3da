#pragma once

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cstring>
#include <sstream>
#include <string>

#include "common/CommandError.h"

namespace tools {

/// Whether the command that was given takes a password.
inline bool asksForPassword(const CLI::App& app) {
    const auto given = app.get_subcommands();
    return app.get_option_no_throw("--password-stdin") != nullptr ||
           std::any_of(given.begin(), given.end(), [](const CLI::App* one) { return asksForPassword(*one); });
}

/// Reads the command line. Throws a CommandError; a text is the whole answer to --help or --version.
///
/// CLI11 is large: only the main.cpp of a tool includes this.
inline std::string parseCommandLine(CLI::App& app, int argc, char** argv) {
    try {
        app.parse(argc, argv);
    } catch (const CLI::Success& done) { // help or version
        std::ostringstream text;
        app.exit(done, text, text);
        return text.str();
    } catch (const CLI::RequiredError& missing) {
        throw CommandError(kExitUsage, missing.what(), kMissingArgument);
    } catch (const CLI::ExtrasError& extra) {
        // A URL in the wrong place may hold a password, and what a command that asks for one does not know may be one.
        const bool secret = std::strstr(extra.what(), "://") != nullptr || asksForPassword(app);
        throw CommandError(kExitUsage, secret ? "an argument is not expected" : extra.what(), kUnsupportedOption);
    } catch (const CLI::ParseError& wrong) {
        throw CommandError(kExitUsage, wrong.what(), kInvalidArgument);
    }
    return "";
}

} // namespace tools
