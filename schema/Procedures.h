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
    // What subclients name counts, whether its own row is there or not. An unset agent type is NULL or -1.
    ProcedureText{"GetInstanceList", "integer, integer",
                  "SELECT A.instance, coalesce(N.name, '') FROM (SELECT DISTINCT instance FROM APP_Application "
                  "WHERE clientId = ?1 AND coalesce(appTypeId, -1) = ?2) A "
                  "LEFT JOIN APP_InstanceName N ON N.id = A.instance ORDER BY A.instance"},
    ProcedureText{"GetBackupSetList", "integer, integer, integer",
                  "SELECT A.backupSet, coalesce(N.name, ''), CASE WHEN (SELECT P.attrVal FROM APP_BackupSetProp P "
                  "WHERE P.componentNameId = A.backupSet AND P.attrName = 'On Demand Backupset' AND P.modified = 0 "
                  "ORDER BY P.id LIMIT 1) = '1' THEN 1 ELSE 0 END FROM (SELECT DISTINCT backupSet FROM APP_Application "
                  "WHERE clientId = ?1 AND coalesce(appTypeId, -1) = ?2 AND instance = ?3) A "
                  "LEFT JOIN APP_BackupSetName N ON N.id = A.backupSet ORDER BY A.backupSet"},
    ProcedureText{"GetSubclientList", "integer, integer, integer, integer",
                  "SELECT id, subclientName FROM APP_Application WHERE clientId = ?1 AND "
                  "coalesce(appTypeId, -1) = ?2 AND instance = ?3 AND backupSet = ?4 ORDER BY id"},
    ProcedureText{"simGetOSType", "integer",
                  "SELECT S.id, S.Name, S.Version, S.Type, C.net_hostname, CAST(C.releaseId AS text) FROM APP_Client C "
                  "JOIN SimOperatingSystem S ON S.id = C.simOperatingSystemId WHERE C.id = ?1"},
    // The client id is declared and not used: every client but the first is listed.
    ProcedureText{"GetClientAndOSInfo", "integer",
                  "SELECT C.id, C.name, S.id, C.status, S.Name, C.releaseId FROM APP_Client C "
                  "JOIN SimOperatingSystem S ON S.id = C.simOperatingSystemId "
                  "WHERE C.id != 1 AND ?1 IS NOT NULL ORDER BY C.id"},
    // Sessions that have expired at the time ?1, as VSDK_Sessions tells it: the parameter is read as atoi reads it, -1
    // when it is missing or beyond 64 bits, and numbers wrap at 32 bits.
    ProcedureText{
        "sec_VSDKMaintenance", "integer",
        "WITH given AS (SELECT ltrim(coalesce((SELECT coalesce(value, '') FROM ZXGlobalParam "
        "WHERE name = 'VSDKSessionTimeOut' ORDER BY id LIMIT 1), '-1'), ' \t\n\v\f\r') AS whole), "
        "parts AS (SELECT CASE WHEN whole LIKE '-%' THEN -1 ELSE 1 END AS factor, "
        "CASE WHEN substr(whole, 1, 1) IN ('+', '-') THEN substr(whole, 2) ELSE whole END AS rest FROM given), "
        "decimal AS (SELECT factor, "
        "ltrim(substr(rest, 1, length(rest) - length(ltrim(rest, '0123456789'))), '0') AS digits FROM parts), "
        "number AS (SELECT CASE WHEN digits = '' THEN 0 WHEN length(digits) > 19 OR (length(digits) = 19 AND "
        "digits > '9223372036854775807') THEN -1 ELSE factor * CAST(digits AS bigint) END AS n FROM decimal), "
        "service AS (SELECT (((n & 4294967295) + 2147483648) & 4294967295) - 2147483648 AS seconds FROM number) "
        "DELETE FROM UMVSDKSessions WHERE (timeout = 0 AND (SELECT seconds FROM service) > 0 "
        "AND lastAccessedTime <= ?1 - (SELECT seconds FROM service)) "
        "OR (timeout > 0 AND lastAccessedTime <= ?1 - ((((CAST(timeout AS bigint) * 60 & 4294967295) "
        "+ 2147483648) & 4294967295) - 2147483648)) RETURNING ?1"},
};

} // namespace hubdb
