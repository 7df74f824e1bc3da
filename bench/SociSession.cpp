#include "SociSession.h"

#include <soci/postgresql/soci-postgresql.h>
#include <soci/sqlite3/soci-sqlite3.h>

#include "Estate.h"

SociSession::SociSession(const std::string& url)
    : soci::session(isServer(url) ? static_cast<const soci::backend_factory&>(soci::postgresql) : soci::sqlite3,
                    isServer(url) ? url : "db=\"" + fileOf(url) + "\"") {
    if (!isServer(url))
        *this << "PRAGMA cache_size=-16384";
}
