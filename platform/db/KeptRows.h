#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace hubdb {

/// The rows of one set-wise read, by the value of the column that it was made for.
struct RowSet {
    struct Rows {
        std::uint32_t at = 0;    ///< in `bytes`
        std::uint32_t count = 0; ///< 0: no such row
    };
    std::vector<int> values;      ///< that the set answers for, ascending
    std::vector<Rows> found;      ///< for each of them
    std::string bytes;            ///< packed rows
    mutable std::size_t next = 0; ///< where the next question is likely to be answered: readers go from value to value

    /// Null when the set does not answer for `value`.
    const Rows* find(int value) const;
};

/// What a scope answered: rows that a reader takes one after the other.
struct KeptRows {
    std::shared_ptr<const RowSet> set; ///< null: the scope did not answer
    const char* at = nullptr;
    std::uint32_t left = 0;
};

} // namespace hubdb
