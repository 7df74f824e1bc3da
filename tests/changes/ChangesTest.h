#pragma once

#include <string>
#include <vector>

#include "entities/EntityTest.h"
#include "entities/VSDKSubclientInfo.h"
#include "system/OVClock.h"

/// Backup set 6 (read at time 77) of instance 5 with subclients 10 "default" and 11 "docs", both of files (33), 12 of
/// databases (4) and 13 of an agent whose content cannot be changed (2); storage policies 7, 8 and 9. It is 1000.
class ChangesTest : public EntityTest {
  protected:
    void SetUp() override {
        EntityTest::SetUp();
        if (IsSkipped())
            return;
        OVClock::set([]() -> std::int64_t { return 1000; });
        using namespace estate;
        hub_->run(backupSet(6, "set", 0, 77) + policy(7, "seven") + policy(8, "eight") + policy(9, "nine") +
                  subclient({.id = 10}) + subclient({.id = 11, .name = "docs"}) +
                  subclient({.id = 12, .appType = 4, .name = "sql"}) +
                  subclient({.id = 13, .appType = 2, .name = "x"}) + entry(10, "/") + entry(11, "/docs") +
                  entry(11, "/more") + entry(11, "/old", 1, 55) + entry(11, "/docs/tmp", 2) +
                  property("SubClient", 11, "User Description", "papers") +
                  property("SubClient", 11, "Number of Data Readers", "2", 2) +
                  property("SubClient", 12, "a", "1", 118) + property("SubClient", 12, "b", "2", 118) +
                  property("SubClient", 12, "m", "x", 111) + "UPDATE APP_Application SET refTime = 500");
    }
    void TearDown() override {
        OVClock::set(nullptr);
        EntityTest::TearDown();
    }

    /// A subclient as it was read, its description staged.
    static VSDK_Subclient read(int id) {
        VSDK_Subclient one(id);
        EXPECT_EQ(one.FetchProperties(nullptr, true), 0);
        one.SetDescription(one.applicationText);
        return one;
    }
    /// All rows that changes could concern.
    std::string state() const {
        return hub_->ask("SELECT id, dataArchGrpID, logArchGrpID, refTime FROM APP_Application ORDER BY id") + "\n" +
               hub_->ask("SELECT id, modified FROM APP_BackupSetName ORDER BY id") + "\n" +
               hub_->ask("SELECT id, componentNameId, type, fileName, created, modified FROM APP_ScFilterFile "
                         "ORDER BY id") +
               "\n" +
               hub_->ask("SELECT id, componentNameId, attrName, attrType, attrVal, created, modified FROM "
                         "APP_SubClientProp ORDER BY id");
    }
};
