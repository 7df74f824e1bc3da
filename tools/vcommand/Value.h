#pragma once

#include <compare>
#include <cstdint>
#include <optional>
#include <string>
#include <type_traits>
#include <variant>
#include <vector>

/// One of an entity's many of a kind: its text, and its number where it has one.
struct Item {
    std::string text;
    std::optional<std::int64_t> id;
    auto operator<=>(const Item&) const = default; // NOLINT(modernize-use-nullptr): there is no pointer
};

/// What an entity has in a column. Values of one column compare as numbers, or byte by byte.
using Value = std::variant<std::int64_t, bool, std::string, std::vector<Item>>;
using Row = std::vector<Value>;

enum class Type {
    kNumber,
    kTime, ///< Unix seconds; 0: none
    kFlag,
    kText,
    kItems,  ///< of a name, and an id where they have one
    kReasons ///< the same of words and a code
};

enum class Use {
    kId,     ///< known without the entity's properties
    kBrief,  ///< also in a list for a person
    kDetail, ///< in lists for a program
    kAlone   ///< only when one entity is shown: another read
};

struct Column {
    std::string name; ///< as JSON, CSV and the command line have it: "storagePolicy"
    Type type;
    Use use;
};

template <class Number> std::enable_if_t<std::is_integral_v<Number>, Value> toValue(Number number) {
    if constexpr (std::is_same_v<Number, bool>)
        return number;
    else
        return static_cast<std::int64_t>(number);
}
inline Value toValue(std::string text) {
    return text;
}
inline Value toValue(std::vector<Item> items) {
    return items;
}

template <class Given> constexpr Type typeOf() {
    using Plain = std::remove_cvref_t<Given>;
    if constexpr (std::is_same_v<Plain, bool>)
        return Type::kFlag;
    else if constexpr (std::is_integral_v<Plain>)
        return Type::kNumber;
    else
        return std::is_same_v<Plain, std::string> ? Type::kText : Type::kItems;
}

/// "orders (5)" of one with a number.
std::string itemText(const Item& item);
/// The value as a text of one cell, `separator` between items.
std::string cellText(const Value& value, const char* separator);
