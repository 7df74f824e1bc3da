#pragma once

#include <sodium.h>

namespace hubdb {

/// libsodium, ready for use by any thread. False only where the system has no source of randomness.
inline bool sodiumIsReady() {
    static const bool ready = sodium_init() >= 0;
    return ready;
}

} // namespace hubdb
