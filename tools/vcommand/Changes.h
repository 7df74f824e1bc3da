#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "vcommand/Commands.h"

/// What `subclient set` is to change; what is not given stays as it is.
struct ChangeRequest {
    std::optional<std::string> description;
    std::optional<int> readers;
    std::optional<std::string> storagePolicy; ///< by id or name, like the next
    std::optional<std::string> indexPolicy;
    std::optional<std::vector<std::string>> paths;     ///< empty: no content
    std::optional<std::vector<std::string>> databases; ///< NAME or NAME=ID
    bool clearContent = false;                         ///< of either kind
    bool dryRun = false;                               ///< only tell
    bool force = false;                                ///< without the library's checks
    bool ask = false;                                  ///< check, and ask before it is written
};

/// The paths in a file, "-" for standard input: one on each line, without its end. Throws a tools::CommandError.
std::vector<std::string> readPaths(const std::string& file);

/// Asked with the changes before they are written; false: they are not to be.
using Confirm = std::function<bool(const Answer& changes)>;

/// Changes the one subclient that the scope means: a row for each difference between what is and what is to be, and in
/// the scope of the document the subclient and the outcome. The answer is incomplete when nothing was changed because
/// the library refused, or when nobody knows. Throws a tools::CommandError for what was not even tried.
Answer changeSubclient(const Scope& which, const ChangeRequest& request, const Confirm& confirm);
