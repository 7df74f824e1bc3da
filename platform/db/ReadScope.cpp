#include "db/ReadScope.h"

#include <strings.h>

#include <cctype>
#include <cstring>
#include <set>
#include <utility>

#include "db/FaultSeam.h"
#include "db/engines/PackedRow.h"
#include "log/EvDebug.h"

namespace hubdb {

namespace {

/// A set of more rows, or of more bytes, is read in several.
constexpr std::size_t kRowsMax = 16'384;
constexpr std::size_t kBytesMax = 8U << 20U;
/// Of one kind of read no more than this is kept, and the newest set.
constexpr std::size_t kKeptBytesMax = 2 * kBytesMax;
constexpr std::chrono::milliseconds kBlockingLimit{200};

/// A condition "column=?" of a filter: where it stands, and which of the filter's values it compares.
struct Condition {
    std::size_t begin;
    std::size_t end;
    std::string_view column;
    std::size_t value;
};

bool isWord(std::string_view text, std::string_view word) {
    return text.size() == word.size() && strncasecmp(text.data(), word.data(), word.size()) == 0;
}

/// The conditions of a filter that compare a column with a value, if all that the filter says is joined by AND.
std::vector<Condition> conditionsOf(std::string_view sql) {
    std::vector<Condition> conditions;
    std::size_t values = 0;
    std::size_t begin = 0; // of the condition that is read
    std::string_view column;
    std::size_t value = 0;
    int parts = 0; // of the condition, 3 of "column=?"
    int depth = 0;
    const auto endCondition = [&](std::size_t end) {
        if (parts == 3 && !column.empty())
            conditions.push_back({begin, end, column, value});
        parts = 0;
        column = {};
    };
    for (std::size_t at = 0; at < sql.size();) {
        const char c = sql[at];
        if (c == ' ') {
            ++at;
            continue;
        }
        std::size_t end = at + 1;
        if (c == '\'') {
            end = sql.find('\'', at + 1); // a doubled quote reads as two texts, which is the same here
            end = end == std::string_view::npos ? sql.size() : end + 1;
        } else if (std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_') {
            while (end < sql.size() && (std::isalnum(static_cast<unsigned char>(sql[end])) != 0 || sql[end] == '_'))
                ++end;
        }
        const std::string_view token = sql.substr(at, end - at);
        depth += c == '(' ? 1 : c == ')' ? -1 : 0;
        if (depth == 0 && isWord(token, "and")) {
            endCondition(at);
        } else {
            for (const char* word : {"or", "between", "case", "select"})
                if (isWord(token, word))
                    return {};
            if (parts == 0) {
                begin = at;
                column = token;
            } else if ((parts == 1 && token != "=") || (parts == 2 && token != "?")) {
                column = {};
            }
            ++parts;
            if (token == "?")
                value = values++;
        }
        at = end;
    }
    endCondition(sql.size());
    return conditions;
}

/// A column of a packed row as the number that a row buffer would hold.
int packedNumber(const char* row, std::size_t column) {
    const PackedCells cells(row);
    for (std::size_t i = 0; i < column; ++i)
        (void)cells.at(0);
    return static_cast<int>(cells.at(0).integer());
}

const char* behindRow(const char* row, std::size_t columns) {
    const PackedCells cells(row);
    for (std::size_t i = 0; i < columns; ++i)
        (void)cells.at(0);
    return cells.rest();
}

void makeSet(std::vector<int>& values) {
    std::sort(values.begin(), values.end());
    values.erase(std::unique(values.begin(), values.end()), values.end());
}

} // namespace

std::atomic<bool> ReadScope::enabled = true;

struct ReadScope::Shape {
    /// A value of the filter that sets can be made for.
    struct Input {
        Condition condition;
        std::size_t column; ///< its index among the declared ones
        Key key;
    };

    const OVDBRowDeclaration* declaration;
    int operation;
    std::shared_ptr<const Form> where;
    std::shared_ptr<const Form> order;
    std::vector<Input> inputs;     ///< none: reads of this shape are single reads
    const char* firstBy = nullptr; ///< the key whose least value is the first row; null where there is but one

    /// How many values a set is made for: fewer once their rows were too long to be taken together.
    static constexpr std::size_t kValuesMax = 2 * kChunk;
    mutable std::size_t valuesMax = kValuesMax;
};

const RowSet::Rows* RowSet::find(int value) const {
    for (const std::size_t at : {next, next + 1}) {
        if (at < values.size() && values[at] == value) {
            next = at;
            return &found[at];
        }
    }
    const auto place = std::lower_bound(values.begin(), values.end(), value);
    if (place == values.end() || *place != value)
        return nullptr;
    next = static_cast<std::size_t>(place - values.begin());
    return &found[next];
}

ReadScope*& ReadScope::current() {
    thread_local ReadScope* scope = nullptr;
    return scope;
}

void ReadScope::noteLast(int status, const std::string& words) {
    lastFailure() = {status, words};
}

ReadScope::ReadScope(bool active) {
    if (!active || !enabled || current() != nullptr)
        return;
    current() = this;
    open_ = true;
}

ReadScope::~ReadScope() {
    if (current() != this)
        return;
    endTransaction();
    current() = nullptr;
}

ReadScope::Key ReadScope::keyOf(const OVDBRowDeclaration& table, const OVDBColumn& column) {
    return column.referencedTable != nullptr ? Key{column.referencedTable, column.referencedColumn}
                                             : Key{table.object, column.name};
}

// ---- what the elements are

void ReadScope::forgetChunk() noexcept {
    visited_ = nullptr;
    visitedIds_.clear();
    visitedRows_ = {};
    leftOut_.clear();
    foreseen_.clear();
    kinds_.clear();
    setsLoaded_ = 0;
    if (inTransaction_ && session_.lease().session().connection().readsBlockWriters())
        endTransaction();
}

void ReadScope::visit(const OVDBRowDeclaration& table, std::span<const int> ids) {
    if (!open_)
        return;
    forgetChunk();
    visited_ = &table;
    visitedIds_.assign(ids.begin(), ids.end());
    makeSet(visitedIds_);
}

void ReadScope::visit(const OVDBRowDeclaration& table, std::span<const char* const> rows) {
    if (!open_)
        return;
    forgetChunk();
    visited_ = &table;
    visitedRows_ = rows;
}

void ReadScope::collect(Foreseen& into) {
    into.values.clear();
    const auto refers = [&](const OVDBRowDeclaration& table, const OVDBColumn& column) {
        return column.referencedTable != nullptr && column.kind == OVDBColumnKind::kInt &&
               keyOf(table, column) == into.key;
    };
    const Key visitedKey =
        visited_ != nullptr && visited_->keys[0] != nullptr ? keyOf(*visited_, *visited_->keys[0]) : Key{};
    if (into.key == visitedKey)
        for (const int id : visitedIds_)
            if (leftOut_.count(id) == 0)
                into.values.push_back(id);
    if (visited_ != nullptr) {
        for (const auto& column : visited_->columns) {
            if (!refers(*visited_, column))
                continue;
            for (const char* row : visitedRows_) {
                std::int32_t value = 0;
                std::memcpy(&value, row + column.offset, sizeof value);
                into.values.push_back(value);
            }
        }
    }
    for (const auto& kind : kinds_) {
        const OVDBRowDeclaration& table = *kind->shape->declaration;
        const bool ofElements = kind->shape->inputs[kind->input].key == visitedKey;
        for (std::size_t index = 0; index < table.columns.size(); ++index) {
            if (!refers(table, table.columns[index]))
                continue;
            for (const auto& set : kind->sets) {
                for (std::size_t i = 0; i < set->values.size(); ++i) {
                    if (ofElements && leftOut_.count(set->values[i]) != 0)
                        continue;
                    const char* row = set->bytes.data() + set->found[i].at;
                    for (std::uint32_t n = 0; n < set->found[i].count; ++n) {
                        into.values.push_back(packedNumber(row, index));
                        row = behindRow(row, table.columns.size());
                    }
                }
            }
        }
    }
    makeSet(into.values);
    into.setsSeen = setsLoaded_;
}

const std::vector<int>* ReadScope::foreseen(const Key& key, int value) {
    auto at = std::find_if(foreseen_.begin(), foreseen_.end(), [&key](const Foreseen& f) { return f.key == key; });
    if (at == foreseen_.end()) {
        at = foreseen_.insert(foreseen_.end(), Foreseen{key, {}, 0});
        collect(*at);
    }
    if (std::binary_search(at->values.begin(), at->values.end(), value))
        return &at->values;
    if (at->setsSeen == setsLoaded_)
        return nullptr;
    collect(*at); // of rows that came since
    return std::binary_search(at->values.begin(), at->values.end(), value) ? &at->values : nullptr;
}

// ---- answering

const ReadScope::Shape* ReadScope::shapeOf(const DBtable& reader, int operation) {
    for (const auto& shape : shapes_)
        if (shape->declaration == &reader.declaration_ && shape->where == reader.where_ &&
            shape->operation == operation && shape->order == reader.order_)
            return shape.get();
    auto shape = std::make_unique<Shape>();
    shape->declaration = &reader.declaration_;
    shape->operation = operation;
    shape->where = reader.where_;
    shape->order = reader.order_;
    const auto& columns = reader.declaration_.columns;
    std::set<std::size_t> keysGiven;
    if (reader.where_ != nullptr) {
        for (const Condition& condition : conditionsOf(reader.where_->sql())) {
            const auto column = std::find_if(columns.begin(), columns.end(), [&condition](const OVDBColumn& c) {
                return isWord(condition.column, c.name);
            });
            if (column == columns.end() || column->kind != OVDBColumnKind::kInt)
                continue;
            const auto index = static_cast<std::size_t>(column - columns.begin());
            if (column->inKey)
                keysGiven.insert(index);
            shape->inputs.push_back({condition, index, keyOf(reader.declaration_, *column)});
        }
    }
    const auto& keys = reader.declaration_.keys;
    const auto keyCount =
        static_cast<std::size_t>(std::count_if(keys.begin(), keys.end(), [](auto* k) { return k != nullptr; }));
    if (operation == static_cast<int>(DBtable::Operation::kReadOne) && (keyCount == 0 || keysGiven.size() < keyCount)) {
        if (keyCount == 1 && reader.order_ == nullptr)
            shape->firstBy = keys[0]->name;
        else
            shape->inputs.clear();
    }
    return shapes_.emplace_back(std::move(shape)).get();
}

ReadScope::Kind* ReadScope::kindFor(const Shape& shape, std::size_t input, std::span<const Value> values) {
    const auto same = [&](const Kind& kind) {
        if (kind.shape != &shape || kind.input != input)
            return false;
        for (std::size_t i = 0; i < values.size(); ++i)
            if (i != shape.inputs[input].condition.value && kind.others[i] != values[i].number)
                return false;
        return true;
    };
    for (const auto& kind : kinds_)
        if (same(*kind))
            return kind.get();
    auto kind = std::make_unique<Kind>();
    kind->shape = &shape;
    kind->input = input;
    for (const Value& value : values)
        kind->others.push_back(value.number);
    return kinds_.emplace_back(std::move(kind)).get();
}

KeptRows ReadScope::answer(DBtable& reader, int operation) {
    if (!open_ || visited_ == nullptr)
        return {};
    if (blocksTooLong())
        endTransaction();
    const Shape& shape = *shapeOf(reader, operation);
    const std::span<const Value> values = reader.values_.view();
    const bool numbers = std::all_of(values.begin(), values.end(), [](const Value& value) {
        return value.type == Value::Type::kInt32 || value.type == Value::Type::kInt64;
    });
    if (!numbers)
        return {};
    // Of several columns that could lead, the one with the most values: most elements share the others.
    std::size_t input = 0;
    const std::vector<int>* candidates = nullptr;
    for (std::size_t i = 0; i < shape.inputs.size(); ++i) {
        const auto& each = shape.inputs[i];
        if (each.condition.value >= values.size())
            return {};
        const std::int64_t number = values[each.condition.value].number;
        const int value = static_cast<int>(number);
        if (value != number)
            continue; // wider than any id
        const bool ownKey = shape.declaration == visited_ && shape.declaration->columns[each.column].inKey;
        const std::vector<int>* found = nullptr;
        if (!ownKey || visitedIds_.empty())
            found = foreseen(each.key, value);
        else if (std::binary_search(visitedIds_.begin(), visitedIds_.end(), value))
            found = &visitedIds_;
        if (found != nullptr && (candidates == nullptr || found->size() > candidates->size())) {
            candidates = found;
            input = i;
        }
    }
    if (candidates == nullptr)
        return {};
    const int value = static_cast<int>(values[shape.inputs[input].condition.value].number);
    Kind* const kind = kindFor(shape, input, values);
    std::shared_ptr<const RowSet> set;
    const RowSet::Rows* rows = nullptr;
    for (const auto& each : kind->sets) {
        if ((rows = each->find(value)) != nullptr) {
            set = each;
            break;
        }
    }
    const auto isAlone = [kind](int of) {
        return std::find(kind->alone.begin(), kind->alone.end(), of) != kind->alone.end();
    };
    // A set may end before the value: then one more begins with it. Where sets end early, what lies before the value
    // may have been kept and given up again.
    for (bool fromValue : {shape.valuesMax < Shape::kValuesMax, true}) {
        if (set != nullptr || !open_ || isAlone(value))
            break;
        std::vector<int> wanted;
        for (const int candidate : *candidates) {
            const bool known = isAlone(candidate) ||
                               std::any_of(kind->sets.begin(), kind->sets.end(),
                                           [candidate](const auto& each) { return each->find(candidate) != nullptr; });
            if (!known && !(fromValue && candidate < value) && wanted.size() < shape.valuesMax)
                wanted.push_back(candidate);
        }
        auto loaded = load(reader, *kind, std::move(wanted));
        if (loaded != nullptr && (rows = loaded->find(value)) != nullptr)
            set = std::move(loaded);
    }
    return set == nullptr ? KeptRows{} : KeptRows{set, set->bytes.data() + rows->at, rows->count};
}

std::shared_ptr<const RowSet> ReadScope::load(DBtable& reader, Kind& kind, std::vector<int> wanted) {
    auto set = std::make_shared<RowSet>();
    set->values = std::move(wanted);
    set->found.resize(set->values.size());
    std::vector<Value> values(reader.values_.view().begin(), reader.values_.view().end());
    if (!ready())
        return nullptr;
    const Shape& shape = *kind.shape;
    const Shape::Input& input = shape.inputs[kind.input];
    const OVDBRowDeclaration& table = *shape.declaration;
    Lease& lease = session_.lease();
    Session& session = lease.session();
    Connection& connection = session.connection();

    constexpr int kSetOperations = 64; // beyond DBtable's own
    const StatementKey key{&table,
                           kSetOperations + shape.operation + 8 * static_cast<int>(kind.input),
                           0,
                           shape.where.get(),
                           shape.order.get(),
                           nullptr};
    CachedStatement* entry = session.find(key);
    if (entry == nullptr) {
        const std::string column = table.columns[input.column].name;
        std::string filter = shape.where->sql();
        filter.replace(input.condition.begin, input.condition.end - input.condition.begin, column + connection.isIn());
        if (shape.firstBy != nullptr)
            filter = std::string(shape.firstBy) + " IN (SELECT min(" + shape.firstBy + ") FROM " + table.object +
                     " WHERE " + filter + " GROUP BY " + column + ")";
        const std::string sql =
            reader.selectText(" WHERE " + filter, column) + " LIMIT " + std::to_string(kRowsMax + 1);
        // All rows are taken at once.
        entry = session.add(key, {shape.where, shape.order, nullptr}, sql, StatementUse::kOneRow);
        if (entry == nullptr) {
            close(connection.error().words.c_str());
            return nullptr;
        }
        Counters::add(lease.counters().prepared);
    }
    values[input.condition.value] = Value::ofIds(set->values);
    const auto release = [](CachedStatement* used) { Session::release(*used); };
    std::unique_ptr<CachedStatement, decltype(release)> inUse(entry, release);
    Counters::add(lease.counters().executed);
    int status = injectedFault(FaultPoint::kExecute, table.object);
    if (status == kDbOk)
        status = entry->statement->execute(values);
    std::size_t at = 0;
    std::size_t count = 0;
    bool whole = true;
    while (status == kDbOk) {
        const std::size_t begin = set->bytes.size();
        entry->statement->pack(set->bytes);
        Counters::add(lease.counters().rows);
        const int value = packedNumber(set->bytes.data() + begin, input.column);
        while (at < set->values.size() && set->values[at] < value)
            ++at;
        if (at == set->values.size() || set->values[at] != value) {
            status = kDbFailed; // no value of the set: the database orders numbers in another way
            break;
        }
        if (++count > kRowsMax || set->bytes.size() > kBytesMax) {
            whole = false;
            break;
        }
        RowSet::Rows& rows = set->found[at];
        if (rows.count++ == 0)
            rows.at = static_cast<std::uint32_t>(begin);
        status = injectedFault(FaultPoint::kNextRow, table.object);
        if (status == kDbOk)
            status = entry->statement->next();
    }
    const std::string words = status < 0 ? connection.error().words : "";
    inUse.reset();
    if (status < 0) {
        if (status == kDbConnectionLost)
            session.condemn();
        close(words.c_str());
        return nullptr;
    }
    if (whole && set->bytes.size() < kBytesMax / 4)
        shape.valuesMax = std::min(2 * shape.valuesMax, Shape::kValuesMax);
    if (!whole) { // the last value's rows are not all there: to be read once more, but not more often
        shape.valuesMax = std::max<std::size_t>(at, 1);
        kind.alone.push_back(set->values[at]);
        if (at == 0)
            return nullptr;
        set->values.resize(at);
        set->found.resize(at);
    }
    std::size_t kept = set->bytes.size();
    for (const auto& each : kind.sets)
        kept += each->bytes.size();
    for (; kept > kKeptBytesMax && !kind.sets.empty(); kind.sets.erase(kind.sets.begin()))
        kept -= kind.sets.front()->bytes.size();
    ++setsLoaded_;
    return kind.sets.emplace_back(std::move(set));
}

// ---- the transaction

bool ReadScope::blocksTooLong() const {
    return inTransaction_ && session_.lease().session().connection().readsBlockWriters() &&
           Clock::now() - began_ >= kBlockingLimit;
}

void ReadScope::begin() {
    EngineError error; // whoever reads will meet it too
    if (!open_ || !session_.enter(error))
        return;
    if (!session_.lease().usable() || session_.lease().session().connection().readsBlockWriters())
        session_.leave();
    else
        (void)ready();
}

bool ReadScope::ready() {
    EngineError error;
    if (!session_.enter(error))
        return false; // which says nothing of sets: the reader asks for a connection itself
    if (!session_.lease().usable()) {
        close("the connection is the parent process's");
        return false;
    }
    Connection& connection = session_.lease().session().connection();
    if (inTransaction_)
        return true;
    int status = injectedFault(FaultPoint::kBegin, "");
    if (status == kDbOk)
        status = connection.begin(TransactionKind::kRead);
    if (status != kDbOk) {
        if (status == kDbConnectionLost)
            session_.lease().session().condemn();
        close(connection.error().words.c_str());
        return false;
    }
    inTransaction_ = true;
    began_ = Clock::now();
    return true;
}

void ReadScope::endTransaction() noexcept {
    if (std::exchange(inTransaction_, false)) {
        const Lease& lease = session_.lease();
        if (lease.usable() && lease.session().connection().commit() != kDbOk)
            lease.session().condemn();
    }
    session_.leave();
}

void ReadScope::close(const char* why) noexcept {
    EvDebug::DebugLvl("ReadScope", 3, "The rest of the list is read one by one: %s", why);
    open_ = false;
    if (std::exchange(inTransaction_, false)) {
        const Lease& lease = session_.lease();
        if (lease.usable() && lease.session().connection().rollback() != kDbOk)
            lease.session().condemn();
    }
    session_.leave();
    forgetChunk();
}

bool ReadScope::endsReads() noexcept {
    const ReadScope* const scope = current();
    // Where it may end because it blocks writers, open reads do so, too, and look after that themselves.
    return scope != nullptr && scope->inTransaction_ &&
           !scope->session_.lease().session().connection().readsBlockWriters();
}

bool ReadScope::fail(const char* why) noexcept {
    ReadScope* const scope = current();
    if (scope == nullptr || !scope->inTransaction_)
        return false;
    scope->close(why);
    return true;
}

void ReadScope::giveUp(const char* why) noexcept {
    if (ReadScope* const scope = current(); scope != nullptr && scope->open_)
        scope->close(why);
}

} // namespace hubdb
