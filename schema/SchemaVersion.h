#pragma once

#include <array>

namespace hubdb {

/// The version of the hub database that this library reads and writes.
inline constexpr int kSchemaVersion = 5;

/// What an upgrade from a version does to the data, before the tables are brought to the shape that is declared.
struct UpgradeStep {
    int from;
    const char* script;
};

/// In the order of their versions. A database older than the first cannot be upgraded.
inline constexpr std::array kUpgradeSteps{
    // Tokens became unique; a session without one, or with one that a later session has too, cannot be told apart.
    UpgradeStep{1, "DELETE FROM UMVSDKSessions WHERE GUID IS NULL OR GUID = '' OR EXISTS "
                   "(SELECT 1 FROM UMVSDKSessions later WHERE later.GUID = UMVSDKSessions.GUID AND "
                   "later.id > UMVSDKSessions.id)"},
    // More procedures, which an upgrade makes in any case.
    UpgradeStep{2, ""},
    UpgradeStep{3, ""},
    UpgradeStep{4, ""},
};

} // namespace hubdb
