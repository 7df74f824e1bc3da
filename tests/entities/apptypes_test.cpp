#include "entities/VSDKAppTypeInfo.h"

#include <cstring>

#include "Db/Tbl/APP_IDAName.h"
#include "Db/Tbl/APP_iDAType.h"
#include "db/EngineTest.h"
#include "system/OVPI_Focus.h"
#include "system/OVSimSystemOS.h"

namespace {

using Row = std::tuple<int, std::string, int>; // appTypeId, name, status

std::vector<Row> rowsOf(const VSDK_AppTypeList& list) {
    std::vector<Row> rows;
    for (const VSDK_AppType* element : list.elements) {
        EXPECT_EQ(element->clientId, list.clientId);
        rows.emplace_back(element->appTypeId, element->name, element->status);
    }
    return rows;
}

int lastFailure() {
    std::string words;
    return HubDatabase::lastFailure(words);
}

class AppTypes : public EngineTest {
  protected:
    void SetUp() override {
        EngineTest::SetUp();
        if (IsSkipped())
            return;
        hub_->run("INSERT INTO APP_iDAType VALUES (33, 'Windows File System'), (29, 'Базы 数据库'), (6, '');"
                  "INSERT INTO APP_IDAName (id, clientId, appTypeId, status) VALUES"
                  "(9, 2, 33, 2147483647), (3, 2, 29, 14), (5, 2, 77, 4), (6, 2, 33, -1), (8, 2, 6, NULL),"
                  "(1, 3, 33, 1), (2, -4, 33, 5);");
    }
    /// Puts a table in the place of another, with other columns and without rules.
    static std::string replaced(const std::string& table, const std::string& columns, const std::string& rows) {
        return "DROP TABLE " + table + "; CREATE TABLE " + table + " (" + columns + "); INSERT INTO " + table + " " +
               rows;
    }
};

INSTANTIATE_TEST_SUITE_P(Engines, AppTypes, ::testing::Combine(everyEngine(), ::testing::Bool()),
                         [](const auto& test) { return engineName(test); });

TEST_P(AppTypes, AListHoldsEveryAgentOfItsClientInTheOrderOfTheRows) {
    statements();
    VSDK_AppTypeList bare(2);
    EXPECT_FALSE(bare.fetched);
    EXPECT_EQ(&bare.FetchAppTypes(false), &bare);
    EXPECT_TRUE(bare.fetched);
    EXPECT_EQ(rowsOf(bare), (std::vector<Row>{{29, "", 0}, {77, "", 0}, {33, "", 0}, {6, "", 0}, {33, "", 0}}));
    EXPECT_EQ(statements(), 1U);

    VSDK_AppTypeList full(2);
    full.FetchAppTypes(true);
    EXPECT_EQ(rowsOf(full), (std::vector<Row>{{29, "Базы 数据库", 14},
                                              {77, "", 0}, // no such type: the status of its row is not taken
                                              {33, "Windows File System", -1},
                                              {6, "", 0},
                                              {33, "Windows File System", 2147483647}}));
    EXPECT_EQ(statements(), 2U) << "the rows, and the names of all five";
    EXPECT_EQ(lastFailure(), 0);
    EXPECT_EQ(static_cast<void*>(&full), static_cast<void*>(&full.elements)) << "the first member";
}

TEST_P(AppTypes, ALongListIsReadWholeWhileItsNamesAreRead) {
    constexpr int kAgents = 700; // more than a server hands over at once
    std::string rows;
    for (int i = 0; i < kAgents; ++i)
        rows +=
            std::string(i == 0 ? "" : ", ") + "(" + std::to_string(100 + i) + ", 12, 29, " + std::to_string(i) + ")";
    hub_->run("INSERT INTO APP_IDAName (id, clientId, appTypeId, status) VALUES " + rows);
    for (const char* options : {"", "pool=2&pool_ms=100"}) {
        connect(options);
        VSDK_AppTypeList list(12);
        ASSERT_EQ(list.FetchAppTypes(true).elements.size(), std::size_t{kAgents});
        for (int i = 0; const Row& row : rowsOf(list))
            EXPECT_EQ(row, Row(29, "Базы 数据库", i++));
        EXPECT_EQ(lastFailure(), 0);
    }
}

TEST_P(AppTypes, AFailedReadEndsTheListAndIsKeptApartFromAnEmptyOne) {
    const std::string begin = "id INTEGER, clientId INTEGER, appTypeId ";
    const std::string rows = "(id, clientId, appTypeId) VALUES ";
    const std::string end = ", status BIGINT, refTime BIGINT, modified BIGINT, ccpId INTEGER, ccpTime BIGINT";
    struct Case {
        std::string damage;
        int clientId;
        std::size_t elements;
        int failure;
    };
    const Case cases[] = {
        {"", 12, 0, 0},
        {"", -4, 1, 0},
        {replaced("APP_IDAName", begin + "INTEGER" + end,
                  rows + "(1, 2, 33), (2, 2, 29), (4, 3, 33); "
                         "UPDATE APP_IDAName SET status = 4294967296 WHERE id = 2"),
         2, 1, kDbBadValue},
        {replaced("APP_IDAName", begin + "TEXT" + end, rows + "(4, 3, '33')"), 3, 0, kDbBadValue},
        {replaced("APP_IDAName", begin + "INTEGER", rows + "(4, 3, 33)"), 3, 0, kDbBadStatement},
        {replaced("APP_IDAName", begin + "INTEGER" + end, rows + "(4, 3, 33)"), 3, 1, 0},
        {replaced("APP_iDAType", "type INTEGER, name INTEGER", "VALUES (33, 12)"), 3, 1, 0},
        {"DROP TABLE APP_iDAType", 3, 1, kDbBadStatement},
        {"DROP TABLE APP_IDAName", 3, 0, kDbBadStatement},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.damage);
        hub_->run(c.damage);
        HubDatabase::clearLastFailure();
        VSDK_AppTypeList list(c.clientId);
        list.FetchAppTypes(true);
        EXPECT_EQ(lastFailure(), c.failure);
        EXPECT_EQ(list.elements.size(), c.elements);
        EXPECT_TRUE(list.fetched);
        statements();
        list.FetchAppTypes(true);
        EXPECT_EQ(statements(), 0U) << "no second try";
    }
    HubDatabase::disconnect();
    VSDK_AppTypeList list(2);
    EXPECT_TRUE(list.FetchAppTypes(true).elements.empty());
    EXPECT_TRUE(list.fetched);
    EXPECT_EQ(lastFailure(), kDbNotConnected);
}

TEST_P(AppTypes, PropertiesComeFromTheRowOrFromTheDatabase) {
    const std::string longest(256, 'n');
    hub_->run(replaced("APP_iDAType", "type INTEGER, name TEXT",
                       "VALUES (33, 'Windows File System'), (29, 'Базы 数据库'), (6, ''), (7, NULL), (8, '" + longest +
                           "')"));
    hub_->run("INSERT INTO APP_IDAName (id, clientId, appTypeId, status) VALUES (20, 2, 8, 3), (21, 2, 7, 9),"
              "(22, 50, 33, 6), (23, 50, 33, 7);");
    APP_IDAName_t given{};
    given.status = 64;
    struct Case {
        int clientId;
        int appTypeId;
        APP_IDAName_t* row;
        int code;
        std::string name;
        int status;
        std::uint64_t statements;
    };
    const Case cases[] = {
        {2, 29, nullptr, 0, "Базы 数据库", 14, 2},
        {2, 29, &given, 0, "Базы 数据库", 64, 1},
        {-4, 33, nullptr, 0, "Windows File System", 5, 2},
        {50, 33, nullptr, 0, "Windows File System", 6, 2}, // of two rows the first
        {2, 8, nullptr, 0, longest, 3, 2},
        {2, 6, nullptr, 0, "", 0, 2}, // status NULL
        {2, 7, nullptr, 0, "", 9, 2}, // name NULL
        {2, 77, nullptr, 1281, "before", 99, 1},
        {2, 77, &given, 1281, "before", 99, 1},
        {4, 33, nullptr, 1281, "Windows File System", 99, 2}, // no such agent, but the name is stored
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::to_string(c.clientId) + " " + std::to_string(c.appTypeId));
        VSDK_AppType agent(c.clientId, c.appTypeId);
        EXPECT_EQ(std::tie(agent.name, agent.status), std::make_tuple("", 0));
        agent.name = "before";
        agent.status = 99;
        statements();
        EXPECT_EQ(agent.FetchProperties(c.row), c.code);
        EXPECT_EQ(statements(), c.statements);
        EXPECT_EQ(std::tie(agent.clientId, agent.appTypeId, agent.name, agent.status),
                  std::tie(c.clientId, c.appTypeId, c.name, c.status));
    }
    EXPECT_EQ(lastFailure(), 0);

    hub_->run("DROP TABLE APP_IDAName");
    VSDK_AppType agent(2, 33);
    EXPECT_EQ(agent.FetchProperties(nullptr), 1281);
    EXPECT_EQ(agent.name, "Windows File System");
    EXPECT_EQ(agent.FetchProperties(&given), 0) << "with a row the table is not read";
    EXPECT_EQ(agent.status, 64);
}

TEST_P(AppTypes, ANameIsWrittenWholeOrNotAtAll) {
    const std::string name = "Базы 数据库";
    const auto fits = static_cast<int>(name.size()) + 1;
    const char* const focus = OVPI_Focus::getFocus();
    struct Case {
        int appTypeId;
        int size;
        const char* focus;
        const char* caller;
        bool found;
    };
    const Case cases[] = {
        {29, 512, focus, focus, true},    {29, fits, focus, focus, true},   {29, fits - 1, focus, focus, false},
        {29, 0, focus, focus, false},     {29, -1, focus, focus, false},    {30, 512, focus, focus, false},
        {29, 512, nullptr, focus, false}, {29, 512, focus, nullptr, false}, {29, 512, "other", "other", false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::to_string(c.size) + (c.focus == nullptr ? "" : c.focus));
        char buffer[600];
        std::memset(buffer, '#', sizeof buffer);
        int size = c.size;
        OVSimSystemOS system;
        EXPECT_FALSE(system.getAppTypeName(c.appTypeId, 2, buffer, &size)) << "without a focus";
        system.setFocus(c.focus, c.caller);
        EXPECT_EQ(system.getAppTypeName(c.appTypeId, 2, buffer, &size), c.found);
        EXPECT_EQ(size, c.found ? fits - 1 : c.size);
        const std::string written = c.found ? name + '\0' : "";
        EXPECT_EQ(std::string(buffer, sizeof buffer), written + std::string(sizeof buffer - written.size(), '#'));
    }
    OVSimSystemOS system;
    system.setFocus(focus, focus);
    int size = 512;
    char buffer[512];
    EXPECT_FALSE(system.getAppTypeName(29, 2, nullptr, &size));
    EXPECT_FALSE(system.getAppTypeName(29, 2, buffer, nullptr));
}

} // namespace
