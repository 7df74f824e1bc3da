#include "SociReader.h"

#include <soci/sqlite3/soci-sqlite3.h>

#include "Db/Tbl/APP_Client.h"

namespace {

const std::string& selectClients() {
    static const std::string text = std::string("SELECT ") + APP_Client_t2::kRow.columnList + " FROM APP_Client";
    return text;
}

} // namespace

SociReader::SociReader(const std::string& file)
    : session_(soci::sqlite3, "db=\"" + file + "\""), one_(prepare(selectClients() + " WHERE id=:id", &wantedId_)),
      all_(prepare(selectClients() + " ORDER BY id", nullptr)) {
    session_ << "PRAGMA cache_size=-16384"; // as the others
}

soci::statement SociReader::prepare(const std::string& sql, int* id) {
    auto prepared = session_.prepare << sql;
    if (id != nullptr)
        prepared, soci::use(*id);
    into(prepared);
    return soci::statement(prepared);
}

/// Binds the variables to the columns. SOCI's statements take one exchange after the other by commas.
template <class Statement> void SociReader::into(Statement& statement) {
    auto* null = indicators_.data();
    using soci::into;
    statement, into(row_.id, *null++);
    statement, into(row_.name, *null++);
    statement, into(row_.simOperatingSystemId, *null++);
    statement, into(row_.netHostname, *null++);
    statement, into(row_.clientPassword, *null++);
    statement, into(row_.refTime, *null++);
    statement, into(row_.modified, *null++);
    statement, into(row_.offlineEntity, *null++);
    statement, into(row_.offlineTimeStamp, *null++);
    statement, into(row_.hsHostName, *null++);
    statement, into(row_.clientDescription, *null++);
    statement, into(row_.jobResultDir, *null++);
    statement, into(row_.clientSkewTime, *null++);
    statement, into(row_.ovdPort, *null++);
    statement, into(row_.evmgrcPort, *null++);
    statement, into(row_.status, *null++);
    statement, into(row_.releaseId, *null++);
    statement, into(row_.spaceCheckFlags, *null++);
    statement, into(row_.ccpId, *null++);
    statement, into(row_.ccpTime, *null++);
    statement, into(row_.origHCId, *null++);
    statement, into(row_.guid, *null++);
    statement, into(row_.specialClientFlags, *null++);
    statement, into(row_.displayName, *null++);
}

int SociReader::readOneKept(int id) {
    wantedId_ = id;
    return one_.execute(true) ? row_.id : 0;
}

void SociReader::endKeptRead() {
    one_.fetch();
}

int SociReader::readOneFresh(int id) {
    {
        auto once = session_ << selectClients() << " WHERE id=:id";
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
