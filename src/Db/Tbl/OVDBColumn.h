#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <type_traits>
#include <utility>

/// How a row is declared: a plain struct with one member per column, and beside it one table of its columns made with
/// COLUMN. From that table come the column list, the type descriptor, the typed descriptor, the binding and the DDL.

/// A text column without a fixed width: owns its bytes (UTF-8) and knows NULL.
struct OVDBText {
    std::string bytes;
    bool isNull;
};

enum class OVDBColumnKind : std::uint8_t { kInt, kTime, kInt64, kText, kWideText, kLongText, kLongWideText };

/// One column of a declared row. Made with COLUMN and refined by the functions below.
struct OVDBColumn {
    const char* name;     ///< SQL name
    std::uint32_t offset; ///< of the member in the row buffer, bytes
    std::uint32_t size;   ///< of the member, bytes; for a fixed text the terminator included
    OVDBColumnKind kind;
    bool inKey = false;           ///< belongs to the primary key
    bool isSerial = false;        ///< numbered by the database
    bool givenByDatabase = false; ///< never sent by an insert
    const char* referencedTable = nullptr;
    const char* referencedColumn = nullptr;

    /// A 64-bit integer that holds Unix seconds.
    constexpr OVDBColumn time() const {
        auto column = *this;
        column.kind = OVDBColumnKind::kTime;
        return column;
    }
    /// A text that the published type descriptor calls wide. Its bytes are UTF-8 like every other's.
    constexpr OVDBColumn wide() const {
        auto column = *this;
        column.kind = kind == OVDBColumnKind::kText ? OVDBColumnKind::kWideText : OVDBColumnKind::kLongWideText;
        return column;
    }
    constexpr OVDBColumn key() const {
        auto column = *this;
        column.inKey = true;
        return column;
    }
    /// The primary key, numbered by the database on insert.
    constexpr OVDBColumn serial() const {
        auto column = key().given();
        column.isSerial = true;
        return column;
    }
    /// The database fills the column on insert.
    constexpr OVDBColumn given() const {
        auto column = *this;
        column.givenByDatabase = true;
        return column;
    }
    constexpr OVDBColumn refersTo(const char* table, const char* referenced = "id") const {
        auto column = *this;
        column.referencedTable = table;
        column.referencedColumn = referenced;
        return column;
    }

    constexpr bool isInteger() const { return kind <= OVDBColumnKind::kInt64; }
    constexpr bool isFixedText() const { return kind == OVDBColumnKind::kText || kind == OVDBColumnKind::kWideText; }
};

/// The kind of a row member; no default, so a member of another type does not build.
template <class Member> struct OVDBKindOf;
template <> struct OVDBKindOf<std::int32_t> { static constexpr OVDBColumnKind kKind = OVDBColumnKind::kInt; };
template <> struct OVDBKindOf<std::int64_t> { static constexpr OVDBColumnKind kKind = OVDBColumnKind::kInt64; };
template <std::size_t N> struct OVDBKindOf<char[N]> { static constexpr OVDBColumnKind kKind = OVDBColumnKind::kText; };
template <> struct OVDBKindOf<OVDBText> { static constexpr OVDBColumnKind kKind = OVDBColumnKind::kLongText; };

/// The column of a row's member: name, place, size and kind come from the member itself.
#define COLUMN(Row, member)                                                                                            \
    OVDBColumn {                                                                                                       \
#member, offsetof(Row, member), sizeof(Row::member), OVDBKindOf < decltype(Row::member)> ::kKind               \
    }

enum class OVDBObjectKind : int { kTable = 1, kProcedure = 2, kCursor = 3 };

/// Everything that is known of a table, procedure or cursor when the program is built. Lives as long as the program.
struct OVDBRowDeclaration {
    static constexpr std::size_t kKeyColumnsMax = 2;

    OVDBObjectKind kind;
    const char* name;      ///< the accessor's name, in log lines
    const char* object;    ///< the name in the database
    const char* version;   ///< header version of a table, else null
    const char* signature; ///< 20 digits of a procedure, else null
    bool readsOnly;        ///< false: executing it counts as a write, which is never run twice
    std::span<const OVDBColumn> columns;
    const char* columnList;                             ///< "id, clientId, ..."
    const char* typeDescriptor;                         ///< "i|i|..." as written, times as x
    std::array<const OVDBColumn*, kKeyColumnsMax> keys; ///< the primary key; null behind the last
    const char* file;                                   ///< where it is declared
    int line;

    constexpr const char* kindName() const {
        switch (kind) {
        case OVDBObjectKind::kTable:
            return "Table";
        case OVDBObjectKind::kProcedure:
            return "Procedure";
        case OVDBObjectKind::kCursor:
            break;
        }
        return "Cursor";
    }
    /// The serial column, null where there is none.
    constexpr const OVDBColumn* serial() const {
        for (const auto& column : columns)
            if (column.isSerial)
                return &column;
        return nullptr;
    }
};

namespace ovdb {

struct Anything {
    template <class T> constexpr operator T() const noexcept;
};

template <class Row, std::size_t... I> consteval bool hasAtLeast(std::index_sequence<I...> /*members*/) {
    return requires {
        Row{{(void(I), Anything{})}...};
    };
}

/// True when `columns` name every member of `Row`, in order, none twice.
template <class Row, std::size_t N> consteval bool describes(const std::array<OVDBColumn, N>& columns) {
    static_assert(std::is_standard_layout_v<Row> && std::is_aggregate_v<Row>);
    std::size_t end = 0;
    for (const auto& column : columns) {
        if (column.offset < end)
            return false;
        end = column.offset + column.size;
    }
    return hasAtLeast<Row>(std::make_index_sequence<N>{}) && !hasAtLeast<Row>(std::make_index_sequence<N + 1>{});
}

consteval bool keysFit(std::span<const OVDBColumn> columns) {
    std::size_t keys = 0;
    for (const auto& column : columns) {
        if (column.inKey && !column.isInteger())
            return false;
        keys += column.inKey ? 1 : 0;
    }
    return keys <= OVDBRowDeclaration::kKeyColumnsMax;
}

/// Appends to a buffer, or only counts when there is none.
struct TextWriter {
    char* out = nullptr;
    std::size_t length = 0;

    constexpr void put(char c) {
        if (out != nullptr)
            out[length] = c;
        ++length;
    }
    constexpr void put(const char* text) {
        for (; *text != '\0'; ++text)
            put(*text);
    }
    constexpr void put(std::uint32_t number) {
        if (number >= 10)
            put(number / 10);
        put(static_cast<char>('0' + number % 10));
    }
};

constexpr void writeColumnList(TextWriter& writer, std::span<const OVDBColumn> columns) {
    for (const auto& column : columns) {
        if (&column != columns.data())
            writer.put(", ");
        writer.put(column.name);
    }
}

constexpr void writeTypeDescriptor(TextWriter& writer, std::span<const OVDBColumn> columns) {
    constexpr const char* kLetters = "ixbsusu"; // in the order of OVDBColumnKind
    for (const auto& column : columns) {
        writer.put(kLetters[static_cast<int>(column.kind)]);
        if (column.isFixedText())
            writer.put(column.size);
        writer.put('|');
    }
}

template <auto Write, const auto& Columns> consteval auto writtenText() {
    constexpr std::size_t kLength = [] {
        TextWriter counter;
        Write(counter, Columns);
        return counter.length;
    }();
    std::array<char, kLength + 1> text{};
    TextWriter writer{text.data()};
    Write(writer, Columns);
    return text;
}

template <const auto& Columns> inline constexpr auto kColumnList = writtenText<&writeColumnList, Columns>();
template <const auto& Columns> inline constexpr auto kTypeDescriptor = writtenText<&writeTypeDescriptor, Columns>();

template <class Row, const auto& Columns>
consteval OVDBRowDeclaration declare(OVDBObjectKind kind, const char* name, const char* object, const char* version,
                                     const char* signature, bool readsOnly, const char* file, int line) {
    static_assert(describes<Row>(Columns), "the column table must name every member of the row, in order");
    std::array<const OVDBColumn*, OVDBRowDeclaration::kKeyColumnsMax> keys{};
    std::size_t used = 0;
    for (const auto& column : Columns)
        if (column.inKey)
            keys[used++] = &column;
    return {kind,
            name,
            object,
            version,
            signature,
            readsOnly,
            Columns,
            kColumnList<Columns>.data(),
            kTypeDescriptor<Columns>.data(),
            keys,
            file,
            line};
}

} // namespace ovdb

/// Declares a table. `version` is its published header version.
template <class Row, const auto& Columns>
consteval OVDBRowDeclaration ovdbTable(const char* name, const char* version, const char* file = __builtin_FILE(),
                                       int line = __builtin_LINE()) {
    static_assert(Columns[0].inKey, "a table's first column is in its primary key");
    static_assert(ovdb::keysFit(Columns), "a primary key is of one or two integers");
    return ovdb::declare<Row, Columns>(OVDBObjectKind::kTable, name, name, version, nullptr, true, file, line);
}

/// Whether executing a procedure may change the database.
enum class OVDBEffect { kReads, kWrites };

/// Declares a stored procedure: the accessor's name, its name in the database and its 20-digit signature.
template <class Row, const auto& Columns>
consteval OVDBRowDeclaration ovdbProcedure(const char* name, const char* object, const char* signature,
                                           OVDBEffect effect, const char* file = __builtin_FILE(),
                                           int line = __builtin_LINE()) {
    return ovdb::declare<Row, Columns>(OVDBObjectKind::kProcedure, name, object, nullptr, signature,
                                       effect == OVDBEffect::kReads, file, line);
}

/// Declares a cursor query.
template <class Row, const auto& Columns>
consteval OVDBRowDeclaration ovdbCursor(const char* name, const char* file = __builtin_FILE(),
                                        int line = __builtin_LINE()) {
    return ovdb::declare<Row, Columns>(OVDBObjectKind::kCursor, name, name, nullptr, nullptr, true, file, line);
}
