#pragma once

#include <string>
#include <vector>

#include "db/DatabaseUrl.h"

namespace hubdb {

/// One of the hosts that a URL names.
struct PostgresHost {
    std::string name;    ///< or the directory of a socket; empty for libpq's own
    std::string address; ///< a numeric one, which spares looking up the name; or empty
    std::string port;    ///< empty for libpq's own

    /// As messages call it.
    std::string words() const;
};

/// An option of the URL that is the engine's own or libpq's; empty when it does not say.
std::string engineOption(const DatabaseUrl& url, const std::string& name);

std::vector<PostgresHost> postgresHosts(const DatabaseUrl& url);

/// The conninfo text that connects to one host, password included. It leaves libpq nothing to look up in the
/// environment, except for what no option says: PGSERVICE, PGTZ, PGDATESTYLE and PGGEQO.
std::string postgresConninfo(const DatabaseUrl& url, const PostgresHost& host, const std::string& sessionAttributes);

} // namespace hubdb
