#include "Db/Tbl/ArchPipeConfig.h"
#include "Db/Tbl/JMJobInfo.h"
#include "Db/Tbl/UMVSDKSessions.h"
#include "db/EngineTest.h"

namespace {

ENGINE_TEST(Writes, EngineTest, ::testing::Bool());

TEST_P(Writes, HitTheRowThatWasReadElseWhatTheFilterNames) {
    put({"a", "b", "c"});
    ZXGlobalParam handle;
    EXPECT_EQ(handle.rowUpdate("name='x'"), kDbBadStatement) << "neither row nor filter";
    EXPECT_EQ(handle.rowDelete(), kDbBadStatement);
    handle.setWhere("id > %d", 1);
    EXPECT_EQ(handle.rowUpdate("modified=%d", 5), 0) << "every matching row";
    EXPECT_EQ(hub_->ask("SELECT modified FROM ZXGlobalParam"), "NULL 5 5");
    ASSERT_EQ(getOneRow(&handle, false, -1, 0), 0);
    handle.getDataPtr()->id = 3;
    EXPECT_EQ(handle.rowUpdate("name='%s'", "B"), 0) << "the row that was read, whatever the buffer says now";
    EXPECT_EQ(names(), "a B c");
    EXPECT_EQ(handle.rowDelete(), 0);
    EXPECT_EQ(handle.rowDelete(), 100);
    EXPECT_EQ(handle.rowUpdate("name='x'"), 100);
    EXPECT_EQ(names(), "a c");
    handle.setWhere("id > %d", 0);
    EXPECT_EQ(readAll(handle), "a c 100");
    EXPECT_EQ(handle.rowDelete(), 100) << "past the rows";
    handle.setWhere("name='%s'", "nobody");
    EXPECT_EQ(getOneRow(&handle, false, -1, 0), 100);
    EXPECT_EQ(handle.rowDelete(), 100);
    handle.setWhere("id=%d", 77);
    EXPECT_EQ(handle.rowUpdate("name='x'"), 100);
    ASSERT_EQ(find("a"), 0);
    handle.setWhere("id > %d", 0);
    EXPECT_EQ(handle.rowDelete(), 0) << "setWhere forgets the row";
    EXPECT_EQ(names(), "");
}

TEST_P(Writes, GoByEveryColumnOfTheKey) {
    hub_->run("INSERT INTO JMJobInfo (jobId, hubCellId, initFrom) VALUES (1, 1, 0), (1, 2, 0), (2, 2, 0)");
    JMJobInfo job;
    job.setWhere("jobId=%d and hubCellId=%d", 1, 2);
    ASSERT_EQ(getOneRow(&job, false, -1, 0), 0);
    EXPECT_EQ(job.rowUpdate("initFrom=%d", 9), 0);
    EXPECT_EQ(hub_->ask("SELECT initFrom FROM JMJobInfo ORDER BY jobId, hubCellId"), "0 9 0");
    EXPECT_EQ(job.rowDelete(), 0);
    EXPECT_EQ(hub_->ask("SELECT jobId || '.' || hubCellId FROM JMJobInfo ORDER BY 1"), "1.1 2.2");
}

TEST_P(Writes, AnInsertSendsTheBufferButNotWhatTheDatabaseGives) {
    UMVSDKSessions session;
    auto& row = *session.getDataPtr();
    row.id = 4711;
    row.loginType = 4711;
    dbSetText(row.GUID, "mine");
    dbSetText(row.location, "mine");
    dbSetText(row.userName, "Ω");
    ASSERT_EQ(session.rowInsert(true), 0);
    EXPECT_EQ(row.id, 1);
    EXPECT_EQ(hub_->ask("SELECT length(GUID) || '-' || location || '-' || loginType || '-' || userName || '-' || "
                        "password || '-' || hostName FROM UMVSDKSessions"),
              "64--0-Ω--");
    EXPECT_EQ(session.rowUpdate("userName='%s'", "inserted"), 0) << "the inserted row is the current one";
    EXPECT_EQ(session.rowInsert(false), 0);
    EXPECT_EQ(row.id, 1) << "not asked for";
    EXPECT_EQ(session.rowDelete(), 100) << "nobody knows which row it is";
    EXPECT_EQ(hub_->ask("SELECT count(DISTINCT GUID) FROM UMVSDKSessions"), "2");
}

TEST_P(Writes, AColumnIsSentAsNullWhenItsIndicatorSaysSoAndItIsEmpty) {
    short indicators[5] = {0, 0, -1, -1, -1};
    ZXGlobalParam writer;
    writer.setExtIndicatorArray(indicators);
    dbSetText(writer.getDataPtr()->name, "n");
    writer.getDataPtr()->modified = 3;
    ASSERT_EQ(writer.rowInsert(true), 0);
    EXPECT_EQ(hub_->ask("SELECT created FROM ZXGlobalParam"), "NULL");
    EXPECT_EQ(hub_->ask("SELECT modified FROM ZXGlobalParam"), "3");
    EXPECT_EQ(hub_->ask("SELECT value FROM ZXGlobalParam"), "NULL") << "a text that owns its bytes too";
}

TEST_P(Writes, AFailedWriteStoresNothingAndSaysWhy) {
    ArchPipeConfig pipe;
    pipe.getDataPtr()->appNumber = 5;
    ASSERT_EQ(pipe.rowInsert(true), 0);
    ArchPipeConfig again;
    again.getDataPtr()->appNumber = 5;
    EXPECT_EQ(again.rowInsert(true), kDbConstraint);
    EXPECT_TRUE(tell(again.getErrorStr(kDbConstraint), "ArchPipeConfig"));
    EXPECT_EQ(again.rowDelete(), kDbBadStatement) << "no row was made current";

    put({"a", "b"});
    ZXGlobalParam all;
    all.setWhere("id > 0");
    EXPECT_EQ(all.rowUpdate("id=%d", 9), kDbConstraint) << "the second row hits the first";
    EXPECT_EQ(all.rowUpdate("name='%s'", std::string(129, 'x').c_str()), kDbBadText) << "wider than its column";
    EXPECT_EQ(all.rowUpdate("created='%s'", "no number"), kDbBadValue);
    EXPECT_EQ(all.rowUpdate("id=%lld", 1LL << 40), kDbBadValue);
    EXPECT_EQ(all.rowUpdate("noSuchColumn=%d", 9), kDbBadStatement);
    EXPECT_EQ(names(), "a b");
    EXPECT_EQ(hub_->ask("SELECT id FROM ZXGlobalParam"), "1 2");
}

} // namespace
