#pragma once

namespace appmgr {

/// An id as its column has it. 0, which is nobody's, for one that is no 32-bit number, rather than somebody else's.
constexpr int idOf(unsigned long id) {
    const int narrow = static_cast<int>(id);
    return static_cast<unsigned long>(narrow) == id ? narrow : 0;
}

} // namespace appmgr
