#pragma once

#include <algorithm>
#include <functional>
#include <list>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "entities/EntityTest.h"
#include "entities/VSDKSubclientInfo.h"
#include "system/OVClock.h"

using Outcome = VSDK_Subclient::CommitOutcome;
using Paths = std::vector<std::string>;
using Stage = std::function<void(VSDK_Subclient&)>;

/// Backup set 6 (read at time 77) of instance 5 with subclients 10 "default" and 11 "docs", both of files (33), 12 of
/// databases (4) and 13 of an agent whose content cannot be changed (2); storage policies 7, 8 and 9. It is 1000.
class ChangesTest : public EntityTest {
  protected:
    // What stages a change. One that stages paths keeps them.
    static Stage all(std::vector<Stage> stages) {
        return [stages](auto& one) { std::ranges::for_each(stages, [&one](const Stage& it) { it(one); }); };
    }
    static Stage files(Paths content) {
        return [kept = std::make_shared<Paths>(content)](auto& one) { one.SetContent(kept.get()); };
    }
    template <class Value> static Stage with(void (VSDK_Subclient::*setter)(Value), Value value) {
        return [=](auto& one) { (one.*setter)(value); };
    }
    static Stage databases(std::list<_VSDK_SQLContent> all) { return with(&VSDK_Subclient::SetSQLContent, all); }
    static Stage dataPolicy(int id) { return with(&VSDK_Subclient::SetDataStoragePolicy, id); }
    static Stage indexPolicy(int id) { return with(&VSDK_Subclient::SetIndexStoragePolicy, id); }
    static Stage description(std::string text) { return with(&VSDK_Subclient::SetDescription, text); }
    static Stage readers(int number) { return with(&VSDK_Subclient::setDataReaders, number); }

    void SetUp() override {
        EntityTest::SetUp();
        if (IsSkipped())
            return;
        OVClock::set([]() -> std::int64_t { return 1000; });
        using namespace estate;
        hub_->run(policy(7, "seven") + policy(8, "eight") + policy(9, "nine"));
        reset();
    }
    void TearDown() override {
        OVClock::set(nullptr);
        EntityTest::TearDown();
    }

    /// Puts the rows that changes could concern as they are described above.
    void reset() const {
        using namespace estate;
        std::string sql;
        for (const char* const table :
             {"APP_Application", "APP_BackupSetName", "APP_ScFilterFile", "APP_SubClientProp"})
            sql += "DELETE FROM " + std::string(table) + ";\n";
        hub_->run(sql + backupSet(6, "set", 0, 77) + subclient({.id = 10}) + subclient({.id = 11, .name = "docs"}) +
                  subclient({.id = 12, .appType = 4, .name = "sql"}) +
                  subclient({.id = 13, .appType = 2, .name = "x"}) + entry(10, "/") + entry(11, "/docs") +
                  entry(11, "/more") + entry(11, "/old", 1, 55) + entry(11, "/docs/tmp", 2) +
                  property("SubClient", 11, "User Description", "papers") +
                  property("SubClient", 11, "Number of Data Readers", "2", 2) +
                  property("SubClient", 12, "a", "1", 118) + property("SubClient", 12, "b", "2", 118) +
                  property("SubClient", 12, "m", "x", 111) + "UPDATE APP_Application SET refTime = 500");
    }

    /// A subclient as it was read, its description staged.
    static VSDK_Subclient read(int id) {
        VSDK_Subclient one(id);
        EXPECT_EQ(one.FetchProperties(nullptr, true), 0);
        one.SetDescription(one.applicationText);
        return one;
    }
    /// One that has passed its checks, with these changes staged.
    static VSDK_Subclient staged(int id, const Stage& stage) {
        VSDK_Subclient one = read(id);
        EXPECT_EQ(one.CanICommit(), 0);
        stage(one);
        return one;
    }

    /// All rows that changes could concern: a letter for the table and the id, :, and the columns.
    std::vector<std::string> state() const {
        std::vector<std::string> rows;
        for (const char* const query :
             {"'S' || id || ':', id, dataArchGrpID, logArchGrpID, refTime FROM APP_Application",
              "'B' || id || ':', id, modified FROM APP_BackupSetName",
              "'F' || id || ':', componentNameId, type, fileName, created, modified FROM "
              "APP_ScFilterFile",
              "'P' || id || ':', componentNameId, replace(attrName, ' ', '_'), attrType, "
              "attrVal, created, modified FROM APP_SubClientProp"}) {
            std::istringstream found(hub_->ask("SELECT " + std::string(query) + " ORDER BY id"));
            for (std::string row; found >> row;)
                rows.push_back(row);
        }
        return rows;
    }
    /// What has become of these rows: those that say something else now, the new ones behind a +, and those that are
    /// gone behind a -; each without its number and with a blank behind it.
    std::string changesOf(const std::vector<std::string>& before) const {
        const auto idOf = [](const std::string& row) { return row.substr(0, row.find(':') + 1); };
        const auto shown = [](const std::string& row) { return row.substr(0, 1) + row.substr(row.find(':')) + ' '; };
        const auto now = state();
        std::string text;
        for (const auto& row : now)
            if (std::ranges::find(before, row) == before.end())
                text += (std::ranges::find(before, idOf(row), idOf) == before.end() ? "+" : "") + shown(row);
        for (const auto& row : before)
            if (std::ranges::find(now, idOf(row), idOf) == now.end())
                text += "-" + shown(row);
        return text;
    }
};
