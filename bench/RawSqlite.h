#pragma once

#include <sqlite3.h>

#include <memory>
#include <string>

#include "Db/Tbl/APP_Client.h"
#include "Reader.h"

/// What the accessors are measured against on SQLite: APP_Client read as one would write it by hand for this one table,
/// with kept statements and a call per column into the same struct.
///
/// It leaves out what the accessor does besides: the NULL indicators, the check that each value is of its column's
/// type and in its range, telling a text that was cut (and cutting it between characters), the bytes of a text behind
/// an embedded NUL, the limits on a statement's time and on waiting for a lock, the pool, and counting.
class RawSqlite : public Reader {
  public:
    explicit RawSqlite(const std::string& file);

    void begin(bool transaction) override;
    void end() override;
    int readOne(int id) override;
    int readAll() override;

  private:
    struct CloseDatabase {
        void operator()(sqlite3* database) const { sqlite3_close_v2(database); }
    };
    struct FinalizeStatement {
        void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
    };
    using Statement = std::unique_ptr<sqlite3_stmt, FinalizeStatement>;

    Statement prepare(const std::string& sql);
    void execute(const char* sql);
    [[noreturn]] void fail();

    std::unique_ptr<sqlite3, CloseDatabase> database_;
    Statement one_;
    Statement all_;
};
