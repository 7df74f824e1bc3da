#include <functional>
#include <memory>
#include <stdexcept>
#include <thread>
#include <vector>

#include "db/DBtran.h"
#include "db/ReadScope.h"
#include "entities/EntityTest.h"

namespace {

using namespace estate;

/// A list of any kind.
struct AnyList {
    template <class List, class Fetch>
    AnyList(std::shared_ptr<List> list, Fetch how)
        : fetch([list, how](bool properties) { EXPECT_EQ(&how(*list, properties), list.get()); }),
          text([list] { return textOf(*list); }), fetched(list->fetched) {
        EXPECT_EQ(static_cast<void*>(list.get()), static_cast<void*>(&list->elements)) << "the first member";
    }
    std::function<void(bool properties)> fetch;
    std::function<std::string()> text;
    const bool& fetched;
};

struct Kind {
    const char* object; ///< what its elements' ids are read from
    AnyList (*make)();
    std::string ids;  ///< its text when only these are read
    std::string full; ///< its text
};

template <auto fetch, class List, class... Ids> AnyList made(Ids... ids) {
    return {std::make_shared<List>(ids...),
            [](List& list, bool properties) -> List& { return (list.*fetch)(properties); }};
}
AnyList subclients() {
    const auto fetch = [](VSDK_SubclientList& list, bool properties) -> VSDK_SubclientList& {
        return list.FetchSubclients(properties, true);
    };
    return {std::make_shared<VSDK_SubclientList>(2, 8, 5, 6), fetch};
}

const std::vector<Kind> kKinds{
    {"APP_IDAName", [] { return made<&VSDK_AppTypeList::FetchAppTypes, VSDK_AppTypeList>(2); },
     "2|8||0\n2|22||0\n2|33||0\n", "2|8|Mail|1\n2|22|Oracle|2\n2|33|Files|3\n"},
    {"GetClientAndOSInfo", [] { return made<&VSDK_ClientList::FetchClients, VSDK_ClientList>(); },
     "2||0||0|0\n3||0||0|0\n4||0||0|0\n", "2|two|1|Linux|0|0\n3|three|1|Linux|0|0\n4|four|1|Linux|0|0\n"},
    {"GetInstanceList", [] { return made<&VSDK_InstanceList::FetchInstances, VSDK_InstanceList>(2, 22); },
     "2|22|5|||||0|\n2|22|6|||||0|\n2|22|7|||||0|\n",
     "2|22|5|five|log|data||0|text\n2|22|6|six|log|data||0|\n2|22|7|seven||||0|\n"},
    {"GetBackupSetList", [] { return made<&VSDK_BackupsetList::FetchBackupsets, VSDK_BackupsetList>(2, 33, 5); },
     "6||0|0|0|\n7||0|0|0|\n8||0|0|0|\n", "6|six|0|66|1|\n7|seven|0|77|0|text\n8|eight|0|0|0|\n"},
    {"GetSubclientList", &subclients,
     "0|31||0|0|||0|0|0|0|0|0||0\n0|32||0|0|||0|0|0|0|0|0||0\n0|33||0|0|||0|0|0|0|0|0||0\n",
     "8|31|a|0|66|data|a<-->;m\x12\x12;|2|1|512|0|7|8||0\n8|32|b|2|66|data|b<-->;m\x12\x12;|0|0|513|0|7|8||0\n"
     "8|33|c|0|66|log|c<-->;|0|0|513|3|8|8|text|0\n"},
    {"MMHost", [] { return made<&VSDK_MediaAgentList::FetchMediaAgents, VSDK_MediaAgentList>(); }, "2|\n3|\n4|\n",
     "2|two\n3|three\n4|four\n"},
    {"ArchGroup", [] { return made<&VSDK_StoragePolicyList::FetchStoragepolicies, VSDK_StoragePolicyList>(); },
     "7||0|0|0\n8||0|0|0\n9||0|0|0\n", "7|data|0|0|0\n8|log|0|0|0\n9|nine|0|0|0\n"},
};

/// The list that is never fetched, whose properties are always read.
AnyList snapshots() {
    const auto fetch = [](VSDK_SnapsList& list, bool) -> VSDK_SnapsList& {
        int code = 0;
        std::string words;
        list.FetchSnapshots(2, code, words);
        EXPECT_EQ(code, 0) << words;
        return list;
    };
    return {std::make_shared<VSDK_SnapsList>(5, 0), fetch};
}
const std::string kSnapshots = "1|/data1|now|Yes|two|/mnt1||0\n2|/data2|now|Yes|three|/mnt2||0\n";

/// An estate in which every list has three elements.
class Lists : public EntityTest {
  protected:
    void SetUp() override {
        EntityTest::SetUp();
        if (IsSkipped())
            return;
        std::string sql = system(1, "Linux") + policy(7, "data") + policy(8, "log") + policy(9, "nine") +
                          backupSet(6, "six", 0, 66) + backupSet(7, "seven", 0, 77) + backupSet(8, "eight") +
                          property("BackupSet", 6, "On Demand Backupset", "1") +
                          property("BackupSet", 7, "User Description", "text") + instance(5, "five") +
                          instance(6, "six") + instance(7, "seven") +
                          property("Instance", 5, "User Description", "text");
        for (const auto& [type, name, status] : {std::tuple{8, "Mail", 1}, {22, "Oracle", 2}, {33, "Files", 3}})
            sql += row("APP_iDAType", "type, name", type, std::string(name)) + agent(2, type, status);
        for (const auto& [id, name] : {std::pair{2, "two"}, {3, "three"}, {4, "four"}})
            sql += client(id, name) + mediaAgent(id);
        for (int id = 5; id < 8; ++id)
            sql += subclient({.id = id, .appType = 22, .name = id < 7 ? "(command line)" : "default", .instance = id}) +
                   subclient({.id = id + 10, .backupSet = id + 1});
        for (const auto& [id, name] : {std::pair{31, "a"}, {32, "b"}, {33, "c"}})
            sql +=
                subclient(
                    {.id = id, .appType = 8, .status = id == 32 ? 2 : 0, .name = name, .dataPolicy = id < 33 ? 7 : 8}) +
                entry(id, name + std::string("\x12"));
        hub_->run(sql + property("SubClient", 31, "m", "m", 111) + property("SubClient", 32, "m", "m", 111) +
                  property("SubClient", 33, "Number of Data Readers", "3") + transfer(31, 2, 1) + activity(31, 4, 0) +
                  property("SubClient", 33, "User Description", "text") + volume(1, 5, 0, 59, 2) +
                  volume(2, 5, 0, 59, 3));
        put({"one", "two"});
    }

    void TearDown() override {
        hubdb::ReadScope::enabled = true;
        EntityTest::TearDown();
    }

    /// Reads a list, and does something at one of its fault points, counted from 0. Whether there was such a point.
    template <class Do> static bool fetchAt(const AnyList& list, int point, Do what) {
        bool reached = false;
        at([&, left = point](hubdb::FaultPoint, std::string_view) mutable {
            if (left-- == 0) {
                reached = true;
                what();
            }
            return 0;
        });
        list.fetch(true);
        atNoPoint();
        return reached;
    }
    /// Has both connections of a pool of two opened, so that a lost one is not the only one.
    static void fillPool() {
        ZXGlobalParam reader(nullptr);
        int state = 0;
        EXPECT_EQ(getNextRow(&reader, &state, -1, 0), kDbOk);
        DBtran other;
        EXPECT_EQ(other.startTran(), kDbOk);
        EXPECT_EQ(other.rollbackTran(), kDbOk);
        HubDatabase::clearLastFailure();
    }
    /// All that the library has to the server, and waits until they are gone.
    void endConnections() const {
        const std::string ours = "FROM pg_stat_activity WHERE datname = current_database() AND pid <> pg_backend_pid()";
        hub_->run("SELECT pg_terminate_backend(pid) " + ours);
        while (hub_->ask("SELECT count(*) " + ours) != "0")
            std::this_thread::yield();
    }
};
INSTANTIATE_TEST_SUITE_P(Engines, Lists, ::testing::Combine(everyEngine(), ::testing::Bool()), &engineName);

TEST_P(Lists, IdsTakeOneStatementAndAreReadOnce) {
    for (const auto& kind : kKinds) {
        SCOPED_TRACE(kind.object);
        const AnyList bare = kind.make();
        EXPECT_FALSE(bare.fetched);
        EXPECT_EQ(bare.text(), "");
        statements();
        bare.fetch(false);
        EXPECT_EQ(statements(), 1U);
        EXPECT_TRUE(bare.fetched);
        EXPECT_EQ(bare.text(), kind.ids);
        bare.fetch(true);
        EXPECT_EQ(statements(), 0U);
        EXPECT_EQ(bare.text(), kind.ids);
        for (const bool sets : {true, false}) {
            hubdb::ReadScope::enabled = sets;
            const AnyList full = kind.make();
            full.fetch(true);
            EXPECT_EQ(full.text(), kind.full) << sets;
            statements();
            full.fetch(false);
            EXPECT_EQ(statements(), 0U);
            EXPECT_EQ(full.text(), kind.full);
        }
    }
    EXPECT_EQ(lastFailure(), 0);
}

TEST_P(Lists, AFailureEndsAListAndIsNotTriedAgain) {
    const auto firstLine = [](const std::string& text) { return text.substr(0, text.find('\n') + 1); };
    for (const auto& kind : kKinds)
        for (const bool properties : {false, true})
            for (const auto point : {hubdb::FaultPoint::kExecute, hubdb::FaultPoint::kNextRow}) {
                SCOPED_TRACE(kind.object + std::to_string(static_cast<int>(point)));
                HubDatabase::clearLastFailure();
                const AnyList list = kind.make();
                fail(point, kDbTimedOut, 99, kind.object);
                list.fetch(properties);
                atNoPoint();
                EXPECT_EQ(lastFailure(), kDbTimedOut);
                const std::string read =
                    point == hubdb::FaultPoint::kExecute ? "" : firstLine(properties ? kind.full : kind.ids);
                EXPECT_EQ(list.text(), read);
                EXPECT_TRUE(list.fetched);
                statements();
                list.fetch(true);
                EXPECT_EQ(statements(), 0U);
                EXPECT_EQ(list.text(), read);
            }
    HubDatabase::disconnect();
    for (const auto& kind : kKinds) {
        SCOPED_TRACE(kind.object);
        HubDatabase::clearLastFailure();
        const AnyList list = kind.make();
        list.fetch(true);
        EXPECT_EQ(lastFailure(), kDbNotConnected);
        EXPECT_EQ(list.text(), "");
        EXPECT_TRUE(list.fetched);
    }
}

TEST_P(Lists, AnExceptionOfThePlatformPassesAListAndNothingIsLost) {
    connect("pool=2&pool_ms=100");
    for (const auto& kind : kKinds)
        for (int point = 0;; ++point) {
            SCOPED_TRACE(kind.object + (" " + std::to_string(point)));
            const AnyList list = kind.make();
            try {
                fetchAt(list, point, [] { throw std::runtime_error("of the test"); });
                EXPECT_EQ(list.text(), kind.full);
                break;
            } catch (const std::runtime_error&) {
                atNoPoint();
                EXPECT_FALSE(list.fetched);
                EXPECT_TRUE(kind.full.starts_with(list.text())) << list.text();
            }
        }
    EXPECT_EQ(lastFailure(), 0);
}

class ListsOfAServer : public Lists {};
INSTANTIATE_TEST_SUITE_P(Engines, ListsOfAServer, ::testing::Combine(everyServer(), ::testing::Values(true)),
                         &engineName);

/// At each statement of each list, with and without sets of rows being read ahead.
TEST_P(ListsOfAServer, AreWholeWhenTheServerEndsTheirConnections) {
    connect("pool=2");
    support::LogLines log;
    const auto killed = [&](AnyList (*make)(), const std::string& full) {
        for (int point = 0;; ++point) {
            SCOPED_TRACE(point);
            fillPool();
            const AnyList list = make();
            const bool hit = fetchAt(list, point, [this] { endConnections(); });
            const std::string lines = log.taken();
            EXPECT_EQ(list.text(), full) << lines;
            EXPECT_EQ(lastFailure(), 0) << lines;
            if (!hit)
                return point;
        }
    };
    for (const bool sets : {true, false}) {
        hubdb::ReadScope::enabled = sets;
        for (const auto& kind : kKinds) {
            SCOPED_TRACE(kind.object);
            EXPECT_GT(killed(kind.make, kind.full), 0);
        }
        killed(&snapshots, kSnapshots);
    }
}

} // namespace
