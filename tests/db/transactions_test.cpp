#include <gmock/gmock.h>

#include <memory>
#include <stdexcept>

#include "Db/Tbl/ArchPipeConfig.h"
#include "Db/Tbl/JMCheckUserJobVisibilityV2.h"
#include "db/EngineTest.h"

namespace {

using hubdb::FaultPoint;
using ::testing::HasSubstr;

ENGINE_TEST(Transactions, EngineTest, ::testing::Bool());

TEST_P(Transactions, HappenWholeOrNotAtAll) {
    {
        DBtran transaction;
        EXPECT_EQ(transaction.commitTran(), kDbTransactionFailed) << "not begun";
        EXPECT_EQ(transaction.rollbackTran(), kDbTransactionFailed);
        EXPECT_EQ(insert("early", &transaction), kDbTransactionFailed);
        ASSERT_EQ(transaction.startTran(), 0);
        EXPECT_EQ(transaction.startTran(), kDbTransactionFailed) << "begun already, and still open";
        EXPECT_EQ(insert("a", &transaction), 0);
        EXPECT_EQ(find("nobody", &transaction), 100) << "no failure";
        EXPECT_EQ(find("a", &transaction), 0) << "sees its own rows";
        EXPECT_EQ(names(), "");
        EXPECT_EQ(transaction.commitTran(true), 0);
        EXPECT_EQ(names(), "a");
        EXPECT_TRUE(transaction.isOpen()) << "begun again";
        EXPECT_EQ(insert("b", &transaction), 0);
        EXPECT_EQ(transaction.rollbackTran(), 0);
        EXPECT_EQ(find("a", &transaction), kDbTransactionFailed);
        ASSERT_EQ(transaction.startTran(), 0);
        EXPECT_EQ(insert("c", &transaction), 0);
    }
    EXPECT_EQ(names(), "a") << "the destructor rolls back";
    EXPECT_EQ(insert("d"), 0);
}

TEST_P(Transactions, AFailedStatementMakesEverythingFailUntilTheRollback) {
    hub_->run("INSERT INTO ArchPipeConfig (appNumber) VALUES (5)");
    DBtran transaction;
    ASSERT_EQ(transaction.startTran(), 0);
    ASSERT_EQ(insert("a", &transaction), 0);
    ArchPipeConfig twice(&transaction);
    twice.getDataPtr()->appNumber = 5;
    EXPECT_EQ(twice.rowInsert(true), kDbConstraint);
    EXPECT_EQ(find("a", &transaction), kDbTransactionFailed);
    EXPECT_EQ(insert("b", &transaction), kDbTransactionFailed);
    EXPECT_EQ(find("a"), 100) << "outside it life goes on";
    EXPECT_EQ(transaction.commitTran(true), kDbTransactionFailed);
    EXPECT_THAT(transaction.errorWords(), HasSubstr("failed"));
    EXPECT_FALSE(transaction.isOpen());
    ASSERT_EQ(transaction.startTran(), 0);
    EXPECT_EQ(insert("c", &transaction), 0);
    EXPECT_EQ(transaction.commitTran(), 0);
    EXPECT_EQ(names(), "c");
}

TEST_P(Transactions, ARefusedCallFailsThemToo) {
    put({"a"});
    const std::vector<int (*)(ZXGlobalParam&)> refused = {
        [](ZXGlobalParam& row) { return row.rowUpdate("value='%s'", "\xFF"); },
        [](ZXGlobalParam& row) { return row.rowUpdate("created=%d; --", 1); },
        [](ZXGlobalParam& row) {
            row.setWhere("name='%s'", dbText(std::string("a\0b", 3)));
            return getOneRow(&row, false, -1, 0);
        },
        [](ZXGlobalParam& row) {
            dbSetText(row.getDataPtr()->name, std::string(200, 'x'));
            return row.rowInsert(false);
        }};
    for (std::size_t i = 0; i < refused.size(); ++i) {
        SCOPED_TRACE(i);
        DBtran transaction;
        ASSERT_EQ(transaction.startTran(), 0);
        ZXGlobalParam row(&transaction);
        row.setWhere("name='a'");
        EXPECT_EQ(row.rowUpdate("created=1"), 0);
        EXPECT_LT(refused[i](row), 0);
        EXPECT_EQ(transaction.commitTran(), kDbTransactionFailed);
    }
    EXPECT_EQ(hub_->ask("SELECT created FROM ZXGlobalParam"), "NULL");
}

TEST_P(Transactions, AServiceThatRefusesFailsThemAndMayActOnceInEach) {
    DBtran transaction;
    ASSERT_EQ(transaction.startTran(), 0);
    const auto once = [&] { return transaction.once(ZXGlobalParam_t2::kRow, 5); };
    EXPECT_TRUE(once());
    EXPECT_FALSE(once());
    EXPECT_TRUE(transaction.once(ArchPipeConfig_t2::kRow, 5));
    ASSERT_EQ(insert("a", &transaction), 0);
    EXPECT_EQ(transaction.refuse(kDbConstraint, "not with us"), kDbConstraint);
    EXPECT_EQ(insert("b", &transaction), kDbTransactionFailed);
    std::string words;
    EXPECT_EQ(HubDatabase::lastFailure(words), kDbConstraint) << "why, not only that";
    EXPECT_EQ(words, "not with us");
    EXPECT_EQ(transaction.commitTran(), kDbTransactionFailed);
    EXPECT_EQ(names(), "");
    ASSERT_EQ(transaction.startTran(), 0);
    EXPECT_TRUE(once());
    EXPECT_EQ(transaction.commitTran(true), 0);
    EXPECT_TRUE(once());
}

TEST_P(Transactions, AReadDoesNotSeemToEndWhenItsTransactionDoes) {
    put({"a", "b", "c"});
    DBtran transaction;
    ASSERT_EQ(transaction.startTran(), 0);
    ZXGlobalParam failed(&transaction);
    ZXGlobalParam cut(&transaction);
    int failedState = 0;
    int cutState = 0;
    ASSERT_EQ(getNextRow(&failed, &failedState, -1, 0), 0);
    ASSERT_EQ(getNextRow(&cut, &cutState, -1, 0), 0);
    EXPECT_EQ(ZXGlobalParam(&transaction).rowDelete(), kDbBadStatement);
    EXPECT_EQ(getNextRow(&failed, &failedState, -1, 0), kDbTransactionFailed);
    EXPECT_EQ(transaction.rollbackTran(), 0);
    EXPECT_EQ(getNextRow(&cut, &cutState, -1, 0), kDbTransactionFailed);
}

TEST_P(Transactions, AReadOnlyOneTakesNoWritesAndLeavesNothingBehind) {
    ArchPipeConfig row;
    row.getDataPtr()->appNumber = 5;
    ASSERT_EQ(row.rowInsert(true), 0);
    const auto deleteIt = [](bool readOnly) {
        DBtran transaction(readOnly);
        EXPECT_EQ(transaction.startTran(), 0);
        ArchPipeConfig pipe(&transaction);
        EXPECT_EQ(getOneRow(&pipe, false, -1, 0), 0);
        return pipe.rowDelete();
    };
    EXPECT_EQ(deleteIt(false), 0);
    EXPECT_EQ(deleteIt(true), kDbReadOnly);
    const auto before = prepared();
    EXPECT_EQ(deleteIt(false), 0);
    EXPECT_EQ(prepared(), before) << "the refused write must give its statement back";
    DBtran idle(true);
    EXPECT_EQ(idle.startTran(), 0);
    EXPECT_EQ(row.rowDelete(), 0) << "and holds no write lock";
}

TEST_P(Transactions, AnAccessorMayOutliveItsTransaction) {
    put({"a", "b"});
    auto transaction = std::make_unique<DBtran>();
    ASSERT_EQ(transaction->startTran(), 0);
    ZXGlobalParam reader(transaction.get());
    int state = 0;
    ASSERT_EQ(getNextRow(&reader, &state, -1, 0), 0);
    transaction.reset();
    EXPECT_NE(getNextRow(&reader, &state, -1, 0), 0);
    EXPECT_EQ(getOneRow(&reader, false, -1, 0), kDbTransactionFailed);
    EXPECT_EQ(reader.rowInsert(true), kDbTransactionFailed);
    EXPECT_EQ(names(), "a b");
}

class Unwilling : public DBtran {
    void addObject(DBtable*) override { throw std::runtime_error("of the test"); }
};

TEST_P(Transactions, AnAccessorThatCannotRegisterSaysSoAndWorks) {
    support::LogLines log;
    Unwilling transaction;
    ASSERT_EQ(transaction.startTran(), 0);
    {
        ZXGlobalParam writer(&transaction);
        char address[40];
        std::snprintf(address, sizeof address, "[0x%08x]",
                      static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(&writer)));
        EXPECT_THAT(log.taken(),
                    HasSubstr(std::string("ZXGlobalParam Constructor ") + address + ", caught an exception"));
        dbSetText(writer.getDataPtr()->name, "a");
        EXPECT_EQ(writer.rowInsert(true), 0);
        const JMCheckUserJobVisibilityV2 procedure(&transaction);
        EXPECT_THAT(log.taken(), HasSubstr("JMCheckUserJobVisibilityV2.h:"));
    }
    EXPECT_EQ(transaction.commitTran(), 0);
    EXPECT_EQ(names(), "a");
}

TEST_P(Transactions, AThreadDoesNotWaitForItself) {
    if (!hub_->traits().oneWriter)
        return; // it may have two
    DBtran transaction;
    ASSERT_EQ(transaction.startTran(), 0);
    DBtran second;
    EXPECT_EQ(second.startTran(), kDbBusy);
    EXPECT_FALSE(second.isOpen());
    ZXGlobalParam outside;
    EXPECT_EQ(outside.rowInsert(false), kDbBusy);
    EXPECT_THAT(outside.getErrorStr(kDbBusy), HasSubstr("own open transaction"));
    EXPECT_EQ(transaction.rollbackTran(), 0);
    EXPECT_EQ(outside.rowInsert(false), 0);
}

TEST_P(Transactions, WhatALostConnectionLeavesIsTold) {
    struct Case {
        FaultPoint point;
        int fault;
        int begin;
        int write;
        int commit;
        const char* stored;
    };
    const int lost = kDbConnectionLost;
    const Case cases[] = {
        {FaultPoint::kBegin, lost, 0, 0, 0, "a"}, // begun again on another connection: nothing had happened yet
        {FaultPoint::kBegin, kDbBusy, kDbBusy, kDbTransactionFailed, kDbTransactionFailed, ""},
        {FaultPoint::kExecute, lost, 0, lost, kDbTransactionFailed, ""},
        {FaultPoint::kBeforeCommit, lost, 0, 0, lost, ""},
        {FaultPoint::kBeforeCommit, kDbFull, 0, 0, kDbFull, ""},
        {FaultPoint::kAfterCommit, lost, 0, 0, kDbUnknownOutcome, "a"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(::testing::Message() << static_cast<int>(c.point) << ' ' << c.fault);
        hub_->run("DELETE FROM ZXGlobalParam");
        fail(c.point, c.fault);
        DBtran transaction;
        EXPECT_EQ(transaction.startTran(), c.begin);
        EXPECT_EQ(insert("a", &transaction), c.write);
        EXPECT_EQ(transaction.commitTran(), c.commit);
        EXPECT_FALSE(transaction.isOpen());
        EXPECT_EQ(names(), c.stored);
        EXPECT_EQ(transaction.startTran(), 0) << "over in every case";
    }
}

TEST_P(Transactions, ALossBetweenTwoRowsFailsTheTransaction) {
    put({"a", "b"});
    DBtran transaction;
    ASSERT_EQ(transaction.startTran(), 0);
    ASSERT_EQ(insert("c", &transaction), 0);
    fail(FaultPoint::kNextRow, kDbConnectionLost);
    ZXGlobalParam reader(&transaction);
    EXPECT_EQ(readAll(reader), "a -2");
    EXPECT_EQ(find("a", &transaction), kDbTransactionFailed);
    EXPECT_EQ(transaction.commitTran(), kDbTransactionFailed);
    EXPECT_EQ(names(), "a b");
}

} // namespace
