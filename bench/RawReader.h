#pragma once

#include <sqlite3.h>

#include <memory>
#include <string>

#include "Db/Tbl/APP_Client.h"

/// What the accessors are measured against: APP_Client read as one would write it by hand for this one table, with
/// kept statements and a call per column into the same struct.
///
/// It leaves out what the accessor does besides: the NULL indicators, the check that each value is of its column's
/// type and in its range, telling a text that was cut (and cutting it between characters), the bytes of a text behind
/// an embedded NUL, the limits on a statement's time and on waiting for a lock, the pool, and counting.
class RawReader {
  public:
    /// Throws std::runtime_error when the file cannot be opened and read.
    explicit RawReader(const std::string& file);

    /// Throws std::runtime_error on a failure.
    void execute(const char* sql);

    /// Reads one client into an empty row. False when there is none, or on a failure.
    bool readOne(int id, APP_Client_t& row);

    /// Reads all clients by id into one row, and calls `use` with it for each. False on a failure.
    template <class Use> bool readAll(Use use) {
        APP_Client_t row{};
        int code = SQLITE_OK;
        while ((code = sqlite3_step(all_.get())) == SQLITE_ROW) {
            fill(all_.get(), row);
            use(row);
        }
        sqlite3_reset(all_.get());
        return code == SQLITE_DONE;
    }

  private:
    struct CloseDatabase {
        void operator()(sqlite3* database) const { sqlite3_close_v2(database); }
    };
    struct FinalizeStatement {
        void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
    };
    using Statement = std::unique_ptr<sqlite3_stmt, FinalizeStatement>;

    Statement prepare(const std::string& sql);
    static void fill(sqlite3_stmt* statement, APP_Client_t& row);

    std::unique_ptr<sqlite3, CloseDatabase> database_;
    Statement one_;
    Statement all_;
};
