#pragma once

#include <span>
#include <string>
#include <vector>

#include "db/engines/Dialect.h"

namespace hubdb {

/// The type of a column, without how it is compared.
std::string postgresType(const OVDBColumn& column);

/// The functions that stand for procedures, behind those of ours that their texts call.
std::vector<FunctionText> postgresFunctions(std::span<const OVDBRowDeclaration* const> procedures);

} // namespace hubdb
