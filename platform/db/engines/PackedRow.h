#pragma once

#include <array>
#include <charconv>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

#include "db/engines/RowReader.h"

namespace hubdb {

/// A row as bytes: for each column a tag, and behind it 8 bytes of a number, or the length and the bytes of a text.
/// What was packed is read with readRow() like a row that comes from the engine, to the same result.
enum class PackedTag : char { kNull, kInteger, kText };

/// Appends the current row of a statement. `Cells` as for readRow().
template <class Cells> void packRow(const Cells& cells, int columns, std::string& bytes) {
    const auto append = [&bytes](const auto& value) {
        bytes.append(reinterpret_cast<const char*>(&value), sizeof value);
    };
    for (int i = 0; i < columns; ++i) {
        const auto cell = cells.at(i);
        const CellKind kind = cell.kind();
        if (kind == CellKind::kInteger) {
            append(PackedTag::kInteger);
            append(cell.integer());
        } else if (kind == CellKind::kNull) {
            append(PackedTag::kNull);
        } else {
            const std::string_view text = cell.text();
            append(PackedTag::kText);
            append(static_cast<std::uint32_t>(text.size()));
            bytes += text;
        }
    }
}

/// The columns of a packed row, one after the other.
class PackedCells {
  public:
    static constexpr bool kMayHoldNul = true;

    explicit PackedCells(const char* row) : at_(row) {}

    struct Cell {
        PackedTag tag;
        std::int64_t number;
        std::string_view bytes;
        std::array<char, 24>* scratch; ///< for a number that is read as a text

        CellKind kind() const {
            constexpr CellKind kOther{};
            return tag == PackedTag::kInteger ? CellKind::kInteger : tag == PackedTag::kNull ? CellKind::kNull : kOther;
        }
        std::int64_t integer() const { return number; }
        std::string_view text() const {
            if (tag != PackedTag::kInteger)
                return bytes;
            const char* const end = std::to_chars(scratch->data(), scratch->data() + scratch->size(), number).ptr;
            return {scratch->data(), static_cast<std::size_t>(end - scratch->data())};
        }
    };

    /// Columns are asked for in their order: the number is not used.
    Cell at(int /*column*/) const {
        Cell cell{static_cast<PackedTag>(*at_++), 0, {}, &scratch_};
        if (cell.tag == PackedTag::kInteger) {
            cell.number = take<std::int64_t>();
        } else if (cell.tag == PackedTag::kText) {
            const auto length = take<std::uint32_t>();
            cell.bytes = {at_, length};
            at_ += length;
        }
        return cell;
    }
    /// What follows the columns that were read.
    const char* rest() const { return at_; }

  private:
    template <class Number> Number take() const {
        Number value;
        std::memcpy(&value, at_, sizeof value);
        at_ += sizeof value;
        return value;
    }

    mutable const char* at_;
    mutable std::array<char, 24> scratch_;
};

} // namespace hubdb
