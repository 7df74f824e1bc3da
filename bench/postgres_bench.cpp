// What reading rows costs through the accessors on PostgreSQL, against the same reads written by hand on libpq, through
// libpqxx and through SOCI.
//
//   postgres_bench [--clients=N] [--url=URL] [--rounds=N] [--benchmark_...]
//
//   --clients=N  the size of the estate that is generated on a server of the program's own, 100000 by default
//   --url=URL    an existing hub database instead; with none but libpq's options
//   --rounds=N   how often each kind of read is measured, 45 by default, the slowest a fifth as often
#include <iostream>
#include <optional>

#include "AccessorReader.h"
#include "Comparison.h"
#include "Estate.h"
#include "PqxxReader.h"
#include "PrivateServer.h"
#include "RawPostgres.h"
#include "RawReader.h"
#include "SociReader.h"

namespace {

constexpr const char* kUrl = "--url=";

void compare(const BenchOptions& options, Rounds& rounds) {
    std::string url = options.value(kUrl);
    std::optional<PrivateServer> server;
    if (url.empty()) {
        url = server.emplace().url();
        generateEstate(url, options.clients);
        RawPostgres(url).execute("VACUUM ANALYZE");
    }
    Comparison comparison(rounds);
    comparison.connect(url);
    RawReader<RawPostgres> raw(url);
    AccessorReader accessor(AccessorReader::Mode::kOlder);
    AccessorReader newer(AccessorReader::Mode::kNewer);
    PqxxReader pqxx(url);
    SociReader kept(url, SociStatements::kKept);
    SociReader fresh(url, SociStatements::kPreparedEachTime);
    std::cout << "PostgreSQL " << RawPostgres(url).serverVersion() << ", libpq " << PQlibVersion() << ", libpqxx "
              << PQXX_VERSION << std::endl;
    comparison.run({{"raw", raw},
                    {"accessor", accessor},
                    {"accessor, newer mode", newer},
                    {"libpqxx", pqxx},
                    {"SOCI, kept statement", kept},
                    {"SOCI, prepared each time", fresh, false}});
    comparison.connect(withOption(url, "prepared=off"));
    comparison.run({{"raw", raw}, {"accessor, prepared=off", accessor}}, "library, prepared=off");
}

} // namespace

int main(int argc, char** argv) {
    return benchMain({argv, static_cast<std::size_t>(argc)}, {kUrl}, compare);
}
