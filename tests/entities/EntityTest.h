#pragma once

#include <optional>
#include <string>

#include "db/EngineTest.h"
#include "entities/EntityText.h"

/// Verbs that put an estate together. Each gives a statement; the tests add them up and run them.
namespace estate {

inline std::string textOrNull(const std::optional<std::string>& text) {
    return text ? "'" + *text + "'" : "NULL";
}
template <class... Values>
std::string row(const std::string& table, const std::string& columns, const Values&... values) {
    const auto literal = [](const auto& value) {
        if constexpr (std::is_arithmetic_v<std::decay_t<decltype(value)>>)
            return std::to_string(value);
        else
            return textOrNull(value);
    };
    std::string list;
    ((list += (list.empty() ? "" : ", ") + literal(values)), ...);
    return "INSERT INTO " + table + " (" + columns + ") VALUES (" + list + ");\n";
}

inline std::string client(int id, const std::string& name, int system = 1, int status = 0, int release = 0) {
    return row("APP_Client", "id, name, simOperatingSystemId, status, releaseId", id, name, system, status, release);
}
inline std::string system(int id, const std::string& name, const std::string& type = "Unix") {
    return row("SimOperatingSystem", "id, Name, Type", id, name, type);
}
inline std::string agent(int client, int appType, int status = 0) {
    return row("APP_IDAName", "clientId, appTypeId, status", client, appType, status);
}
inline std::string instance(int id, const std::string& name, int status = 0) {
    return row("APP_InstanceName", "id, name, status", id, name, status);
}
inline std::string backupSet(int id, const std::string& name, int status = 0, std::int64_t modified = 0) {
    return row("APP_BackupSetName", "id, name, status, modified", id, name, status, modified);
}
inline std::string policy(int id, const std::string& name, int type = 0, int incr = 0, int flags = 0) {
    return row("ArchGroup", "id, name, type, incrSP, flags", id, name, type, incr, flags);
}
inline std::string mediaAgent(int client, int enabled = 1) {
    return row("MMHost", "ClientId, MmHostEnabled", client, enabled);
}

struct SubclientRow {
    int id;
    int appType = 33;
    int status = 0;
    const char* name = "default";
    int client = 2;
    int instance = 5;
    int backupSet = 6;
    int dataPolicy = 7;
    int logPolicy = 8;
};
inline std::string subclient(const SubclientRow& one) {
    return row("APP_Application",
               "id, clientId, appTypeId, instance, backupSet, dataArchGrpID, logArchGrpID, "
               "subclientName, subclientStatus",
               one.id, one.client, one.appType, one.instance, one.backupSet, one.dataPolicy, one.logPolicy,
               std::string(one.name), one.status);
}

/// `of`: Instance, BackupSet or SubClient.
inline std::string property(const std::string& of, int component, const std::string& name,
                            const std::optional<std::string>& value, int type = 1, int modified = 0) {
    return row("APP_" + of + "Prop", "componentNameId, attrName, attrVal, attrType, modified", component, name, value,
               type, modified);
}
inline std::string entry(int subclient, const std::optional<std::string>& text, int type = 1, int modified = 0) {
    return row("APP_ScFilterFile", "componentNameId, fileName, type, modified", subclient, text, type, modified);
}
inline std::string transfer(int subclient, int agents, int compress) {
    return row("ArchPipeConfig", "appNumber, numNWAgents, compressWhere", subclient, agents, compress);
}
inline std::string activity(int subclient, int operation, int enabled) {
    return row("JMActivityControl", "subclientId, opType, enabled", subclient, operation, enabled);
}
inline std::string volume(int id, int job, std::int64_t created, int mountStatus = 0, int host = 0, int hubCell = 2) {
    return row("SMVolume",
               "SMVolumeId, jobId, hubCellId, creationTime, mountStatus, mountHostId, sourcePath, mountPath", id, job,
               hubCell, created, mountStatus, host, "/data" + std::to_string(id), "/mnt" + std::to_string(id));
}

/// Takes away all rules of a table, generated columns become plain ones.
inline std::string loosened(const std::string& table) {
    return "CREATE TABLE Loose AS SELECT * FROM " + table + "; DROP TABLE " + table + "; ALTER TABLE Loose RENAME TO " +
           table + ";\n";
}

} // namespace estate

class EntityTest : public EngineTest {
  protected:
    /// Of the property "User Description" in a table, the first current row counts, NULL changes nothing.
    /// `describe(id, before)` gives the description of entity 5 to 9 after a fetch that began with "before".
    template <class Describe> void expectDescriptions(const std::string& of, Describe describe) {
        const auto put = [&of](int id, const std::optional<std::string>& value, int modified) {
            return estate::property(of, id, "User Description", value, 1, modified);
        };
        hub_->run(put(5, "current", 0) + put(6, std::nullopt, 0) + put(7, "old", 1700000000) + put(9, "older", 9) +
                  put(9, "first", 0) + put(9, "second", 0) + estate::property(of, 5, "user description", "no", 1, 0) +
                  estate::property(of, 8, "Other", "no"));
        for (const auto& [id, expected] : {std::pair{5, "current"}, {6, "before"}, {7, ""}, {8, ""}, {9, "first"}})
            EXPECT_EQ(describe(id, "before"), expected) << id;
    }
};
