#include "vcommand/Kind.h"

#include <algorithm>
#include <cctype>

#include "common/Tool.h"
#include "db/DBText.h"

namespace {

/// Digits, with or without a sign.
bool looksLikeNumber(const std::string& text) {
    const std::size_t digits = !text.empty() && (text[0] == '+' || text[0] == '-') ? 1 : 0;
    return text.size() > digits && text.find_first_not_of("0123456789", digits) == std::string::npos;
}

[[noreturn]] void refuse(const std::string& reason) {
    throw tools::CommandError(tools::kExitUsage, reason, tools::kInvalidArgument);
}

} // namespace

Selector::Selector(const Kind& kind, const std::string& given) : text(given), id(tools::parseId(given)) {
    const std::string one = kind.names.one;
    if (text.empty())
        refuse("the " + one + "'s name is empty");
    if (!id && (kind.isNumber() || looksLikeNumber(text)))
        refuse("'" + text + "' is not the id of a " + one +
               ": write a whole number without plus sign and leading zeros, within 32 bits");
    if (!hubdb::isWholeText(text))
        refuse("the " + one + "'s name is not valid UTF-8");
}

std::vector<const Kind*> Kind::chain() const {
    std::vector<const Kind*> chain;
    for (const Kind* kind = this; kind != nullptr; kind = kind->names.above)
        chain.insert(chain.begin(), kind);
    return chain;
}

std::vector<Column> Kind::columns(bool properties, bool alone) const {
    std::vector<Column> columns;
    for (const Kind* kind : chain())
        columns.push_back({kind == this ? names.idColumn : memberWord(kind->names.one), Type::kNumber, Use::kId});
    if (properties)
        addFields(columns, alone);
    return columns;
}

std::string commandWord(const char* words) {
    std::string word = words;
    std::erase(word, ' ');
    return word;
}

std::string memberWord(const char* words) {
    std::string word;
    for (const char* at = words; *at != '\0'; ++at) {
        if (*at == ' ')
            word += static_cast<char>(std::toupper(static_cast<unsigned char>(*++at)));
        else
            word += *at;
    }
    return word;
}
