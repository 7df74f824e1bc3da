#include <array>
#include <vector>

#include "Db/Tbl/APP_Application.h"
#include "entities/EntityTest.h"

namespace {

using namespace estate;

/// Subclients of instance 5 and backup set 6, whose storage policy is 7, all of which are there.
class Subclients : public EntityTest {
  protected:
    void SetUp() override {
        EntityTest::SetUp();
        if (!IsSkipped())
            hub_->run(backupSet(6, "set", 0, 77) + policy(7, "Daten 数据"));
    }
    /// Puts a subclient and what belongs to it, and reads it.
    VSDK_Subclient read(const SubclientRow& one, const std::string& more = "", int code = 0) const {
        hub_->run(subclient(one) + more);
        VSDK_Subclient found(one.id);
        EXPECT_EQ(found.FetchProperties(nullptr, false), code);
        return found;
    }
    /// The same for one with a number of its own, which `more` is given.
    template <class More> VSDK_Subclient readNext(int appType, More more) {
        ++id_;
        return read({.id = id_, .appType = appType}, more(id_));
    }

  private:
    int id_ = 100;
};
INSTANTIATE_TEST_SUITE_P(Engines, Subclients, ::testing::Combine(everyEngine(), ::testing::Values(true)), &engineName);

TEST_P(Subclients, AllPropertiesOfOne) {
    const VSDK_Subclient none(9);
    EXPECT_EQ(textOf(none), "0|9||0|0|||0|0|0|0|0|0||0");
    VSDK_Subclient one = read({.id = 9, .status = 8, .name = "/var 数据"},
                              entry(9, "/var") + entry(9, "/опт") + transfer(9, 3, 2) +
                                  property("SubClient", 9, "Number of Data Readers", "4") +
                                  property("SubClient", 9, "User Description", "Text 数") +
                                  property("SubClient", 9, "Subclient Policy", "4294967297") +
                                  property("SubClient", 9, "Number of Data Readers", "5", 1, 99) +
                                  property("SubClient", 8, "Subclient Policy", "12"));
    EXPECT_EQ(textOf(one), "33|9|/var 数据|8|77|Daten 数据|/var;/опт;|3|2|513|4|7|8|Text 数|4294967297");
    EXPECT_EQ(one.GetSubclientId(), 9);
    EXPECT_EQ(one.GetName(), "/var 数据");
    EXPECT_EQ(one.GetStatus(), 8);
    EXPECT_EQ(&one.GetContent(), &one.content);
    EXPECT_EQ(one.ReplaceSpecialChars("a\x12"), "a\x12");
    one.appTypeId = 65;
    EXPECT_EQ(one.ReplaceSpecialChars("a\x12"), "a>");
    EXPECT_EQ(textOf(read({.id = 10})), "33|10|default|0|77|Daten 数据||0|0|513|0|7|8||0") << "none is a failure";
    EXPECT_EQ(lastFailure(), 0);
}

/// Every way in which separators are treated, in content (1), an exclude (2), an exception to it (3) and no entry (0).
TEST_P(Subclients, ContentOfFileSystemsAsItIsAndOfOthersTranslated) {
    // Octal, since the letters behind a separator could be digits of a hexadecimal one.
    const std::string raw = "a\022b\023c\025d\016e";
    const auto entries = [&raw](int id) {
        return entry(id, raw) + entry(id, "no", 0) + entry(id, "no", -1) + entry(id, "old", 1, 99) + entry(id, {}) +
               entry(id, "x", 2) + entry(id, "y", 3) + entry(id, "");
    };
    const auto expect = [&](int appType, const std::string& content) {
        SCOPED_TRACE(appType);
        const VSDK_Subclient one = readNext(appType, entries);
        EXPECT_EQ(one.appTypeId, appType);
        EXPECT_EQ(contentOf(one), content);
    };
    for (const int appType : {1, 11, 12, 13, 17, 18, 19, 20, 21, 29, 33, 34, 36, 38, 42, 43, 63, 64, 74, 86, 88, -1})
        expect(appType, raw + ";;");
    for (const auto& [appTypes, a, b, c, end] :
         {std::tuple{std::vector{2, 4, 0, -2, 289}, "\x12", "\x13", "\x15", "\016e"},
          {std::vector{6, 90, 8, 82, 15}, "<-->", "\x13", "\x15", "\016e"},
          {std::vector{46, 89}, "\x12", "/", "\x15", ""},
          {std::vector{25, 40}, "\x12", "\x13", "-->", "\016e"},
          {std::vector{65, 87}, ">", "-->", "|", "\016e"}})
        for (const int appType : appTypes)
            expect(appType, std::string("a") + a + "b" + b + "c" + c + "d" + end + ";x;y;;");

    hub_->run(subclient({.id = 1}) + entries(1) + "UPDATE APP_Application SET appTypeId = NULL WHERE id = 1");
    VSDK_Subclient unset(1);
    EXPECT_EQ(unset.FetchProperties(nullptr, false), 0);
    EXPECT_EQ(unset.appTypeId, -1);
    EXPECT_EQ(contentOf(unset), raw + ";;");
}

TEST_P(Subclients, DatabasesOfSqlAgents) {
    const auto databases = [](int id) {
        const auto database = [id](const char* name, const std::optional<std::string>& number, int type = 118,
                                   int modified = 0) {
            return property("SubClient", id, name, number, type, modified);
        };
        return database("b", "12abc") + database("a", {}) + database("", "none") + database("n", "-5") +
               database("other", "1", 117) + database("old", "1", 118, 99);
    };
    for (const int appType : {4, 16, 70, 81}) {
        EXPECT_EQ(contentOf(readNext(appType, databases)), "b=12;a=0;=0;n=-5;");
        EXPECT_EQ(contentOf(readNext(appType, [](int id) { return entry(id, "filter", 2); })), "filter;");
    }
    for (const int appType : {5, 33, 8})
        EXPECT_EQ(contentOf(readNext(appType, databases)), "");
}

TEST_P(Subclients, MailboxesAndMailDatabases) {
    const auto properties = [](int id) {
        return property("SubClient", id, "m", "Ann\x12/o=x\x12/cn=ann", 111) +
               property("SubClient", id, "d", "First Group\x12Store 数", 112) +
               property("SubClient", id, "m", {}, 111) + property("SubClient", id, "d", {}, 112) +
               property("SubClient", id, "m", "a\022b\022c\022d", 111) + property("SubClient", id, "d", "only", 112) +
               property("SubClient", id, "x", "a\022b", 113) + property("SubClient", id, "x", "12", 118) +
               property("SubClient", id, "old", "a\022b\022c", 111, 99) + entry(id, "f\x12g");
    };
    for (const int appType : {9, 15, 53})
        EXPECT_EQ(contentOf(readNext(appType, properties)), "f<-->g;First Group\\Store 数;\\;only\\;");
    for (const int appType : {8, 14, 35, 44, 45, 54, 55, 56, 57, 67, 68, 82})
        EXPECT_EQ(contentOf(readNext(appType, properties)), "f<-->g;Ann\022/o=x\022/cn=ann;\022\022;a\022b\022c;");
    EXPECT_EQ(contentOf(readNext(8, [](int) { return ""; })), "");
}

TEST_P(Subclients, AnEntryIsCutAtACharacterBefore1024Bytes) {
    const std::string a = std::string(1000, 'a') + '\x12' + std::string(19, 'b') + '\x12'; // 1,021 bytes
    for (const auto& [end, kept] :
         {std::pair{"cc", "cc"}, {"ccc", "cc"}, {"é", "é"}, {"cé", "c"}, {"数", ""}, {"cccccccccccccccc", "cc"}})
        EXPECT_EQ(
            contentOf(readNext(8, [text = a + end](int id) { return property("SubClient", id, "m", text, 111); })),
            a + kept + ";");
    const std::string store(1100, 's');
    EXPECT_EQ(contentOf(readNext(9, [&](int id) { return property("SubClient", id, "d", "d\x12" + store, 112); })),
              "d\\" + store.substr(0, 1021) + ";");
}

TEST_P(Subclients, WithoutTheOthersOnesThatAreLeftOutAreReadUpToTheirStatus) {
    for (const int status : {0, 1, 2, 3, 4, 6, 8, 0x102, -1}) {
        SCOPED_TRACE(status);
        const int id = 100 + status;
        hub_->run(subclient({.id = id, .status = status, .name = "name"}) + entry(id, "/a") + transfer(id, 1, 1));
        const std::string ids = "33|" + std::to_string(id) + "|name|" + std::to_string(status);
        const std::string rest = "|77|Daten 数据|/a;|1|1|513|0|7|8||0";
        const bool out = (status & 6) != 0;
        VSDK_Subclient one(id);
        EXPECT_EQ(one.FetchProperties(nullptr, false), 0);
        EXPECT_EQ(textOf(one), ids + (out ? "|0|||0|0|0|0|0|0||0" : rest));
        VSDK_Subclient all(id);
        EXPECT_EQ(all.FetchProperties(nullptr, true), 0);
        EXPECT_EQ(textOf(all), ids + rest);
    }
    const auto listed = [](bool properties, bool all) {
        std::string text;
        VSDK_SubclientList list(2, 33, 5, 6);
        for (VSDK_Subclient* one : list.FetchSubclients(properties, all).elements)
            text += std::to_string(one->GetSubclientId()) + (one->content.empty() ? " " : "c ");
        return text;
    };
    EXPECT_EQ(listed(false, false), "99 100 101 102 103 104 106 108 358 ");
    EXPECT_EQ(listed(false, true), "99 100 101 102 103 104 106 108 358 ");
    EXPECT_EQ(listed(true, false), "100c 101c 108c ");
    EXPECT_EQ(listed(true, true), "99c 100c 101c 102c 103c 104c 106c 108c 358c ");
}

TEST_P(Subclients, AListHoldsTheSubclientsOfOneBackupSet) {
    hub_->run(subclient({.id = 9}) + subclient({.id = 3, .name = "other"}) + subclient({.id = 4, .client = 3}) +
              subclient({.id = 5, .appType = 29}) + subclient({.id = 6, .instance = 6}) +
              subclient({.id = 7, .backupSet = 7}) + subclient({.id = 10, .appType = -1}) + subclient({.id = 11}) +
              "UPDATE APP_Application SET appTypeId = NULL WHERE id = 11");
    VSDK_SubclientList list(2, 33, 5, 6);
    EXPECT_EQ(textOf(list.FetchSubclients(true, false)), "33|3|other|0|77|Daten 数据||0|0|513|0|7|8||0\n"
                                                         "33|9|default|0|77|Daten 数据||0|0|513|0|7|8||0\n");
    VSDK_SubclientList unset(2, -1, 5, 6);
    EXPECT_EQ(textOf(unset.FetchSubclients(false, false)), "0|10||0|0|||0|0|0|0|0|0||0\n0|11||0|0|||0|0|0|0|0|0||0\n");
    for (const auto& [client, appType, instance, set] :
         {std::array{50, 33, 5, 6}, {2, 50, 5, 6}, {2, 33, 50, 6}, {2, 33, 5, 50}}) {
        VSDK_SubclientList none(client, appType, instance, set);
        EXPECT_EQ(textOf(none.FetchSubclients(true, true)), "");
    }
}

TEST_P(Subclients, TheRowGivenSparesTheOwn) {
    hub_->run(subclient({.id = 9, .name = "stored"}) + backupSet(66, "other", 0, 66) + policy(77, "other"));
    APP_Application_t given{};
    given.id = 5;
    given.appTypeId = 8;
    dbSetText(given.subclientName, "given");
    given.subclientStatus = 1;
    given.backupSet = 66;
    given.dataArchGrpID = 77;
    given.logArchGrpID = 88;
    VSDK_Subclient one(9);
    EXPECT_EQ(one.FetchProperties(&given, false), 0);
    EXPECT_EQ(textOf(one), "33|9|stored|1|66|other||0|0|513|0|7|8||0");
    given.subclientStatus = 2;
    VSDK_Subclient out(9);
    EXPECT_EQ(out.FetchProperties(&given, false), 0);
    EXPECT_EQ(textOf(out), "33|9|stored|2|0|||0|0|0|0|0|0||0");
}

TEST_P(Subclients, AFailureIsToldAndKeepsWhatWasRead) {
    APP_Application_t given{};
    support::LogLines lines;
    VSDK_Subclient missing(9);
    EXPECT_EQ(missing.FetchProperties(nullptr, true), 1284);
    EXPECT_EQ(lines.taken(), "FetchProperties Get subclient info failed.\n");
    EXPECT_EQ(missing.FetchProperties(&given, true), 1284);
    EXPECT_EQ(lines.taken(), "FetchProperties Subclient pointer is NULL\n");
    EXPECT_EQ(textOf(missing), "0|9||0|0|||0|0|0|0|0|0||0");

    const std::string nothingElse = "||0|0|0|0|0|0||0";
    EXPECT_EQ(textOf(read({.id = 1, .status = 1, .name = "one", .backupSet = 60}, entry(1, "/a"), 1284)),
              "33|1|one|1|0|" + nothingElse);
    EXPECT_EQ(textOf(read({.id = 2, .status = 1, .name = "two", .dataPolicy = 70}, entry(2, "/a"), 1284)),
              "33|2|two|1|77|" + nothingElse);
    EXPECT_EQ(lines.taken(), "") << "these are told by their code alone";

    const std::string more = entry(3, "/a") + transfer(3, 1, 2) + entry(4, "/a") + transfer(4, 1, 2);
    hub_->run(more + "DROP TABLE APP_SubClientProp");
    EXPECT_EQ(textOf(read({.id = 3, .appType = 8}, "", 1284)), "8|3|default|0|77|Daten 数据|/a;|1|2|513|0|7|8||0");
    EXPECT_EQ(textOf(read({.id = 4})), "33|4|default|0|77|Daten 数据|/a;|1|2|513|0|7|8||0") << "has its content";
    hub_->run("DROP TABLE APP_Application");
    lines.taken();
    EXPECT_EQ(VSDK_Subclient(4).FetchProperties(&given, true), 1284);
    EXPECT_TRUE(lines.taken().ends_with("FetchProperties Subclient pointer is NULL\n"));
    EXPECT_EQ(VSDK_Subclient(4).FetchProperties(nullptr, true), 1284);
    EXPECT_TRUE(lines.taken().ends_with("FetchProperties Get subclient info failed.\n"));
}

TEST_P(Subclients, TheLastTransferSettingsCount) {
    hub_->run(loosened("ArchPipeConfig") + transfer(9, 1, 2) + transfer(8, 7, 7) + transfer(9, 3, 0));
    const VSDK_Subclient one = read({.id = 9});
    EXPECT_EQ(fieldsText(one.numNWAgents, one.compressWhere), "3|0");
}

TEST_P(Subclients, WhatIsNotForbiddenIsEnabled) {
    using Rows = std::vector<std::pair<int, int>>; // operation, enabled
    const auto flags = [this](const Rows& rows) {
        return readNext(33,
                        [&](int id) {
                            std::string sql = activity(id + 1000, 4, 0);
                            for (const auto& [operation, enabled] : rows)
                                sql += activity(id, operation, enabled);
                            return sql;
                        })
            .activityFlags;
    };
    EXPECT_EQ(flags({}), 0x201U);
    EXPECT_EQ(flags({{4, 0}}), 0x200U);
    EXPECT_EQ(flags({{57, 0}}), 0x1U);
    EXPECT_EQ(flags({{4, 0}, {57, 0}}), 0U);
    EXPECT_EQ(flags({{4, 1}, {57, 0}}), 0x1U);
    EXPECT_EQ(flags({{4, 0}, {57, 2}}), 0x200U);
    EXPECT_EQ(flags({{5, 0}}), 0x201U);
    hub_->run("DROP TABLE JMActivityControl");
    EXPECT_EQ(read({.id = 1}).activityFlags, 0U) << "what nobody can tell is not enabled, and no failure";
}

} // namespace
