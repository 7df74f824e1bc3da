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
#include "RawSqlite.h"
#include "SociReader.h"

namespace {

void compare(Comparison& comparison) {
    const auto& options = comparison.options();
    const std::string file = options.database.empty() ? generatedFile(options.clients) : options.database;
    comparison.connect("sqlite:" + file);
    RawSqlite raw(file);
    AccessorReader accessor(AccessorReader::Mode::kOlder);
    AccessorReader newer(AccessorReader::Mode::kNewer);
    auto kept = SociReader::onSqlite(file, SociReader::Statements::kKept);
    auto fresh = SociReader::onSqlite(file, SociReader::Statements::kPreparedEachTime);
    std::cout << file << ", SQLite " << sqlite3_libversion() << std::endl;
    comparison.run({{"raw", raw},
                    {"accessor", accessor},
                    {"accessor, newer mode", newer},
                    {"SOCI, kept statement", kept},
                    {"SOCI, prepared each time", fresh, false}});
}

} // namespace

int main(int argc, char** argv) {
    return comparisonMain({argv, static_cast<std::size_t>(argc)}, "--database=", compare);
}
