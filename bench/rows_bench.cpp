// What reading rows costs through the accessors on SQLite, against the same reads written by hand and through SOCI.
//
//   rows_bench [--clients=N] [--database=FILE] [--rounds=N] [--benchmark_...]
//
//   --clients=N      the size of the generated estate, 100000 by default
//   --database=FILE  an existing hub database instead
//   --rounds=N       how often each kind of read is measured, 45 by default, the slowest a fifth as often
#include <iostream>

#include "AccessorReader.h"
#include "Comparison.h"
#include "Estate.h"
#include "RawReader.h"
#include "RawSqlite.h"
#include "SociReader.h"

namespace {

constexpr const char* kDatabase = "--database=";

void compare(const BenchOptions& options, Rounds& rounds) {
    const std::string url =
        options.has(kDatabase) ? "sqlite:" + options.value(kDatabase) : generatedFile(options.clients);
    Comparison comparison(rounds);
    comparison.connect(url);
    RawReader<RawSqlite> raw(url);
    AccessorReader accessor(AccessorReader::Mode::kOlder);
    AccessorReader newer(AccessorReader::Mode::kNewer);
    SociReader kept(url, SociStatements::kKept);
    SociReader fresh(url, SociStatements::kPreparedEachTime);
    std::cout << url << ", SQLite " << sqlite3_libversion() << std::endl;
    comparison.run({{"raw", raw},
                    {"accessor", accessor},
                    {"accessor, newer mode", newer},
                    {"SOCI, kept statement", kept},
                    {"SOCI, prepared each time", fresh, false}});
}

} // namespace

int main(int argc, char** argv) {
    return benchMain({argv, static_cast<std::size_t>(argc)}, {kDatabase}, compare);
}
