#include "RawPostgres.h"

#include <stdexcept>

std::vector<char> RawPostgres::Statement::encoded(std::span<const int> values) {
    constexpr int kInt4 = 23;
    std::vector<char> array;
    array.reserve((5 + 2 * values.size()) * sizeof(int));
    const auto put = [&array](int number) {
        const auto bytes = encoded(number);
        array.insert(array.end(), bytes.begin(), bytes.end());
    };
    for (const int head : {1, 0, kInt4, static_cast<int>(values.size()), 1}) // dimensions, NULLs, type, length, first
        put(head);
    for (const int value : values) {
        put(sizeof value);
        put(value);
    }
    return array;
}

void RawPostgres::Statement::receive() {
    take(PQgetResult(raw_->connection_.get()));
    if (PQgetResult(raw_->connection_.get()) != nullptr)
        throw std::runtime_error("an answer that nobody waits for");
}

RawPostgres::RawPostgres(const std::string& url) : connection_(PQconnectdb(url.c_str())) {
    require(static_cast<int>(PQstatus(connection_.get()) == CONNECTION_OK));
}

void RawPostgres::require(int done) const {
    if (done == 0)
        throw std::runtime_error(PQerrorMessage(connection_.get()));
}

RawPostgres::Result RawPostgres::checked(PGresult* answer, ExecStatusType wanted) const {
    Result result(answer);
    require(static_cast<int>(PQresultStatus(answer) == wanted));
    return result;
}

RawPostgres::Statement RawPostgres::prepare(const std::string& sql) {
    const std::string name = "statement" + std::to_string(++prepared_);
    checked(PQprepare(connection_.get(), name.c_str(), sql.c_str(), 0, nullptr));
    return {*this, name};
}

void RawPostgres::execute(const std::string& sql) {
    checked(PQexec(connection_.get(), sql.c_str()));
}

void RawPostgres::endPipeline() {
    checked(PQgetResult(connection_.get()), PGRES_PIPELINE_SYNC);
    require(PQexitPipelineMode(connection_.get()));
}
