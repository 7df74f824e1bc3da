#include "RawPostgres.h"

#include <benchmark/benchmark.h>
#include <endian.h>

#include <stdexcept>

#include "ClientColumns.h"

namespace {

constexpr Oid kInt4 = 23;
constexpr int kBinary = 1;

void copy(const PGresult* rows, int row, int column, std::int32_t& value) {
    std::uint32_t bytes = 0;
    if (PQgetisnull(rows, row, column) == 0)
        std::memcpy(&bytes, PQgetvalue(rows, row, column), sizeof bytes);
    value = static_cast<std::int32_t>(be32toh(bytes));
}

void copy(const PGresult* rows, int row, int column, std::int64_t& value) {
    std::uint64_t bytes = 0;
    if (PQgetisnull(rows, row, column) == 0)
        std::memcpy(&bytes, PQgetvalue(rows, row, column), sizeof bytes);
    value = static_cast<std::int64_t>(be64toh(bytes));
}

template <class Text> void copy(const PGresult* rows, int row, int column, Text& text) {
    copyText(text, PQgetvalue(rows, row, column), static_cast<std::size_t>(PQgetlength(rows, row, column)));
}

void fill(const PGresult* rows, int number, APP_Client_t& row) {
    eachColumn(row, [rows, number, column = 0](auto& member) mutable { copy(rows, number, column++, member); });
}

} // namespace

RawPostgres::RawPostgres(const std::string& url) : connection_(PQconnectdb(url.c_str())) {
    if (PQstatus(connection_.get()) != CONNECTION_OK)
        throw std::runtime_error(PQerrorMessage(connection_.get()));
    checked(PQprepare(connection_.get(), "one", selectOneClient("$1").c_str(), 1, &kInt4));
    checked(PQprepare(connection_.get(), "all", selectAllClients().c_str(), 0, nullptr));
}

RawPostgres::Result RawPostgres::checked(PGresult* answer, ExecStatusType wanted) const {
    Result result(answer);
    if (PQresultStatus(answer) != wanted)
        throw std::runtime_error(PQerrorMessage(connection_.get()));
    return result;
}

void RawPostgres::execute(const char* sql) {
    checked(PQexec(connection_.get(), sql));
}

void RawPostgres::begin(bool transaction) {
    if (transaction)
        execute("BEGIN ISOLATION LEVEL REPEATABLE READ READ ONLY");
}

void RawPostgres::end() {
    if (PQtransactionStatus(connection_.get()) != PQTRANS_IDLE)
        execute("COMMIT");
}

int RawPostgres::readOne(int id) {
    const std::uint32_t bytes = htobe32(static_cast<std::uint32_t>(id));
    const char* const value = reinterpret_cast<const char*>(&bytes);
    const int length = sizeof bytes;
    APP_Client_t row{}; // empty for each read, as an accessor's is
    const auto rows =
        checked(PQexecPrepared(connection_.get(), "one", 1, &value, &length, &kBinary, kBinary), PGRES_TUPLES_OK);
    if (PQntuples(rows.get()) > 0)
        fill(rows.get(), 0, row);
    benchmark::DoNotOptimize(row);
    return row.id;
}

int RawPostgres::readAll() {
    APP_Client_t row{};
    const auto rows =
        checked(PQexecPrepared(connection_.get(), "all", 0, nullptr, nullptr, nullptr, kBinary), PGRES_TUPLES_OK);
    const int count = PQntuples(rows.get());
    for (int number = 0; number < count; ++number) {
        fill(rows.get(), number, row);
        benchmark::DoNotOptimize(row);
    }
    return count;
}
