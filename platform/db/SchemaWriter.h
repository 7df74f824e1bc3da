#pragma once

#include <string>
#include <vector>

#include "db/engines/Dialect.h"

namespace hubdb {

struct ColumnText {
    std::string name;
    std::string type;
    std::string definition; ///< name, type and rules, as it stands in CREATE TABLE
    bool generated = false; ///< never written
    bool serial = false;
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
