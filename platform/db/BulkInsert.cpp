#include "db/BulkInsert.h"

#include <unordered_map>
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
    /// The statement of one table and one set of given columns.
    struct Prepared {
        std::uint64_t given;
        std::unique_ptr<Statement> statement;
    };
    static constexpr std::size_t kStatementsPerTable = 16;

    std::string path;
    std::unique_ptr<Engine> engine;
    std::unique_ptr<Connection> connection;
    std::unordered_map<const OVDBRowDeclaration*, std::vector<Prepared>> statements;
    std::vector<Value> values;

    Statement* statement(const OVDBRowDeclaration& table, std::uint64_t given);
};

Statement* BulkInsert::State::statement(const OVDBRowDeclaration& table, std::uint64_t given) {
    auto& kept = statements[&table];
    for (const auto& one : kept)
        if (one.given == given)
            return one.statement.get();
    std::string columns;
    std::string places;
    for (std::size_t i = 0; i < table.columns.size(); ++i) {
        if ((given >> i & 1U) == 0)
            continue;
        columns += (columns.empty() ? "" : ", ") + std::string(table.columns[i].name);
        places += places.empty() ? "?" : ", ?";
    }
    const std::string target = std::string("INSERT INTO ") + table.object;
    auto prepared = connection->prepare(given == 0 ? target + " DEFAULT VALUES"
                                                   : target + " (" + columns + ") VALUES (" + places + ")");
    if (prepared == nullptr)
        return nullptr;
    if (kept.size() == kStatementsPerTable)
        kept.clear();
    return kept.emplace_back(Prepared{given, std::move(prepared)}).statement.get();
}

BulkInsert::BulkInsert() = default;
BulkInsert::~BulkInsert() = default;

int BulkInsert::begin(const DatabaseUrl& url, std::string& error) {
    auto state = std::make_unique<State>();
    state->path = url.name;
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
    Statement* const statement = state_->statement(table, given);
    int status = kDbFailed;
    if (statement != nullptr) {
        status = statement->execute(state_->values);
        statement->finish();
    }
    if (statement != nullptr && status >= 0)
        return kDbOk;
    error = {state_->connection->error().status, nullptr, state_->connection->error().words};
    return error.status;
}

int BulkInsert::commit(std::string& error) {
    if (state_ == nullptr) {
        error = dbStatusText(kDbTransactionFailed);
        return kDbTransactionFailed;
    }
    const auto state = std::move(state_);
    state->statements.clear();
    const int status = state->connection->commit();
    if (status != kDbOk)
        error = state->path + ": " + state->connection->error().words;
    return status;
}

} // namespace hubdb
