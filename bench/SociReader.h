#pragma once

#include <string>

#include <soci/soci.h>

#include "ClientColumns.h"
#include "Reader.h"

/// APP_Client read through SOCI as its manual shows it: typed variables, each with its indicator (without one, NULL is
/// an exception), with kept statements or a statement that is prepared for each read. Not in one source with
/// RawSqlite: SOCI's SQLite header wants sqlite3.h for itself.
class SociReader : public Reader {
  public:
    enum class Statements { kKept, kPreparedEachTime };

    static SociReader onSqlite(const std::string& file, Statements statements);
    static SociReader onPostgres(const std::string& url, Statements statements);

    void begin(bool transaction) override;
    void end() override;
    int readOne(int id) override;
    /// With a kept statement in any case.
    int readAll() override;

  private:
    SociReader(const soci::backend_factory& backend, const std::string& where, const char* setting, const char* begin,
               Statements statements);

    soci::statement prepare(const std::string& sql, bool byId);
    template <class Statement> void into(Statement& statement);

    soci::session session_;
    const char* begin_;
    bool kept_;
    bool inTransaction_ = false;
    ClientValues<soci::indicator> row_{};
    int wantedId_ = 0;
    soci::statement one_;
    soci::statement all_;
};
