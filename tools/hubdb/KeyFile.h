#pragma once

#include <string>

/// The key of a hub database's stored passwords: 32 random bytes, as one line of 64 hexadecimal digits, in a file that
/// only its owner may read.

/// Makes the file and reports true; a file that is there already is kept, and reported as false. Throws a
/// tools::CommandError when the file cannot be made, and leaves none behind.
///
/// The file appears with all that it holds, so that any number of processes may make it at once: they all use the key
/// of one.
bool makeKeyFile(const std::string& path);
