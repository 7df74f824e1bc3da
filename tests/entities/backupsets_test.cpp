#include <array>
#include <memory>
#include <type_traits>

#include "Db/Tbl/APP_Application.h"
#include "entities/EntityTest.h"

namespace {

using namespace estate;

ENGINE_TEST(BackupSets, EntityTest, ::testing::Values(true));

constexpr auto kOnDemand = "On Demand Backupset";

TEST_P(BackupSets, AListHoldsWhatTheSubclientsOfAnInstanceName) {
    hub_->run(backupSet(9, "nine", 3, 77) + backupSet(4, "four") + property("BackupSet", 9, kOnDemand, "1") +
              property("BackupSet", 9, "User Description", "text") + subclient({.id = 1, .backupSet = 9}) +
              subclient({.id = 2, .backupSet = 9}) + subclient({.id = 3, .backupSet = 4}) +
              subclient({.id = 4, .backupSet = 5}) + subclient({.id = 5, .client = 3}) +
              subclient({.id = 6, .appType = 29}) + subclient({.id = 7, .instance = 4}) +
              subclient({.id = 8, .appType = -1}));
    VSDK_BackupsetList bare(2, 33, 5);
    EXPECT_EQ(textOf(bare.FetchBackupsets(false)), "4||0|0|0|\n5||0|0|0|\n9||0|0|0|\n");
    VSDK_BackupsetList full(2, 33, 5);
    EXPECT_EQ(textOf(full.FetchBackupsets(true)), "4|four|0|0|0|\n5||0|0|0|\n9|nine|3|77|1|text\n");
    VSDK_BackupsetList unset(2, -1, 5);
    EXPECT_EQ(textOf(unset.FetchBackupsets(false)), "6||0|0|0|\n");
    for (const auto& [client, appType, instance] : {std::array{50, 33, 5}, {2, 50, 5}, {2, 33, 50}}) {
        VSDK_BackupsetList none(client, appType, instance);
        EXPECT_EQ(textOf(none.FetchBackupsets(true)), "");
    }
    EXPECT_EQ(lastFailure(), 0);
}

TEST_P(BackupSets, PropertiesAreReadWhateverTheRow) {
    constexpr std::int64_t kBeyond = std::int64_t{1} << 32;
    hub_->run(backupSet(1, "Zürich", -1, kBeyond + 5) + backupSet(2, "", 0, kBeyond / 2) + backupSet(3, "3", 0, -1) +
              property("BackupSet", 1, kOnDemand, "1") + property("BackupSet", 2, kOnDemand, "0") +
              property("BackupSet", 3, kOnDemand, std::nullopt) + backupSet(4, "4") +
              property("BackupSet", 4, kOnDemand, "1", 1, 1700000000) + backupSet(5, "5") +
              property("BackupSet", 5, kOnDemand, "0") + property("BackupSet", 5, kOnDemand, "1"));
    APP_Application_t given{};
    given.backupSet = 4;
    for (const auto& [id, text] : {std::pair{1, "1|Zürich|-1|5|1|"},
                                   {2, "2||0|-2147483648|0|"},
                                   {3, "3|3|0|-1|0|"},
                                   {4, "4|4|0|0|0|"},
                                   {5, "5|5|0|0|0|"}})
        for (APP_Application_t* const row : {static_cast<APP_Application_t*>(nullptr), &given}) {
            VSDK_Backupset set(id);
            EXPECT_EQ(set.GetLastModifiedTime(), 0);
            EXPECT_EQ(set.FetchProperties(row), 0);
            EXPECT_EQ(textOf(set), text);
            EXPECT_EQ(set.GetLastModifiedTime(), set.lastModifiedTime);
        }
}

TEST_P(BackupSets, TheDescriptionIsACurrentProperty) {
    for (int id = 5; id < 10; ++id)
        hub_->run(backupSet(id, "name"));
    expectDescriptions("BackupSet", [](int id, const char* before) {
        VSDK_Backupset set(id);
        set.description = before;
        EXPECT_EQ(set.FetchProperties(nullptr), 0);
        return set.description;
    });
}

TEST_P(BackupSets, WhatWasReadBeforeAFailureStays) {
    hub_->run(backupSet(1, "one", 3, 77) + property("BackupSet", 1, kOnDemand, "1"));
    VSDK_Backupset missing(2);
    EXPECT_EQ(missing.FetchProperties(nullptr), 1283);
    EXPECT_EQ(textOf(missing), "2||0|0|0|");
    hub_->run("DROP TABLE APP_BackupSetProp");
    VSDK_Backupset set(1);
    set.onDemand = true;
    set.description = "before";
    EXPECT_EQ(set.FetchProperties(nullptr), 1283);
    EXPECT_EQ(textOf(set), "1|one|3|77|1|before");
    hub_->run("DROP TABLE APP_BackupSetName");
    EXPECT_EQ(VSDK_Backupset(1).FetchProperties(nullptr), 1283);
}

/// Shows what was kept of the properties.
class Watched : public VSDK_Backupset {
  public:
    using VSDK_Backupset::VSDK_Backupset;
    std::string cached() const { return namesOf(cache_); }
    static std::string namesOf(const PropertiesList& list) {
        std::string text;
        for (const auto& property : list)
            text += fieldsText(property->getName(), property->getType(), property->getValue().value_or("NULL")) + " ";
        return text;
    }
};

TEST_P(BackupSets, ASetAnswersForTheApplicationManager) {
    static_assert(std::is_copy_constructible_v<VSDK_Backupset> && std::is_copy_assignable_v<VSDK_Backupset>);
    hub_->run(backupSet(6, "six") + property("BackupSet", 6, "b", "1", 4) + property("BackupSet", 6, "a", {}, 5) +
              property("BackupSet", 6, "old", "1", 4, 99) + property("BackupSet", 7, "other", "1"));
    const auto owner = std::make_unique<Watched>(6);
    Watched& set = *owner;
    EXPECT_EQ(set.initAll(nullptr), 0);
    auto* const properties = dynamic_cast<ApplProperties*>(static_cast<BackupSet*>(owner.get()));
    auto* const callback = dynamic_cast<PropCallBack*>(properties);
    ASSERT_NE(callback, nullptr);

    PropertiesList read;
    EXPECT_EQ(properties->getProperties(read, nullptr), 0);
    EXPECT_EQ(Watched::namesOf(read), "b|4|1 a|5|NULL ");
    EXPECT_EQ(callback->getPropertiesCallback("told", 118, "12", 0), 0);
    EXPECT_EQ(callback->getPropertiesCallback("null", 1, nullptr, 0), 0);
    EXPECT_EQ(callback->getPropertiesCallbackUpdate("later", 1, "2", 0), 0);
    EXPECT_EQ(set.cached(), "b|4|1 a|5|NULL told|118|12 null|1|NULL ");

    set.name = "changed";
    Watched copy = set;
    copy.name = "copy's";
    EXPECT_EQ(copy.getPropertiesCallback("copy's", 1, "", 0), 0);
    EXPECT_EQ(set.name + " " + set.cached(), "changed b|4|1 a|5|NULL told|118|12 null|1|NULL ");
    hub_->run("DROP TABLE APP_BackupSetProp");
    EXPECT_EQ(set.getProperties(read, nullptr), kDbBadStatement);
    EXPECT_EQ(Watched::namesOf(read), "b|4|1 a|5|NULL ");

    struct Counted : VSDK_Backupset {
        explicit Counted(int& gone) : VSDK_Backupset(6), gone_(gone) {}
        ~Counted() override { ++gone_; }
        int& gone_;
    };
    int gone = 0;
    std::unique_ptr<ApplProperties>(new Counted(gone)).reset();
    std::unique_ptr<PropCallBack>(new Counted(gone)).reset();
    std::unique_ptr<BackupSet>(new Counted(gone)).reset();
    EXPECT_EQ(gone, 3);
}

} // namespace
