#include "RawSqlite.h"

#include <benchmark/benchmark.h>

#include <stdexcept>

#include "ClientColumns.h"

namespace {

void copy(sqlite3_stmt* statement, int column, std::int32_t& value) {
    value = sqlite3_column_int(statement, column);
}

void copy(sqlite3_stmt* statement, int column, std::int64_t& value) {
    value = sqlite3_column_int64(statement, column);
}

template <class Text> void copy(sqlite3_stmt* statement, int column, Text& text) {
    const unsigned char* const bytes = sqlite3_column_text(statement, column);
    copyText(text, bytes, static_cast<std::size_t>(sqlite3_column_bytes(statement, column)));
}

void fill(sqlite3_stmt* statement, APP_Client_t& row) {
    eachColumn(row, [statement, column = 0](auto& member) mutable { copy(statement, column++, member); });
}

} // namespace

RawSqlite::RawSqlite(const std::string& file) {
    sqlite3* opened = nullptr;
    const int code = sqlite3_open_v2(file.c_str(), &opened,
                                     SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_EXRESCODE, nullptr);
    database_.reset(opened);
    if (code != SQLITE_OK)
        fail();
    // What the engine sets for its own connections, as far as it touches reads.
    execute("PRAGMA cache_size=-16384");
    one_ = prepare(selectOneClient("?"));
    all_ = prepare(selectAllClients());
}

void RawSqlite::fail() {
    throw std::runtime_error(sqlite3_errmsg(database_.get()));
}

RawSqlite::Statement RawSqlite::prepare(const std::string& sql) {
    sqlite3_stmt* statement = nullptr;
    if (sqlite3_prepare_v3(database_.get(), sql.c_str(), -1, SQLITE_PREPARE_PERSISTENT, &statement, nullptr) !=
        SQLITE_OK)
        fail();
    return Statement(statement);
}

void RawSqlite::execute(const char* sql) {
    if (sqlite3_exec(database_.get(), sql, nullptr, nullptr, nullptr) != SQLITE_OK)
        fail();
}

void RawSqlite::begin(bool transaction) {
    if (transaction)
        execute("BEGIN");
}

void RawSqlite::end() {
    if (sqlite3_get_autocommit(database_.get()) == 0)
        execute("COMMIT");
}

int RawSqlite::readOne(int id) {
    APP_Client_t row{}; // empty for each read, as an accessor's is
    sqlite3_bind_int(one_.get(), 1, id);
    if (sqlite3_step(one_.get()) == SQLITE_ROW)
        fill(one_.get(), row);
    sqlite3_reset(one_.get()); // or it would keep its lock and its snapshot
    benchmark::DoNotOptimize(row);
    return row.id;
}

int RawSqlite::readAll() {
    APP_Client_t row{};
    int count = 0;
    int code = SQLITE_OK;
    while ((code = sqlite3_step(all_.get())) == SQLITE_ROW) {
        fill(all_.get(), row);
        benchmark::DoNotOptimize(row);
        ++count;
    }
    if (code != SQLITE_DONE)
        fail();
    sqlite3_reset(all_.get());
    return count;
}
