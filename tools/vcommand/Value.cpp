#include "vcommand/Value.h"

std::string itemText(const Item& item) {
    return item.id ? item.text + " (" + std::to_string(*item.id) + ")" : item.text;
}

std::string cellText(const Value& value, const char* separator) {
    if (const auto* number = std::get_if<std::int64_t>(&value))
        return std::to_string(*number);
    if (const auto* flag = std::get_if<bool>(&value))
        return *flag ? "yes" : "no";
    if (const auto* text = std::get_if<std::string>(&value))
        return *text;
    std::string all;
    const char* before = "";
    for (const Item& item : std::get<std::vector<Item>>(value)) {
        all += before + itemText(item);
        before = separator;
    }
    return all;
}
