#include <map>
#include <random>
#include <set>

#include "Db/Tbl/HubTables.h"
#include "db/SchemaWriter.h"
#include "entities/EntityTest.h"
#include "schema/Extras.h"
#include "scope/ScopeTest.h"

namespace {

constexpr int kUnset = -1;
/// Agent types of every group that subclients or instances treat in a way of their own, and two of none.
constexpr std::array kTypes{kUnset, 1, 4, 8, 9, 2, 22, 80, 97, 98};

enum class Data {
    kSound,
    kDamaged ///< with holes, orphans, and NULLs wherever a column may be NULL
};

/// A hub database of random data in small ranges, so that ids meet, with several rows under one key and name.
class RandomEstate {
  public:
    /// `rows`: how many in a table.
    RandomEstate(unsigned seed, Data data, std::map<std::string, int> rows)
        : random_(seed), damaged_(data == Data::kDamaged), rows_(std::move(rows)) {
        std::ranges::sample(kTypes, types_.begin(), types_.size(), random_);
    }

    std::string sql() {
        std::string text;
        for (const auto* table :
             {&APP_Client_t2::kRow, &SimOperatingSystem_t2::kRow, &APP_IDAName_t2::kRow, &APP_Application_t2::kRow,
              &APP_BackupSetName_t2::kRow, &APP_BackupSetProp_t2::kRow, &APP_InstanceName_t2::kRow,
              &APP_InstanceProp_t2::kRow, &APP_ScFilterFile_t2::kRow, &APP_SubClientProp_t2::kRow, &ArchGroup_t2::kRow,
              &MMHost_t2::kRow, &SMVolume_t2::kRow, &ArchPipeConfig_t2::kRow, &JMActivityControl_t2::kRow})
            text += insertInto(*table);
        for (const int type : kTypes)
            if (!damaged_ || !oneIn(4))
                text += "INSERT INTO APP_iDAType (type, name) VALUES (" + std::to_string(type) + ", 'type " +
                        std::to_string(type) + "');";
        return text;
    }
    const std::array<int, 3>& types() const { return types_; }

  private:
    int upTo(int most) { return std::uniform_int_distribution(0, most)(random_); }
    bool oneIn(int times) { return upTo(times - 1) == 0; }
    template <std::size_t N> std::string oneOf(const std::array<const char*, N>& texts) {
        return texts[static_cast<std::size_t>(upTo(N - 1))];
    }
    int count(const std::string& table) const {
        const auto found = rows_.find(table);
        return found != rows_.end() ? found->second : 6;
    }

    std::string insertInto(const OVDBRowDeclaration& table) {
        std::string rows;
        std::set<std::string> keys;
        int id = 0;
        for (int i = 0; i < count(table.object); ++i) {
            id += damaged_ && oneIn(5) ? 2 : 1;
            std::string key;
            std::string row;
            for (const auto& column : table.columns) {
                const std::string value = column.isSerial ? std::to_string(id) : valueOf(table, column);
                key += column.inKey ? value + "," : "";
                row += (row.empty() ? "" : ", ") + value;
            }
            if (keys.insert(key).second)
                rows += (rows.empty() ? "(" : ", (") + row + ")";
        }
        return std::string("INSERT INTO ") + table.object + " (" + table.columnList + ") VALUES " + rows + ";";
    }
    bool mayBeNull(const OVDBRowDeclaration& table, const OVDBColumn& column) const {
        return !column.inKey && std::ranges::none_of(hubdb::kRequiredColumns, [&](const auto& required) {
            return std::string_view(table.object) == required.table && std::string_view(column.name) == required.column;
        });
    }
    std::string valueOf(const OVDBRowDeclaration& table, const OVDBColumn& column) {
        static constexpr std::array kNames{
            "'User Description'", "'On Demand Backupset'", "'Number of Data Readers'", "'Subclient Policy'", "'Other'",
            "'user description'"};
        static constexpr std::array kValues{"'1'", "'0'", "''", "'17abc'", "'a\022b\022c'", "'\xC3\xA9\x11x'"};
        static constexpr std::array kSubclients{"'(command line)'", "'(command line)'", "'(Command Line)'", "'default'",
                                                "''"};
        static constexpr std::array kAttrTypes{"1", "111", "112", "118"};
        const std::string_view name = column.name;
        const std::string referred = column.referencedTable == nullptr ? "" : column.referencedTable;
        if (damaged_ && mayBeNull(table, column) && oneIn(5))
            return "NULL";
        if (name == "modified" && !oneIn(4))
            return "0";
        if (referred == "APP_iDAType")
            return std::to_string(types_[static_cast<std::size_t>(upTo(2))]);
        const bool ofSubclient = table.object == std::string_view("APP_Application");
        if ((ofSubclient && name == "clientId") || name == "jobId")
            return oneIn(4) ? "2" : "1";
        if ((name == "instance" || name == "backupSet") && count(referred) < 100 && !oneIn(4))
            return "1";
        if (!referred.empty())
            return std::to_string(damaged_ ? upTo(count(referred) + 2) : 1 + upTo(count(referred) - 1));
        if (name == "attrName")
            return oneOf(kNames);
        if (name == "subclientName")
            return oneOf(kSubclients);
        if (name == "attrType")
            return oneOf(kAttrTypes);
        if (name == "opType")
            return oneIn(2) ? "4" : "57";
        if (name == "hubCellId")
            return oneIn(4) ? "3" : "2";
        if (name == "mountStatus")
            return oneIn(2) ? "59" : "0";
        return column.isInteger() ? std::to_string(upTo(7)) : oneOf(kValues);
    }

    std::mt19937 random_;
    bool damaged_;
    std::map<std::string, int> rows_;
    std::array<int, 3> types_;
};

class ScopedLists : public ScopeTest {
  protected:
    static std::vector<List> lists(const std::array<int, 3>& types) {
        std::vector<List> all{{"clients", [] { return clients(); }},
                              {"policies", [] { return policies(); }},
                              {"media agents", [] { return mediaAgents(); }},
                              {"snapshots 1", [] { return snapshots(1); }},
                              {"snapshots 2", [] { return snapshots(2); }}};
        for (const int client : {1, 2}) {
            const std::string of = " of " + std::to_string(client);
            all.push_back({"agents" + of, [=] { return agents(client); }});
            for (const int type : types) {
                const std::string below = of + "/" + std::to_string(type);
                all.push_back({"instances" + below, [=] { return instances(client, type); }});
                for (const int instance : {0, 1}) {
                    const std::string in = below + "/" + std::to_string(instance);
                    all.push_back({"backup sets" + in, [=] { return backupSets(client, type, instance); }});
                    for (const int set : {0, 1})
                        for (const bool withAll : {false, true})
                            for (const bool properties : {false, true})
                                all.push_back({"subclients" + in + "/" + std::to_string(set), [=] {
                                                   return subclients(client, type, instance, set, withAll, properties);
                                               }});
                }
            }
        }
        return all;
    }
    /// Of data that are not sound the rows of elements that break off are read, too.
    static void expectEqual(const List& list, Data data) {
        SCOPED_TRACE(list.name);
        const Outcome singles = single(list.read);
        const Outcome sets = outcome(list.read);
        expectSame(sets, singles);
        if (data == Data::kSound) {
            EXPECT_LE(sets.rows, 2 * singles.rows);
        }
    }
    /// Puts values into some rows that the rows' buffers cannot hold.
    void spoil() const {
        struct Spoilt {
            const char* table;
            const char* column;
            const char* where;
        };
        constexpr Spoilt kNumbers[] = {{"APP_Application", "ccpId", "id % 11 = 3"},
                                       {"APP_SubClientProp", "ccpId", "id % 17 = 5"},
                                       {"APP_SubClientProp", "componentNameId", "id % 19 = 4"},
                                       {"APP_BackupSetName", "ccpId", "id % 7 = 2"},
                                       {"APP_InstanceProp", "ccpId", "id % 7 = 2"},
                                       {"APP_IDAName", "ccpId", "id % 13 = 12"},
                                       {"APP_Client", "ccpId", "id % 5 = 3"}};
        constexpr Spoilt kTexts[] = {{"APP_Application", "subclientName", "id % 5 = 1"},
                                     {"APP_SubClientProp", "attrName", "id % 9 = 1"},
                                     {"ArchGroup", "name", "id % 3 = 1"}};
        const auto alter = [this](const Spoilt& spoilt, const std::string& how) {
            return onServer() ? std::string("ALTER TABLE ") + spoilt.table + how + ";" : "";
        };
        std::string sql = onServer() ? "" : "PRAGMA ignore_check_constraints = ON;";
        const auto set = [&sql](const Spoilt& spoilt, const std::string& value) {
            sql += std::string("UPDATE ") + spoilt.table + " SET " + spoilt.column + " = " + value + " WHERE " +
                   spoilt.where + ";";
        };
        for (const auto& spoilt : kNumbers) {
            sql += alter(spoilt, std::string(" ALTER COLUMN ") + spoilt.column + " TYPE bigint");
            set(spoilt, "1099511627776");
        }
        for (const auto& spoilt : kTexts) {
            sql += alter(spoilt, std::string(" DROP CONSTRAINT ") + spoilt.column + hubdb::kWidthRule);
            set(spoilt, "'" + std::string(3000, 'x') + "'");
        }
        if (!onServer()) // and what has another type
            sql += estate::loosened("APP_SubClientProp") + estate::loosened("APP_BackupSetProp") +
                   "UPDATE APP_SubClientProp SET attrType = 'x' WHERE id % 13 = 3;"
                   "UPDATE APP_SubClientProp SET componentNameId = componentNameId + 0.5 WHERE id % 13 = 4;"
                   "UPDATE APP_SubClientProp SET attrVal = x'310033' WHERE id % 13 = 5;"
                   "UPDATE APP_SubClientProp SET attrVal = x'' WHERE id % 13 = 6;"
                   "UPDATE APP_BackupSetProp SET attrType = 1.5 WHERE id % 5 = 3;";
        hub_->run(sql);
    }
    /// Subclients 1, 2 ... of one backup set with so many entries of content.
    static std::string contents(const std::vector<int>& entries, const std::string& text) {
        std::string sql = "INSERT INTO APP_BackupSetName (id, name) VALUES (1, 'set'); "
                          "INSERT INTO ArchGroup (id, name) VALUES (1, 'policy');";
        for (std::size_t i = 0; i < entries.size(); ++i) {
            const std::string id = std::to_string(i + 1);
            sql +=
                "INSERT INTO APP_Application (id, clientId, appTypeId, instance, backupSet, dataArchGrpID) VALUES (" +
                id + ", 1, 33, 1, 1, 1);" +
                "INSERT INTO APP_ScFilterFile (componentNameId, type, fileName) WITH RECURSIVE n(i) AS (SELECT 1 "
                "UNION ALL SELECT i + 1 FROM n WHERE i < " +
                std::to_string(entries[i]) + ") SELECT " + id + ", 1, " + text +
                " FROM n WHERE i <= " + std::to_string(entries[i]) + ";";
        }
        return sql;
    }
    /// A hub database of these data in the place of the one before.
    void put(const std::string& sql) {
        HubDatabase::disconnect();
        hub_ = std::get<support::MakeHubEngine>(GetParam())();
        hub_->run("BEGIN;" + sql + "COMMIT;");
        connect();
    }
};
INSTANTIATE_TEST_SUITE_P(Engines, ScopedLists, ::testing::Combine(everyEngine(), ::testing::Bool()), &engineName);

TEST_P(ScopedLists, AreTheSameAsWithSingleReads) {
    const bool typed = DBtable::b_newDBBase;
    for (const unsigned seed : {typed ? 1U : 3U, typed ? 2U : 4U}) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        const Data data = seed % 4 == 0 ? Data::kSound : Data::kDamaged;
        RandomEstate estate(seed, data,
                            {{"APP_Application", 400},
                             {"APP_SubClientProp", 1200},
                             {"APP_ScFilterFile", 800},
                             {"ArchPipeConfig", 250},
                             {"JMActivityControl", 400},
                             {"APP_BackupSetProp", 20},
                             {"APP_InstanceProp", 12},
                             {"APP_IDAName", 30},
                             {"APP_InstanceName", 4},
                             {"APP_BackupSetName", 4},
                             {"SMVolume", 30}});
        put(estate.sql());
        for (const auto& list : lists(estate.types()))
            expectEqual(list, data);
        if (seed % 2 == 0) {
            spoil();
            for (const auto& list : lists(estate.types()))
                expectEqual(list, data);
        }
    }
}

TEST_P(ScopedLists, OfSeveralChunksAreTheSameAsWithSingleReads) {
    constexpr int kMany = 900;
    const bool typed = DBtable::b_newDBBase;
    for (const char* const wide : {typed ? "APP_Application" : "APP_InstanceName", "APP_BackupSetName"}) {
        SCOPED_TRACE(wide);
        std::map<std::string, int> rows{
            {"APP_Application", 9000},  {"APP_SubClientProp", 9000}, {"APP_ScFilterFile", 9000},
            {"ArchPipeConfig", 6000},   {"JMActivityControl", 9000}, {"APP_BackupSetProp", 2000},
            {"APP_InstanceProp", 2000}, {"APP_IDAName", 5 * kMany},  {"MMHost", 2 * kMany},
            {"SMVolume", 2 * kMany},    {"APP_InstanceName", 4},     {"APP_BackupSetName", 4}};
        if (wide != std::string_view("APP_Application"))
            rows[wide] = kMany;
        else
            rows["APP_Client"] = kMany;
        RandomEstate estate(7, Data::kDamaged, rows);
        put(estate.sql());
        const int type = estate.types()[0];
        const List all[] = {{"media agents", [] { return mediaAgents(); }},
                            {"snapshots", [] { return snapshots(1); }},
                            {"agents", [] { return agents(1); }},
                            {"instances", [=] { return instances(1, type); }},
                            {"backup sets", [=] { return backupSets(1, type, 1); }},
                            {"subclients", [=] { return subclients(1, type, 1, 1); }},
                            {"those not left out", [=] { return subclients(1, type, 1, 1, false); }}};
        for (const auto& list : all) {
            expectEqual(list, Data::kDamaged);
        }
    }
}

TEST_P(ScopedLists, ElementsWithMoreRowsThanASetHoldsAreReadOneByOne) {
    put(contents({1, 16384, 5, 16385, 20000, 0, 3, 9000, 9000, 2}, "'f'"));
    expectEqual({"subclients", [] { return subclients(1, 33, 1, 1); }}, Data::kSound);
}

TEST_P(ScopedLists, ElementsWithManyBytesAreReadFewAtATimeAndOnce) {
    put(contents(std::vector<int>(30, 15), onServer() ? "repeat('f', 100000)" : "hex(zeroblob(50000))"));
    const auto list = [] { return subclients(1, 33, 1, 1); };
    const Outcome singles = single(list);
    const Outcome sets = outcome(list);
    EXPECT_TRUE(sets.text == singles.text);
    EXPECT_LE(4 * sets.rows, 5 * singles.rows) << "in portions, of which each ends within an element";
}

} // namespace
