#pragma once

#include <array>
#include <string_view>

namespace hubdb {

/// The text of a procedure or cursor query of the hub database: inputs are ?1, ?2 ..., result columns stand in the
/// order of the accessor's row. The embedded engine runs it as a statement; on a server it is the body of a function.
struct ProcedureText {
    std::string_view name; ///< in the database
    const char* inputs;    ///< their types, "integer" or "text"
    const char* sql;
};

inline constexpr std::array kProcedureTexts{
    // The client id is declared and not used: every client but the first is listed.
    ProcedureText{"GetClientAndOSInfo", "integer",
                  "SELECT C.id, C.name, S.id, C.status, S.Name, C.releaseId FROM APP_Client C "
                  "JOIN SimOperatingSystem S ON S.id = C.simOperatingSystemId "
                  "WHERE C.id != 1 AND ?1 IS NOT NULL ORDER BY C.id"},
};

} // namespace hubdb
