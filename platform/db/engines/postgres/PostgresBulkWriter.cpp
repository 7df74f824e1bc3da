#include "db/engines/postgres/PostgresBulkWriter.h"

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

} // namespace

int PostgresBulkWriter::add(const OVDBRowDeclaration& table, std::uint64_t given, std::span<const Value> values) {
    constexpr std::size_t kBatchBytes = 1U << 18U;
    fault_ = {};
    const std::uint64_t row = ++rows_[&table];
    if (given == 0) // COPY gives at least one column
        return connection_.runScript(std::string("INSERT INTO ") + table.object + " DEFAULT VALUES");
    const Kind kind{&table, given};
    constexpr std::size_t kBatchesMax = 256;
    if (batches_.size() >= kBatchesMax && !batches_.contains(kind))
        if (const int status = sendAll(); status != kDbOk)
            return status;
    Batch& batch = batches_[kind];
    const char* between = "";
    for (const auto& value : values) {
        batch.data += between;
        writeValue(value, batch.data);
        between = "\t";
    }
    batch.data += '\n';
    batch.rows.push_back(row);
    return batch.data.size() < kBatchBytes ? kDbOk : send(kind, batch);
}

int PostgresBulkWriter::send(const Kind& kind, Batch& batch) {
    const auto& [table, given] = kind;
    std::string columns;
    for (std::size_t i = 0; i < table->columns.size(); ++i)
        if ((given >> i & 1U) != 0)
            columns += (columns.empty() ? "" : ", ") + std::string(table->columns[i].name);
    int status = connection_.beginCopy(std::string("COPY ") + table->object + " (" + columns + ") FROM STDIN");
    if (status == kDbOk)
        status = connection_.sendCopy(batch.data);
    std::uint64_t line = 0;
    if (status == kDbOk)
        status = connection_.endCopy(line);
    if (line > 0 && line <= batch.rows.size())
        fault_ = {table, batch.rows[line - 1]};
    batch = {};
    return status;
}

int PostgresBulkWriter::sendAll() {
    for (auto& [kind, batch] : batches_)
        if (!batch.rows.empty())
            if (const int status = send(kind, batch); status != kDbOk)
                return status;
    batches_.clear();
    return kDbOk;
}

int PostgresBulkWriter::finish() {
    fault_ = {};
    if (const int status = sendAll(); status != kDbOk)
        return status;
    for (const auto& [table, count] : rows_) {
        const OVDBColumn* const serial = table->serial();
        if (serial == nullptr)
            continue;
        const std::string object = table->object;
        const std::string column = serial->name;
        const int status =
            connection_.runScript("SELECT setval(s, m) FROM (SELECT pg_get_serial_sequence('" + object + "', lower('" +
                                  column + "'))::regclass AS s, (SELECT max(" + column + ") FROM " + object +
                                  ") AS m) q WHERE m > coalesce(pg_sequence_last_value(s), 0)");
        if (status != kDbOk)
            return status;
    }
    return kDbOk;
}

} // namespace hubdb
