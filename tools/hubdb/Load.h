#pragma once

#include <string>

#include "hubdb/Commands.h"

/// Adds the rows of an estate, a JSON file (docs/estate.md), to a hub database: all of them, or none when anything is
/// wrong. Rows are inserted as they are read, so an estate may be larger than memory.
Answer loadEstate(const hubdb::DatabaseUrl& url, const std::string& file);
