#pragma once

#include <memory>
#include <string>

#include <pqxx/pqxx>

#include "Columns.h"
#include "Db/Tbl/APP_Client.h"
#include "Reader.h"

/// APP_Client read through libpqxx as its manual shows it: prepared statements, each execution outside a transaction in
/// a pqxx::nontransaction of its own, and the fields of the rows, which are texts, converted to typed variables.
class PqxxReader : public Reader {
  public:
    explicit PqxxReader(const std::string& url);

    void begin(bool transaction) override;
    void end() override;
    int readOne(int id) override;
    int readAll() override;

  private:
    template <class... Values> pqxx::result execute(const char* statement, Values... values);
    void take(const pqxx::row& row);

    pqxx::connection connection_;
    std::unique_ptr<pqxx::transaction<pqxx::repeatable_read, pqxx::read_only>> transaction_;
    TypedRow<APP_Client_t2, bool> row_;
};
