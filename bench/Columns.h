#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>

#include "Db/Tbl/OVDBColumn.h"

/// What all readers have in common: rows as their declarations tell them, so that a reader which is written by hand
/// need not name each column by hand. All of it is resolved when the program is built.

/// A column's name as an argument of a template.
template <std::size_t N> struct ColumnName {
    char text[N]{};
    consteval ColumnName(const char (&name)[N]) { std::copy_n(name, N, text); }
};

template <class Descriptor> consteval std::size_t columnIndex(std::string_view name) {
    std::size_t index = 0;
    while (Descriptor::kColumns.at(index).name != name)
        ++index;
    return index;
}

/// A row in the accessor's own buffer.
template <class RowDescriptor> struct BufferRow {
    using Descriptor = RowDescriptor;
    typename Descriptor::Row buffer;

    template <std::size_t I> auto& at() {
        constexpr OVDBColumn kColumn = Descriptor::kColumns[I];
        char* const member = reinterpret_cast<char*>(&buffer) + kColumn.offset;
        if constexpr (kColumn.isFixedText())
            return *reinterpret_cast<char(*)[kColumn.size]>(member);
        else if constexpr (!kColumn.isInteger())
            return *reinterpret_cast<OVDBText*>(member);
        else if constexpr (kColumn.size == sizeof(std::int32_t))
            return *reinterpret_cast<std::int32_t*>(member);
        else
            return *reinterpret_cast<std::int64_t*>(member);
    }
};

/// A row as a general library fills it: with strings, and a flag for each column that is NULL.
template <class RowDescriptor, class Null> class TypedRow {
  public:
    using Descriptor = RowDescriptor;

    template <std::size_t I> auto& at() { return std::get<I>(values_); }
    Null* nulls() { return nulls_.data(); }

  private:
    template <std::size_t I> static auto value() {
        constexpr OVDBColumn kColumn = Descriptor::kColumns[I];
        if constexpr (!kColumn.isInteger())
            return std::string();
        else if constexpr (kColumn.size == sizeof(int))
            return 0;
        else
            return 0LL;
    }
    template <std::size_t... I> static auto values(std::index_sequence<I...> /*columns*/) {
        return std::tuple(value<I>()...);
    }
    static constexpr std::size_t kCount = Descriptor::kColumns.size();

    decltype(values(std::make_index_sequence<kCount>())) values_{};
    std::array<Null, kCount> nulls_{};
};

/// Calls `visit` with each column of a row.
template <class Row, class Visit> void eachColumn(Row& row, Visit visit) {
    [&]<std::size_t... I>(std::index_sequence<I...> /*columns*/) {
        (visit(row.template at<I>()), ...);
    }
    (std::make_index_sequence<Row::Descriptor::kColumns.size()>());
}

/// A row of a raw statement, from the statement's column `first` on.
template <class Statement, class Row> void fill(const Statement& statement, Row& row, int first = 0) {
    eachColumn(row, [&statement, number = first](auto& member) mutable { statement.copy(number++, member); });
}

/// A column of a row by its name: the number, or the text.
template <ColumnName kName, class Row> auto column(Row& row) {
    auto& value = row.template at<columnIndex<typename Row::Descriptor>(kName.text)>();
    using Value = std::remove_reference_t<decltype(value)>;
    if constexpr (std::is_integral_v<Value>)
        return value;
    else if constexpr (std::is_same_v<Value, OVDBText>)
        return std::string_view(value.bytes);
    else
        return std::string_view(value);
}

template <class Descriptor> std::string selectFrom(const std::string& rest) {
    return std::string("SELECT ") + Descriptor::kRow.columnList + " FROM " + Descriptor::kRow.object + " " + rest;
}

// A text into a row or an entity, as one copies it by hand: bounded where it is, and no more is asked.

template <std::size_t N> void copyText(char (&buffer)[N], const void* text, std::size_t length) {
    const std::size_t kept = std::min(length, N - 1);
    if (text != nullptr)
        std::memcpy(buffer, text, kept);
    buffer[kept] = '\0';
}

inline void copyText(std::string& owned, const void* text, std::size_t length) {
    owned.assign(text == nullptr ? "" : static_cast<const char*>(text), length);
}

inline void copyText(OVDBText& owned, const void* text, std::size_t length) {
    copyText(owned.bytes, text, length);
}
