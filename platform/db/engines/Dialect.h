#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "Db/Tbl/OVDBColumn.h"
#include "db/engines/Engine.h"

namespace hubdb {

struct TableText;

/// What an upgrade from a version does to the data, before the tables are brought to the shape that is declared.
struct UpgradeStep {
    int from;
    const char* script;
};

/// How one engine says what the schema needs. The writer knows no engine beyond this.
struct Dialect {
    std::string (*columnType)(const OVDBColumn& column);
    /// The rule that holds a column to its declared range or width, empty where the type does.
    std::string (*columnRule)(const OVDBColumn& column);
    const char* serialKey;    ///< behind a serial column's type
    const char* tokenDefault; ///< an expression: 64 hex digits from a cryptographic source
    const char* tableEnd;     ///< closes CREATE TABLE

    /// Queries of the live catalogue: rows of (table, column, type, the table's definition as it was given or NULL),
    /// of (table, columns in order, 1 when unique).
    const char* liveColumns;
    const char* liveIndexes;
    /// Queries of one text each.
    const char* version;
    const char* journal;
    const char* bytes;
    const char* integrity; ///< "ok", else rows that each tell a fault

    /// Brings a table to its declared shape; its rows, its numbering and what else stands on it stay. `columns` are
    /// those that it has already.
    int (*rebuild)(Connection& connection, const TableText& table, const std::vector<std::string>& columns);
    /// In the order of their versions. A database older than the first cannot be upgraded.
    std::span<const UpgradeStep> upgrades;
};

} // namespace hubdb
