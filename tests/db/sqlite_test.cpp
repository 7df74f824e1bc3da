#include <gmock/gmock.h>

#include <fstream>

#include "db/EngineTest.h"
#include "support/DiskFaults.h"
#include "support/TempDirectory.h"

// What only the embedded engine can meet: its files and its disk.

namespace {

using ::testing::HasSubstr;

class SqliteFiles : public EngineTest {};
INSTANTIATE_TEST_SUITE_P(Engines, SqliteFiles,
                         ::testing::Combine(::testing::Values(&support::makeSqliteHub), ::testing::Values(false)));

TEST_P(SqliteFiles, OnlyAHubDatabaseOfThisVersionIsConnected) {
    const support::TempDirectory directory;
    const std::string path = directory.file("h.db");
    const auto connected = [](const std::string& url, std::string& error) {
        error.clear();
        return HubDatabase::connect(url, error);
    };
    struct Case {
        std::string file; ///< its bytes, or SQL with a "!" before it
        int status;
        const char* words;
    };
    const Case cases[] = {
        {"", kDbNotADatabase, "is not a hub database"},
        {std::string(5000, 'x'), kDbNotADatabase, "not a database"},
        {"!CREATE TABLE t (i)", kDbNotADatabase, "is not a hub database"},
        {"!CREATE TABLE HubSchema (i)", kDbNotADatabase, "is not a hub database"},
        {"!CREATE TABLE HubSchema (version)", kDbNotADatabase, "is not a hub database"},
        {"!CREATE TABLE HubSchema (version); INSERT INTO HubSchema VALUES (999)", kDbNotADatabase,
         "update the library"},
        {"!CREATE TABLE HubSchema (version); INSERT INTO HubSchema VALUES (1)", kDbNotADatabase, "run hubdb upgrade"},
    };
    std::string error;
    EXPECT_EQ(connected("sqlite:" + path, error), kDbFailed);
    EXPECT_THAT(error, HasSubstr(path + ": No such file"));
    EXPECT_FALSE(std::ifstream(path).good()) << "nothing is made";
    EXPECT_EQ(connected("sqlite:" + directory.path(), error), kDbNotADatabase);
    EXPECT_THAT(error, HasSubstr("is a directory"));
    for (const auto& c : cases) {
        SCOPED_TRACE(c.file.substr(0, 80));
        std::ofstream(path, std::ios::trunc) << (c.file[0] == '!' ? "" : c.file);
        const auto made = support::makeSqliteHub();
        if (c.file[0] == '!')
            made->run("DROP TABLE HubSchema; " + c.file.substr(1));
        EXPECT_EQ(connected(c.file[0] == '!' ? made->url() : "sqlite:" + path, error), c.status);
        EXPECT_THAT(error, HasSubstr(c.words));
        EXPECT_EQ(error.find('\n'), std::string::npos);
    }
    EXPECT_EQ(find("nobody"), 100) << "the one that was connected before still is";
}

TEST_P(SqliteFiles, AUrlIsTakenAsItIsMeantOrRefused) {
    const support::TempDirectory directory;
    hub_->run("VACUUM INTO '" + directory.file("a ?&%=ü.db") + "'");
    std::string error;
    EXPECT_EQ(HubDatabase::connect("sqlite:" + directory.path() + "/a %3f&%25=ü.db?pool=3&", error), 0) << error;
    for (const char* options : {"pool=1", "pool=1001", "pool=", "pool", "pool=3x", "pool=-2", "pool= 3", "pool_ms=0",
                                "lock_ms=-1", "lock_ms=99999999999999999999", "statement_ms=1.5", "journal=delete",
                                "key=", "Pool=3", "=", "&", "pool=3&x=1"}) {
        SCOPED_TRACE(options);
        EXPECT_EQ(HubDatabase::connect(hub_->url(options), error), kDbBadStatement);
        EXPECT_THAT(error, HasSubstr("option '"));
    }
    for (const char* url : {"", "sqlite", "sqlite:", "sqlite:?pool=3", "sqlite::memory:", "SQLITE:x", "/x.db",
                            "file:x.db", "sqlite:a%00b"})
        EXPECT_EQ(HubDatabase::connect(url, error), kDbBadStatement) << url;
    for (const char* options : {"journal=truncate", "pool=2&pool_ms=1&lock_ms=1&statement_ms=0&journal=wal&key=/k"})
        EXPECT_EQ(HubDatabase::connect(hub_->url(options), error), 0) << error;
}

TEST_P(SqliteFiles, AFullOrBrokenDiskStoresNothingInPart) {
    const support::DiskFaults disk;
    struct Case {
        support::DiskFault fault;
        int status;
    };
    for (const auto& c : {Case{support::DiskFault::kFull, kDbFull}, Case{support::DiskFault::kBroken, kDbFailed}})
        for (int passes = 0; passes < 3; ++passes) {
            SCOPED_TRACE(passes);
            connect();
            put({"before"});
            support::DiskFaults::setAfter(passes, c.fault);
            ZXGlobalParam big;
            dbSetText(big.getDataPtr()->name, "big");
            dbSetText(big.getDataPtr()->value, std::string(100'000, 'b'));
            EXPECT_EQ(big.rowInsert(true), c.status);
            EXPECT_EQ(big.getErrorStr(c.status), c.status == kDbFull ? "database or disk is full" : "disk I/O error");
            support::DiskFaults::set(support::DiskFault::kNone);
            EXPECT_EQ(insert("after"), 0) << "room again";

            DBtran transaction;
            EXPECT_EQ(transaction.startTran(), 0);
            EXPECT_EQ(insert("first", &transaction), 0);
            support::DiskFaults::setAfter(passes, c.fault);
            ZXGlobalParam second(&transaction);
            *second.getDataPtr() = *big.getDataPtr();
            const int written = second.rowInsert(true); // into memory, or to the disk already
            EXPECT_TRUE(written == 0 || written == c.status);
            EXPECT_EQ(transaction.commitTran(), written == 0 ? c.status : kDbTransactionFailed);
            support::DiskFaults::set(support::DiskFault::kNone);
            EXPECT_EQ(names(), "before after");
            EXPECT_EQ(hub_->ask("PRAGMA integrity_check"), "ok");
            hub_->run("DELETE FROM ZXGlobalParam");
        }
}

TEST_P(SqliteFiles, AnOpenReadDoesNotStopItsThreadFromWritingBesideOthers) {
    put({"a", "b"});
    connect("journal=wal");
    ZXGlobalParam reader;
    int state = 0;
    ASSERT_EQ(getNextRow(&reader, &state, -1, 0), 0);
    put({"of another process"});
    EXPECT_EQ(reader.rowUpdate("created=1"), 0) << reader.getErrorStr(kDbBusy);
    EXPECT_EQ(insert("c"), 0);
    EXPECT_EQ(getNextRow(&reader, &state, -1, 0), 0);
    EXPECT_STREQ(reader.getDataPtr()->name, "b");
}

TEST_P(SqliteFiles, AFileThatCannotBeWrittenIsReadable) {
    put({"a"});
    const support::DiskFaults disk;
    support::DiskFaults::set(support::DiskFault::kReadOnly);
    connect();
    EXPECT_EQ(find("a"), 0);
    EXPECT_EQ(insert("b"), kDbReadOnly);
    DBtran writing;
    EXPECT_EQ(writing.startTran(), 0);
    ZXGlobalParam row(&writing);
    EXPECT_EQ(row.rowInsert(false), kDbReadOnly);
    EXPECT_THAT(row.getErrorStr(kDbReadOnly), HasSubstr("readonly"));
    EXPECT_EQ(writing.commitTran(), kDbTransactionFailed);
    DBtran reading(true);
    EXPECT_EQ(reading.startTran(), 0);
    EXPECT_EQ(find("a", &reading), 0);
    EXPECT_EQ(reading.commitTran(), 0);
}

} // namespace
