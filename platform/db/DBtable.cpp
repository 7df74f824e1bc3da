#include "db/DBtable.h"

#include <algorithm>
#include <cstdarg>
#include <cstring>
#include <sstream>
#include <strings.h>
#include <utility>

#include "db/DBtran.h"
#include "db/FaultSeam.h"
#include "db/ReadScope.h"
#include "db/engines/PackedRow.h"
#include "log/EvDebug.h"
#include "schema/Extras.h"

using hubdb::EngineError;
using hubdb::FaultPoint;
using hubdb::Form;
using hubdb::injectedFault;
using hubdb::Value;
using hubdb::ValueList;

std::atomic<bool> DBtable::b_newDBBase = false;
std::recursive_mutex DBtable::DBCriticalSection;

namespace {

/// The first of this thread's open reads outside a transaction.
DBtable*& threadReaders() {
    thread_local DBtable* first = nullptr;
    return first;
}

Value valueOf(const OVDBDataTypeBase& typed) {
    if (typed.null)
        return Value::null();
    if (const auto* number = dynamic_cast<const OVDB_int*>(&typed))
        return Value::int32(number->value);
    if (const auto* wide = dynamic_cast<const OVDB___int64*>(&typed))
        return Value::int64(wide->value);
    return Value::ofText(dynamic_cast<const OVDB_string&>(typed).value);
}

/// Why a call on the connection answered `status`.
EngineError errorOf(const hubdb::Lease& lease, int status) {
    const EngineError& error = lease.session().connection().error();
    return error.status == status ? error : EngineError{status, 0, dbStatusText(status)};
}

std::string joined(const std::vector<std::string>& parts, const char* between) {
    std::string text;
    for (const auto& part : parts)
        text += (text.empty() ? "" : between) + part;
    return text;
}

/// An order of columns with NULL as the least value, whatever the engine would do by itself. The columns of a key,
/// which are never NULL, are left as they are: their index serves the order.
std::string orderedByColumns(const OVDBRowDeclaration& declaration, std::string_view columns) {
    const auto isKey = [&declaration](const std::string& name) {
        return std::ranges::any_of(declaration.keys, [&name](const OVDBColumn* key) {
            return key != nullptr && strcasecmp(key->name, name.c_str()) == 0;
        });
    };
    std::string text;
    while (!columns.empty()) {
        const std::string_view term = columns.substr(0, columns.find(','));
        columns.remove_prefix(std::min(term.size() + 1, columns.size()));
        std::istringstream words{std::string(term)};
        std::string name;
        std::string direction;
        words >> name >> direction;
        (text += text.empty() ? "" : ", ") += term;
        if (!isKey(name))
            text += strcasecmp(direction.c_str(), "DESC") == 0 ? " NULLS LAST" : " NULLS FIRST";
    }
    return text;
}

} // namespace

DBtable::DBtable(const OVDBRowDeclaration& declaration, int /*reserved*/, DBtran* transaction)
    : declaration_(declaration), transaction_(transaction) {}

DBtable::~DBtable() {
    endRead();
    if (transaction_ != nullptr)
        transaction_->removeObject(this);
}

void DBtable::joinTransaction() noexcept {
    if (transaction_ == nullptr)
        return; // nothing to register: point reads do not queue for the process-wide lock
    const std::lock_guard lock(DBCriticalSection);
    try {
        transaction_->addObject(this);
    } catch (...) {
        log_error(declaration_.file, declaration_.line, "%s Constructor [0x%08x], caught an exception",
                  declaration_.name, static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(this)));
    }
}

void DBtable::loseTransaction() noexcept {
    cutRead();
    transaction_ = nullptr;
    transactionGone_ = true;
}

std::string DBtable::description() const {
    return std::string(declaration_.kindName()) + " " + declaration_.name;
}

// ---- filters, order and inputs

void DBtable::setIsolationType(unsigned int type) {
    constexpr unsigned int kRepeatableRead = 4;
    isolationRefusal_ = {};
    if (type == 0 || type > kRepeatableRead)
        refuse(isolationRefusal_, kDbBadStatement, "isolation type " + std::to_string(type) + " is not known");
}

void DBtable::setWhere(const char* format, ...) {
    endRead();
    valuesRefusal_ = {};
    position_ = Position::kFiltered;
    where_ = Form::of(format);
    if (where_->sql().find_first_not_of(' ') == std::string::npos && where_->error().empty()) {
        refuse(valuesRefusal_, kDbBadStatement, "the filter is empty: without setWhere every row is read");
        return;
    }
    if (!where_->error().empty()) {
        refuse(valuesRefusal_, kDbBadStatement, "filter \"" + where_->text() + "\": " + where_->error());
        return;
    }
    std::va_list arguments;
    va_start(arguments, format);
    const int status = where_->collect(arguments, values_);
    va_end(arguments);
    if (status != kDbOk)
        refuse(valuesRefusal_, status, "filter \"" + where_->text() + "\": a text is not whole UTF-8");
}

void DBtable::setOrderBy(const char* columns) {
    orderRefusal_ = {};
    order_ = nullptr;
    if (columns == nullptr)
        return;
    const std::string_view text = columns;
    const bool plain = std::all_of(text.begin(), text.end(), [](char c) {
        return c == ' ' || c == ',' || c == '_' || (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') ||
               (c >= 'A' && c <= 'Z');
    });
    if (plain)
        order_ = Form::of(columns);
    else
        refuse(orderRefusal_, kDbBadStatement,
               "order \"" + std::string(text) + "\": only column names, commas, ASC and DESC");
}

bool DBtable::valuesClauseCheck(std::size_t /*length*/) {
    // Values are bound, not written into a text, so there is no room to make.
    ClearBoundInputs();
    return true;
}

int DBtable::CallDBsprintfWrapper(const char* format, ...) {
    const auto form = Form::of(format);
    if (!form->error().empty())
        return refuse(valuesRefusal_, kDbBadStatement, "inputs \"" + form->text() + "\": " + form->error());
    std::va_list arguments;
    va_start(arguments, format);
    const int status = form->collect(arguments, values_);
    va_end(arguments);
    return status == kDbOk
               ? kDbOk
               : refuse(valuesRefusal_, status, "inputs \"" + form->text() + "\": a text is not whole UTF-8");
}

void DBtable::ClearBoundInputs() {
    endRead();
    valuesRefusal_ = {};
    values_.clear();
}

void DBtable::BindInput(const OVDBDataTypeBase* typed) {
    const Value value = typed == nullptr ? Value::null() : valueOf(*typed);
    if (value.type == Value::Type::kInt32 || value.type == Value::Type::kInt64)
        values_.add(value);
    else if (value.type == Value::Type::kText && hubdb::isWholeText(value.text))
        values_.addText(value.text);
    else
        refuse(valuesRefusal_, kDbBadText,
               value.type == Value::Type::kNull ? "an input is NULL" : "an input is not whole UTF-8");
}

int DBtable::refuse(Refusal& refusal, int status, const std::string& words) {
    refusal = {status, words};
    EvDebug::Error("DBtable", "%s: %s", description().c_str(), words.c_str());
    return status;
}

int DBtable::refusal() {
    for (const Refusal* refusal : {&valuesRefusal_, &orderRefusal_, &isolationRefusal_})
        if (refusal->status != kDbOk)
            return fail(refusal->status, refusal->words);
    return kDbOk;
}

int DBtable::fail(int status, const std::string& words) {
    lastStatus_ = status;
    lastWords_ = words.empty() ? dbStatusText(status) : words;
    // What failed a transaction stays the thread's last failure while further calls are only told so.
    auto& last = hubdb::lastFailure();
    if (status != kDbTransactionFailed || last.status == kDbOk || transaction_ == nullptr || !transaction_->failed_)
        last = {status, lastWords_};
    // Whatever failed, what its caller meant to do is not whole any more.
    if (transaction_ != nullptr)
        transaction_->statementFailed(lastWords_);
    return status;
}

std::string DBtable::getErrorStr(int status) const {
    return status == lastStatus_ && status < 0 ? lastWords_ : dbStatusText(status);
}

// ---- running statements

hubdb::Lease* DBtable::enter(EngineError& error, bool fresh) {
    if (transactionGone_)
        error = {kDbTransactionFailed, 0, "the transaction of this accessor is gone"};
    else if (transaction_ != nullptr)
        return transaction_->usable(error);
    else if (session_.enter(error, fresh))
        return &session_.lease();
    return nullptr;
}

hubdb::Lease& DBtable::currentLease() const {
    return transaction_ != nullptr ? transaction_->lease_ : session_.lease();
}

void DBtable::leave() noexcept {
    if (reading_ == nullptr)
        session_.leave();
}

std::string DBtable::sqlFor(Operation operation, const Form* set, hubdb::Connection& connection) const {
    const std::string object = declaration_.object;
    const auto filter = [this] { return where_ == nullptr ? std::string() : " WHERE " + where_->sql(); };
    // The key's filter has no blank behind its placeholders, and an engine may need one.
    const auto byKey = [this] {
        std::string where = makeTypedRow()->getPrimaryWhere();
        for (std::size_t at = 0; (at = where.find('?', at)) != std::string::npos; at += 2)
            where.insert(at + 1, " ");
        return " WHERE " + where;
    };
    switch (operation) {
    case Operation::kCall:
        return connection.callText(declaration_, values_.view().size());
    case Operation::kInsert:
    case Operation::kInsertOnly: {
        std::vector<std::string> names;
        std::vector<std::string> marks;
        for (const auto& column : declaration_.columns) {
            if (column.givenByDatabase)
                continue;
            names.emplace_back(column.name);
            marks.emplace_back("?");
        }
        const auto* serial = declaration_.serial();
        return "INSERT INTO " + object + " (" + joined(names, ", ") + ") VALUES (" + joined(marks, ", ") + ")" +
               (serial == nullptr || operation == Operation::kInsertOnly ? ""
                                                                         : std::string(" RETURNING ") + serial->name);
    }
    case Operation::kUpdate:
        return "UPDATE " + object + " SET " + set->sql() + filter();
    case Operation::kUpdateRow:
        return "UPDATE " + object + " SET " + set->sql() + byKey();
    case Operation::kDelete:
        return "DELETE FROM " + object + filter();
    case Operation::kDeleteRow:
        return "DELETE FROM " + object + byKey();
    case Operation::kReadOne:
    case Operation::kReadAll:
        break;
    }
    if (operation == Operation::kReadOne && readsByKey())
        return std::string("SELECT ") + declaration_.columnList + " FROM " + object + filter();
    return selectText(filter(), "") + (operation == Operation::kReadOne ? " LIMIT 1" : "");
}

std::string DBtable::selectText(const std::string& condition, const std::string& before) const {
    std::string order = before;
    const auto then = [&order](const std::string& columns) {
        order += (order.empty() || columns.empty() ? "" : ", ") + columns;
    };
    if (order_ != nullptr) {
        then(orderedByColumns(declaration_, order_->text()));
    } else {
        for (const auto* key : declaration_.keys)
            if (key != nullptr && key->name != before)
                then(key->name);
    }
    return std::string("SELECT ") + declaration_.columnList + " FROM " + declaration_.object + condition +
           (order.empty() ? "" : " ORDER BY " + order);
}

bool DBtable::readsByKey() const {
    if (where_ == nullptr)
        return false;
    std::string filter = where_->sql();
    std::erase(filter, ' ');
    const auto isOn = [&filter](std::string_view column) {
        return strcasecmp(filter.c_str(), (std::string(column) + "=?").c_str()) == 0;
    };
    const auto& keys = declaration_.keys;
    return (keys[0] != nullptr && keys[1] == nullptr && isOn(keys[0]->name)) ||
           std::ranges::any_of(hubdb::kIndexes, [&](const auto& index) {
               return index.unique && std::string_view(index.table) == declaration_.object && isOn(index.columns);
           });
}

hubdb::CachedStatement* DBtable::run(Operation operation, const std::shared_ptr<const Form>& set,
                                     std::span<const Value> values, int& status) {
    const bool reads = operation <= Operation::kCall && declaration_.readsOnly;
    const bool filtered = operation != Operation::kInsert && operation != Operation::kInsertOnly &&
                          operation != Operation::kCall && operation != Operation::kUpdateRow &&
                          operation != Operation::kDeleteRow;
    const bool ordered = operation == Operation::kReadOne || operation == Operation::kReadAll;
    hubdb::StatementKey key{&declaration_,
                            0,
                            operation == Operation::kCall ? values.size() : 0,
                            filtered ? where_.get() : nullptr,
                            ordered ? order_.get() : nullptr,
                            set.get()};
    for (bool again = false, lost = false;; again = true) {
        EngineError error;
        hubdb::Lease* const lease = enter(error, lost);
        if (lease == nullptr) {
            status = fail(error.status, error.words);
            return nullptr;
        }
        if (!reads && transaction_ != nullptr && transaction_->readOnly_) {
            status = fail(kDbReadOnly, "the transaction was begun as read-only");
            return nullptr;
        }
        if (!reads && transaction_ == nullptr)
            detachThreadReads(); // an open read's snapshot may be too old to write on
        hubdb::Session& session = lease->session();
        // Rows that come in portions would end with the scope's transaction, and that may end at any time.
        const bool atOnce =
            operation == Operation::kReadOne || (transaction_ == nullptr && hubdb::ReadScope::endsReads());
        constexpr int kAtOnce = 32; // beyond the operations
        key.operation = static_cast<int>(operation) + (atOnce ? kAtOnce : 0);
        hubdb::CachedStatement* entry = session.find(key);
        if (entry == nullptr) {
            const std::string sql = sqlFor(operation, set.get(), session.connection());
            if (!sql.empty())
                entry = session.add(key, {filtered ? where_ : nullptr, ordered ? order_ : nullptr, set}, sql,
                                    !reads   ? hubdb::StatementUse::kWrite
                                    : atOnce ? hubdb::StatementUse::kOneRow
                                             : hubdb::StatementUse::kRows);
            if (entry != nullptr)
                hubdb::Counters::add(lease->counters().prepared);
            else
                error = sql.empty() ? EngineError{kDbBadStatement, 0,
                                                  std::string("there is no procedure or cursor ") + declaration_.object}
                                    : session.connection().error();
        }
        if (entry != nullptr) {
            hubdb::Counters::add(lease->counters().executed);
            status = injectedFault(FaultPoint::kExecute, declaration_.object);
            if (status == kDbOk)
                status = entry->statement->execute(values);
            if (status >= 0)
                return entry;
            error = errorOf(*lease, status);
            hubdb::Session::release(*entry);
        }
        status = error.status;
        lost = status == kDbConnectionLost;
        if (lost)
            session.condemn();
        leave();
        if (transaction_ == nullptr && hubdb::ReadScope::fail(error.words.c_str()) && reads)
            continue; // the scope's transaction may be to blame: the read on its own decides
        // A read whose connection died before its first row is safe to run again; a write only when it was never sent.
        if (!lost || again || !(reads || error.unsent) || transaction_ != nullptr) {
            fail(status, error.words);
            return nullptr;
        }
    }
}

// ---- reading

void DBtable::takeRow() {
    std::size_t index = 0;
    for (const auto* key : declaration_.keys) {
        if (key == nullptr)
            break;
        if (key->kind == OVDBColumnKind::kInt) {
            std::int32_t narrow = 0;
            std::memcpy(&narrow, row_ + key->offset, sizeof narrow);
            key_[index++] = narrow;
        } else {
            std::memcpy(&key_[index++], row_ + key->offset, sizeof(std::int64_t));
        }
    }
    position_ = Position::kOnRow;
    if (auto* typed = typedRow())
        fillTypedRow(*typed);
}

int DBtable::deliverRow() {
    const int status =
        delivered(reading_->statement->read({declaration_.columns, row_, indicators_, declaration_.object}));
    if (status == kDbOk)
        hubdb::Counters::add(currentLease().counters().rows);
    return status;
}

int DBtable::nextKeptRow() {
    if (kept_.left == 0) {
        position_ = Position::kPastRows;
        endRead();
        return kDbNoRow;
    }
    --kept_.left;
    const hubdb::PackedCells cells(kept_.at);
    const OVDBColumn* const misfit =
        hubdb::readRow(cells, {declaration_.columns, row_, indicators_, declaration_.object});
    kept_.at = cells.rest(); // the next row, unless there is a misfit, which ends the read
    return delivered(misfit);
}

int DBtable::delivered(const OVDBColumn* misfit) {
    if (misfit != nullptr) {
        position_ = Position::kPastRows;
        clearRow();
        endRead();
        return fail(kDbBadValue, std::string(declaration_.object) + "." + misfit->name +
                                     ": the database holds a value that is no number or outside the column's range");
    }
    takeRow();
    return kDbOk;
}

int DBtable::startRead(Operation operation) {
    endRead();
    cut_ = false;
    position_ = Position::kPastRows;
    int status = refusal();
    if (status != kDbOk)
        return status;
    if (declaration_.kind != OVDBObjectKind::kTable)
        operation = Operation::kCall;
    reading_ = run(operation, nullptr, values_.view(), status);
    rowPending_ = status == kDbOk;
    if (status == kDbNoRow)
        endRead();
    return status;
}

int DBtable::startScopedRead(Operation operation) {
    hubdb::ReadScope* const scope = hubdb::ReadScope::current();
    if (scope == nullptr || transaction_ != nullptr || declaration_.kind != OVDBObjectKind::kTable)
        return startRead(operation);
    endRead();
    if (valuesRefusal_.status == kDbOk && orderRefusal_.status == kDbOk && isolationRefusal_.status == kDbOk &&
        !transactionGone_)
        kept_ = scope->answer(*this, static_cast<int>(operation));
    if (kept_.set == nullptr)
        return startRead(operation);
    cut_ = false;
    position_ = Position::kPastRows;
    return kDbOk;
}

int DBtable::nextRow() {
    if (kept_.set != nullptr)
        return nextKeptRow();
    if (reading_ == nullptr)
        return cut_ ? fail(kDbTransactionFailed, "the read was cut off by the end of its transaction") : kDbNoRow;
    const int status = advance();
    return status == kDbOk ? deliverRow() : status;
}

int DBtable::advance() {
    if (transaction_ != nullptr) {
        EngineError error;
        if (transaction_->usable(error) == nullptr) {
            endRead();
            return fail(error.status, error.words);
        }
    }
    hubdb::Lease& lease = currentLease();
    int status = kDbConnectionLost;
    const bool ours = lease.usable();
    if (ours) {
        if (std::exchange(rowPending_, false))
            return kDbOk;
        status = injectedFault(FaultPoint::kNextRow, declaration_.object);
        if (status == kDbOk)
            status = reading_->statement->next();
        if (status == kDbOk)
            return status;
    }
    position_ = Position::kPastRows;
    if (status == kDbNoRow) {
        endRead();
        return status;
    }
    std::string words = "the read belongs to the process that this one was forked from";
    if (ours) {
        words = errorOf(lease, status).words;
        if (status == kDbConnectionLost)
            lease.session().condemn();
    }
    endRead();
    if (transaction_ == nullptr)
        hubdb::ReadScope::fail(words.c_str());
    return fail(status, words);
}

void DBtable::endRead() noexcept {
    kept_.set.reset();
    if (reading_ == nullptr)
        return;
    if (currentLease().usable())
        hubdb::Session::release(*reading_);
    reading_ = nullptr;
    rowPending_ = false;
    session_.leave();
    for (DBtable** reader = &threadReaders(); *reader != nullptr; reader = &(*reader)->nextReader_) {
        if (*reader == this) {
            *reader = nextReader_;
            break;
        }
    }
}

void DBtable::cutRead() noexcept {
    cut_ = cut_ || reading_ != nullptr;
    endRead();
}

void DBtable::joinThreadReaders() {
    if (reading_ == nullptr || transaction_ != nullptr)
        return;
    nextReader_ = threadReaders();
    threadReaders() = this;
}

void DBtable::detachThreadReads() {
    // What this thread writes, its lists must not miss; and their transaction must not be what it waits for.
    hubdb::ReadScope::giveUp("this thread writes");
    // An embedded engine's open read keeps its lock, and this thread's own transaction would wait for it in vain.
    // A failure to detach is met by the read itself when it asks for its next row.
    for (DBtable* reader = threadReaders(); reader != nullptr; reader = reader->nextReader_)
        if (reader->session_.lease().usable())
            (void)reader->reading_->statement->detach();
}

int getOneRow(DBtable* table, bool /*reserved*/, int /*reservedNumber*/, int /*reservedFlags*/) {
    int status = table->startScopedRead(DBtable::Operation::kReadOne);
    if (status == kDbOk)
        status = table->nextRow();
    table->endRead();
    return status;
}

int getNextRow(DBtable* table, int* state, int /*reservedNumber*/, int /*reservedFlags*/) {
    if (*state != 0)
        return table->nextRow();
    *state = 1;
    const int status = table->startScopedRead(DBtable::Operation::kReadAll);
    table->joinThreadReaders();
    return status == kDbOk ? table->nextRow() : status;
}

int DBtable::openCursor() {
    const int status = startRead(Operation::kReadAll);
    joinThreadReaders();
    return status == kDbNoRow ? kDbOk : status;
}

int DBtable::fetchCursor(bool /*reserved*/) {
    return nextRow();
}

int DBtable::closeCursor() {
    endRead();
    return kDbOk;
}

int DBtable::fetchXML(std::string& xml) {
    int status = kDbOk;
    while (reading_ != nullptr && (status = advance()) == kDbOk)
        reading_->statement->readText(xml);
    return status == kDbNoRow ? kDbOk : status;
}

// ---- rows

void DBtable::clearRow() noexcept {
    std::size_t index = 0;
    for (const auto& column : declaration_.columns) {
        if (column.kind == OVDBColumnKind::kLongText || column.kind == OVDBColumnKind::kLongWideText) {
            auto& text = *reinterpret_cast<OVDBText*>(row_ + column.offset);
            text.bytes.clear();
            text.isNull = false;
        } else {
            std::memset(row_ + column.offset, 0, column.size);
        }
        if (indicators_ != nullptr)
            indicators_[index++] = 0;
    }
}

void DBtable::fillTypedRow(OVDBRowBase& typed) const {
    auto& values = typed.getData();
    for (std::size_t i = 0; i < values.size(); ++i) {
        const auto& column = declaration_.columns[i];
        const char* const member = row_ + column.offset;
        if (indicators_ != nullptr && indicators_[i] != 0) {
            values[i]->setInternalNull(true);
        } else {
            values[i]->setInternalNull(false);
            if (column.isInteger()) {
                values[i]->setData(member, 0, static_cast<int>(column.size), false);
            } else if (column.isFixedText()) {
                values[i]->setData(member, 0, static_cast<int>(strnlen(member, column.size)), false);
            } else {
                const auto& bytes = reinterpret_cast<const OVDBText*>(member)->bytes;
                values[i]->setData(bytes.data(), 0, static_cast<int>(bytes.size()), false);
            }
        }
        values[i]->setUpdated(kNotUpdated);
    }
}

int DBtable::memberValue(std::size_t index, Value& value) const {
    const auto& column = declaration_.columns[index];
    const char* const member = row_ + column.offset;
    const bool saidNull = indicators_ != nullptr && indicators_[index] != 0;
    if (column.kind == OVDBColumnKind::kInt) {
        std::int32_t narrow = 0;
        std::memcpy(&narrow, member, sizeof narrow);
        value = saidNull && narrow == 0 ? Value::null() : Value::int32(narrow);
    } else if (column.isInteger()) {
        std::int64_t wide = 0;
        std::memcpy(&wide, member, sizeof wide);
        value = saidNull && wide == 0 ? Value::null() : Value::int64(wide);
    } else if (column.isFixedText()) {
        const std::string_view text(member, strnlen(member, column.size));
        if (text.size() == column.size || !hubdb::isWholeText(text))
            return kDbBadText;
        value = saidNull && text.empty() ? Value::null() : Value::ofText(text);
    } else {
        const auto& text = *reinterpret_cast<const OVDBText*>(member);
        if (!hubdb::isWholeText(text.bytes))
            return kDbBadText;
        value = (text.isNull || saidNull) && text.bytes.empty() ? Value::null() : Value::ofText(text.bytes);
    }
    return kDbOk;
}

// ---- writing

int DBtable::rowInsert(bool readSerial) {
    int status = refusal();
    if (status != kDbOk)
        return status;
    std::vector<Value> values;
    values.reserve(declaration_.columns.size());
    for (std::size_t i = 0; i < declaration_.columns.size(); ++i) {
        if (declaration_.columns[i].givenByDatabase)
            continue;
        values.push_back(Value::null());
        status = memberValue(i, values.back());
        if (status != kDbOk)
            return fail(status, std::string(declaration_.object) + "." + declaration_.columns[i].name +
                                    ": the text is not whole UTF-8 or too long for its column");
    }
    auto* const inserted = run(readSerial ? Operation::kInsert : Operation::kInsertOnly, nullptr, values, status);
    if (inserted == nullptr)
        return status;
    const auto* serial = declaration_.serial();
    short indicator = 0;
    const OVDBColumn* misfit = nullptr;
    if (serial != nullptr && readSerial && status == kDbOk)
        misfit = inserted->statement->read({{serial, 1}, row_, &indicator, declaration_.object});
    hubdb::Session::release(*inserted);
    leave();
    if (misfit != nullptr)
        return fail(kDbBadValue, "the database gave a serial number outside its column's range");
    position_ = Position::kPastRows;
    if (serial == nullptr || readSerial) // else nobody knows which row it is
        takeRow();
    return kDbOk;
}

int DBtable::rowUpdate(const char* format, ...) {
    const auto form = Form::of(format);
    Refusal refused; // of this call alone
    if (!form->error().empty())
        return fail(refuse(refused, kDbBadStatement, "update \"" + form->text() + "\": " + form->error()),
                    refused.words);
    ValueList values;
    std::va_list arguments;
    va_start(arguments, format);
    const int status = form->collect(arguments, values);
    va_end(arguments);
    if (status != kDbOk)
        return fail(refuse(refused, status, "update \"" + form->text() + "\": a text is not whole UTF-8"),
                    refused.words);
    return change(Operation::kUpdate, Operation::kUpdateRow, form, values);
}

int DBtable::rowDelete() {
    return change(Operation::kDelete, Operation::kDeleteRow, nullptr, {});
}

int DBtable::change(Operation onFilter, Operation onRow, const std::shared_ptr<const Form>& set,
                    const ValueList& setValues) {
    if (const int status = refusal(); status != kDbOk)
        return status;
    if (position_ == Position::kPastRows)
        return kDbNoRow;
    if (position_ == Position::kNowhere)
        return fail(kDbBadStatement, "there is neither a row nor a filter that says what to change");
    const bool oneRow = position_ == Position::kOnRow;
    ValueList values; // not a row of typed values for its key: that is most of what a single write costs
    for (const Value& value : setValues.view())
        values.add(value);
    if (oneRow) {
        // By the key as it was read: the caller may have changed it in the buffer since.
        std::size_t index = 0;
        for (const auto* key : declaration_.keys)
            if (key != nullptr)
                values.add(
                    {key->kind == OVDBColumnKind::kInt ? Value::Type::kInt32 : Value::Type::kInt64, key_[index++], {}});
    } else {
        for (const Value& value : values_.view())
            values.add(value);
    }
    int status = kDbOk;
    auto* const changed = run(oneRow ? onRow : onFilter, set, values.view(), status);
    if (changed == nullptr)
        return status;
    const bool hit = changed->statement->affected() > 0;
    hubdb::Session::release(*changed);
    leave();
    return hit ? kDbOk : kDbNoRow;
}
