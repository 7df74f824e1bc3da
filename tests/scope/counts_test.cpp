#include "Db/Tbl/MMHost.h"
#include "scope/ScopeTest.h"

namespace {

SCOPE_TEST(ScopedCounts, ::testing::Values(true));

TEST_P(ScopedCounts, GrowByASetOfEachKindForEachChunk) {
    struct Kind {
        const char* name;
        Reads read;
        int chunk;
        std::uint64_t first = 0; ///< statements of a list of one chunk
        std::uint64_t more = 0;  ///< and for each further one
    };
    constexpr int kChunk = static_cast<int>(hubdb::ReadScope::kChunk);
    constexpr int kHosts = static_cast<int>((1U << 20U) / sizeof(MMHost_t)); // by their size
    Kind kinds[] = {{"agents", [] { return agents(1); }, kChunk},
                    {"instances", [] { return instances(1, 22); }, kChunk},
                    {"backup sets", [] { return backupSets(1, 34, 1); }, kChunk},
                    {"subclients", [] { return subclients(1, 33, 1, 1); }, kChunk},
                    {"those not left out", [] { return subclients(1, 33, 1, 1, false); }, kChunk},
                    {"media agents", [] { return mediaAgents(); }, kHosts},
                    {"snapshots", [] { return snapshots(1); }, kChunk}};
    for (int had = 0; const int n : {10, kHosts + 1, 512, 513, 1024, 1025, 5000}) {
        hub_->run("BEGIN;" + rowsOf(had + 1, n) + "COMMIT;");
        had = n;
        for (auto& kind : kinds) {
            SCOPED_TRACE(kind.name + std::string(" of ") + std::to_string(n));
            const Outcome sets = outcome(kind.read);
            const int length = kind.chunk == kHosts ? n - 1 : n; // without the one of client 1
            const auto chunks = static_cast<std::uint64_t>((length + kind.chunk - 1) / kind.chunk);
            if (kind.first == 0)
                kind.first = sets.statements;
            else if (kind.more == 0 && chunks > 1)
                kind.more = (sets.statements - kind.first) / (chunks - 1);
            EXPECT_EQ(sets.statements, kind.first + (chunks - 1) * kind.more);
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
