#include "RawSqlite.h"

#include <stdexcept>

#include "Estate.h"

void RawSqlite::Statement::bind(int parameter, std::span<const int> values) {
    array_ = '[';
    for (const int value : values)
        array_.append(array_.size() > 1 ? "," : "").append(std::to_string(value));
    array_ += ']';
    sqlite3_bind_text(statement_.get(), parameter, array_.data(), static_cast<int>(array_.size()), SQLITE_STATIC);
}

RawSqlite::RawSqlite(const std::string& url) {
    sqlite3* opened = nullptr;
    const int code = sqlite3_open_v2(fileOf(url).c_str(), &opened,
                                     SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_EXRESCODE, nullptr);
    database_.reset(opened);
    if (code != SQLITE_OK)
        fail(opened);
    // What the engine sets for its own connections, as far as it touches reads.
    execute("PRAGMA cache_size=-16384");
}

void RawSqlite::fail(sqlite3* database) {
    throw std::runtime_error(sqlite3_errmsg(database));
}

RawSqlite::Statement RawSqlite::prepare(const std::string& sql) {
    sqlite3_stmt* statement = nullptr;
    if (sqlite3_prepare_v3(database_.get(), sql.c_str(), -1, SQLITE_PREPARE_PERSISTENT, &statement, nullptr) !=
        SQLITE_OK)
        fail(database_.get());
    return Statement(statement);
}

void RawSqlite::execute(const std::string& sql) {
    if (sqlite3_exec(database_.get(), sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK)
        fail(database_.get());
}
