#include "schema/Procedures.h"

#include <array>
#include <utility>

#include "message/JobMessages.h"
#include "message/MessageTypes.h"
#include "schema/OperationTypes.h"

namespace hubdb {

namespace {

// ---- jobs

using Job = ZorvanUtilities::JobResponseVSDK;

/// "4, 14, 18"
template <class Types> std::string numbersOf(const Types& types) {
    std::string numbers;
    for (const OperationType& type : types)
        numbers += (numbers.empty() ? "" : ", ") + std::to_string(type.number);
    return numbers;
}

template <class Types> std::string namesOf(const Types& types) {
    std::string names;
    for (const OperationType& type : types)
        names += " WHEN " + std::to_string(type.number) + " THEN '" + type.name + "'";
    return names;
}

/// Where a field of a message stands, below the path of the message.
std::string pathOf(const std::string& message, const MessageType& type, int number) {
    for (const MessageField& field : type.fields)
        if (field.number == number)
            return message + "/" + (field.child == nullptr ? "@" : "") + field.name;
    return "";
}

/// The members of one of the request's sets of ids, as a query.
std::string membersOf(const std::string& set) {
    return "SELECT DISTINCT CAST(key AS integer) AS id FROM json_each((SELECT " + set + " FROM request))";
}

/// What stands in a field of the answer, as an expression of a row R; NULL leaves the field out.
std::string jobValue(const MessageField& field) {
    const auto text = [](const std::string& column) { return "hubXmlText(nullif(R." + column + ", ''))"; };
    switch (field.number) {
    case Job::kJobId:
        return "R.jobId";
    case Job::kOperation:
        return "CASE R.opType" + namesOf(kBackupOperations) + namesOf(kRestoreOperations) +
               namesOf(kAdministrativeOperations) + " ELSE CAST(R.opType AS text) END";
    case Job::kState:
        return "CASE R.displayState WHEN 1 THEN 'Running' WHEN 2 THEN 'Pending' WHEN 3 THEN 'Waiting' "
               "WHEN 4 THEN 'Suspended' WHEN 5 THEN 'Queued' ELSE CAST(R.displayState AS text) END";
    case Job::kPhase:
        return text("currentPhaseName");
    case Job::kVisible: // a text of the same number is the source client
        if (field.kind == MessageFieldKind::kText)
            return text("client");
        return "CASE WHEN ?1 = 0 OR 0 IN (SELECT clientId FROM UMJobVisibility WHERE userId = ?1) "
               "OR R.clientId IN (SELECT clientId FROM UMJobVisibility WHERE userId = ?1) THEN 1 ELSE 0 END";
    case Job::kAgentType:
        return text("agent");
    case Job::kInstance:
        return text("instance");
    case Job::kBackupSet:
        return text("backupSet");
    case Job::kSubclient:
        return text("subclient");
    case Job::kFailureReason:
        return text("failureReason");
    case Job::kDestinationClient:
        return text("destination");
    case Job::kUserName:
        return text("userName");
    case Job::kStartTime:
        return "R.jobStartTime";
    case Job::kLevel:
        return "R.backupLevel";
    case Job::kAgentTypeId:
        return "R.appTypeId";
    case Job::kCategory:
        return "R.jobCategory";
    default:
        return "NULL";
    }
}

/// The running jobs that a request asks for, by their ids. Of the user only each job's visible attribute depends.
///
/// Ids, a client, and neither of them are branches of their own, of which a request runs one: so a planner knows how
/// many jobs to expect, and takes indexes for a few and hashes for all. What narrows a branch comes first in it, since
/// PostgreSQL orders eight tables freely and no more (join_collapse_limit).
std::string runningJobs() {
    using Request = JobManager::JobListRequest;
    using Filter = JobManager::JobFilter;
    using Entity = OvEntities::GenericEntity;
    const std::string filter =
        pathOf(std::string("/") + kJobListRequestType.name, kJobListRequestType, Request::kFilter);
    const std::string entity = pathOf(filter, kJobFilterType, Filter::kEntity);
    const auto set = [](const std::string& path) { return "hubXmlIds(?2, '" + path + "')"; };
    std::string request = set(pathOf(filter, kJobFilterType, Filter::kJobIds)) + " AS jobs, " +
                          set(pathOf(filter, kJobFilterType, Filter::kOpTypes)) + " AS types";
    std::string conditions = " AND (Q.types IS NULL OR J.opType IN (" + membersOf("types") + "))";
    for (const auto& [field, column] : {std::pair{Entity::kClientId, "clientId"},
                                        {Entity::kAppTypeId, "appTypeId"},
                                        {Entity::kInstanceId, "instanceId"},
                                        {Entity::kBackupSetId, "backupSetId"},
                                        {Entity::kSubclientId, "subclientId"}}) {
        request += std::string(", coalesce((SELECT min(CAST(key AS integer)) FROM json_each(") +
                   set(pathOf(entity, kGenericEntityType, field)) + ")), 0) AS " + column;
        conditions += std::string(" AND Q.") + column + " IN (0, E." + column + ")";
    }
    // To SQLite a CROSS JOIN is an order: where the request asks for something else, a branch ends with its one row.
    const auto branch = [&conditions](const std::string& tables, const std::string& condition) {
        return "SELECT J.jobId, J.opType, J.currentPhaseName, J.jobStartTime, J.displayState, J.jobCategory, "
               "J.failureReason, E.clientId, E.appTypeId, E.backupLevel, C.name AS client, T.name AS agent, "
               "I.name AS instance, B.name AS backupSet, S.subclientName AS subclient, "
               "CASE WHEN J.opType IN (" +
               numbersOf(kBackupOperations) +
               ") THEN C.name ELSE D.name END AS destination, coalesce(nullif(J.opUsername, ''), U.login) AS userName "
               "FROM request Q CROSS JOIN " +
               tables +
               " LEFT JOIN APP_Client C ON C.id = E.clientId LEFT JOIN APP_Client D ON D.id = E.destClientId "
               "LEFT JOIN APP_iDAType T ON T.type = E.appTypeId LEFT JOIN APP_InstanceName I ON I.id = E.instanceId "
               "LEFT JOIN APP_BackupSetName B ON B.id = E.backupSetId "
               "LEFT JOIN APP_Application S ON S.id = E.subclientId LEFT JOIN UMUsers U ON U.id = J.userId WHERE " +
               condition + conditions;
    };
    const std::string same = " ON E.jobId = J.jobId AND E.hubCellId = J.hubCellId";
    std::string places;
    std::string attributes;
    for (const MessageField& field : kJobResponseVSDKType.fields) {
        places += "%s";
        attributes += std::string(", ' ") + field.name + "=\"' || " + jobValue(field) + " || '\"'";
    }
    const std::string root = kJobListResponseVSDKType.name;
    return "WITH request AS MATERIALIZED (SELECT " + request + "), running AS (" +
           branch("(" + membersOf("jobs") + ") K JOIN JMJobInfo J ON J.jobId = K.id LEFT JOIN JMJobEntity E" + same,
                  "J.hubCellId = 2") +
           " UNION ALL " +
           branch("JMJobEntity E JOIN JMJobInfo J" + same,
                  "J.hubCellId = 2 AND Q.jobs IS NULL AND Q.clientId <> 0 AND E.clientId = Q.clientId") +
           " UNION ALL " + // in a form for which SQLite makes itself no index
           branch("JMJobInfo J LEFT JOIN JMJobEntity E" + same,
                  "J.hubCellId BETWEEN 2 AND 2 AND Q.jobs IS NULL AND Q.clientId = 0") +
           ") SELECT '<" + root + ">' || coalesce((SELECT string_agg(job, '') FROM (SELECT format('<" +
           kJobListResponseVSDKType.fields.front().name + places + "/>'" + attributes +
           ") AS job FROM running R ORDER BY jobId) ordered), '') || '</" + root + ">'";
}

/// Whether users may see a job, running or finished. Nobody sees a job that there is not.
constexpr const char* kJobVisibility =
    "SELECT id, CASE WHEN (EXISTS (SELECT 1 FROM JMJobInfo WHERE jobId = ?2 AND hubCellId = ?1) OR "
    "EXISTS (SELECT 1 FROM JMJobStats WHERE jobId = ?2 AND hubCellId = ?1)) AND (id = 0 OR "
    "EXISTS (SELECT 1 FROM UMJobVisibility V WHERE V.userId = users.id AND (V.clientId = 0 OR V.clientId = "
    "(SELECT E.clientId FROM JMJobEntity E WHERE E.jobId = ?2 AND E.hubCellId = ?1)))) THEN 1 ELSE 0 END "
    "FROM (SELECT CAST(key AS integer) AS id FROM json_each(hubXmlIds(?3, '/Users/User/@Id'))) users ORDER BY id";

/// Each name that is not empty is looked for below those before it, and all of them must mean one entity; else `words`
/// tells what is wrong, and every id is 0. An agent type below 1 is any.
constexpr const char* kEntitiesIds =
    "WITH clients AS (SELECT id FROM APP_Client WHERE name = ?2 AND ?2 <> ''), "
    "below AS (SELECT id, instance, backupSet, subclientName FROM APP_Application "
    "WHERE clientId IN (SELECT id FROM clients) AND (?1 < 1 OR appTypeId = ?1)), "
    "instances AS (SELECT id FROM APP_InstanceName WHERE name = ?3 AND id IN (SELECT instance FROM below)), "
    "inInstance AS (SELECT * FROM below WHERE ?3 = '' OR instance IN (SELECT id FROM instances)), "
    "backupSets AS (SELECT id FROM APP_BackupSetName WHERE name = ?4 AND id IN (SELECT backupSet FROM inInstance)), "
    "inBackupSet AS (SELECT * FROM inInstance WHERE ?4 = '' OR backupSet IN (SELECT id FROM backupSets)), "
    "meant AS (SELECT DISTINCT CASE WHEN ?3 = '' THEN 0 ELSE instance END AS instance, "
    "CASE WHEN ?4 = '' THEN 0 ELSE backupSet END AS backupSet, CASE WHEN ?5 = '' THEN 0 ELSE id END AS subclient "
    "FROM inBackupSet WHERE ?5 = '' OR subclientName = ?5), "
    "names AS (SELECT ' of client \"' || ?2 || CASE WHEN ?1 < 1 THEN '\"' ELSE '\" with agent type ' || ?1 END AS "
    "client, "
    "CASE WHEN ?3 = '' THEN '' ELSE ' in instance \"' || ?3 || '\"' END AS instance, "
    "CASE WHEN ?4 = '' THEN '' ELSE ' in backup set \"' || ?4 || '\"' END AS backupSet, "
    "CASE WHEN ?5 <> '' THEN 'subclient \"' || ?5 || '\"' WHEN ?4 <> '' THEN 'backup set \"' || ?4 || '\"' "
    "WHEN ?3 <> '' THEN 'instance \"' || ?3 || '\"' ELSE '' END AS lowest), "
    "fault AS (SELECT CASE "
    "WHEN ?2 = '' AND lowest <> '' THEN 'the ' || lowest || ' is named without its client' "
    "WHEN ?2 <> '' AND NOT EXISTS (SELECT 1 FROM clients) THEN 'there is no client \"' || ?2 || '\"' "
    "WHEN (SELECT count(*) FROM clients) > 1 THEN 'there are several clients \"' || ?2 || '\"' "
    "WHEN ?3 <> '' AND NOT EXISTS (SELECT 1 FROM instances) THEN 'there is no instance \"' || ?3 || '\"' || client "
    "WHEN ?4 <> '' AND NOT EXISTS (SELECT 1 FROM backupSets) "
    "THEN 'there is no backup set \"' || ?4 || '\"' || instance || client "
    "WHEN ?5 <> '' AND NOT EXISTS (SELECT 1 FROM meant) "
    "THEN 'there is no subclient \"' || ?5 || '\"' || backupSet || instance || client "
    "WHEN (SELECT count(*) FROM meant) > 1 THEN 'there are several: ' || lowest || CASE WHEN ?5 = '' THEN '' "
    "ELSE backupSet END || CASE WHEN ?4 = '' AND ?5 = '' THEN '' ELSE instance END || client "
    "|| '; name its agent type or what it belongs to' "
    "ELSE '' END AS words FROM names) "
    "SELECT coalesce((SELECT min(id) FROM clients WHERE words = ''), 0), "
    "coalesce((SELECT min(instance) FROM meant WHERE words = ''), 0), "
    "coalesce((SELECT min(backupSet) FROM meant WHERE words = ''), 0), "
    "coalesce((SELECT min(subclient) FROM meant WHERE words = ''), 0), words FROM fault";

auto makeTexts() {
    return std::array{
        // What subclients name counts, whether its own row is there or not. An unset agent type is NULL or -1.
        ProcedureText{"GetInstanceList", "integer, integer",
                      "SELECT A.instance, coalesce(N.name, '') FROM (SELECT DISTINCT instance FROM APP_Application "
                      "WHERE clientId = ?1 AND coalesce(appTypeId, -1) = ?2) A "
                      "LEFT JOIN APP_InstanceName N ON N.id = A.instance ORDER BY A.instance"},
        ProcedureText{
            "GetBackupSetList", "integer, integer, integer",
            "SELECT A.backupSet, coalesce(N.name, ''), CASE WHEN (SELECT P.attrVal FROM APP_BackupSetProp P "
            "WHERE P.componentNameId = A.backupSet AND P.attrName = 'On Demand Backupset' AND P.modified = 0 "
            "ORDER BY P.id LIMIT 1) = '1' THEN 1 ELSE 0 END FROM (SELECT DISTINCT backupSet FROM APP_Application "
            "WHERE clientId = ?1 AND coalesce(appTypeId, -1) = ?2 AND instance = ?3) A "
            "LEFT JOIN APP_BackupSetName N ON N.id = A.backupSet ORDER BY A.backupSet"},
        ProcedureText{"GetSubclientList", "integer, integer, integer, integer",
                      "SELECT id, subclientName FROM APP_Application WHERE clientId = ?1 AND "
                      "coalesce(appTypeId, -1) = ?2 AND instance = ?3 AND backupSet = ?4 ORDER BY id"},
        ProcedureText{
            "simGetOSType", "integer",
            "SELECT S.id, S.Name, S.Version, S.Type, C.net_hostname, CAST(C.releaseId AS text) FROM APP_Client C "
            "JOIN SimOperatingSystem S ON S.id = C.simOperatingSystemId WHERE C.id = ?1"},
        // The client id is declared and not used: every client but the first is listed.
        ProcedureText{"GetClientAndOSInfo", "integer",
                      "SELECT C.id, C.name, S.id, C.status, S.Name, C.releaseId FROM APP_Client C "
                      "JOIN SimOperatingSystem S ON S.id = C.simOperatingSystemId "
                      "WHERE C.id != 1 AND ?1 IS NOT NULL ORDER BY C.id"},
        // Sessions that have expired at the time ?1, as VSDK_Sessions tells it: the parameter is read as atoi
        // reads it, -1 when it is missing or beyond 64 bits, and numbers wrap at 32 bits.
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
        ProcedureText{"getEntitiesIds", "integer, text, text, text, text", kEntitiesIds},
        ProcedureText{"JMCheckUserJobVisibilityV2", "integer, integer, text", kJobVisibility},
        ProcedureText{"JMGetRunningJobSummaryVSDK", "integer, text, text", runningJobs()},
    };
}

} // namespace

std::span<const ProcedureText> procedureTexts() {
    static const auto kTexts = makeTexts();
    return kTexts;
}

} // namespace hubdb
