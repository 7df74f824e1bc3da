#pragma once

namespace hubdb {

/// The version of the hub database that this library reads and writes.
inline constexpr int kSchemaVersion = 2;

} // namespace hubdb
