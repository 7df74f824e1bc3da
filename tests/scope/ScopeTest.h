#pragma once

#include <functional>
#include <string>
#include <vector>

#include "db/EngineTest.h"
#include "db/ReadScope.h"
#include "entities/EntityText.h"

/// What a list, or any reads, came to.
struct Outcome {
    std::string text;
    int failure;     ///< HubDatabase::lastFailure
    std::string log; ///< failure lines, without those about texts that were cut
    std::uint64_t statements;
    std::uint64_t rows;
};

/// Reads that may be answered from sets, held against the same ones as single reads.
class ScopeTest : public EngineTest {
  protected:
    void TearDown() override {
        hubdb::ReadScope::enabled = true;
        EngineTest::TearDown();
    }

    using Reads = std::function<std::string()>;
    static Outcome outcome(const Reads& reads) {
        HubDatabase::clearLastFailure();
        support::LogLines lines;
        const auto before = HubDatabase::statistics();
        Outcome result{reads(), 0, "", 0, 0};
        const auto after = HubDatabase::statistics();
        result.statements = after.statementsExecuted - before.statementsExecuted;
        result.rows = after.rowsRead - before.rowsRead;
        std::string words;
        result.failure = HubDatabase::lastFailure(words);
        std::istringstream log(lines.taken());
        for (std::string line; std::getline(log, line);)
            if (!line.starts_with("DBtable "))
                result.log += line + "\n";
        return result;
    }
    /// As single reads.
    static Outcome single(const Reads& reads) {
        hubdb::ReadScope::enabled = false;
        const Outcome result = outcome(reads);
        hubdb::ReadScope::enabled = true;
        return result;
    }
    static void expectSame(const Outcome& sets, const Outcome& singles) {
        EXPECT_EQ(sets.text, singles.text);
        EXPECT_EQ(sets.failure, singles.failure);
        EXPECT_EQ(sets.log, singles.log);
    }

    /// Reads while `then` is called at every fault point.
    static std::string readAt(const Reads& read, AtPoint then) {
        at(std::move(then));
        std::string text = read();
        atNoPoint();
        return text;
    }

    bool onServer() const { return !hub_->traits().oneWriter; }
    bool readsBlockWriters() const { return hub_->traits().lockStopsReaders; }

    // ---- lists

    template <class List, class... Flags>
    static std::string fetched(List&& list, List& (List::*fetch)(Flags...), Flags... flags) {
        (list.*fetch)(flags...);
        return textOf(list);
    }
    static std::string clients() { return fetched(VSDK_ClientList(), &VSDK_ClientList::FetchClients, true); }
    static std::string policies() {
        return fetched(VSDK_StoragePolicyList(), &VSDK_StoragePolicyList::FetchStoragepolicies, true);
    }
    static std::string mediaAgents() {
        return fetched(VSDK_MediaAgentList(), &VSDK_MediaAgentList::FetchMediaAgents, true);
    }
    static std::string agents(int client) {
        return fetched(VSDK_AppTypeList(client), &VSDK_AppTypeList::FetchAppTypes, true);
    }
    static std::string instances(int client, int type) {
        return fetched(VSDK_InstanceList(client, type), &VSDK_InstanceList::FetchInstances, true);
    }
    static std::string backupSets(int client, int type, int instance) {
        return fetched(VSDK_BackupsetList(client, type, instance), &VSDK_BackupsetList::FetchBackupsets, true);
    }
    static std::string subclients(int client, int type, int instance, int set, bool all = true,
                                  bool properties = true) {
        return fetched(VSDK_SubclientList(client, type, instance, set), &VSDK_SubclientList::FetchSubclients,
                       properties, all);
    }
    static std::string snapshots(int job) {
        VSDK_SnapsList list(job, 0);
        int code = 0;
        std::string words;
        list.FetchSnapshots(2, code, words);
        return textOf(list) + std::to_string(code);
    }

    struct List {
        std::string name;
        Reads read;
        std::string_view ids = {}; ///< what its elements are read from
    };
    /// Of the rows that rowsOf() makes.
    static const std::vector<List>& listsOfRows() {
        static const std::vector<List> lists{
            {"agents", [] { return agents(1); }, "APP_IDAName"},
            {"instances", [] { return instances(1, 22); }, "GetInstanceList"},
            {"backup sets", [] { return backupSets(1, 34, 1); }, "GetBackupSetList"},
            {"subclients", [] { return subclients(1, 33, 1, 1); }, "GetSubclientList"},
            {"those not left out", [] { return subclients(1, 33, 1, 1, false); }, "GetSubclientList"},
            {"media agents", [] { return mediaAgents(); }, "MMHost"},
            {"snapshots", [] { return snapshots(1); }, "SMVolume"}};
        return lists;
    }
    static const List& list(std::string_view name) { return *std::ranges::find(listsOfRows(), name, &List::name); }
};

/// Statements that put rows `from` to `to` of an estate into the tables, n being their number: every entity refers to
/// others of its own and has one row of everything.
inline std::string rowsOf(int from, int to) {
    const auto insert = [&](const std::string& table, const std::string& values) {
        return "INSERT INTO " + table + " WITH RECURSIVE r(n) AS (SELECT " + std::to_string(from) +
               " UNION ALL SELECT n + 1 FROM r WHERE n < " + std::to_string(to) + ") SELECT " + values + " FROM r;";
    };
    std::string sql = insert("APP_Client (id, name)", "n, 'client ' || n") +
                      insert("APP_iDAType (type, name)", "n, 'type ' || n") +
                      insert("APP_IDAName (id, clientId, appTypeId)", "n, 1, n") +
                      insert("APP_InstanceName (id, name)", "n, 'instance ' || n") +
                      insert("APP_BackupSetName (id, name)", "n, 'set ' || n") +
                      insert("ArchGroup (id, name)", "n, 'policy ' || n") + insert("MMHost (ClientId)", "n") +
                      insert("SMVolume (SMVolumeId, jobId, hubCellId, mountHostId)", "n, 1, 2, n") +
                      insert("APP_ScFilterFile (componentNameId, type, fileName)", "n, 1, '/' || n") +
                      insert("ArchPipeConfig (appNumber, numNWAgents)", "n, 3") +
                      insert("JMActivityControl (subclientId, opType)", "n, 57");
    for (const char* of : {"Instance", "BackupSet", "SubClient"})
        sql += insert(std::string("APP_") + of + "Prop (componentNameId, attrName, attrVal)",
                      "n, 'User Description', 'd' || n");
    // One backup set of subclients, and one subclient for each backup set and, by the command line's, each instance.
    const std::string subclient = "APP_Application (id, clientId, appTypeId, instance, backupSet, dataArchGrpID, "
                                  "logArchGrpID, subclientName)";
    return sql + insert(subclient, "n, 1, 33, 1, 1, n, n, 'default'") +
           insert(subclient, "1000000 + n, 1, 34, 1, n, 1, 1, 'default'") +
           insert(subclient, "2000000 + n, 1, 22, n, 1, n, n, '(command line)'");
}
