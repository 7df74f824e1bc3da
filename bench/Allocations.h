#pragma once

#include <cstdint>

/// How often this thread has called operator new so far, in this program and in the libraries that it uses. What C code
/// such as SQLite takes with malloc is not counted.
std::uint64_t allocationsOfThread();
