#include "Db/Tbl/APP_Application.h"
#include "entities/EntityTest.h"

namespace {

using namespace estate;

ENGINE_TEST(Instances, EntityTest, ::testing::Values(true));

TEST_P(Instances, AListHoldsWhatTheSubclientsOfAnAgentName) {
    hub_->run(instance(9, "nine", 3) + instance(4, "four") + instance(70, "of nobody") +
              subclient({.id = 1, .instance = 9}) + subclient({.id = 2, .instance = 9}) +
              subclient({.id = 3, .instance = 4}) + subclient({.id = 4, .instance = 5}) +
              subclient({.id = 5, .instance = 0}) + subclient({.id = 6, .client = 3}) +
              subclient({.id = 7, .appType = 29}) + subclient({.id = 8, .appType = -1, .instance = 6}) +
              subclient({.id = 9, .instance = 7}) + "UPDATE APP_Application SET appTypeId = NULL WHERE id = 9;");
    VSDK_InstanceList bare(2, 33);
    EXPECT_EQ(textOf(bare.FetchInstances(false)), "2|33|0|||||0|\n2|33|4|||||0|\n2|33|5|||||0|\n2|33|9|||||0|\n");
    VSDK_InstanceList full(2, 33);
    EXPECT_EQ(textOf(full.FetchInstances(true)), "2|33|0|||||0|\n2|33|4|four||||0|\n2|33|5|||||0|\n2|33|9|nine||||3|\n")
        << "those without a row of their own are listed, too";
    VSDK_InstanceList unset(2, -1);
    EXPECT_EQ(textOf(unset.FetchInstances(false)), "2|-1|6|||||0|\n2|-1|7|||||0|\n");
    for (const auto& [client, appType] : {std::pair{50, 33}, {2, 50}, {-1, -1}}) {
        VSDK_InstanceList none(client, appType);
        EXPECT_EQ(textOf(none.FetchInstances(true)), "");
    }
    EXPECT_EQ(lastFailure(), 0);
}

TEST_P(Instances, TheCommandLinesSubclientGivesTheStoragePolicies) {
    constexpr auto kName = "(command line)";
    hub_->run(policy(7, "Daten 数据") + policy(8, "log") + instance(5, "five", 3) + instance(6, "six") +
              instance(10, "ten") + instance(11, "eleven") + instance(12, "twelve") + instance(13, "thirteen"));
    for (const int appType : {2, 22, 23, 80, 33, 81})
        hub_->run(subclient({.id = appType * 10 + 0, .appType = appType, .name = kName}) +
                  subclient({.id = appType * 10 + 1, .appType = appType, .name = "(command line) 2", .instance = 6}) +
                  subclient({.id = appType * 10 + 2, .appType = appType, .name = kName, .client = 3, .instance = 6}));
    hub_->run(subclient({.id = 1, .appType = 2, .name = kName, .instance = 10, .dataPolicy = 99}) +
              subclient({.id = 2, .appType = 2, .name = kName, .instance = 11, .logPolicy = 99}) +
              subclient({.id = 3, .appType = 2, .name = kName, .instance = 12, .dataPolicy = 0}) +
              subclient({.id = 4, .appType = 2, .name = kName, .instance = 13, .logPolicy = 0}) +
              property("Instance", 10, "User Description", "ten"));
    APP_Application_t given{};
    given.dataArchGrpID = 7;
    struct Case {
        int appType;
        int instance;
        APP_Application_t* row;
        int code;
        std::string rest; ///< behind the ids
    };
    const std::string both = "five|log|Daten 数据||3|";
    for (const auto& c : {Case{2, 5, nullptr, 0, both},
                          {22, 5, nullptr, 0, both},
                          {23, 5, nullptr, 0, both},
                          {80, 5, nullptr, 0, both},
                          {33, 5, nullptr, 0, "five||||3|"},
                          {81, 5, nullptr, 0, "five||||3|"},
                          {2, 5, &given, 0, "five||||3|"}, // the row is not read, but counts
                          {2, 6, nullptr, 0, "six||||0|"},
                          {2, 10, nullptr, 1282, "ten||||0|"}, // not even the description
                          {2, 11, nullptr, 1282, "eleven||Daten 数据||0|"},
                          {2, 12, nullptr, 0, "twelve|log|||0|"},
                          {2, 13, nullptr, 0, "thirteen||Daten 数据||0|"},
                          {2, 50, nullptr, 1282, "||||0|"}}) {
        SCOPED_TRACE(c.rest);
        VSDK_Instance instance(2, c.appType, c.instance);
        EXPECT_EQ(instance.FetchProperties(c.row), c.code);
        EXPECT_EQ(textOf(instance), fieldsText(2, c.appType, c.instance, c.rest));
    }
    EXPECT_EQ(lastFailure(), 0);
    // A failing read is not a missing row.
    for (const auto& [table, rest] :
         {std::pair{"APP_InstanceProp", both}, {"ArchGroup", "five||||3|"}, {"APP_Application", "||||0|"}}) {
        hub_->run(std::string("DROP TABLE ") + table);
        VSDK_Instance instance(2, 2, 5);
        EXPECT_EQ(instance.FetchProperties(nullptr), 1282) << table;
        EXPECT_EQ(textOf(instance), fieldsText(2, 2, 5, rest)) << table;
    }
}

TEST_P(Instances, SomeAgentsNamesAreCutAtTheSeparator) {
    hub_->run(instance(5, "front\022rest\022more"));
    for (const auto& [appType, name] : {std::pair{6, "front"}, {90, "front"}, {8, "front\022rest\022more"}}) {
        VSDK_Instance instance(2, appType, 5);
        EXPECT_EQ(instance.FetchProperties(nullptr), 0);
        EXPECT_EQ(instance.name, name);
    }
}

TEST_P(Instances, TheDescriptionIsACurrentProperty) {
    for (int id = 5; id < 10; ++id)
        hub_->run(instance(id, "name"));
    expectDescriptions("Instance", [](int id, const char* before) {
        VSDK_Instance instance(2, 33, id);
        instance.description = before;
        EXPECT_EQ(instance.FetchProperties(nullptr), 0);
        return instance.description;
    });
}

} // namespace
