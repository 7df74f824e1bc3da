#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <functional>
#include <limits>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <type_traits>
#include <vector>

#include "db/HubDatabase.h"
#include "entities/EntityText.h"
#include "rows/AllRows.h"
#include "rows/RowBytes.h"
#include "schema/Extras.h"
#include "security/OVGlobalParam.h"
#include "support/HubEngine.h"
#include "support/Process.h"
#include "support/TempDirectory.h"
#include "users/VSDKUsers.h"

namespace {

/// Texts that an order of letters, of code units or of digits would put elsewhere than the order of their bytes does,
/// that a rule of matching may take for equal or for special, and that COPY has to escape.
const std::vector<std::string> kTexts{
    "zebra",        "Zebra",    "ZEBRA",    "zebra ",   " zebra",        "ze-bra", "ze_bra", "ze%bra",
    "ze\\bra",      "ze\\_bra", "zebra\\",  "äpfel",    "a\xCC\x88pfel", "Äpfel",  "apfel",  "Apfel",
    "straße",       "strasse",  "İstanbul", "ıstanbul", "co-op",         "coop",   "CO-OP",  "9",
    "10",           "010",      "ISTANBUL", "istanbul", "+10",           "1e1",    "Ａ",     "🗄️",
    "東京",         "Москва",   "תל",       "",         "it's",          "NULL",   "null",   "\\N",
    "\\.",          "\t",       "\r\n",     "\n\\.\n",  "\x01\x12",      "\x7F",   "a|b",    "\xF4\x8F\xBF\xBF",
    "\xEF\xBF\xBD", "ﬁ"};

/// The rows of an estate that has each of the texts in every text column, numbers of all sizes beside them, and NULL
/// wherever it may be.
std::string estateOfTexts() {
    nlohmann::json tables;
    for (const auto* table : kHubTables) {
        if (table == &HubSchema_t2::kRow)
            continue;
        const auto neverNull = [table](const OVDBColumn& column) {
            const auto isIt = [&](const auto& extra) {
                return std::string(table->object) == extra.table && std::string(column.name) == extra.column;
            };
            return column.inKey || std::ranges::any_of(hubdb::kRequiredColumns, isIt) ||
                   std::ranges::any_of(hubdb::kTokenColumns, isIt);
        };
        for (std::size_t row = 0; row < kTexts.size(); ++row) {
            nlohmann::json values;
            for (std::size_t i = 0; i < table->columns.size(); ++i) {
                const OVDBColumn& column = table->columns[i];
                const std::size_t turn = row + i;
                const int small = static_cast<int>(turn % 9) - 4;
                auto& value = values[column.name];
                if (column.inKey)
                    value = 1'000'000 + static_cast<int>(row);
                else if (turn % 7 == 3 && !neverNull(column))
                    value = nullptr;
                else if (!column.isInteger())
                    value = kTexts[turn % kTexts.size()];
                else if (small == 4)
                    value = column.kind == OVDBColumnKind::kInt ? std::numeric_limits<std::int32_t>::max()
                                                                : std::numeric_limits<std::int64_t>::max();
                else
                    value = small;
            }
            tables[table->object].push_back(values);
        }
    }
    return nlohmann::json{{"tables", tables}}.dump();
}

/// All that a reader delivers.
template <class Accessor> std::string delivered(Accessor& reader) {
    constexpr bool kIsTable = DescriptorOf<Accessor>::Type::kRow.kind == OVDBObjectKind::kTable;
    std::string bytes;
    int state = 0;
    int status = kIsTable ? 0 : reader.openCursor();
    while (status == 0 && (status = kIsTable ? getNextRow(&reader, &state, -1, 0) : reader.fetchCursor(false)) == 0)
        bytes += rowBytes(reader) + "\x1E"; // the end of a row
    EXPECT_EQ(status, 100) << reader.getErrorStr(status);
    return bytes;
}

template <class Accessor, class... Values>
std::string rows(const std::string& order, const std::string& where, Values... values) {
    Accessor reader;
    reader.setOrderBy(order.c_str());
    if (!where.empty())
        reader.setWhere(where.c_str(), values...);
    return delivered(reader);
}

/// A name to tell it by, and something to read.
using Reads = std::vector<std::pair<std::string, std::function<std::string()>>>;

/// Calls `add(reads, accessor, column, key)` for every column of every table.
template <class Add> Reads forEveryColumn(const Add& add) {
    Reads reads;
    const auto ofTable = [&]<class Accessor>(std::type_identity<Accessor> accessor) {
        const OVDBRowDeclaration& table = DescriptorOf<Accessor>::Type::kRow;
        const std::string key =
            table.keys[0]->name + (table.keys[1] == nullptr ? "" : std::string(", ") + table.keys[1]->name);
        for (const auto& column : table.columns)
            add(reads, accessor, column, key);
    };
    [&]<class... Accessors>(std::type_identity<::testing::Types<Accessors...>>) {
        (ofTable(std::type_identity<Accessors>{}), ...);
    }(std::type_identity<TableAccessors>{});
    return reads;
}

/// One estate in a database of each engine, which must look the same through the library.
class Parity : public ::testing::Test {
  protected:
    void SetUp() override {
        try {
            for (const auto make : {&support::makeSqliteHub, &support::makePostgresHub})
                hubs_.push_back(make());
        } catch (const support::NoServer& none) {
            GTEST_SKIP() << none.what();
        }
        const support::TempDirectory directory;
        const std::string file = directory.file("texts.json");
        std::ofstream(file) << estateOfTexts();
        for (const auto& hub : hubs_) {
            for (const auto& command :
                 {std::vector<std::string>{VSDK_HUBDB_PATH, "generate", hub->url(), "--clients", "30"},
                  {VSDK_HUBDB_PATH, "load", hub->url(), file}}) {
                const auto result = support::runProcess(command);
                ASSERT_EQ(result.exitCode, 0) << result.err;
            }
            hub->run("UPDATE HubSchema SET applied = 1"); // it tells when the database was made
        }
    }
    void TearDown() override {
        HubDatabase::disconnect();
        DBtable::b_newDBBase = false;
    }

    /// Reads from each database in both binding modes.
    void expectSame(const Reads& reads) const {
        for (const bool typed : {false, true}) {
            DBtable::b_newDBBase = typed;
            std::vector<std::string> first;
            for (const auto& hub : hubs_) {
                std::string error;
                ASSERT_EQ(HubDatabase::connect(hub->url(), error), 0) << error;
                for (std::size_t i = 0; i < reads.size(); ++i) {
                    SCOPED_TRACE(reads[i].first + (typed ? ", typed" : ""));
                    const std::string bytes = reads[i].second();
                    if (hub == hubs_.front())
                        first.push_back(bytes);
                    else
                        EXPECT_TRUE(bytes == first[i]) << difference(first[i], bytes);
                }
            }
        }
    }

  private:
    static std::string difference(const std::string& first, const std::string& second) {
        const auto same = std::ranges::mismatch(first, second).in1 - first.begin();
        return std::to_string(std::ranges::count(first, '\x1E')) + " and " +
               std::to_string(std::ranges::count(second, '\x1E')) + " rows, other ones from row " +
               std::to_string(std::count(first.begin(), first.begin() + same, '\x1E'));
    }

    std::vector<std::unique_ptr<support::HubEngine>> hubs_;
};

TEST_F(Parity, EveryTableInTheOrderOfEveryColumn) {
    expectSame(forEveryColumn([]<class Accessor>(Reads& reads, std::type_identity<Accessor>, const OVDBColumn& column,
                                                 const std::string& key) {
        const std::string name = column.name;
        for (const auto& order : {name, name + " DESC", " " + name + "  asc "})
            reads.emplace_back(AccessorNames::GetName<Accessor>(0) + " by " + order,
                               [=] { return rows<Accessor>(order + ", " + key, ""); });
        if (&column == DescriptorOf<Accessor>::Type::kRow.columns.data())
            reads.emplace_back(AccessorNames::GetName<Accessor>(0), [] {
                Accessor reader;
                return delivered(reader);
            });
    }));
}

struct TextFilter {
    const char* form;
    std::vector<const char*> values;
};
const TextFilter kTextFilters[] = {
    {"> '%s'", {"Zebra", "a", "zebra", "ä", "Ａ", ""}},
    {"<= '%s'", {"Zebra", "zebra", "ä", "🗄️", "9"}},
    {"= '%s'", {"ZEBRA", "zebra ", "äpfel", "10", "\\N", ""}},
    {"<> '%s'", {"zebra", ""}},
    {"NOT IN ('x', '%s')", {"zebra", "İstanbul"}},
    {"LIKE '%s'", {"zebra%", "Z%", "%BRA", "ze_bra", "%ä%", "_pfel", "__pfel", "_", "%", "", "%\n%", "i%", "İ%"}},
    {"LIKE '%s'", {"ze\\bra", "ze\\_bra", "%\\", "ze\\%"}}, // a backslash is a character like others
    {"NOT LIKE '%s'", {"z%", "%E%"}},
    {"IS NULL or 'x' = '%s'", {"y"}},
};

TEST_F(Parity, TextsAreComparedByTheirBytes) {
    expectSame(forEveryColumn([]<class Accessor>(Reads& reads, std::type_identity<Accessor>, const OVDBColumn& column,
                                                 const std::string& key) {
        if (column.isInteger())
            return;
        for (const auto& filter : kTextFilters)
            for (const char* value : filter.values) {
                const std::string form = std::string(column.name) + " " + filter.form;
                reads.emplace_back(AccessorNames::GetName<Accessor>(0) + " where " + form + " " + value,
                                   [=] { return rows<Accessor>(key, form, value); });
            }
        for (const char* function : {"lower", "upper", "length", "trim"}) {
            const std::string value = std::string(function) == "length" ? "= length('%s')" : "= '%s'";
            const std::string form = std::string(function) + "(" + column.name + ") " + value;
            for (const char* text : {"zebra", "ZEBRA", "äpfel", "Äpfel"})
                reads.emplace_back(AccessorNames::GetName<Accessor>(0) + " where " + form + " " + text,
                                   [=] { return rows<Accessor>(key, form, text); });
        }
    }));
}

const std::vector<const char*> kNumberFilters{"> %d",
                                              "<= %d",
                                              "= %d",
                                              "<> %d",
                                              "IN (1, %d)",
                                              "/ 2 = %d",
                                              "%% 3 = %d",
                                              "& 2 = %d",
                                              "IS NULL or 1 = %d",
                                              "> %lld",
                                              "< %lld - 1",
                                              "= %u",
                                              "BETWEEN -3 AND %d"};

TEST_F(Parity, NumbersAreComparedByTheirValue) {
    expectSame(forEveryColumn([]<class Accessor>(Reads& reads, std::type_identity<Accessor>, const OVDBColumn& column,
                                                 const std::string& key) {
        if (!column.isInteger())
            return;
        for (const char* filter : kNumberFilters) {
            const std::string form = std::string(column.name) + " " + filter;
            reads.emplace_back(AccessorNames::GetName<Accessor>(0) + " where " + form, [=] {
                return form.find("%lld") != std::string::npos ? rows<Accessor>(key, form, -(1LL << 40))
                       : form.find("%u") != std::string::npos
                           ? rows<Accessor>(key, form, 3'000'000'000U) + rows<Accessor>(key, form, 2U)
                           : rows<Accessor>(key, form, 2) + rows<Accessor>(key, form, -2);
            });
        }
    }));
}

/// All that lies below a client, from list to list.
std::string below(int client) {
    VSDK_AppTypeList agents(client);
    std::string text = textOf(agents.FetchAppTypes(true));
    for (const VSDK_AppType* agent : agents.elements) {
        VSDK_InstanceList instances(client, agent->appTypeId);
        text += textOf(instances.FetchInstances(true));
        for (const VSDK_Instance* instance : instances.elements) {
            VSDK_BackupsetList sets(client, agent->appTypeId, instance->instanceId);
            text += textOf(sets.FetchBackupsets(true));
            for (const VSDK_Backupset* set : sets.elements) {
                VSDK_SubclientList subclients(client, agent->appTypeId, instance->instanceId, set->backupSetId);
                text += textOf(subclients.FetchSubclients(true, client % 2 == 0));
            }
        }
    }
    return text;
}

TEST_F(Parity, CursorsAndListsOfEntities) {
    Reads reads{{"GetClientAndOSInfo",
                 [] {
                     GetClientAndOSInfo clients;
                     clients.setValues(2);
                     return delivered(clients);
                 }},
                {"clients", [] { return textOf(VSDK_ClientList().FetchClients(true)); }},
                {"media agents", [] { return textOf(VSDK_MediaAgentList().FetchMediaAgents(true)); }},
                {"storage policies", [] { return textOf(VSDK_StoragePolicyList().FetchStoragepolicies(true)); }}};
    for (int client = -4; client < 34; ++client)
        reads.emplace_back("client " + std::to_string(client), [client] { return below(client); });
    for (int job = -4; job < 6; ++job)
        reads.emplace_back("snapshots of job " + std::to_string(job), [job] {
            int code = 0;
            std::string words;
            VSDK_SnapsList list(job, 0);
            for (int hubCell = -4; hubCell < 5; ++hubCell)
                list.FetchSnapshots(hubCell, code, words);
            return textOf(list) + std::to_string(code) + words;
        });
    for (const auto& name : kTexts)
        reads.emplace_back("user, session and parameter " + name, [name] {
            VSDK_User user(0);
            VSDK_Sessions sessions;
            bool found = false;
            int number = 0;
            std::string password;
            std::string value;
            const auto login = user.GetUserPasswordByLogin(name, found, password);
            const auto session = sessions.GetSessionId(name, "", number, user.userId);
            const auto parameter = OVGlobalParam::get(name, value, nullptr);
            return fieldsText(login, found, session, number, user.userId, parameter, value);
        });
    expectSame(reads);
}

} // namespace
