#pragma once

#include <cstdio>
#include <cstdlib>

/// Ends the program, and with it the run, where something does not hold.
inline void check(bool holds, const char* what) {
    if (holds)
        return;
    std::fprintf(stderr, "It does not hold that %s\n", what);
    std::abort();
}
