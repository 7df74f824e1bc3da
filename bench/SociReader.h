#pragma once

#include "Db/Tbl/APP_Client.h"
#include "Reader.h"
#include "SociSession.h"

/// APP_Client read through SOCI as its manual shows it, with kept statements or a statement that is prepared for each
/// read.
class SociReader : public Reader {
  public:
    SociReader(const std::string& url, SociStatements statements);

    void begin(bool transaction) override;
    void end() override;
    int readOne(int id) override;
    /// With a kept statement in any case.
    int readAll() override;

  private:
    soci::statement prepare(const std::string& sql, bool byId);

    SociSession session_;
    const char* begin_;
    bool kept_;
    bool inTransaction_ = false;
    SociRow<APP_Client_t2> row_;
    int wantedId_ = 0;
    soci::statement one_;
    soci::statement all_;
};
