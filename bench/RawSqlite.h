#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "Columns.h"

/// What the library is measured against on SQLite: its interface as one would use it by hand, with kept statements and
/// a call per column.
///
/// It leaves out what an accessor does besides: the NULL indicators, the check that each value is of its column's type
/// and in its range, telling a text that was cut (and cutting it between characters), the bytes of a text behind an
/// embedded NUL, the limits on a statement's time and on waiting for a lock, the pool, and counting.
class RawSqlite {
  public:
    /// A kept statement. Between execute() and close() it is on its rows.
    class Statement {
      public:
        template <class... Keys> void execute(const Keys&... keys) {
            [[maybe_unused]] int parameter = 0;
            (bind(++parameter, keys), ...);
        }
        bool next() {
            const int code = sqlite3_step(statement_.get());
            if (code != SQLITE_ROW && code != SQLITE_DONE)
                fail(sqlite3_db_handle(statement_.get()));
            return code == SQLITE_ROW;
        }
        /// Runs a statement that gives no rows. How many rows it changed.
        template <class... Keys> std::int64_t change(const Keys&... keys) {
            execute(keys...);
            while (next())
                ;
            close();
            return sqlite3_changes64(sqlite3_db_handle(statement_.get()));
        }
        /// Or it would keep its lock and its snapshot.
        void close() { sqlite3_reset(statement_.get()); }

        void copy(int column, std::int32_t& value) const { value = sqlite3_column_int(statement_.get(), column); }
        void copy(int column, std::int64_t& value) const { value = sqlite3_column_int64(statement_.get(), column); }
        template <class Text> void copy(int column, Text& text) const {
            const unsigned char* const bytes = sqlite3_column_text(statement_.get(), column);
            copyText(text, bytes, static_cast<std::size_t>(sqlite3_column_bytes(statement_.get(), column)));
        }
        /// Until next() or close().
        std::string_view text(int column) const {
            const auto* const bytes = reinterpret_cast<const char*>(sqlite3_column_text(statement_.get(), column));
            return {bytes, static_cast<std::size_t>(sqlite3_column_bytes(statement_.get(), column))};
        }

      private:
        friend class RawSqlite;
        struct Finalize {
            void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
        };
        explicit Statement(sqlite3_stmt* statement) : statement_(statement) {}

        void bind(int parameter, int value) { sqlite3_bind_int(statement_.get(), parameter, value); }
        void bind(int parameter, std::int64_t value) { sqlite3_bind_int64(statement_.get(), parameter, value); }
        void bind(int parameter, std::string_view text) {
            sqlite3_bind_text(statement_.get(), parameter, text.data(), static_cast<int>(text.size()), SQLITE_STATIC);
        }
        /// As a JSON array.
        void bind(int parameter, std::span<const int> values);

        std::unique_ptr<sqlite3_stmt, Finalize> statement_;
        std::string array_;
    };

    /// Opens sqlite:FILE.
    explicit RawSqlite(const std::string& url);

    Statement prepare(const std::string& sql);
    void execute(const std::string& sql);
    sqlite3* handle() { return database_.get(); }
    bool inTransaction() const { return sqlite3_get_autocommit(database_.get()) == 0; }

    static constexpr const char* kBegin = "BEGIN";
    static constexpr const char* kJoinTexts = "group_concat";
    static constexpr const char* kCharacter = "char";
    static std::string parameter(int number) { return "?" + std::to_string(number); }
    /// That a column has one of the numbers that are the first parameter.
    static std::string isIn(const std::string& column) { return column + " IN (SELECT value FROM json_each(?1))"; }

  private:
    struct Close {
        void operator()(sqlite3* database) const { sqlite3_close_v2(database); }
    };
    [[noreturn]] static void fail(sqlite3* database);

    std::unique_ptr<sqlite3, Close> database_;
};
