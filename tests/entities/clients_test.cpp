#include "Db/Tbl/APP_Client.h"
#include "entities/EntityTest.h"

namespace {

using namespace estate;

ENGINE_TEST(Clients, EntityTest, ::testing::Values(true));

TEST_P(Clients, AListHoldsEveryClientButTheFirstWhoseSystemIsKnown) {
    hub_->run(system(1, "Linux") + system(2, "") + client(1, "hub"));
    VSDK_ClientList none;
    EXPECT_EQ(textOf(none.FetchClients(true)), "");

    hub_->run(client(9, "nine", 2, -1, 2147483647) + client(3, "Zürich-東京", 1, 4, 11) + client(4, "no system", 77) +
              client(5, "", 1) + "UPDATE APP_Client SET simOperatingSystemId = NULL WHERE id = 5;" +
              client(-6, "negative") + "UPDATE APP_Client SET status = NULL WHERE id = -6;");
    VSDK_ClientList bare;
    EXPECT_EQ(textOf(bare.FetchClients(false)), "-6||0||0|0\n3||0||0|0\n9||0||0|0\n");
    VSDK_ClientList full;
    statements();
    EXPECT_EQ(textOf(full.FetchClients(true)),
              "-6|negative|1|Linux|0|0\n3|Zürich-東京|1|Linux|4|11\n9|nine|2||-1|2147483647\n");
    EXPECT_EQ(statements(), 1U);
}

TEST_P(Clients, PropertiesComeFromTheRowOrFromTheDatabase) {
    hub_->run(system(1, "Linux") + system(2, "AIX") + client(3, "Zürich-東京", 1, 4, 11) + client(4, "none", 77, 5, 6));
    APP_Client_t known{};
    dbSetText(known.name, "given");
    known.id = 3;
    known.simOperatingSystemId = 2;
    known.status = 8;
    known.releaseId = -9;
    APP_Client_t unknown = known;
    unknown.simOperatingSystemId = 77;
    struct Case {
        int id;
        APP_Client_t* row;
        int code;
        const char* text;
        std::uint64_t statements;
    };
    for (const auto& c : {Case{3, nullptr, 0, "3|Zürich-東京|1|Linux|4|11", 2},
                          {50, nullptr, 1280, "50||0||0|0", 1},
                          {4, nullptr, 1280, "4|none|77||5|6", 2},
                          {50, &known, 0, "50|given|2|AIX|8|-9", 1},
                          {3, &unknown, 1280, "3|given|77||8|-9", 1}}) {
        SCOPED_TRACE(c.text);
        VSDK_Client client(c.id);
        statements();
        EXPECT_EQ(c.row == nullptr ? client.FetchProperties(nullptr) : client.FetchProperties(c.row), c.code);
        EXPECT_EQ(statements(), c.statements);
        EXPECT_EQ(textOf(client), c.text);
    }
    EXPECT_EQ(lastFailure(), 0);

    hub_->run("DROP TABLE SimOperatingSystem");
    VSDK_Client client(3);
    EXPECT_EQ(client.FetchProperties(nullptr), 1280) << "the same code for either table";
    EXPECT_EQ(textOf(client), "3|Zürich-東京|1||4|11");
}

TEST_P(Clients, TheTypeOfTheSystemOrTheDatabasesOwnStatus) {
    hub_->run(system(1, "Linux", "Unix") + system(2, "Plan 9", "") + client(3, "three") + client(4, "four", 2) +
              client(5, "no system", 77) + client(1, "hub"));
    for (const auto& [id, type] : {std::pair{3, "Unix"}, {4, ""}, {5, ""}, {1, "Unix"}, {50, ""}}) {
        std::string osType = "before";
        EXPECT_EQ(VSDK_Client(id).FetchOsType(osType), 0) << id;
        EXPECT_EQ(osType, type) << id;
    }
    std::string osType = "before";
    fail(hubdb::FaultPoint::kExecute, kDbBusy, 1, "simGetOSType");
    EXPECT_EQ(VSDK_Client(3).FetchOsType(osType), kDbBusy);
    hub_->run("DROP TABLE SimOperatingSystem");
    EXPECT_EQ(VSDK_Client(3).FetchOsType(osType), kDbBadStatement);
    HubDatabase::disconnect();
    EXPECT_EQ(VSDK_Client(3).FetchOsType(osType), kDbNotConnected);
    EXPECT_EQ(osType, "before");
}

} // namespace
