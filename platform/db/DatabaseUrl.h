#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>

#include "PlatformExport.h"

namespace hubdb {

enum class JournalMode : std::uint8_t {
    kAutomatic,
    kWal,
    kTruncate,
    kAsItIs ///< for those who only look
};

/// Where the hub database is and the limits of its use, from a URL. Every wait has a limit.
struct DatabaseUrl {
    std::string path; ///< the SQLite file
    std::size_t poolSize = 8;
    std::chrono::milliseconds poolLimit{30'000};      ///< waiting for a free connection
    std::chrono::milliseconds lockLimit{10'000};      ///< waiting for somebody else's lock
    std::chrono::milliseconds statementLimit{60'000}; ///< one statement; 0: none
    JournalMode journal = JournalMode::kAutomatic;
    std::string keyPath;        ///< the key of stored passwords; by default the file's name with ".key"
    bool createMissing = false; ///< make the file when there is none

    /// Reads "sqlite:PATH?option=value&...". False, and `error` tells why without repeating secrets.
    VSDKPLATFORM_API static bool parse(const std::string& url, DatabaseUrl& parsed, std::string& error);
};

} // namespace hubdb
