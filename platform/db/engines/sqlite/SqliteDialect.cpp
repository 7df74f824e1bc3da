#include "db/engines/sqlite/SqliteDialect.h"

#include <array>

#include "db/SchemaWriter.h"

namespace hubdb {

namespace {

std::string columnType(const OVDBColumn& column) {
    return column.isInteger() ? "INTEGER" : "TEXT";
}

std::string columnRule(const OVDBColumn& column) {
    const std::string name = column.name;
    if (column.kind == OVDBColumnKind::kInt)
        return "CONSTRAINT " + name + kRangeRule + " CHECK (" + name + " BETWEEN -2147483648 AND 2147483647)";
    if (column.isFixedText()) // length() alone would count characters
        return "CONSTRAINT " + name + kWidthRule + " CHECK (length(CAST(" + name +
               " AS BLOB)) <= " + std::to_string(column.size - 1) + ")";
    return "";
}

/// The indexes and triggers that stand on a table, as a script that makes them again.
int attachments(Connection& connection, const std::string& table, std::string& script) {
    const auto statement = connection.prepare("SELECT group_concat(sql, ';') FROM sqlite_schema "
                                              "WHERE tbl_name = ? AND type IN ('index', 'trigger') AND sql IS NOT NULL",
                                              StatementUse::kOneRow);
    if (statement == nullptr)
        return connection.error().status;
    const std::array values{Value::ofText(table)};
    int status = statement->execute(values);
    if (status == kDbOk)
        statement->readText(script);
    statement->finish();
    return status;
}

/// SQLite changes most of a table only by making it anew: the rows are copied under another name that then takes the
/// old one's place.
int rebuild(Connection& connection, const TableText& table, const TableChanges& changes) {
    std::string attached;
    if (const int status = attachments(connection, table.name, attached); status != kDbOk)
        return status;
    std::string list;
    for (const auto& column : changes.present)
        list += (list.empty() ? "" : ", ") + column;
    const std::string fresh = table.name + "_rebuilt";
    std::string script =
        table.create(fresh) + "; INSERT INTO " + fresh + " (" + list + ") SELECT " + list + " FROM " + table.name + ";";
    if (table.key.empty()) // numbers that were given away once are not given again
        script += "DELETE FROM sqlite_sequence WHERE name = '" + fresh +
                  "'; INSERT INTO sqlite_sequence (name, seq) SELECT '" + fresh +
                  "', seq FROM sqlite_sequence WHERE name = '" + table.name + "';";
    return connection.runScript(script + "DROP TABLE " + table.name + "; ALTER TABLE " + fresh + " RENAME TO " +
                                table.name + ";" + attached);
}

} // namespace

const Dialect kSqliteDialect{
    &columnType,
    &columnRule,
    "PRIMARY KEY AUTOINCREMENT",
    "lower(hex(randomblob(32)))",
    "\n) STRICT",
    "SELECT s.name, c.name, c.type, s.sql FROM sqlite_schema s "
    "JOIN pragma_table_xinfo(s.name) c "
    "WHERE s.type = 'table' AND s.name NOT LIKE 'sqlite~_%' ESCAPE '~'",
    "SELECT s.name, (SELECT group_concat(name, ', ') FROM (SELECT name FROM pragma_index_xinfo(l.name) "
    "WHERE key = 1 ORDER BY seqno)), l.\"unique\" "
    "FROM sqlite_schema s JOIN pragma_index_list(s.name) l WHERE s.type = 'table' AND l.partial = 0 "
    "AND NOT EXISTS (SELECT 1 FROM pragma_index_xinfo(l.name) WHERE key = 1 AND name IS NULL)",
    "SELECT 'SQLite ' || sqlite_version()",
    "PRAGMA journal_mode",
    "SELECT page_count * page_size FROM pragma_page_count, pragma_page_size",
    "PRAGMA integrity_check(20)",
    nullptr,
    nullptr,
    nullptr,
    &rebuild,
};

} // namespace hubdb
