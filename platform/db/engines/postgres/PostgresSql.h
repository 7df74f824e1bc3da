#pragma once

#include <string>
#include <string_view>

namespace hubdb {

/// A statement's text as the server takes it: the marks `?` become $1, $2 ... and `?3` becomes $3, and a pattern of
/// LIKE has no escape character, as on the embedded engine. Literals are left as they are.
std::string postgresSql(std::string_view sql);

} // namespace hubdb
