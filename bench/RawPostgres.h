#pragma once

#include <libpq-fe.h>

#include <memory>
#include <string>

#include "Db/Tbl/APP_Client.h"
#include "Reader.h"

/// What the accessors are measured against on PostgreSQL: APP_Client read as one would write it by hand for this one
/// table, with statements that were prepared once, a binary parameter and binary results, into the same struct.
///
/// It leaves out what the accessor does besides: the NULL indicators, the check that each value is of its column's
/// type and in its range, telling a text that was cut (and cutting it between characters), a limit on waiting for the
/// server, the pool, and counting. All rows come at once, however many.
class RawPostgres : public Reader {
  public:
    explicit RawPostgres(const std::string& url);

    void begin(bool transaction) override;
    void end() override;
    int readOne(int id) override;
    int readAll() override;

    void execute(const char* sql);
    std::string serverVersion() const { return PQparameterStatus(connection_.get(), "server_version"); }

  private:
    struct Finish {
        void operator()(PGconn* connection) const { PQfinish(connection); }
    };
    struct Clear {
        void operator()(PGresult* result) const { PQclear(result); }
    };
    using Result = std::unique_ptr<PGresult, Clear>;

    /// Takes the answer. Throws std::runtime_error unless it is of this kind.
    Result checked(PGresult* answer, ExecStatusType wanted = PGRES_COMMAND_OK) const;

    std::unique_ptr<PGconn, Finish> connection_;
};
