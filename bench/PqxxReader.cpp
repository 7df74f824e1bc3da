#include "PqxxReader.h"

PqxxReader::PqxxReader(const std::string& url) : connection_(url) {
    connection_.prepare("one", selectFrom<APP_Client_t2>("WHERE id=$1"));
    connection_.prepare("all", selectFrom<APP_Client_t2>("ORDER BY id"));
}

void PqxxReader::begin(bool transaction) {
    if (transaction)
        transaction_ = std::make_unique<decltype(transaction_)::element_type>(connection_);
}

void PqxxReader::end() {
    if (transaction_ != nullptr)
        transaction_->commit();
    transaction_.reset();
}

template <class... Values> pqxx::result PqxxReader::execute(const char* statement, Values... values) {
    if (transaction_ != nullptr)
        return transaction_->exec_prepared(statement, values...);
    return pqxx::nontransaction(connection_).exec_prepared(statement, values...);
}

void PqxxReader::take(const pqxx::row& row) {
    eachColumn(row_,
               [&row, null = row_.nulls(), column = 0](auto& value) mutable { *null++ = !row[column++].to(value); });
}

int PqxxReader::readOne(int id) {
    const auto rows = execute("one", id);
    if (rows.empty())
        return 0;
    take(rows.front());
    return column<"id">(row_);
}

int PqxxReader::readAll() {
    const auto rows = execute("all");
    for (const auto& row : rows)
        take(row);
    return static_cast<int>(rows.size());
}
