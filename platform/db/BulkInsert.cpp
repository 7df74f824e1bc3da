#include "db/BulkInsert.h"

#include <vector>

#include "db/DBText.h"
#include "db/HubSchema.h"
#include "db/engines/Engines.h"
#include "schema/SchemaVersion.h"

namespace hubdb {

namespace {

/// What is wrong with a column's value before the database sees it; empty when nothing is.
std::string fault(const OVDBColumn& column, const BulkValue& value) {
    if (!value.has_value())
        return column.inKey && !column.isSerial ? "the key must be given" : "";
    switch (value->type) {
    case Value::Type::kNull:
        return column.inKey ? "a key cannot be NULL" : "";
    case Value::Type::kText:
        if (column.isInteger())
            return "a text where a number belongs";
        if (!isWholeText(value->text))
            return "the text is not valid UTF-8, or holds a NUL";
        if (column.isFixedText() && value->text.size() >= column.size)
            return "the text has " + std::to_string(value->text.size()) + " bytes, and the column holds " +
                   std::to_string(column.size - 1);
        return "";
    case Value::Type::kIds:
        return "a set where a value belongs";
    case Value::Type::kInt32:
    case Value::Type::kInt64:
        break;
    }
    if (!column.isInteger())
        return "a number where a text belongs";
    if (column.kind == OVDBColumnKind::kInt && value->number != static_cast<std::int32_t>(value->number))
        return std::to_string(value->number) + " does not fit 32 bits";
    return "";
}

} // namespace

struct BulkInsert::State {
    std::string name;
    std::unique_ptr<Engine> engine;
    std::unique_ptr<Connection> connection;
    std::unique_ptr<BulkWriter> writer;
    std::vector<Value> values;

    /// The connection's failure, and the row that it is about.
    int tell(BulkError& error) const {
        const auto [table, row] = writer->fault();
        error = {connection->error().status, nullptr, connection->error().words, table, row};
        return error.status;
    }
};

BulkInsert::BulkInsert() = default;
BulkInsert::~BulkInsert() = default;

int BulkInsert::begin(const DatabaseUrl& url, std::string& error) {
    auto state = std::make_unique<State>();
    state->name = url.name;
    state->engine = makeEngine(url);
    EngineError failure;
    state->connection = state->engine->open(failure);
    if (state->connection == nullptr) {
        error = failure.words;
        return failure.status;
    }
    int status = requireVersion(*state->connection, url.name, error);
    if (status != kDbOk)
        return status;
    status = state->connection->begin(TransactionKind::kWrite);
    if (status != kDbOk) {
        error = url.name + ": " + state->connection->error().words;
        return status;
    }
    state->writer = state->connection->bulkWriter();
    state_ = std::move(state);
    return kDbOk;
}

int BulkInsert::insert(const OVDBRowDeclaration& table, std::span<const BulkValue> values, BulkError& error) {
    if (state_ == nullptr || values.size() != table.columns.size() || values.size() > 64) {
        error = {kDbTransactionFailed, nullptr, dbStatusText(kDbTransactionFailed)};
        return error.status;
    }
    std::uint64_t given = 0;
    state_->values.clear();
    for (std::size_t i = 0; i < values.size(); ++i) {
        const OVDBColumn& column = table.columns[i];
        if (std::string wrong = fault(column, values[i]); !wrong.empty()) {
            error = {kDbBadValue, &column, std::move(wrong)};
            return error.status;
        }
        if (values[i].has_value()) {
            given |= std::uint64_t{1} << i;
            state_->values.push_back(*values[i]);
        }
    }
    return state_->writer->add(table, given, state_->values) == kDbOk ? kDbOk : state_->tell(error);
}

int BulkInsert::commit(BulkError& error) {
    if (state_ == nullptr) {
        error = {kDbTransactionFailed, nullptr, dbStatusText(kDbTransactionFailed)};
        return error.status;
    }
    const auto state = std::move(state_);
    int status = state->writer->finish();
    if (status != kDbOk)
        return state->tell(error);
    status = state->connection->commit();
    if (status != kDbOk)
        error = {status, nullptr, state->name + ": " + state->connection->error().words};
    return status;
}

} // namespace hubdb
