#include "SociReader.h"

#include <soci/postgresql/soci-postgresql.h>
#include <soci/sqlite3/soci-sqlite3.h>

SociReader::SociReader(const soci::backend_factory& backend, const std::string& where, const char* setting,
                       const char* begin, Statements statements)
    : session_(backend, where), begin_(begin), kept_(statements == Statements::kKept),
      one_(prepare(selectOneClient(":id"), true)), all_(prepare(selectAllClients(), false)) {
    if (setting != nullptr)
        session_ << setting;
}

SociReader SociReader::onSqlite(const std::string& file, Statements statements) {
    return {soci::sqlite3, "db=\"" + file + "\"", "PRAGMA cache_size=-16384", "BEGIN", statements}; // as the others
}

SociReader SociReader::onPostgres(const std::string& url, Statements statements) {
    return {soci::postgresql, url, nullptr, "BEGIN ISOLATION LEVEL REPEATABLE READ READ ONLY", statements};
}

soci::statement SociReader::prepare(const std::string& sql, bool byId) {
    auto prepared = session_.prepare << sql;
    if (byId)
        prepared, soci::use(wantedId_);
    into(prepared);
    return soci::statement(prepared);
}

/// Binds the variables to the columns. SOCI's statements take one exchange after the other by commas.
template <class Statement> void SociReader::into(Statement& statement) {
    eachColumn(row_, [&statement, null = row_.nulls](auto& value) mutable { statement, soci::into(value, *null++); });
}

void SociReader::begin(bool transaction) {
    inTransaction_ = transaction;
    if (transaction)
        session_ << begin_;
}

void SociReader::end() {
    if (kept_)
        one_.fetch(); // lets go of its lock, which it holds until the next read
    if (inTransaction_)
        session_ << "COMMIT";
}

int SociReader::readOne(int id) {
    if (kept_) {
        wantedId_ = id;
        return one_.execute(true) ? row_.id : 0;
    }
    {
        static const std::string text = selectOneClient(":id");
        auto once = session_ << text;
        once, soci::use(id);
        into(once);
    } // it is prepared and run when the text ends
    return session_.got_data() ? row_.id : 0;
}

int SociReader::readAll() {
    int count = 0;
    all_.execute();
    while (all_.fetch())
        ++count;
    return count;
}
