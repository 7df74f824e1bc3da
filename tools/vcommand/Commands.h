#pragma once

#include <nlohmann/json.hpp>

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "vcommand/Arrange.h"
#include "vcommand/Failures.h"
#include "vcommand/Walk.h"

using Json = nlohmann::ordered_json;

/// What a command found.
struct Answer {
    const Kind& kind;
    std::vector<Column> columns;
    std::vector<Row> rows;                             ///< as wide as `columns`
    std::optional<std::vector<std::size_t>> chosen{};  ///< indexes of the columns that are asked for
    std::vector<std::pair<std::string, Json>> scope{}; ///< members of a JSON document that say what was listed
    std::optional<tools::CommandError> incomplete{};   ///< why not all could be read or done
    std::string closing{};                             ///< a line for a person behind the rows
    bool rowsAreShown = false;                         ///< a person has seen them already
};

/// The entities of a scope that pass the arrangement, in its order. Throws a tools::CommandError.
Answer listEntities(const Scope& scope, const Arrangement& arrangement);

/// The one entity that the scope's last selector means. Throws a tools::CommandError, also when there are several.
Answer showEntity(const Scope& scope);
