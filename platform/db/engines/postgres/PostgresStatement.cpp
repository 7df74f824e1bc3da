#include "db/engines/postgres/PostgresStatement.h"

#include <endian.h>

#include <algorithm>
#include <charconv>
#include <cstring>

#include "db/engines/PackedRow.h"
#include "db/engines/postgres/PostgresSql.h"

namespace hubdb {

namespace {

// The numbers of types that the server has built in.
constexpr Oid kInt8 = 20;
constexpr Oid kInt2 = 21;
constexpr Oid kInt4 = 23;
constexpr Oid kText = 25;
constexpr Oid kInt4Array = 1007;
constexpr Oid kUnknown = 0; ///< of a parameter: the server infers it

bool isInteger(Oid type) {
    return type == kInt4 || type == kInt8 || type == kInt2;
}

/// Types whose binary form is their text.
bool isText(Oid type) {
    constexpr Oid kName = 19;
    constexpr Oid kJson = 114;
    constexpr Oid kXml = 142;
    constexpr Oid kUnknownLiteral = 705;
    constexpr Oid kBpchar = 1042;
    constexpr Oid kVarchar = 1043;
    return type == kText || type == kVarchar || type == kBpchar || type == kName || type == kXml || type == kJson ||
           type == kUnknownLiteral;
}

std::int64_t integerOf(const char* bytes, int length) {
    std::uint64_t wide = 0;
    std::uint32_t narrow = 0;
    std::uint16_t small = 0;
    switch (length) {
    case sizeof wide:
        std::memcpy(&wide, bytes, sizeof wide);
        return static_cast<std::int64_t>(be64toh(wide));
    case sizeof narrow:
        std::memcpy(&narrow, bytes, sizeof narrow);
        return static_cast<std::int32_t>(be32toh(narrow));
    default:
        std::memcpy(&small, bytes, sizeof small);
        return static_cast<std::int16_t>(be16toh(small));
    }
}

/// One column of a row of a binary result. A length of 0 is asked for first: numbers have none, and of texts it tells
/// those that may be NULL.
struct Cell {
    const PGresult* rows;
    int row;
    int column;
    int length;
    bool number;
    std::array<char, 24>* scratch; ///< for a number that is read as a text

    CellKind kind() const {
        constexpr CellKind kOther{};
        if (number)
            return length == 0 ? CellKind::kNull : CellKind::kInteger;
        return PQgetisnull(rows, row, column) != 0 ? CellKind::kNull : kOther;
    }
    std::int64_t integer() const { return integerOf(PQgetvalue(rows, row, column), length); }
    std::string_view text() const {
        if (length == 0 && PQgetisnull(rows, row, column) != 0)
            return {};
        if (!number)
            return {PQgetvalue(rows, row, column), static_cast<std::size_t>(length)};
        const char* const end = std::to_chars(scratch->data(), scratch->data() + scratch->size(), integer()).ptr;
        return {scratch->data(), static_cast<std::size_t>(end - scratch->data())};
    }
};

struct Cells {
    static constexpr bool kMayHoldNul = false; ///< the server refuses it
    const PGresult* rows;
    int row;
    const bool* numbers;
    std::array<char, 24>* scratch;

    Cell at(int column) const { return {rows, row, column, PQgetlength(rows, row, column), numbers[column], scratch}; }
};

} // namespace

bool PostgresParameters::set(std::span<const Value> values) {
    bool changed = types_.size() != values.size();
    if (changed) {
        types_.resize(values.size(), kUnknown);
        data_.resize(values.size());
        lengths_.resize(values.size());
        formats_.assign(values.size(), 1);
        numbers_.resize(values.size());
    }
    for (std::size_t i = 0; i < values.size(); ++i) {
        const Value& value = values[i];
        Oid type = types_[i];
        data_[i] = numbers_[i].data();
        switch (value.type) {
        case Value::Type::kNull:
            data_[i] = nullptr;
            break;
        case Value::Type::kInt32: {
            const std::uint32_t bytes = htobe32(static_cast<std::uint32_t>(value.number));
            std::memcpy(numbers_[i].data(), &bytes, sizeof bytes);
            lengths_[i] = sizeof bytes;
            type = kInt4;
            break;
        }
        case Value::Type::kInt64: {
            const std::uint64_t bytes = htobe64(static_cast<std::uint64_t>(value.number));
            std::memcpy(numbers_[i].data(), &bytes, sizeof bytes);
            lengths_[i] = sizeof bytes;
            type = kInt8;
            break;
        }
        case Value::Type::kText:
            data_[i] = value.text.empty() ? "" : value.text.data();
            lengths_[i] = static_cast<int>(value.text.size());
            type = kText;
            break;
        case Value::Type::kIds: {
            const auto ids = value.ids();
            // One dimension, no NULLs, the elements' type, how many, the first one's number; then each with its length.
            ids_.assign({1, 0, kInt4, static_cast<std::uint32_t>(ids.size()), 1});
            for (const std::int32_t id : ids)
                ids_.insert(ids_.end(), {sizeof id, static_cast<std::uint32_t>(id)});
            for (std::uint32_t& word : ids_)
                word = htobe32(word);
            data_[i] = reinterpret_cast<const char*>(ids_.data());
            lengths_[i] = static_cast<int>(ids_.size() * sizeof ids_[0]);
            type = kInt4Array;
            break;
        }
        }
        changed = changed || type != types_[i];
        types_[i] = type;
    }
    return changed;
}

std::string PostgresParameters::typeText() const {
    std::string text;
    for (const Oid type : types_)
        text += std::to_string(type) + ' ';
    return text;
}

PostgresStatement::PostgresStatement(PostgresConnection& connection, const std::string& sql, StatementUse use)
    : connection_(connection), sql_(postgresSql(sql)), use_(use) {
    if (use_ == StatementUse::kRows)
        limited_ = sql_ + " LIMIT " + std::to_string(kFirstPortion + 1);
}

PostgresStatement::~PostgresStatement() {
    connection_.letGo(name_);
}

int PostgresStatement::execute(std::span<const Value> values) {
    if (parameters_.set(values))
        forget();
    // Behind a proxy a cursor ends with its transaction.
    const bool inPortions =
        use_ == StatementUse::kRows && (connection_.keepsStatements() || connection_.inTransaction());
    if (inPortions && large_)
        return openCursor();
    const std::string& sql = inPortions ? limited_ : sql_;
    const int status = connection_.keepsStatements() ? runPrepared(sql) : runUnnamed(sql);
    if (status != kDbOk)
        return status;
    return inPortions && rowCount_ > kFirstPortion ? openCursor() : firstRow();
}

int PostgresStatement::runUnnamed(const std::string& sql) {
    const int status = connection_.run({nullptr, sql.c_str(), &parameters_}, use_, rows_);
    return status == kDbOk ? checkTypes() : status;
}

int PostgresStatement::runPrepared(const std::string& sql) {
    for (bool again = false;; again = true) {
        if (generation_ != connection_.generation())
            forget();
        const bool fresh = name_.empty();
        if (fresh) {
            name_ = connection_.parse(sql, parameters_);
            if (name_.empty())
                return connection_.error().status;
            connection_.hold(name_);
            generation_ = connection_.generation();
        }
        const int status = connection_.run({name_.c_str(), nullptr, &parameters_}, use_, rows_);
        if (status == kDbOk)
            return fresh ? checkTypes() : (rowCount_ = PQntuples(rows_.get()), kDbOk);
        // A stale one was refused before it did anything. Within a transaction that has cost the transaction.
        const bool stale = connection_.statementIsStale();
        if (!stale || again || connection_.inTransaction())
            return status;
    }
}

void PostgresStatement::forget() {
    connection_.letGo(name_);
    name_.clear();
}

int PostgresStatement::checkTypes() {
    rowCount_ = PQntuples(rows_.get());
    columnCount_ = PQnfields(rows_.get());
    numbers_ = std::make_unique<bool[]>(static_cast<std::size_t>(columnCount_));
    for (int column = 0; column < columnCount_; ++column) {
        const Oid type = PQftype(rows_.get(), column);
        numbers_[static_cast<std::size_t>(column)] = isInteger(type);
        if (!isInteger(type) && !isText(type)) {
            std::string words = std::string(PQfname(rows_.get(), column)) + ": a column of the server's type " +
                                std::to_string(type) + ", which no row has";
            finish();
            return connection_.fail(kDbBadValue, words);
        }
    }
    return kDbOk;
}

int PostgresStatement::firstRow() {
    row_ = 0;
    return rowCount_ > 0 ? kDbOk : kDbNoRow;
}

// ---- portions

int PostgresStatement::openCursor() {
    heldOver_ = !connection_.inTransaction();
    const std::string cursor = connection_.newCursorName();
    const std::string declare =
        "DECLARE " + cursor + " NO SCROLL CURSOR " + (heldOver_ ? "WITH HOLD " : "") + "FOR " + sql_;
    portion_ = kFirstPortion;
    const std::string fetch = "FETCH " + std::to_string(portion_) + " FROM " + cursor;
    const PostgresCommand commands[] = {{nullptr, declare.c_str(), &parameters_}, {nullptr, fetch.c_str(), nullptr}};
    if (const int status = connection_.runTogether(commands, use_, rows_); status != kDbOk)
        return status;
    cursor_ = cursor;
    transactionNumber_ = connection_.transactionNumber();
    if (const int status = checkTypes(); status != kDbOk)
        return status;
    large_ = rowCount_ == portion_;
    return firstRow();
}

bool PostgresStatement::cursorIsThere() const {
    return !cursor_.empty() && (heldOver_ || transactionNumber_ == connection_.transactionNumber());
}

int PostgresStatement::fetchPortion() {
    // About a megabyte at a time, whatever the rows are like.
    constexpr std::size_t kPortionBytes = 1U << 20U;
    constexpr std::size_t kPortionMax = 8192;
    const std::size_t bytesPerRow = PQresultMemorySize(rows_.get()) / static_cast<std::size_t>(rowCount_) + 1;
    portion_ = static_cast<int>(std::clamp<std::size_t>(kPortionBytes / bytesPerRow, 16, kPortionMax));
    rows_.reset();
    rowCount_ = 0;
    const std::string fetch = "FETCH " + std::to_string(portion_) + " FROM " + cursor_;
    if (const int status = connection_.run({nullptr, fetch.c_str(), nullptr}, use_, rows_); status != kDbOk)
        return status;
    rowCount_ = PQntuples(rows_.get());
    return firstRow();
}

int PostgresStatement::next() {
    if (row_ + 1 < rowCount_) {
        ++row_;
        return kDbOk;
    }
    if (rowCount_ < portion_ || cursor_.empty())
        return kDbNoRow;
    if (!cursorIsThere())
        return connection_.fail(kDbTransactionFailed, "the read was cut off by the end of its transaction");
    return fetchPortion();
}

const OVDBColumn* PostgresStatement::read(const RowTarget& target) {
    const auto columns = static_cast<std::size_t>(columnCount_);
    if (columns < target.columns.size()) // of a function that is not as it is declared
        return &target.columns[columns];
    std::array<char, 24> scratch;
    return readRow(Cells{rows_.get(), row_, numbers_.get(), &scratch}, target);
}

void PostgresStatement::pack(std::string& bytes) {
    std::array<char, 24> scratch;
    packRow(Cells{rows_.get(), row_, numbers_.get(), &scratch}, columnCount_, bytes);
}

void PostgresStatement::readText(std::string& text) {
    std::array<char, 24> scratch;
    text += Cells{rows_.get(), row_, numbers_.get(), &scratch}.at(0).text();
}

std::int64_t PostgresStatement::affected() const {
    std::int64_t rows = 0;
    const std::string_view text = PQcmdTuples(rows_.get());
    std::from_chars(text.data(), text.data() + text.size(), rows);
    return rows;
}

void PostgresStatement::finish() noexcept {
    rows_.reset();
    rowCount_ = 0;
    row_ = 0;
    if (cursorIsThere() && !connection_.isBroken())
        connection_.closeCursor(cursor_);
    cursor_.clear();
}

} // namespace hubdb
