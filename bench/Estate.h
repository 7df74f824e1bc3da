#pragma once

#include <string>
#include <vector>

class RawReader;

/// The file of a generated hub database with `clients` clients. It is made by the tool on the first call and kept for
/// later runs; each size has a file of its own. Throws std::runtime_error when it cannot be made.
std::string generatedEstate(int clients);

/// The ids of the clients of a hub database, in an order that is random and the same in every run. Throws
/// std::runtime_error when there are none or they cannot be read.
std::vector<int> clientIds(RawReader& reader);
