#pragma once

#include <string>

/// The key of a hub database's stored passwords: 32 random bytes, as one line of 64 hexadecimal digits, in a file that
/// only its owner may read.

/// Makes the file and reports true; a file that is there already is kept, and reported as false. Throws a CommandError
/// when the file cannot be made, and leaves none behind.
bool makeKeyFile(const std::string& path);
