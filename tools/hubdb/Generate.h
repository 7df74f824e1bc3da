#pragma once

#include <cstdint>

#include "hubdb/Commands.h"

/// How large an estate is.
struct EstateSize {
    int clients = 100;
    int jobs = -1; ///< running and finished; by default one for each client
    int sessions = 10;
    int seed = 1;
};

/// Fills an empty hub database with a believable estate: the same rows for the same size, on every machine.
///
/// Client 1 is the hub server, the others follow. There is what real estates have: every agent type, names in many
/// scripts, with quotes, and twice, separator bytes, status bits, NULLs, history rows, and rows that refer to nothing.
Answer generateEstate(const hubdb::DatabaseUrl& url, const EstateSize& size);
