#pragma once

#include <array>

namespace hubdb {

/// A procedure or cursor query of the hub database as the embedded engine runs it: inputs are ?1, ?2 ..., result
/// columns stand in the order of the accessor's row.
struct EmbeddedProcedure {
    const char* name;
    const char* sql;
};

inline constexpr std::array kEmbeddedProcedures{
    // The client id is declared and not used: every client but the first is listed.
    EmbeddedProcedure{"GetClientAndOSInfo",
                      "SELECT C.id, C.name, S.id, C.status, S.Name, C.releaseId FROM APP_Client C "
                      "JOIN SimOperatingSystem S ON S.id = C.simOperatingSystemId "
                      "WHERE C.id != 1 AND ?1 IS NOT NULL ORDER BY C.id"},
};

} // namespace hubdb
