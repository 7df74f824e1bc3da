#include "vcommand/Arrange.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <string_view>

#include "common/CommandError.h"

namespace {

[[noreturn]] void refuse(const std::string& reason) {
    throw tools::CommandError(tools::kExitUsage, reason, tools::kInvalidArgument);
}

/// "OS ID", "os-id" and "osId" are one column.
std::string folded(std::string_view name) {
    std::string result;
    for (const char c : name)
        if (std::isalnum(static_cast<unsigned char>(c)) != 0)
            result += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return result;
}

std::size_t columnNamed(std::string_view name, const std::vector<Column>& columns) {
    for (std::size_t i = 0; i < columns.size(); ++i)
        if (folded(columns[i].name) == folded(name))
            return i;
    std::string known;
    for (const auto& column : columns)
        known += (known.empty() ? "" : ", ") + column.name;
    refuse("there is no column '" + std::string(name) + "'; the columns are " + known);
}

std::optional<std::int64_t> wholeNumber(std::string_view text) {
    std::int64_t number = 0;
    const char* const end = text.data() + text.size();
    const auto [at, failure] = std::from_chars(text.data(), end, number);
    return failure == std::errc() && at == end ? std::optional(number) : std::nullopt;
}

std::vector<std::string> parts(const std::string& text) {
    std::vector<std::string> result(1);
    for (const char c : text) {
        if (c == ',')
            result.emplace_back();
        else
            result.back() += c;
    }
    return result;
}

/// How many bytes the pattern's first sign has, and whether it is a wildcard.
struct Sign {
    std::string_view bytes;
    char literal;
    bool wild;
};

Sign firstSign(std::string_view pattern) {
    if (pattern.size() >= 3 && pattern[0] == '[' && pattern[2] == ']' &&
        std::string_view("*?[").find(pattern[1]) != std::string_view::npos)
        return {pattern.substr(0, 3), pattern[1], false};
    return {pattern.substr(0, 1), pattern[0], pattern[0] == '*' || pattern[0] == '?'};
}

bool isContinuation(char c) {
    return (static_cast<unsigned char>(c) & 0xC0U) == 0x80U;
}

/// One character, or a byte that begins none.
std::size_t characterLength(std::string_view text) {
    std::size_t length = 1;
    while (length < text.size() && isContinuation(text[length]))
        ++length;
    return length;
}

/// Takes time for the product of the lengths at most: only the last * is ever tried again.
bool like(std::string_view text, std::string_view pattern) {
    std::optional<std::string_view> afterStar;
    std::string_view tried;
    while (true) {
        if (pattern.empty() && text.empty())
            return true;
        if (!pattern.empty()) {
            const auto [bytes, literal, wild] = firstSign(pattern);
            if (wild && literal == '*') {
                pattern.remove_prefix(1);
                afterStar = pattern;
                tried = text;
                continue;
            }
            if (!text.empty() && (wild || text[0] == literal)) {
                text.remove_prefix(wild ? characterLength(text) : 1);
                pattern.remove_prefix(bytes.size());
                continue;
            }
        }
        if (!afterStar || tried.empty())
            return false;
        tried.remove_prefix(characterLength(tried));
        text = tried;
        pattern = *afterStar;
    }
}

} // namespace

Filter::Filter(const std::string& text, const std::vector<Column>& columns) {
    struct Spelling {
        std::string_view sign;
        Operator meaning;
    };
    constexpr std::array kOperators{
        Spelling{"!=", Operator::kNot},     Spelling{"!~", Operator::kLacks}, Spelling{"<=", Operator::kAtMost},
        Spelling{">=", Operator::kAtLeast}, Spelling{"=", Operator::kIs},     Spelling{"~", Operator::kHas},
        Spelling{"<", Operator::kBelow},    Spelling{">", Operator::kAbove},
    };
    const std::size_t at = std::min(text.find_first_of("!=<>~"), text.size());
    const auto* const found = std::ranges::find_if(
        kOperators, [&](const Spelling& one) { return text.compare(at, one.sign.size(), one.sign) == 0; });
    if (at == 0 || found == kOperators.end())
        refuse("the filter '" + text + "' is not a column, one of = != ~ !~ < <= > >=, and a value");
    column_ = columnNamed(std::string_view(text).substr(0, at), columns);
    operator_ = found->meaning;
    text_ = text.substr(at + found->sign.size());

    const Column& column = columns[column_];
    const bool orders = operator_ == Operator::kBelow || operator_ == Operator::kAtMost ||
                        operator_ == Operator::kAbove || operator_ == Operator::kAtLeast;
    const bool holds = operator_ == Operator::kHas || operator_ == Operator::kLacks;
    const std::string about = "the filter '" + text + "': ";
    switch (column.type) {
    case Type::kNumber:
    case Type::kTime:
        if (const auto number = wholeNumber(text_); number && !holds)
            number_ = *number;
        else
            refuse(about + column.name + " is a number, which = != < <= > >= compare with a whole number");
        break;
    case Type::kFlag:
        if (orders || holds || (text_ != "yes" && text_ != "no"))
            refuse(about + column.name + " is compared by = and != with yes or no");
        break;
    case Type::kText:
    case Type::kItems:
    case Type::kReasons:
        if (orders)
            refuse(about + column.name + " is a text, which = != ~ !~ compare");
        break;
    }
}

bool Filter::matches(const std::string& text) const {
    return operator_ == Operator::kHas || operator_ == Operator::kLacks ? text.find(text_) != std::string::npos
                                                                        : like(text, text_);
}

bool Filter::passes(const Row& row) const {
    const Value& value = row[column_];
    const bool negated = operator_ == Operator::kNot || operator_ == Operator::kLacks;
    if (const auto* number = std::get_if<std::int64_t>(&value)) {
        switch (operator_) {
        case Operator::kBelow:
            return *number < number_;
        case Operator::kAtMost:
            return *number <= number_;
        case Operator::kAbove:
            return *number > number_;
        case Operator::kAtLeast:
            return *number >= number_;
        default:
            return (*number == number_) != negated;
        }
    }
    if (const auto* items = std::get_if<std::vector<Item>>(&value))
        return std::ranges::any_of(*items, [this](const Item& item) { return matches(item.text); }) != negated;
    return matches(cellText(value, "")) != negated;
}

Arrangement::Arrangement(const Words& words, const std::vector<Column>& columns) {
    for (const auto& filter : words.filters)
        filters_.emplace_back(filter, columns);
    for (const auto& sort : words.sorts) {
        const auto named = parts(sort);
        if (named.size() > 2 || (named.size() == 2 && named[1] != "desc"))
            refuse("the order '" + sort + "' is not a column, with or without ',desc' behind it");
        sorts_.push_back({columnNamed(named[0], columns), named.size() == 2});
    }
    if (words.limit) {
        const auto number = wholeNumber(*words.limit);
        if (!number || *number < 0)
            refuse("the limit '" + *words.limit + "' is not a whole number");
        limit_ = static_cast<std::size_t>(*number);
    }
    if (words.columns) {
        columns_.emplace();
        for (const auto& name : parts(*words.columns))
            columns_->push_back(columnNamed(name, columns));
    }
}

bool Arrangement::passes(const Row& row) const {
    return std::ranges::all_of(filters_, [&](const Filter& filter) { return filter.passes(row); });
}

void Arrangement::arrange(std::vector<Row>& rows) const {
    std::ranges::stable_sort(rows, [this](const Row& a, const Row& b) {
        for (const auto& [column, descending] : sorts_)
            if (a[column] != b[column])
                return descending ? b[column] < a[column] : a[column] < b[column];
        return false;
    });
    if (limit_ && rows.size() > *limit_)
        rows.resize(*limit_);
}
