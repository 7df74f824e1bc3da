#pragma once

#include <cstdint>
#include <cstring>
#include <limits>
#include <string_view>

#include "db/engines/Engine.h"
#include "log/EvDebug.h"
#include "log/Utf8Cut.h"

namespace hubdb {

/// What an engine delivers for one column. The numbers are those of the embedded engine, which need not translate; any
/// other number is a kind that no row holds.
enum class CellKind : int { kInteger = 1, kNull = 5 };

/// How much of a text that does not fit its column whole is kept. Tells the log.
[[gnu::cold, gnu::noinline]] inline std::size_t cutText(const RowTarget& target, const OVDBColumn& column,
                                                        std::string_view text) {
    EvDebug::Error("DBtable", "%s.%s: a text of %zu bytes was cut to fit its column", target.object, column.name,
                   text.size());
    return evlog::utf8Cut(text.substr(0, text.find('\0')), column.size - 1);
}

/// Stores a text in a fixed buffer and leaves nothing of an earlier row behind it. Every byte behind a buffer's
/// terminator is zero, so only as many bytes are cleared as the earlier text was longer.
template <bool MayHoldNul>
void storeText(const RowTarget& target, const OVDBColumn& column, char* buffer, std::string_view text) {
    std::size_t length = text.size();
    if (length != 0) {
        if (length >= column.size || (MayHoldNul && std::memchr(text.data(), '\0', length) != nullptr)) [[unlikely]]
            length = cutText(target, column, text);
        std::memcpy(buffer, text.data(), length);
    }
    char* const rest = buffer + length;
    if (*rest != '\0')
        std::memset(rest, 0, strnlen(rest, column.size - length));
}

template <class Integer> void storeInteger(char* member, Integer value) {
    std::memcpy(member, &value, sizeof value);
}

/// Copies the current row of a statement: the one loop for every table and engine. `Cells` gives for a column's index
/// a cell with kind(), integer() and text(), whose text has no data for NULL, and says whether a text may hold a NUL
/// byte. Null, or the column that does not fit.
template <class Cells> const OVDBColumn* readRow(const Cells& cells, const RowTarget& target) {
    char* const row = target.row;
    short* indicator = target.indicators;
    int index = 0;
    for (const OVDBColumn& column : target.columns) {
        char* const member = row + column.offset;
        const auto cell = cells.at(index++);
        if (column.isInteger()) {
            const CellKind kind = cell.kind();
            std::int64_t value = 0;
            *indicator++ = 0;
            if (kind == CellKind::kInteger) [[likely]]
                value = cell.integer();
            else if (kind == CellKind::kNull)
                indicator[-1] = -1;
            else
                return &column;
            if (column.kind != OVDBColumnKind::kInt)
                storeInteger(member, value);
            else if (const auto narrow = static_cast<std::int32_t>(value); narrow == value) [[likely]]
                storeInteger(member, narrow);
            else
                return &column;
            continue;
        }
        const std::string_view text = cell.text();
        *indicator++ = text.data() == nullptr ? -1 : 0;
        if (column.isFixedText()) {
            storeText<Cells::kMayHoldNul>(target, column, member, text);
        } else {
            auto& owned = *reinterpret_cast<OVDBText*>(member);
            owned.bytes.assign(text);
            owned.isNull = text.data() == nullptr;
        }
    }
    return nullptr;
}

} // namespace hubdb
