#include <functional>

#include "Db/Tbl/GetEntitiesIds.h"
#include "Db/Tbl/JMActivityControl.h"
#include "Db/Tbl/JMGetRunningJobSummaryVSDK.h"
#include "Db/Tbl/SimOperatingSystem.h"
#include "Db/Tbl/SprocWrapper.h"
#include "db/EngineTest.h"

namespace {

ENGINE_TEST(Statements, EngineTest, ::testing::Bool());

const std::string kTexts[] = {"it's",
                              "a;b",
                              "' OR '1'='1",
                              "100%",
                              "%s%d%n",
                              "back\\slash",
                              "-- no comment",
                              "?1 $1 :a",
                              "Ωμέγα 日本語 العربية हिन्दी \xF0\x9F\x97\x84",
                              "\x12\x13\x14\x15",
                              "tab\tline\r\nend",
                              "",
                              std::string(1024, 'L')};
const std::string kBrokenTexts[] = {
    "\x80", "cut\xC3", "\xC0\xAF", "\xED\xA0\x80", "\xF4\x90\x80\x80", "eight by\xFFtes", std::string("a\0b", 3)};

TEST_P(Statements, EveryTextIsAPlainValue) {
    hub_->define("getEntitiesIds", "SELECT ?1, 0, 0, 0, ?3");
    for (const auto& text : kTexts) {
        SCOPED_TRACE(text);
        ZXGlobalParam writer;
        dbSetText(writer.getDataPtr()->name, "of the text");
        dbSetText(writer.getDataPtr()->value, text);
        ASSERT_EQ(writer.rowInsert(true), 0);

        ZXGlobalParam reader;
        reader.setWhere("value='%s' and name='of the text'", dbText(text));
        ASSERT_EQ(getOneRow(&reader, false, -1, 0), 0);
        EXPECT_EQ(reader.getDataPtr()->id, writer.getDataPtr()->id);
        EXPECT_EQ(reader.getDataPtr()->value.bytes, text);
        EXPECT_EQ(reader.rowUpdate("value='%s', created=%lld", "gone", 1LL << 40), 0);
        EXPECT_EQ(reader.rowUpdate("value=N'%s'", dbText(text)), 0);
        EXPECT_EQ(getOneRow(&reader, false, -1, 0), 0);
        EXPECT_EQ(reader.getDataPtr()->created, 1LL << 40);

        GetEntitiesIds procedure;
        procedure.setValues(-7, "", dbText(text), "", "");
        ASSERT_EQ(getOneRow(&procedure, false, -1, 0), 0) << procedure.getErrorStr(-6);
        EXPECT_EQ(procedure.getDataPtr()->r_errorString, text);
        EXPECT_EQ(procedure.getDataPtr()->r_clientId, -7);
        EXPECT_EQ(procedure.inputsBound(), DBtable::b_newDBBase.load());
        ASSERT_EQ(reader.rowDelete(), 0);
    }
    const std::string huge(3'000'000, 'h');
    ZXGlobalParam none;
    none.setWhere("value='%s'", huge.c_str());
    EXPECT_EQ(getOneRow(&none, false, -1, 0), 100);
}

TEST_P(Statements, ATextThatIsNotWholeNeverReachesTheEngine) {
    put({"one"});
    hub_->define("getEntitiesIds", "SELECT 1, 0, 0, 0, ''");
    statements();
    for (const auto& text : kBrokenTexts) {
        support::LogLines log;
        ZXGlobalParam reader;
        reader.setWhere("name='%s'", dbText(text));
        EXPECT_NE(log.taken().find("Table ZXGlobalParam: filter"), std::string::npos);
        EXPECT_EQ(getOneRow(&reader, false, -1, 0), kDbBadText);
        EXPECT_EQ(reader.rowDelete(), kDbBadText);
        EXPECT_EQ(reader.rowUpdate("name='x'"), kDbBadText);
        reader.setWhere("id=1");
        EXPECT_EQ(reader.rowUpdate("name='%s'", dbText(text)), kDbBadText);
        GetEntitiesIds procedure;
        procedure.setValues(1, dbText(text), "", "", "");
        EXPECT_EQ(procedure.openCursor(), kDbBadText);
        procedure.setValues(1, "", nullptr, "", "");
        EXPECT_EQ(procedure.openCursor(), kDbBadText);
        EXPECT_EQ(statements(), 0U);
        procedure.setValues(1, "", "", "", "");
        EXPECT_EQ(procedure.openCursor(), 0) << "good inputs make it whole again";
        statements();
    }
    EXPECT_EQ(names(), "one");
}

TEST_P(Statements, AFormThatCannotBeCompiledFailsUntilTheNextOne) {
    put({"one"});
    for (const char* form : {"name=%s",
                             "id=%5d",
                             "id=%f",
                             "id=%x",
                             "id=%hd",
                             "id=%c",
                             "id=%p",
                             "id=%*d",
                             "id=%",
                             "id='%d'",
                             "name='%s '",
                             "name LIKE '%s%%'",
                             "name LIKE '%%%s'",
                             "id=?",
                             "id=1;",
                             "id=1; DROP TABLE ZXGlobalParam",
                             "id=1 -- x",
                             "id=1 /* x */",
                             "name='open",
                             "\"name\"='one'",
                             "`name`='one'"}) {
        SCOPED_TRACE(form);
        support::LogLines log;
        ZXGlobalParam handle;
        handle.setWhere(form, 1);
        EXPECT_NE(log.taken().find(form), std::string::npos);
        statements();
        EXPECT_EQ(getOneRow(&handle, false, -1, 0), kDbBadStatement);
        EXPECT_EQ(readAll(handle), "-6");
        EXPECT_EQ(handle.rowUpdate("name='x'"), kDbBadStatement);
        EXPECT_EQ(handle.rowDelete(), kDbBadStatement);
        EXPECT_NE(handle.getErrorStr(kDbBadStatement).find(form), std::string::npos);
        handle.setWhere("id=%d", 1);
        EXPECT_EQ(handle.rowUpdate(form, 1), kDbBadStatement);
        EXPECT_NE(log.taken().find(form), std::string::npos);
        EXPECT_EQ(statements(), 0U);
        EXPECT_EQ(getOneRow(&handle, false, -1, 0), 0);
    }
    const char* const none = nullptr; // which no compiler's check of formats sees
    ZXGlobalParam row;
    row.setWhere(none);
    EXPECT_EQ(getOneRow(&row, false, -1, 0), kDbBadStatement);
    EXPECT_EQ(row.rowUpdate(none), kDbBadStatement);
    EXPECT_EQ(names(), "one");
}

TEST_P(Statements, FormsMayHoldLiteralsAndEveryIntegerConversion) {
    put({"it''s 100% -- ? ;", "other"});
    const std::function<void(ZXGlobalParam&)> filters[] = {
        [](auto& p) { p.setWhere("id=%d", 1); },
        [](auto& p) { p.setWhere("id=%i and 4294967295=%u", 1, 4294967295U); },
        [](auto& p) { p.setWhere("id=%ld and id=%lu", 1L, 1UL); },
        [](auto& p) { p.setWhere("id=%lld and -9223372036854775807=%lld", 1LL, -9223372036854775807LL); },
        [](auto& p) { p.setWhere("name='it''s 100%% -- ? ;' and id=%d", 1); },
        [](auto& p) { p.setWhere("name = N'%s' and id%%100=%d", "it's 100% -- ? ;", 1); },
        [](auto& p) { p.setWhere("id in (%d,%d,%d,%d,%d,%d,%d,%d,%d,%d)", 9, 8, 7, 6, 5, 4, 3, 1, 10, 11); },
        [](auto& p) { p.setWhere("id=%dAND name='%s'AND 1=1", 1, "it's 100% -- ? ;"); },
    };
    for (std::size_t i = 0; i < std::size(filters); ++i) {
        ZXGlobalParam reader;
        filters[i](reader);
        EXPECT_EQ(readAll(reader), "it's 100% -- ? ; 100") << i << reader.getErrorStr(kDbBadStatement);
    }
}

TEST_P(Statements, ARefusedOrderOrIsolationFailsUntilItIsSetAnew) {
    put({"b", "a"});
    ZXGlobalParam reader;
    EXPECT_EQ(readAll(reader), "b a 100") << "by key";
    reader.setOrderBy("name DESC, id");
    EXPECT_EQ(readAll(reader), "b a 100");
    reader.setOrderBy("name");
    EXPECT_EQ(readAll(reader), "a b 100");
    reader.setIsolationType(5);
    EXPECT_EQ(readAll(reader), "-6");
    reader.setIsolationType(4);
    EXPECT_EQ(readAll(reader), "a b 100");
    reader.setOrderBy("name; DROP TABLE ZXGlobalParam");
    EXPECT_EQ(readAll(reader), "-6");
    reader.setIsolationType(4);
    EXPECT_EQ(readAll(reader), "-6") << "another setting does not make a refused order good";
    reader.setOrderBy(nullptr);
    EXPECT_EQ(readAll(reader), "b a 100");
}

TEST_P(Statements, ReadsMayBeNestedAndChangeWhatTheyIterate) {
    put({"a", "b", "c"});
    std::string seen;
    ZXGlobalParam outer;
    outer.setWhere("id > %d", 0);
    for (int state = 0; getNextRow(&outer, &state, -1, 0) == 0;) {
        ZXGlobalParam inner; // the same form
        inner.setWhere("id > %d", outer.getDataPtr()->id);
        for (int innerState = 0; getNextRow(&inner, &innerState, -1, 0) == 0;)
            (((seen += outer.getDataPtr()->name) += inner.getDataPtr()->name) += std::to_string(find("c"))) += ' ';
        EXPECT_EQ(outer.rowUpdate("modified=%d", outer.getDataPtr()->id), 0);
        EXPECT_EQ(outer.getDataPtr()->id == 2 ? outer.rowDelete() : 0, 0);
    }
    EXPECT_EQ(seen, "ab0 ac0 bc0 ");
    EXPECT_EQ(hub_->ask("SELECT name || modified FROM ZXGlobalParam"), "a1 c3");
}

TEST_P(Statements, AnOpenReadGoesOnWhileThisThreadsTransactionCommits) {
    put({"a", "b", "c"});
    connect("lock_ms=100");
    ZXGlobalParam reader;
    int state = 0;
    ASSERT_EQ(getNextRow(&reader, &state, -1, 0), 0);
    DBtran transaction;
    ASSERT_EQ(transaction.startTran(), 0);
    EXPECT_EQ(insert("d", &transaction), 0);
    ASSERT_EQ(getNextRow(&reader, &state, -1, 0), 0);
    ZXGlobalParam later;
    int laterState = 0;
    EXPECT_EQ(getNextRow(&later, &laterState, -1, 0), 0) << "outside the transaction, begun within it";
    EXPECT_EQ(transaction.commitTran(), 0) << transaction.errorWords();
    EXPECT_EQ(getNextRow(&reader, &state, -1, 0), 0);
    EXPECT_STREQ(reader.getDataPtr()->name, "c");
    EXPECT_EQ(getNextRow(&reader, &state, -1, 0), 100);
    EXPECT_EQ(getNextRow(&later, &laterState, -1, 0), 0);
    EXPECT_EQ(names(), "a b c d");
}

TEST_P(Statements, AreKeptPreparedInABoundedNumber) {
    put({"a", "b"});
    ASSERT_EQ(find("a"), 0);
    const auto before = prepared();
    for (int i = 0; i < 50; ++i)
        ASSERT_EQ(find(i % 2 == 0 ? "a" : "b"), 0);
    EXPECT_EQ(prepared(), before);
    for (int round = 0; round < 2; ++round)
        for (int i = 0; i < 300; ++i) {
            ZXGlobalParam reader;
            reader.setWhere(("id=%d and " + std::to_string(i) + "=%d").c_str(), 1 + i % 2, i);
            ASSERT_EQ(getOneRow(&reader, false, -1, 0), 0) << i;
            EXPECT_EQ(reader.getDataPtr()->id, 1 + i % 2);
        }
    EXPECT_GT(prepared(), before + 300) << "the second round found few of them";
    EXPECT_EQ(find("a"), 0);
    hub_->run("DROP INDEX IF EXISTS ZXGlobalParam_name; ALTER TABLE ZXGlobalParam ADD COLUMN extra INTEGER");
    EXPECT_EQ(find("b"), 0) << "a statement that a change of the schema made stale";
}

TEST_P(Statements, WhatTheDatabaseMustNotHoldIsAFailureOfItsOwnAndNoRow) {
    hub_->run("DROP TABLE JMActivityControl;"
              "CREATE TABLE JMActivityControl (subclientId BIGINT, opType TEXT, enabled BIGINT)");
    for (const std::string row : {"2, '7', 1", "2, NULL, 2147483648", "2, NULL, -2147483649", "4294967297, NULL, 1"}) {
        SCOPED_TRACE(row);
        hub_->run("DELETE FROM JMActivityControl; INSERT INTO JMActivityControl VALUES (1, NULL, -2147483648), (" +
                  row + ")");
        JMActivityControl reader;
        int state = 0;
        ASSERT_EQ(getNextRow(&reader, &state, -1, 0), 0);
        EXPECT_EQ(reader.getDataPtr()->subclientId, 1);
        EXPECT_EQ(getNextRow(&reader, &state, -1, 0), kDbBadValue);
        EXPECT_EQ(reader.getDataPtr()->subclientId, 0) << "nothing of a broken row stays";
        EXPECT_NE(reader.getErrorStr(kDbBadValue).find("JMActivityControl"), std::string::npos);
        EXPECT_EQ(reader.rowDelete(), 100) << "the row before it must not be hit";
        EXPECT_EQ(hub_->ask("SELECT count(*) FROM JMActivityControl"), "2");
    }
}

TEST_P(Statements, ATextTooLongForItsColumnIsCutAtACharacterAndTold) {
    hub_->run("DROP TABLE SimOperatingSystem; CREATE TABLE SimOperatingSystem "
              "(id INTEGER, Name TEXT, Type TEXT, SubType TEXT, Version TEXT, PlatformType INTEGER)");
    const std::string fits(64, 'f');
    hub_->run("INSERT INTO SimOperatingSystem VALUES (1, '" + fits + "', '" + fits + "g', '" + fits.substr(1) +
              "é', '" + fits.substr(2) + "日', 12)");
    support::LogLines log;
    SimOperatingSystem reader;
    ASSERT_EQ(getOneRow(&reader, false, -1, 0), 0);
    EXPECT_EQ(reader.getDataPtr()->Name, fits);
    EXPECT_EQ(reader.getDataPtr()->Type, fits);
    EXPECT_EQ(reader.getDataPtr()->SubType, fits.substr(1));
    EXPECT_EQ(reader.getDataPtr()->Version, fits.substr(2));
    EXPECT_STREQ(reader.getDataPtr()->PlatformType, "12") << "a number is a text, too";
    const std::string lines = log.taken();
    for (const char* column : {".Type:", ".SubType:", ".Version:"})
        EXPECT_NE(lines.find(std::string("SimOperatingSystem") + column), std::string::npos) << lines;
    EXPECT_EQ(lines.find(".Name:"), std::string::npos);
}

TEST_P(Statements, WhatIsMissingIsToldInTheEnginesWords) {
    hub_->run("ALTER TABLE ZXGlobalParam RENAME COLUMN value TO worth");
    ZXGlobalParam reader;
    EXPECT_EQ(getOneRow(&reader, false, -1, 0), kDbBadStatement);
    EXPECT_NE(reader.getErrorStr(kDbBadStatement).find("value"), std::string::npos);
    EXPECT_EQ(reader.getErrorStr(kDbBusy), dbStatusText(kDbBusy)) << "not its last failure";
    hub_->run("DROP TABLE ZXGlobalParam");
    EXPECT_EQ(readAll(reader), "-6");
    EXPECT_TRUE(tell(reader.getErrorStr(kDbBadStatement), "ZXGlobalParam"));
    std::string words;
    EXPECT_EQ(HubDatabase::lastFailure(words), kDbBadStatement);
    EXPECT_EQ(words, reader.getErrorStr(kDbBadStatement));
    JMGetRunningJobSummaryVSDK unknown;
    hub_->define("JMGetRunningJobSummaryVSDK", "");
    unknown.setValues(1, "", "");
    EXPECT_EQ(unknown.openCursor(), kDbBadStatement);
    EXPECT_TRUE(tell(unknown.getErrorStr(kDbBadStatement), "JMGetRunningJobSummaryVSDK"));
}

using Wrapper = SprocWrapper<JMGetRunningJobSummaryVSDK, JMGetRunningJobSummaryVSDK_t>;

TEST_P(Statements, AnXmlCursorGivesTheWholeTextOrNone) {
    const std::string failing = "SELECT '<a>' UNION ALL SELECT " + hub_->failing() + " FROM HubSchema";
    struct Case {
        std::string query;
        bool version11;
        bool declaration;
        int status;
        std::string xml;
    };
    const Case cases[] = {
        {"SELECT '<a>' || ?1 || ?2 UNION ALL SELECT '</a>'", false, false, 0, "<a>5it's</a>"},
        {"SELECT '<a/>'", false, true, 0, "<?xml version='1.0' encoding='utf-8' ?><a/>"},
        {"SELECT '<a/>'", true, true, 0, "<?xml version='1.1' encoding='utf-8' ?><a/>"},
        {"SELECT '' UNION ALL SELECT NULL", true, true, 0, "as it was"},
        {"SELECT 1 WHERE 1 = 0", true, true, 0, "as it was"},
        {"SELECT nothing FROM nowhere", true, true, -1, "as it was"},
        {failing, true, true, -1, "as it was"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.query);
        connect(); // prepares anew
        hub_->define("JMGetRunningJobSummaryVSDK", c.query);
        Wrapper wrapper("JMGetRunningJobSummaryVSDK", nullptr);
        wrapper.getCursor()->setValues(5, "it's", "");
        std::string xml = "as it was";
        std::string error;
        EXPECT_EQ(wrapper.getXMLFromCursor(xml, &error, c.version11, c.declaration), c.status);
        EXPECT_EQ(xml, c.xml);
        EXPECT_EQ(error.empty(), c.status == 0);
        EXPECT_EQ(error, wrapper.lastError());
        EXPECT_EQ(wrapper.getXMLFromCursor(xml, nullptr, c.version11, c.declaration), c.status) << "again";
    }
}

} // namespace
