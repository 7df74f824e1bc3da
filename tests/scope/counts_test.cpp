#include <map>

#include "Db/Tbl/MMHost.h"
#include "scope/ScopeTest.h"

namespace {

ENGINE_TEST(ScopedCounts, ScopeTest, ::testing::Values(true));

TEST_P(ScopedCounts, GrowByASetOfEachKindForEachChunk) {
    struct Count {
        std::uint64_t first = 0; ///< statements of a list of one chunk
        std::uint64_t more = 0;  ///< and for each further one
    };
    std::map<std::string, Count> counts;
    constexpr int kChunk = static_cast<int>(hubdb::ReadScope::kChunk);
    constexpr int kHosts = static_cast<int>((1U << 20U) / sizeof(MMHost_t)); // by their size
    for (int had = 0; const int n : {10, kHosts + 1, 512, 513, 1024, 1025, 5000}) {
        hub_->run("BEGIN;" + rowsOf(had + 1, n) + "COMMIT;");
        had = n;
        for (const auto& kind : listsOfRows()) {
            SCOPED_TRACE(kind.name + " of " + std::to_string(n));
            const Outcome sets = outcome(kind.read);
            const bool hosts = kind.name == "media agents";
            const int chunk = hosts ? kHosts : kChunk;
            const int length = hosts ? n - 1 : n; // without the one of client 1
            const auto chunks = static_cast<std::uint64_t>((length + chunk - 1) / chunk);
            auto& [first, more] = counts[kind.name];
            if (first == 0)
                first = sets.statements;
            else if (more == 0 && chunks > 1)
                more = (sets.statements - first) / (chunks - 1);
            EXPECT_EQ(sets.statements, first + (chunks - 1) * more);
            EXPECT_LT(sets.statements, 20 * chunks);
            EXPECT_GE(std::ranges::count(sets.text, '\n'), length);
            if (n <= 513) {
                const Outcome singles = single(kind.read);
                expectSame(sets, singles);
                EXPECT_GT(singles.statements, static_cast<std::uint64_t>(length));
                EXPECT_LE(sets.rows, 2 * singles.rows);
            }
        }
    }
}

} // namespace
