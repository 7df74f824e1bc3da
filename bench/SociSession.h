#pragma once

#include <string>

#include <soci/soci.h>

#include "Columns.h"

// SOCI is not used in one source with RawSqlite: its SQLite header wants sqlite3.h for itself.

/// Whether a statement is prepared once, or again for each read.
enum class SociStatements { kKept, kPreparedEachTime };

/// A session with the database that a URL names, set as the others' are.
class SociSession : public soci::session {
  public:
    explicit SociSession(const std::string& url);
};

/// A row as SOCI's manual shows it: typed variables, each with its indicator (without one, NULL is an exception).
template <class Descriptor> using SociRow = TypedRow<Descriptor, soci::indicator>;

/// Binds a row's variables to the columns. SOCI's statements take one exchange after the other by commas.
template <class Statement, class Row> void bindRow(Statement& statement, Row& row) {
    eachColumn(row, [&statement, null = row.nulls()](auto& value) mutable { statement, soci::into(value, *null++); });
}
