#pragma once

#include <chrono>
#include <cstddef>
#include <map>
#include <string>

#include "PlatformExport.h"

namespace hubdb {

/// Where the hub database is and the limits of its use, from a URL. Every wait has a limit.
struct DatabaseUrl {
    enum class Engine { kSqlite, kPostgres };

    Engine engine = Engine::kSqlite;
    std::string name;    ///< what messages call it; never a secret
    std::string whole;   ///< the URL as it was given, secrets included
    std::string path;    ///< its file, empty for a server's
    std::string keyPath; ///< the key of stored passwords; by default a file's name with ".key", for a server none
    std::size_t poolSize = 8;
    std::chrono::milliseconds poolLimit{30'000};      ///< waiting for a free connection
    std::chrono::milliseconds connectLimit{10'000};   ///< connecting, all hosts together
    std::chrono::milliseconds lockLimit{10'000};      ///< waiting for somebody else's lock
    std::chrono::milliseconds statementLimit{60'000}; ///< one statement; 0: none
    std::map<std::string, std::string> engineOptions; ///< those of the engine alone, secrets among them
    bool createMissing = false;                       ///< make the database when there is none
    bool lookOnly = false;                            ///< change nothing about the database by opening it

    /// Reads "sqlite:PATH?option=value&..." or "postgresql://...". False, and `error` tells why without repeating
    /// secrets.
    VSDKPLATFORM_API static bool parse(const std::string& url, DatabaseUrl& parsed, std::string& error);
};

} // namespace hubdb
