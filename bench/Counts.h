#pragma once

#include <cstdint>

/// What this thread has used up so far, in this program and in the libraries that it uses.

/// Calls of operator new. What C code such as SQLite and libpq takes with malloc is not counted.
std::uint64_t allocationsOfThread();

/// Answers of a server that came after something had been sent: counted where libpq sends and receives.
std::uint64_t roundTripsOfThread();

/// The most memory that the process has had since forgetMemoryPeak(), beyond what it had then, in bytes.
std::uint64_t memoryPeak();
/// Gives back what is free first. False where the kernel does not let it.
bool forgetMemoryPeak();
