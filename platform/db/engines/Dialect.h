#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "Db/Tbl/OVDBColumn.h"
#include "db/engines/Engine.h"

namespace hubdb {

struct ColumnText;
struct TableText;

/// The ends of the names of the rules that keep a text within its width and a number within its range.
inline constexpr const char* kWidthRule = "_width";
inline constexpr const char* kRangeRule = "_range";

/// A column that is missing or not as it is declared.
struct ColumnChange {
    const ColumnText* column;
    bool type; ///< its type is another one
};

/// What about a table is not as it is declared.
struct TableChanges {
    std::vector<std::string> present; ///< the columns that it has and that are written
    std::vector<ColumnChange> columns;
    bool key = false; ///< the primary key is another one
};

/// A function that a server keeps.
struct FunctionText {
    std::string name;
    std::string signature; ///< "integer, text returns TABLE(id integer) sql STABLE", as the live catalogue tells it
    std::string body;
    std::string create; ///< the script that makes it anew
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

    /// What follows stands for functions of a server's; null where the engine has none.
    /// The functions that stand for procedures and those that they call, in an order in which they can be made.
    std::vector<FunctionText> (*functions)(std::span<const OVDBRowDeclaration* const> procedures);
    const char* liveFunctions; ///< query of rows of (name, signature, body)
    /// Grants what the application needs of all that is made from now on.
    std::string (*grantTo)(const std::string& role);

    /// Brings a table to its declared shape; its rows, its numbering and what else stands on it stay.
    int (*rebuild)(Connection& connection, const TableText& table, const TableChanges& changes);
};

} // namespace hubdb
