#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace tools {

/// What the command-line tools answer to the shell.
enum ExitCode : int {
    kExitDone = 0,
    kExitFailed = 1,   ///< the library or the database reported a failure; stderr tells code and text
    kExitUsage = 2,    ///< the command line is wrong
    kExitNotFound = 3, ///< the named entity, database or file does not exist
    kExitRefused = 4,  ///< the data given are wrong, or a rule is against it; nothing was changed
    kExitNotDone = 5,  ///< the database took a change up to the last moment and did not commit it
    kExitUnknown = 6   ///< the connection was lost while the database committed: a change may be there or not
};

/// For the first line of main(): standard streams that are closed lead nowhere, a reader that leaves becomes a failed
/// write like any other, and what libpq would take from the environment, though no URL can say it, is gone.
void prepareProcess();

/// The version of the project that the tool was built from.
const char* version();

/// Sends the library's log lines to standard error, each on one line, escaped; the more often --verbose was given, the
/// more of them. 0 sends none, and is to be asked for before `main` is left.
void logToStandardError(int verbosity);

/// The database URL: `given`, else the environment's HUBDB_URL, else nothing.
std::optional<std::string> databaseUrl(const std::string& given);

/// A whole decimal number without sign tricks, leading zeros or blanks, within 32 bits.
std::optional<int> parseId(std::string_view text);

/// `text` with control characters, characters that turn the direction of writing, and the bytes of broken UTF-8 as
/// \xHH, so that a terminal shows every byte and obeys none.
std::string escaped(std::string_view text);

/// Columns that `text` takes on a terminal; `text` is escaped already.
std::size_t displayWidth(std::string_view text);

/// `text`, escaped already, or as much of its beginning as leaves room for an ellipsis behind it within `width`
/// columns.
std::string cutToWidth(const std::string& text, std::size_t width);

bool isTerminal(int descriptor);

/// Columns of the terminal that standard output is: what it says itself, else the environment's COLUMNS, else 80.
std::size_t terminalWidth();
/// Lines of it: what it says itself, else the environment's LINES, else 24.
std::size_t terminalHeight();

/// Writes `text` to standard output, to the last byte. False, and `errno` tells why, when it did not all arrive. A
/// closed pipe is such a failure only where SIGPIPE is ignored.
bool writeOutput(std::string_view text);

} // namespace tools
