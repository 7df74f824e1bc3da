#include "Db/Tbl/ArchGroup.h"
#include "Db/Tbl/MMHost.h"
#include "entities/EntityTest.h"

namespace {

using namespace estate;

ENGINE_TEST(MediaAgents, EntityTest, ::testing::Values(true));
ENGINE_TEST(StoragePolicies, EntityTest, ::testing::Values(true));

TEST_P(MediaAgents, AListHoldsEveryOneButTheHubServer) {
    hub_->run(client(1, "hub") + mediaAgent(1));
    VSDK_MediaAgentList none;
    EXPECT_EQ(textOf(none.FetchMediaAgents(true)), "");
    hub_->run(client(9, "nine") + client(5, "Zürich") + client(4, "no agent") + mediaAgent(9) + mediaAgent(5, 0) +
              mediaAgent(6) + mediaAgent(-2) + client(-2, "negative"));
    VSDK_MediaAgentList bare;
    EXPECT_EQ(textOf(bare.FetchMediaAgents(false)), "-2|\n5|\n6|\n9|\n");
    VSDK_MediaAgentList full;
    EXPECT_EQ(textOf(full.FetchMediaAgents(true)), "-2|negative\n5|Zürich\n6|\n9|nine\n");
    EXPECT_EQ(lastFailure(), 0);
}

TEST_P(MediaAgents, WithoutARowItIsMadeSureThatThereIsSuchAnAgent) {
    hub_->run(client(1, "hub") + mediaAgent(1) + client(5, "five") + mediaAgent(5) + mediaAgent(6) +
              client(7, "seven"));
    MMHost_t given{};
    given.ClientId = 1; // not looked at
    struct Case {
        int id;
        MMHost_t* row;
        int code;
        const char* name;
        std::uint64_t statements;
    };
    const auto expect = [this](const std::vector<Case>& cases) {
        for (const auto& c : cases) {
            SCOPED_TRACE(c.id);
            VSDK_MediaAgent agent(c.id);
            agent.name = "before";
            statements();
            EXPECT_EQ(agent.FetchProperties(c.row), c.code);
            EXPECT_EQ(statements(), c.statements);
            EXPECT_EQ(agent.name, c.name);
        }
    };
    expect({{5, nullptr, 0, "five", 2},
            {1, nullptr, 0, "hub", 2},
            {5, &given, 0, "five", 1},
            {6, nullptr, 1286, "before", 2}, // an agent without its client
            {6, &given, 1286, "before", 1},
            {7, nullptr, 1286, "before", 1},
            {7, &given, 0, "seven", 1},
            {8, nullptr, 1286, "before", 1}});
    hub_->run(loosened("MMHost") + "UPDATE MMHost SET id = 7 WHERE ClientId = 5");
    expect({{7, nullptr, 0, "seven", 2}, {5, nullptr, 1286, "before", 1}}); // it is asked for by its id
    hub_->run("DROP TABLE MMHost");
    expect({{5, nullptr, 1286, "before", 1}, {5, &given, 0, "five", 1}});
}

TEST_P(StoragePolicies, AListHoldsEveryOneButTheFirst) {
    hub_->run(policy(1, "first"));
    VSDK_StoragePolicyList none;
    EXPECT_EQ(textOf(none.FetchStoragepolicies(true)), "");
    hub_->run(policy(9, "Daten 数据", 3, 4, 5) + policy(2, "", -1, -2, -1));
    VSDK_StoragePolicyList bare;
    EXPECT_EQ(textOf(bare.FetchStoragepolicies(false)), "2||0|0|0\n9||0|0|0\n");
    VSDK_StoragePolicyList full;
    statements();
    EXPECT_EQ(textOf(full.FetchStoragepolicies(true)), "2||-1|-2|4294967295\n9|Daten 数据|3|4|5\n");
    EXPECT_EQ(statements(), 1U);
}

TEST_P(StoragePolicies, PropertiesComeFromTheRowOrFromTheDatabase) {
    hub_->run(policy(1, "first", 2) + policy(9, "nine", 3, 4, 5));
    ArchGroup_t given{};
    dbSetText(given.name, "given");
    given.type = 6;
    given.incrSP = 7;
    given.flags = -8;
    struct Case {
        int id;
        ArchGroup_t* row;
        int code;
        const char* text;
        std::uint64_t statements;
    };
    for (const auto& c : {Case{9, nullptr, 0, "9|nine|3|4|5", 1},
                          {1, nullptr, 0, "1|first|2|0|0", 1},
                          {9, &given, 0, "9|given|6|7|4294967288", 0},
                          {50, &given, 0, "50|given|6|7|4294967288", 0},
                          {50, nullptr, 1287, "50||0|0|0", 1}}) {
        VSDK_StoragePolicy policy(c.id);
        EXPECT_EQ(policy.GetName(), "");
        statements();
        EXPECT_EQ(policy.FetchProperties(c.row), c.code);
        EXPECT_EQ(statements(), c.statements);
        EXPECT_EQ(textOf(policy), c.text);
        EXPECT_EQ(policy.GetName(), policy.name);
    }
    hub_->run("DROP TABLE ArchGroup");
    EXPECT_EQ(VSDK_StoragePolicy(9).FetchProperties(nullptr), 1287);
}

} // namespace
