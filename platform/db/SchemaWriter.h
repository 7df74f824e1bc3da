#pragma once

#include <string>
#include <vector>

#include "db/engines/Dialect.h"

namespace hubdb {

struct ColumnText {
    std::string name;
    std::string type;
    bool notNull = false;
    std::string defaultValue; ///< an expression, empty for none
    std::string rule;         ///< a named constraint, empty for none
    bool serial = false;
    std::string mirrors; ///< the column that a generated one always equals; such a column is never written

    /// Name, type and rules, as they stand in CREATE TABLE.
    std::string definition;
};

struct IndexText {
    std::string columns; ///< "a, b"
    bool unique;
    std::string create; ///< the whole script; replaces an index of the same name
};

/// A table of the hub database in an engine's words: made from its row declaration and the list of extras.
struct TableText {
    std::string name;
    std::vector<ColumnText> columns;
    std::string key; ///< the primary key's clause; empty where the serial column says it
    std::vector<IndexText> indexes;
    std::string end;

    /// CREATE TABLE under a name.
    std::string create(const std::string& as) const;
};

TableText writeTable(const OVDBRowDeclaration& declaration, const Dialect& dialect);

} // namespace hubdb
