#include <gtest/gtest.h>

#include <algorithm>
#include <latch>
#include <thread>
#include <type_traits>
#include <vector>

#include "rows/AllRows.h"

namespace {

template <class Accessor> class Descriptors : public ::testing::Test {};
TYPED_TEST_SUITE(Descriptors, AllAccessors, AccessorNames);

TYPED_TEST(Descriptors, AnswerWhatTheDeclarationSays) {
    using Descriptor = typename DescriptorOf<TypeParam>::Type;
    const OVDBRowDeclaration& declared = Descriptor::kRow;
    Descriptor descriptor;
    std::string stored = declared.typeDescriptor;
    std::replace(stored.begin(), stored.end(), 'x', 'b');
    EXPECT_EQ(descriptor.getStructDef(), stored);
    EXPECT_EQ(descriptor.getTableName(), declared.object);
    EXPECT_EQ(descriptor.getHeaderType(), static_cast<int>(declared.kind));

    std::string list;
    std::string letters;
    int serial = -1;
    std::size_t references = 0;
    for (int i = 0; const auto& column : declared.columns) {
        EXPECT_STREQ(descriptor.getColumnName_t2(i), column.name);
        list += (i == 0 ? "" : ", ") + descriptor.getColumnName(i);
        auto* value = descriptor.getData().at(static_cast<std::size_t>(i));
        EXPECT_TRUE(value->null);
        const int type = value->getDataType();
        letters += type == 1 ? 'i' : type == 4 ? 'b' : 's';
        if (column.isSerial)
            serial = i;
        if (column.referencedTable != nullptr) {
            ++references;
            EXPECT_EQ(descriptor.searchForeignKey(column.name), column.referencedTable);
            EXPECT_EQ(descriptor.getForeignKeyMap().at(column.referencedTable).at(column.name),
                      column.referencedColumn);
        }
        ++i;
    }
    EXPECT_EQ(list, declared.columnList);
    EXPECT_STREQ(descriptor.getColumnName_t2(static_cast<int>(declared.columns.size())), "");
    EXPECT_STREQ(descriptor.getColumnName_t2(-1), "");
    EXPECT_EQ(descriptor.getSerialColNum(), serial);
    EXPECT_EQ(descriptor.searchForeignKey("noSuchColumn"), "");
    std::size_t mapped = 0;
    for (const auto& [table, columns] : descriptor.getForeignKeyMap())
        mapped += columns.size();
    EXPECT_EQ(mapped, references);
    std::string expected;
    for (std::size_t at = 0; at < stored.size(); at = stored.find('|', at) + 1)
        expected += stored[at] == 'u' ? 's' : stored[at];
    EXPECT_EQ(letters, expected) << "the kinds of the typed values";
}

TYPED_TEST(Descriptors, NameTheirPrimaryKey) {
    using Descriptor = typename DescriptorOf<TypeParam>::Type;
    Descriptor descriptor;
    const auto keys = descriptor.getPrimaryData();
    if (Descriptor::kRow.kind != OVDBObjectKind::kTable) {
        EXPECT_EQ(descriptor.getPrimaryWhere(), "");
        EXPECT_TRUE(keys.empty());
        return;
    }
    std::string where = std::string(Descriptor::kColumns[0].name) + " = ?";
    if (keys.size() == 2)
        where += std::string("AND ") + Descriptor::kRow.keys[1]->name + " = ?";
    EXPECT_EQ(descriptor.getPrimaryWhere(), where);
    EXPECT_EQ(keys.at(0), descriptor.getData().at(0));
}

TEST(PublishedTexts, StayAsTheyArePublished) {
    EXPECT_STREQ(APP_IDAName_t2::kRow.columnList, "id, clientId, appTypeId, status, refTime, modified, ccpId, ccpTime");
    APP_IDAName_t2 agent;
    EXPECT_STREQ(APP_IDAName_t2::kRow.typeDescriptor, "i|i|i|i|x|x|i|x|");
    EXPECT_EQ(agent.getStructDef(), "i|i|i|i|b|b|i|b|");
    EXPECT_EQ(agent.getPrimaryWhere(), "id = ?");
    EXPECT_EQ(agent.getForeignKeyMap(), (OVDBRowBase::ForeignKeyMap{{"APP_iDAType", {{"appTypeId", "type"}}},
                                                                    {"APP_Client", {{"clientId", "id"}}}}));
    JMJobInfo_t2 job;
    EXPECT_EQ(job.getPrimaryWhere(), "jobId = ?AND hubCellId = ?");
    EXPECT_STREQ(JMJobInfo_t2::kRow.typeDescriptor,
                 "i|i|i|i|i|i|i|i|i|i|i|i|i|i|i|s|s|i|i|i|i|i|s|i|s257|i|i|i|i|i|i|i|s|s|s|i|i|i|i|s|i|i|b|i|i|i|i|i|"
                 "s257|s|b|u|i|s|s|i|s4097|i|");
    EXPECT_STREQ(UMVSDKSessions_t2::kRow.typeDescriptor, "i|i|s65|i|s511|s401|x|x|i|s401|s256|s256|i|i|i|i|s4097|i|");
    EXPECT_EQ(SimGetOSType_t2().getTableName(), "simGetOSType");
    EXPECT_EQ(Sec_VSDKMaintenance_t2().getTableName(), "sec_VSDKMaintenance");
}

TEST(PublishedTexts, ProceduresCarryTheirSignatures) {
    EXPECT_STREQ(SimGetOSType().signature(), "00010005008800020000");
    EXPECT_STREQ(GetEntitiesIds().signature(), "00010008020800010000");
    EXPECT_STREQ(JMCheckUserJobVisibilityV2().signature(), "00010001000200030000");
    EXPECT_STREQ(JMGetRunningJobSummaryVSDK().signature(), "00010005000200090000");
    EXPECT_STREQ(Sec_VSDKMaintenance().signature(), "");
    EXPECT_EQ(SimGetOSType().description(), "Procedure SimGetOSType");
    EXPECT_EQ(GetClientAndOSInfo().description(), "Cursor GetClientAndOSInfo");
    EXPECT_EQ(APP_IDAName().description(), "Table APP_IDAName");
}

/// A row of this test alone, so that its class data are not filled yet.
struct Fresh_t {
    std::int32_t first;
    std::int64_t second;
    char third[20];
};
class Fresh_t2 : public OVDBRow<Fresh_t2> {
  public:
    using Row = Fresh_t;
    static constexpr std::array kColumns{COLUMN(Row, first).key(), COLUMN(Row, second).time(),
                                         COLUMN(Row, third).refersTo("APP_Client")};
    static constexpr OVDBRowDeclaration kRow = ovdbTable<Row, kColumns>("Fresh", "1");
};
class FreshAccessor : public TableAccessor<Fresh_t2> {
  public:
    using TableAccessor::TableAccessor;
};

TEST(ClassData, AreFilledOnceByManyThreadsAtOnce) {
    DBtable::b_newDBBase = true;
    std::latch start(8);
    std::vector<std::thread> threads;
    threads.reserve(8);
    for (int i = 0; i < 8; ++i)
        threads.emplace_back([&] {
            start.arrive_and_wait();
            for (int n = 0; n < 100; ++n) {
                const FreshAccessor accessor;
                Fresh_t2 descriptor;
                EXPECT_EQ(descriptor.getStructDef(), "i|b|s20|");
                EXPECT_STREQ(descriptor.getColumnName_t2(2), "third");
            }
        });
    for (auto& thread : threads)
        thread.join();
    DBtable::b_newDBBase = false;
    EXPECT_EQ(Fresh_t2::m_staticColumnVec, (std::vector<std::string>{"first", "second", "third"}));
    EXPECT_EQ(Fresh_t2().getSerialColNum(), -1) << "it has no serial column";
}

// ---- what must not build

struct Sample {
    std::int64_t wide;
    std::int32_t narrow;
    char text[4];
};
struct Padded { // the forgotten member fits where padding would be
    std::int64_t wide;
    std::int32_t narrow;
    std::int32_t forgotten;
};
struct Owning {
    std::int32_t narrow;
    OVDBText text;
};
constexpr std::array kWhole{COLUMN(Sample, wide), COLUMN(Sample, narrow), COLUMN(Sample, text)};
static_assert(ovdb::describes<Sample>(kWhole));
static_assert(ovdb::describes<Owning>(std::array{COLUMN(Owning, narrow), COLUMN(Owning, text)}));
static_assert(!ovdb::describes<Sample>(std::array{COLUMN(Sample, wide), COLUMN(Sample, narrow)}), "forgotten");
static_assert(!ovdb::describes<Padded>(std::array{COLUMN(Padded, wide), COLUMN(Padded, narrow)}), "in padding");
static_assert(!ovdb::describes<Owning>(std::array{COLUMN(Owning, narrow)}), "forgotten text that owns its bytes");
static_assert(!ovdb::describes<Sample>(std::array{COLUMN(Sample, wide), COLUMN(Sample, text)}), "in the middle");
static_assert(!ovdb::describes<Sample>(std::array{COLUMN(Sample, narrow), COLUMN(Sample, wide), COLUMN(Sample, text)}),
              "swapped");
static_assert(!ovdb::describes<Sample>(std::array{COLUMN(Sample, wide), COLUMN(Sample, wide), COLUMN(Sample, narrow),
                                                  COLUMN(Sample, text)}),
              "repeated");
static_assert(!ovdb::describes<Sample>(std::array{COLUMN(Sample, wide), COLUMN(Sample, wide), COLUMN(Sample, text)}),
              "repeated in the place of another");

template <class Member>
concept isColumnType = requires {
    OVDBKindOf<Member>::kKind;
};
static_assert(isColumnType<std::int32_t> && isColumnType<std::int64_t> && isColumnType<char[1]>);
static_assert(!isColumnType<short> && !isColumnType<unsigned> && !isColumnType<bool> && !isColumnType<double> &&
              !isColumnType<char*> && !isColumnType<std::string> && !isColumnType<std::int32_t[2]> &&
              !isColumnType<char>);

constexpr std::array kTextKey{COLUMN(Sample, wide), COLUMN(Sample, narrow), COLUMN(Sample, text).key()};
constexpr std::array kThreeKeys{COLUMN(Sample, wide).key(), COLUMN(Sample, narrow).key(), COLUMN(Sample, wide).key()};
static_assert(ovdb::keysFit(kWhole) && !ovdb::keysFit(kTextKey) && !ovdb::keysFit(kThreeKeys));

} // namespace
