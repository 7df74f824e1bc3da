#include "db/engines/postgres/PostgresBulkWriter.h"

#include <utility>

namespace hubdb {

namespace {

/// A value as COPY's text format has it.
void writeValue(const Value& value, std::string& data) {
    switch (value.type) {
    case Value::Type::kNull:
        data += "\\N";
        return;
    case Value::Type::kInt32:
    case Value::Type::kInt64:
        data += std::to_string(value.number);
        return;
    case Value::Type::kText:
    case Value::Type::kIds: // no column holds a set
        break;
    }
    for (const char c : value.text) {
        switch (c) {
        case '\\':
            data += "\\\\";
            break;
        case '\n':
            data += "\\n";
            break;
        case '\r':
            data += "\\r";
            break;
        case '\t':
            data += "\\t";
            break;
        default:
            data += c;
        }
    }
}

bool givesSerial(const OVDBRowDeclaration& table, std::uint64_t given) {
    const OVDBColumn* const serial = table.serial();
    return serial != nullptr && (given >> (serial - table.columns.data()) & 1U) != 0;
}

} // namespace

int PostgresBulkWriter::add(const OVDBRowDeclaration& table, std::uint64_t given, std::span<const Value> values) {
    constexpr std::size_t kBatchBytes = 1U << 18U;
    fault_ = {};
    Batch& batch = batches_[&table];
    if (given != batch.given)
        if (const int status = send(table, batch); status != kDbOk)
            return status;
    // Rows that get their number here get one that no row before them gave.
    if (!givesSerial(table, given))
        if (const int status = moveSerial(table, batch); status != kDbOk)
            return status;
    batch.given = given;
    if (given == 0) { // COPY gives at least one column
        ++batch.before;
        return connection_.runScript(std::string("INSERT INTO ") + table.object + " DEFAULT VALUES");
    }
    const char* between = "";
    for (const auto& value : values) {
        batch.data += between;
        writeValue(value, batch.data);
        between = "\t";
    }
    batch.data += '\n';
    ++batch.rows;
    batch.behind = batch.behind || givesSerial(table, given);
    return batch.data.size() < kBatchBytes ? kDbOk : send(table, batch);
}

int PostgresBulkWriter::send(const OVDBRowDeclaration& table, Batch& batch) {
    if (batch.rows == 0)
        return kDbOk;
    std::string columns;
    for (std::size_t i = 0; i < table.columns.size(); ++i)
        if ((batch.given >> i & 1U) != 0)
            columns += (columns.empty() ? "" : ", ") + std::string(table.columns[i].name);
    int status = connection_.beginCopy(std::string("COPY ") + table.object + " (" + columns + ") FROM STDIN");
    if (status == kDbOk)
        status = connection_.sendCopy(batch.data);
    std::uint64_t line = 0;
    if (status == kDbOk)
        status = connection_.endCopy(line);
    if (line > 0 && line <= batch.rows)
        fault_ = {&table, batch.before + line};
    batch.before += std::exchange(batch.rows, 0);
    batch.data.clear();
    return status;
}

int PostgresBulkWriter::moveSerial(const OVDBRowDeclaration& table, Batch& batch) {
    if (!std::exchange(batch.behind, false))
        return kDbOk;
    const std::string object = table.object;
    const std::string column = table.serial()->name;
    return connection_.runScript("SELECT setval(s, m) FROM (SELECT pg_get_serial_sequence('" + object + "', lower('" +
                                 column + "'))::regclass AS s, (SELECT max(" + column + ") FROM " + object +
                                 ") AS m) q WHERE m > coalesce(pg_sequence_last_value(s), 0)");
}

int PostgresBulkWriter::finish() {
    fault_ = {};
    for (auto& [table, batch] : batches_) {
        int status = send(*table, batch);
        if (status == kDbOk)
            status = moveSerial(*table, batch);
        if (status != kDbOk)
            return status;
    }
    return kDbOk;
}

} // namespace hubdb
