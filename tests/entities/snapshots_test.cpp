#include <cstdlib>

#include "entities/EntityTest.h"

namespace {

using namespace estate;

/// In a time zone of its own.
class Snapshots : public EntityTest {
  protected:
    void SetUp() override {
        setenv("TZ", "XYZ-1", 1);
        EntityTest::SetUp();
    }
    void TearDown() override {
        EntityTest::TearDown();
        unsetenv("TZ");
    }
};
INSTANTIATE_TEST_SUITE_P(Engines, Snapshots, ::testing::Combine(everyEngine(), ::testing::Values(true)), &engineName);

constexpr auto kMessage = "Failed to fetch volume snap information. Please check VSDK log for more details.";

TEST_P(Snapshots, TheVolumesOfAJob) {
    constexpr std::int64_t kBeyond = std::int64_t{1} << 32;
    hub_->run(client(1, "hub") + client(3, "Zürich") + volume(9, 5, 1700000000, 59, 3) + volume(2, 5, 0, 58, 1) +
              volume(3, 5, -5, 0, 77) + volume(4, 5, kBeyond + 86400, 60, -3) + volume(5, 5, kBeyond - 1, 59, 0) +
              volume(6, 6, 1, 59, 3) + volume(7, 5, 1, 59, 3, 8) +
              row("SMVolume", "SMVolumeId, jobId, hubCellId", 10, 5, 2));
    VSDK_SnapsList list(5, 77);
    int code = -1;
    std::string words = "before";
    EXPECT_EQ(&list.FetchSnapshots(2, code, words), &list);
    EXPECT_EQ(code, 0);
    EXPECT_EQ(words, "before");
    const std::string found = "2|/data2|now|No|hub|/mnt2||0\n"
                              "3|/data3|Sun Feb  7 07:28:11 2106|No||/mnt3||-5\n"
                              "4|/data4|Fri Jan  2 01:00:00 1970|No||/mnt4||86400\n"
                              "5|/data5|Sun Feb  7 07:28:15 2106|Yes||/mnt5||-1\n"
                              "9|/data9|Tue Nov 14 23:13:20 2023|Yes|Zürich|/mnt9||1700000000\n"
                              "10||now|No||||0\n";
    EXPECT_EQ(textOf(list), found);
    EXPECT_FALSE(list.fetched);
    EXPECT_EQ(textOf(list.FetchSnapshots(2, code, words)), found + found);
    EXPECT_EQ(textOf(list.FetchSnapshots(9, code, words)), found + found) << "no volumes there";
    EXPECT_EQ(code, 0) << "nothing found is no failure";

    list.fetched = true;
    code = -1;
    statements();
    EXPECT_EQ(list.FetchSnapshots(2, code, words).elements.size(), 12U);
    EXPECT_EQ(code, 0);
    EXPECT_EQ(statements(), 0U);
    EXPECT_EQ(textOf(VSDK_Snapshot()), "0||||||"
                                       "|0");
}

TEST_P(Snapshots, AFailureIsToldInTheInterfacesWordsOrTheCatalogues) {
    hub_->run(volume(1, 5, 0, 59, 3) + volume(2, 0, 0) + volume(3, -5, 0) + client(3, "three"));
    int code = 0;
    std::string words;
    for (const int job : {0, -5}) {
        VSDK_SnapsList list(job, 0);
        EXPECT_TRUE(list.FetchSnapshots(2, code, words).elements.empty());
        EXPECT_EQ(code, 326);
        EXPECT_EQ(words, kMessage);
    }
    VSDK_SnapsList list(5, 0);
    hub_->run("ALTER TABLE APP_Client RENAME TO Elsewhere");
    EXPECT_EQ(textOf(list.FetchSnapshots(2, code, words)), "1|/data1|now|Yes||/mnt1||0\n") << "its host is not known";
    EXPECT_EQ(code, 0);
    hub_->run("DROP TABLE SMVolume");
    EXPECT_EQ(list.FetchSnapshots(2, code, words).elements.size(), 1U);
    EXPECT_EQ(code, kDbBadStatement);
    EXPECT_TRUE(tell(words, "SMVolume")) << words;
    HubDatabase::disconnect();
    EXPECT_EQ(list.FetchSnapshots(2, code, words).elements.size(), 1U);
    EXPECT_EQ(code, kDbNotConnected);
    EXPECT_NE(words, "");
    EXPECT_FALSE(list.fetched);
}

} // namespace
