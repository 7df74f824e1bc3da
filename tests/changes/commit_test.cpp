#include "changes/ChangesTest.h"

namespace {

ENGINE_TEST(Commits, ChangesTest, ::testing::Values(true, false));

TEST_P(Commits, ContentOfFiles) {
    VSDK_Subclient docs = read(11);
    std::vector<std::string> paths{"/new", "/docs"};
    docs.SetContent(&paths);
    docs.SetDataStoragePolicy(9);
    docs.SetIndexStoragePolicy(7);
    docs.setDataReaders(5);
    EXPECT_EQ(docs.Commit(false), 0);
    EXPECT_EQ(docs.commitOutcome, VSDK_Subclient::CommitOutcome::kDone);
    EXPECT_EQ(docs.Commit(false), 1794);
    EXPECT_EQ(docs.commitOutcome, VSDK_Subclient::CommitOutcome::kNone);
}

TEST_P(Commits, ContentOfDatabases) {
    VSDK_Subclient sql = read(12);
    sql.SetSQLContent({{2, "b"}, {7, "c"}, {3, "B"}});
    EXPECT_EQ(sql.Commit(false), 0);
}

} // namespace
