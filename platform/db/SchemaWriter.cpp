#include "db/SchemaWriter.h"

#include <algorithm>
#include <string_view>

#include "schema/Extras.h"

namespace hubdb {

namespace {

template <class Extras>
bool names(const Extras& extras, const OVDBRowDeclaration& declaration, const OVDBColumn& column) {
    return std::ranges::any_of(extras, [&](const auto& extra) {
        return std::string_view(extra.table) == declaration.object && std::string_view(extra.column) == column.name;
    });
}

ColumnText writeColumn(const OVDBRowDeclaration& declaration, const OVDBColumn& column, const Dialect& dialect) {
    ColumnText text{column.name, dialect.columnType(column), true, "", dialect.columnRule(column), column.isSerial, "",
                    ""};
    if (names(kTokenColumns, declaration, column))
        text.defaultValue = std::string("(") + dialect.tokenDefault + ")";
    else if (names(kRequiredColumns, declaration, column))
        text.defaultValue = column.isInteger() ? "0" : "''";
    else
        text.notNull = column.inKey;
    text.definition = text.name + " " + text.type;
    if (column.isSerial)
        text.definition += std::string(" ") + dialect.serialKey;
    else if (text.notNull)
        text.definition += " NOT NULL";
    if (!text.defaultValue.empty())
        text.definition += " DEFAULT " + text.defaultValue;
    if (!text.rule.empty())
        text.definition += " " + text.rule;
    return text;
}

std::string writeKey(const OVDBRowDeclaration& declaration) {
    if (declaration.serial() != nullptr)
        return "";
    std::string columns;
    for (const auto* column : declaration.keys)
        if (column != nullptr)
            columns += (columns.empty() ? "" : ", ") + std::string(column->name);
    return "PRIMARY KEY (" + columns + ")";
}

IndexText writeIndex(const TableIndex& index) {
    std::string name = std::string(index.table) + "_";
    for (const char c : std::string_view(index.columns))
        if (c != ' ')
            name += c == ',' ? '_' : c;
    return {index.columns, index.unique,
            "DROP INDEX IF EXISTS " + name + "; CREATE " + (index.unique ? "UNIQUE " : "") + "INDEX " + name + " ON " +
                index.table + " (" + index.columns + ")"};
}

} // namespace

std::string TableText::create(const std::string& as) const {
    std::string text = "CREATE TABLE " + as + " (";
    for (const auto& column : columns)
        text += (&column == columns.data() ? "\n    " : ",\n    ") + column.definition;
    return text + (key.empty() ? "" : ",\n    " + key) + end;
}

TableText writeTable(const OVDBRowDeclaration& declaration, const Dialect& dialect) {
    TableText table{declaration.object, {}, writeKey(declaration), {}, dialect.tableEnd};
    for (const auto& column : declaration.columns)
        table.columns.push_back(writeColumn(declaration, column, dialect));
    for (const auto& mirror : kMirrorColumns) {
        if (mirror.table != table.name)
            continue;
        const auto of = std::ranges::find(table.columns, mirror.of, &ColumnText::name);
        table.columns.push_back(
            {mirror.name, of->type, false, "", "", false, mirror.of,
             std::string(mirror.name) + " " + of->type + " GENERATED ALWAYS AS (" + mirror.of + ") STORED"});
    }
    for (const auto& index : kIndexes)
        if (index.table == table.name)
            table.indexes.push_back(writeIndex(index));
    return table;
}

} // namespace hubdb
