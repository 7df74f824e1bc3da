#include "db/HubSchema.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <ctime>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <utility>

#include "db/SchemaWriter.h"
#include "db/engines/Dialect.h"
#include "db/engines/Engines.h"
#include "schema/SchemaVersion.h"

namespace hubdb {

namespace {

/// A connection of its own, with the words of failures.
class Opened {
  public:
    Opened(const DatabaseUrl& url, std::string& error) : name_(url.name), error_(error), engine_(makeEngine(url)) {
        EngineError failure;
        connection_ = engine_->open(failure);
        status_ = failure.status;
        if (connection_ == nullptr)
            error_ = failure.words;
    }

    explicit operator bool() const { return connection_ != nullptr; }
    int status() const { return status_; }
    Connection& connection() { return *connection_; }
    const Dialect& dialect() const { return engine_->dialect(); }

    /// Tells a failure of the connection's last call, or of something else.
    int fail(int status, const std::string& doing) { return refuse(status, doing + ": " + connection_->error().words); }
    int refuse(int status, const std::string& words) {
        error_ = name_ + ": " + words;
        return status;
    }

    /// Runs `work` in a write transaction, which ends well only when it does.
    int transact(const std::function<int()>& work) {
        if (const int status = connection_->begin(TransactionKind::kSchema); status != kDbOk)
            return fail(status, "the transaction cannot begin");
        if (const int status = work(); status != kDbOk) {
            connection_->rollback();
            return status;
        }
        const int status = connection_->commit();
        return status == kDbOk ? kDbOk : fail(status, "the transaction cannot be committed");
    }

    int run(const std::string& sql, const std::string& doing) {
        const int status = connection_->runScript(sql);
        return status == kDbOk ? kDbOk : fail(status, doing);
    }

    int oneText(const char* sql, std::string& text) {
        const auto statement = connection_->prepare(sql, StatementUse::kOneRow);
        int status = statement == nullptr ? connection_->error().status : statement->execute({});
        if (status == kDbOk)
            statement->readText(text);
        if (status != kDbOk)
            return fail(status, sql);
        statement->finish();
        return kDbOk;
    }

  private:
    std::string name_;
    std::string& error_;
    std::unique_ptr<Engine> engine_;
    std::unique_ptr<Connection> connection_;
    int status_ = kDbOk;
};

// ---- the live catalogue

struct LiveColumnRow {
    OVDBText table;
    OVDBText column;
    OVDBText type;
    OVDBText definition;
};
constexpr std::array kLiveColumns{COLUMN(LiveColumnRow, table), COLUMN(LiveColumnRow, column),
                                  COLUMN(LiveColumnRow, type), COLUMN(LiveColumnRow, definition)};

struct LiveIndexRow {
    OVDBText table;
    OVDBText columns;
    std::int32_t unique;
};
constexpr std::array kLiveIndexes{COLUMN(LiveIndexRow, table), COLUMN(LiveIndexRow, columns),
                                  COLUMN(LiveIndexRow, unique)};

/// Identifiers are never quoted, so an engine may have folded them.
std::string folded(std::string name) {
    std::ranges::transform(name, name.begin(),
                           [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c | 0x20) : c; });
    return name;
}

struct LiveFunctionRow {
    OVDBText name;
    OVDBText signature;
    OVDBText body;
};
constexpr std::array kLiveFunctions{COLUMN(LiveFunctionRow, name), COLUMN(LiveFunctionRow, signature),
                                    COLUMN(LiveFunctionRow, body)};

struct LiveTable {
    std::map<std::string, std::pair<std::string, std::string>> columns; ///< folded name: name and type
    std::string definition;
    std::set<std::pair<std::string, bool>> indexes; ///< folded columns, unique
};

using LiveSchema = std::map<std::string, LiveTable>; ///< by folded name

/// The declared functions, where the engine has such.
std::vector<FunctionText> declaredFunctions(const Dialect& dialect, const SchemaObjects& objects) {
    return dialect.functions == nullptr ? std::vector<FunctionText>() : dialect.functions(objects.procedures);
}

template <class Row, class Columns, class Take>
int eachRow(Connection& connection, const char* sql, const Columns& columns, const Take& take) {
    const auto statement = connection.prepare(sql, StatementUse::kOneRow);
    if (statement == nullptr)
        return connection.error().status;
    Row row{};
    std::array<short, std::tuple_size_v<Columns>> indicators{};
    const RowTarget target{columns, reinterpret_cast<char*>(&row), indicators.data(), "catalogue"};
    int status = statement->execute({});
    for (; status == kDbOk; status = statement->next()) {
        if (statement->read(target) != nullptr) {
            status = kDbBadValue;
            break;
        }
        take(row);
    }
    statement->finish();
    return status == kDbNoRow ? kDbOk : status;
}

int readLiveSchema(Opened& database, LiveSchema& live) {
    const Dialect& dialect = database.dialect();
    int status =
        eachRow<LiveColumnRow>(database.connection(), dialect.liveColumns, kLiveColumns, [&](const LiveColumnRow& row) {
            auto& table = live[folded(row.table.bytes)];
            table.columns[folded(row.column.bytes)] = {row.column.bytes, row.type.bytes};
            table.definition = row.definition.bytes;
        });
    if (status == kDbOk)
        status = eachRow<LiveIndexRow>(
            database.connection(), dialect.liveIndexes, kLiveIndexes, [&](const LiveIndexRow& row) {
                live[folded(row.table.bytes)].indexes.emplace(folded(row.columns.bytes), row.unique != 0);
            });
    return status == kDbOk ? kDbOk : database.fail(status, "the catalogue cannot be read");
}

// ---- comparing

struct TableDifferences {
    bool missing = false;
    std::vector<std::string> shape;
    std::vector<ColumnChange> columns; ///< those at fault
    bool key = false;
    std::vector<const IndexText*> indexes;
};

/// True when `part` stands in a definition as a whole item.
bool states(const std::string& definition, const std::string& part) {
    for (std::size_t at = definition.find(part); at != std::string::npos; at = definition.find(part, at + 1)) {
        const char before = at == 0 ? '\n' : definition[at - 1];
        const std::size_t end = at + part.size();
        const char after = end == definition.size() ? '\n' : definition[end];
        if ((before == ' ' || before == '\n') && (after == ',' || after == '\n' || after == ')'))
            return true;
    }
    return false;
}

TableDifferences compare(const TableText& table, const LiveSchema& live) {
    TableDifferences differences;
    const auto found = live.find(folded(table.name));
    if (found == live.end()) {
        differences.missing = true;
        return differences;
    }
    const LiveTable& there = found->second;
    const bool comparable = !there.definition.empty();
    for (const auto& column : table.columns) {
        const auto has = there.columns.find(folded(column.name));
        std::string wrong;
        if (has == there.columns.end())
            wrong = "is missing";
        else if (folded(has->second.second) != folded(column.type))
            wrong = "is of type " + has->second.second + ", not " + column.type;
        else if (comparable && !states(folded(there.definition), folded(column.definition)))
            wrong = "is not defined as \"" + column.definition + "\"";
        if (wrong.empty())
            continue;
        const bool type = has != there.columns.end() && folded(has->second.second) != folded(column.type);
        differences.columns.push_back({&column, type});
        differences.shape.push_back(table.name + "." + column.name + ": the column " + wrong);
    }
    differences.key = comparable && !table.key.empty() && !states(folded(there.definition), folded(table.key));
    if (differences.key)
        differences.shape.push_back(table.name + ": the table has not the " + table.key);
    if (const std::string end = table.end.substr(1); comparable && !there.definition.ends_with(end))
        differences.shape.push_back(table.name + ": the table does not end with \"" + end + "\"");
    for (const auto& index : table.indexes)
        if (!there.indexes.contains({folded(index.columns), true}) &&
            (index.unique || !there.indexes.contains({folded(index.columns), false})))
            differences.indexes.push_back(&index);
    return differences;
}

void describe(const TableText& table, const TableDifferences& found, std::vector<std::string>& differences) {
    if (found.missing)
        differences.push_back(table.name + ": the table is missing");
    differences.insert(differences.end(), found.shape.begin(), found.shape.end());
    for (const auto* index : found.indexes)
        differences.push_back(table.name + ": the " + (index->unique ? "unique " : "") + "index on (" + index->columns +
                              ") is missing");
}

/// The declared functions that the database has not, or otherwise.
int differingFunctions(Opened& database, const SchemaObjects& objects, std::vector<FunctionText>& differing) {
    const Dialect& dialect = database.dialect();
    auto declared = declaredFunctions(dialect, objects);
    if (declared.empty())
        return kDbOk;
    std::set<std::array<std::string, 3>> live;
    const int status = eachRow<LiveFunctionRow>(
        database.connection(), dialect.liveFunctions, kLiveFunctions, [&](const LiveFunctionRow& row) {
            live.insert({folded(row.name.bytes), folded(row.signature.bytes), row.body.bytes});
        });
    if (status != kDbOk)
        return database.fail(status, "the catalogue cannot be read");
    for (auto& function : declared)
        if (!live.contains({folded(function.name), folded(function.signature), function.body}))
            differing.push_back(std::move(function));
    return kDbOk;
}

int compareAll(Opened& database, const SchemaObjects& objects, std::vector<std::string>& differences) {
    LiveSchema live;
    if (const int status = readLiveSchema(database, live); status != kDbOk)
        return status;
    for (const auto* declaration : objects.tables) {
        const TableText table = writeTable(*declaration, database.dialect());
        describe(table, compare(table, live), differences);
    }
    std::vector<FunctionText> functions;
    if (const int status = differingFunctions(database, objects, functions); status != kDbOk)
        return status;
    for (const auto& function : functions)
        differences.push_back(function.name + ": the function is missing, or not as it is declared");
    return kDbOk;
}

// ---- changing

int createTable(Opened& database, const TableText& table) {
    std::string script = table.create(table.name) + ";";
    for (const auto& index : table.indexes)
        script += index.create + ";";
    return database.run(script, "the table " + table.name + " cannot be made");
}

int createFunctions(Opened& database, const std::vector<FunctionText>& functions) {
    for (const auto& function : functions)
        if (const int status = database.run(function.create, "the function " + function.name + " cannot be made");
            status != kDbOk)
            return status;
    return kDbOk;
}

int rebuildTable(Opened& database, const TableText& table, const LiveTable& there,
                 const TableDifferences& differences) {
    TableChanges changes{{}, differences.columns, differences.key};
    for (const auto& [foldedName, live] : there.columns) {
        const auto same = [&name = foldedName](const ColumnText& column) { return folded(column.name) == name; };
        const auto column = std::ranges::find_if(table.columns, same);
        if (column == table.columns.end())
            return database.refuse(kDbBadStatement, table.name + "." + live.first +
                                                        ": the column is not this library's and would be lost");
        if (column->mirrors.empty())
            changes.present.push_back(live.first);
    }
    const int status = database.dialect().rebuild(database.connection(), table, changes);
    return status == kDbOk ? kDbOk : database.fail(status, "the table " + table.name + " cannot be rebuilt");
}

/// Brings every table to the shape that is declared.
int reshape(Opened& database, const SchemaObjects& objects) {
    LiveSchema live;
    if (const int status = readLiveSchema(database, live); status != kDbOk)
        return status;
    for (const auto* declaration : objects.tables) {
        const TableText table = writeTable(*declaration, database.dialect());
        const TableDifferences found = compare(table, live);
        int status = kDbOk;
        if (found.missing)
            status = createTable(database, table);
        else if (!found.shape.empty())
            status = rebuildTable(database, table, live.at(folded(table.name)), found);
        for (const auto* index : found.indexes)
            if (status == kDbOk)
                status =
                    database.run(index->create, table.name + ": the index on (" + index->columns + ") cannot be made");
        if (status != kDbOk)
            return status;
    }
    return kDbOk;
}

int recordVersion(Opened& database, int version) {
    return database.run("INSERT INTO HubSchema (version, applied) VALUES (" + std::to_string(version) + ", " +
                            std::to_string(std::time(nullptr)) + ")",
                        "the version cannot be recorded");
}

std::string versionWords(int version) {
    if (version == 0)
        return "is not a hub database";
    return "is a hub database of version " + std::to_string(version) + ", and this library uses version " +
           std::to_string(kSchemaVersion) + (version < kSchemaVersion ? ": run hubdb upgrade" : ": update the library");
}

int refuseVersion(Opened& database, int version) {
    return database.refuse(kDbNotADatabase, versionWords(version));
}

int upgradeInTransaction(Opened& database, const SchemaObjects& objects, int& from) {
    int status = kDbOk;
    from = readSchemaVersion(database.connection(), status);
    if (status != kDbOk && status != kDbBadStatement)
        return database.fail(status, "the schema's version cannot be read");
    if (from > kSchemaVersion || from < kUpgradeSteps.front().from)
        return refuseVersion(database, from);
    for (const auto& step : kUpgradeSteps)
        if (step.from >= from && status == kDbOk)
            status =
                database.run(step.script, "the data of version " + std::to_string(step.from) + " cannot be upgraded");
    if (status == kDbOk && from < kSchemaVersion)
        status = reshape(database, objects);
    if (std::vector<FunctionText> functions; status == kDbOk) {
        status = differingFunctions(database, objects, functions);
        if (status == kDbOk)
            status = createFunctions(database, functions);
    }
    for (int version = from + 1; version <= kSchemaVersion && status == kDbOk; ++version)
        status = recordVersion(database, version);
    if (status != kDbOk)
        return status;
    std::vector<std::string> differences;
    status = compareAll(database, objects, differences);
    if (status == kDbOk && !differences.empty())
        return database.refuse(kDbBadStatement,
                               differences.front() + (differences.size() == 1 ? "" : " (and more: see hubdb check)"));
    return status;
}

} // namespace

int readSchemaVersion(Connection& connection, int& status) {
    const auto statement = connection.prepare("SELECT max(version) FROM HubSchema", StatementUse::kOneRow);
    std::string text;
    status = statement == nullptr ? connection.error().status : statement->execute({});
    if (status == kDbOk)
        statement->readText(text);
    if (statement != nullptr)
        statement->finish();
    int version = 0;
    std::from_chars(text.data(), text.data() + text.size(), version);
    return version;
}

int requireVersion(Connection& connection, const std::string& name, std::string& error) {
    int status = kDbOk;
    const int version = readSchemaVersion(connection, status);
    if (status != kDbOk && status != kDbBadStatement) {
        error = name + ": " + connection.error().words;
        return status;
    }
    if (version == kSchemaVersion)
        return kDbOk;
    error = name + ": " + versionWords(version);
    return kDbNotADatabase;
}

int createSchema(DatabaseUrl url, const SchemaObjects& objects, std::string& error) {
    url.createMissing = true;
    const auto engine = makeEngine(url);
    const bool fresh = engine->isMissing();
    int status = kDbOk;
    bool tableless = false; // what was made may go again
    {
        Opened database(url, error);
        if (!database)
            status = database.status();
        else
            status = database.transact([&] {
                LiveSchema live;
                if (const int failed = readLiveSchema(database, live); failed != kDbOk)
                    return failed;
                if (!live.empty())
                    return database.refuse(kDbBadStatement, "holds tables already");
                tableless = true;
                const auto role = url.engineOptions.find("app_role");
                const bool granting = role != url.engineOptions.end();
                const auto grant = [&](const std::string& script) {
                    return database.run(script, "the role " + role->second + " cannot be granted access");
                };
                if (const int failed = granting ? grant(database.dialect().grantTo(role->second)) : kDbOk;
                    failed != kDbOk)
                    return failed;
                for (const auto* declaration : objects.tables)
                    if (const int failed = createTable(database, writeTable(*declaration, database.dialect()));
                        failed != kDbOk)
                        return failed;
                if (const int failed = createFunctions(database, declaredFunctions(database.dialect(), objects));
                    failed != kDbOk)
                    return failed;
                if (const int failed =
                        granting ? grant("REVOKE INSERT, UPDATE, DELETE ON HubSchema FROM \"" + role->second + "\"")
                                 : kDbOk;
                    failed != kDbOk)
                    return failed;
                return recordVersion(database, kSchemaVersion);
            });
    }
    if (status != kDbOk && status != kDbBusy && fresh)
        engine->remove(!tableless);
    return status;
}

int checkSchema(DatabaseUrl url, const SchemaObjects& objects, std::vector<std::string>& differences,
                std::string& error) {
    url.lookOnly = true;
    Opened database(url, error);
    if (!database)
        return database.status();
    int status = kDbOk;
    const int version = readSchemaVersion(database.connection(), status);
    if (status != kDbOk && status != kDbBadStatement)
        return database.fail(status, "the schema's version cannot be read");
    if (version == 0 || version > kSchemaVersion)
        return refuseVersion(database, version);
    if (version < kSchemaVersion)
        differences.push_back("HubSchema: the version is " + std::to_string(version) + ", not " +
                              std::to_string(kSchemaVersion) + ": run hubdb upgrade");
    return compareAll(database, objects, differences);
}

int upgradeSchema(const DatabaseUrl& url, const SchemaObjects& objects, int& from, std::string& error) {
    Opened database(url, error);
    if (!database)
        return database.status();
    return database.transact([&] { return upgradeInTransaction(database, objects, from); });
}

int examineDatabase(DatabaseUrl url, DatabaseFacts& facts, std::string& error) {
    url.lookOnly = true;
    Opened database(url, error);
    if (!database)
        return database.status();
    const Dialect& dialect = database.dialect();
    for (const auto& [sql, text] : {std::pair{dialect.version, &facts.engine},
                                    {dialect.journal, &facts.journal},
                                    {dialect.bytes, &facts.bytes},
                                    {dialect.integrity, &facts.integrity}})
        if (const int status = database.oneText(sql, *text); status != kDbOk)
            return status;
    int status = kDbOk;
    facts.version = readSchemaVersion(database.connection(), status);
    if (status == kDbBadStatement)
        return kDbOk; // no hub database, which the version says
    if (status != kDbOk)
        return database.fail(status, "the schema's version cannot be read");

    const auto read =
        database.connection().prepare("SELECT applied FROM HubSchema WHERE version = ?", StatementUse::kOneRow);
    const std::array key{Value::int32(facts.version)};
    std::array<std::int64_t, 999> nanoseconds{};
    for (auto& took : nanoseconds) {
        const auto before = std::chrono::steady_clock::now();
        status = read == nullptr ? database.connection().error().status : read->execute(key);
        if (status < 0)
            return database.fail(status, "a point read failed");
        read->finish();
        took = std::chrono::nanoseconds(std::chrono::steady_clock::now() - before).count();
    }
    std::ranges::nth_element(nanoseconds, nanoseconds.begin() + nanoseconds.size() / 2);
    facts.roundTripNanoseconds = nanoseconds[nanoseconds.size() / 2];
    return kDbOk;
}

} // namespace hubdb
