#include "SociReader.h"

#include "Estate.h"

namespace {

const std::string kOne = selectFrom<APP_Client_t2>("WHERE id=:id");

} // namespace

SociReader::SociReader(const std::string& url, SociStatements statements)
    : session_(url), begin_(isServer(url) ? "BEGIN ISOLATION LEVEL REPEATABLE READ READ ONLY" : "BEGIN"),
      kept_(statements == SociStatements::kKept), one_(prepare(kOne, true)),
      all_(prepare(selectFrom<APP_Client_t2>("ORDER BY id"), false)) {}

soci::statement SociReader::prepare(const std::string& sql, bool byId) {
    auto prepared = session_.prepare << sql;
    if (byId)
        prepared, soci::use(wantedId_);
    bindRow(prepared, row_);
    return soci::statement(prepared);
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
        return one_.execute(true) ? column<"id">(row_) : 0;
    }
    {
        auto once = session_ << kOne;
        once, soci::use(id);
        bindRow(once, row_);
    } // it is prepared and run when the text ends
    return session_.got_data() ? column<"id">(row_) : 0;
}

int SociReader::readAll() {
    int count = 0;
    all_.execute();
    while (all_.fetch())
        ++count;
    return count;
}
