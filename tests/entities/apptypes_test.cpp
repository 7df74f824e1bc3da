#include "entities/VSDKAppTypeInfo.h"

#include <cstring>

#include "Db/Tbl/APP_IDAName.h"
#include "entities/EntityTest.h"
#include "system/OVPI_Focus.h"
#include "system/OVSimSystemOS.h"

namespace {

class AppTypes : public EntityTest {
  protected:
    void SetUp() override {
        EntityTest::SetUp();
        if (IsSkipped())
            return;
        hub_->run("INSERT INTO APP_iDAType VALUES (33, 'Windows File System'), (29, 'Базы 数据库'), (6, '');"
                  "INSERT INTO APP_IDAName (id, clientId, appTypeId, status) VALUES"
                  "(9, 2, 33, 2147483647), (3, 2, 29, 14), (5, 2, 77, 4), (6, 2, 33, -1), (8, 2, 6, NULL),"
                  "(1, 3, 33, 1), (2, -4, 33, 5);");
    }
};
INSTANTIATE_TEST_SUITE_P(Engines, AppTypes, ::testing::Combine(everyEngine(), ::testing::Bool()), &engineName);

TEST_P(AppTypes, AListHoldsEveryAgentOfItsClientInTheOrderOfTheRows) {
    VSDK_AppTypeList bare(2);
    EXPECT_EQ(textOf(bare.FetchAppTypes(false)), "2|29||0\n2|77||0\n2|33||0\n2|6||0\n2|33||0\n");
    statements();
    VSDK_AppTypeList full(2);
    EXPECT_EQ(textOf(full.FetchAppTypes(true)), "2|29|Базы 数据库|14\n"
                                                "2|77||0\n" // no such type: the status of its row is not taken
                                                "2|33|Windows File System|-1\n"
                                                "2|6||0\n"
                                                "2|33|Windows File System|2147483647\n");
    EXPECT_EQ(statements(), 2U) << "the rows, and the names of all five";
    VSDK_AppTypeList negative(-4);
    EXPECT_EQ(textOf(negative.FetchAppTypes(true)), "-4|33|Windows File System|5\n");
    VSDK_AppTypeList none(12);
    EXPECT_EQ(textOf(none.FetchAppTypes(true)), "");
    EXPECT_EQ(lastFailure(), 0);
}

TEST_P(AppTypes, PropertiesComeFromTheRowOrFromTheDatabase) {
    const std::string longest(256, 'n');
    hub_->run(estate::loosened("APP_iDAType") + "INSERT INTO APP_iDAType VALUES (8, '" + longest +
              "'), (7, NULL); INSERT INTO APP_IDAName (id, clientId, appTypeId, status) VALUES (20, 2, 8, 3),"
              "(21, 2, 7, 9), (22, 50, 33, 6), (23, 50, 33, 7);");
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
        SCOPED_TRACE(fieldsText(c.clientId, c.appTypeId));
        VSDK_AppType agent(c.clientId, c.appTypeId);
        EXPECT_EQ(textOf(agent), fieldsText(c.clientId, c.appTypeId, "", 0));
        agent.name = "before";
        agent.status = 99;
        statements();
        EXPECT_EQ(agent.FetchProperties(c.row), c.code);
        EXPECT_EQ(statements(), c.statements);
        EXPECT_EQ(textOf(agent), fieldsText(c.clientId, c.appTypeId, c.name, c.status));
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
