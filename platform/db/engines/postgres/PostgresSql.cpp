#include "db/engines/postgres/PostgresSql.h"

#include <strings.h>

#include <algorithm>
#include <cctype>

namespace hubdb {

namespace {

bool isWordCharacter(char c) {
    return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_';
}

/// The word that begins at `at`.
std::string wordAt(std::string_view sql, std::size_t at) {
    std::size_t end = at;
    while (end < sql.size() && isWordCharacter(sql[end]))
        ++end;
    return std::string(sql.substr(at, end - at));
}

bool isWord(const std::string& word, const char* wanted) {
    return strcasecmp(word.c_str(), wanted) == 0;
}

} // namespace

std::string postgresSql(std::string_view sql) {
    std::string result;
    int number = 0;
    bool pattern = false; // what comes next is one
    std::size_t at = 0;
    const auto endOperand = [&] {
        const std::size_t next = std::min(sql.find_first_not_of(' ', at), sql.size());
        if (sql.substr(next, 2) == "||")
            return; // a part of it
        if (pattern && !isWord(wordAt(sql, next), "ESCAPE"))
            result += " ESCAPE ''";
        pattern = false;
    };
    while (at < sql.size()) {
        const char c = sql[at];
        if (c == '\'') {
            std::size_t end = at + 1;
            while (end < sql.size() && (sql[end] != '\'' || sql.substr(end + 1, 1) == "'"))
                end += sql[end] == '\'' ? 2 : 1;
            result += sql.substr(at, end + 1 - at);
            at = std::min(end + 1, sql.size());
            endOperand();
        } else if (c == '?') {
            const std::string given = wordAt(sql, at + 1);
            const bool numbered = !given.empty() && std::isdigit(static_cast<unsigned char>(given[0])) != 0;
            result += '$' + (numbered ? given : std::to_string(++number));
            at += 1 + (numbered ? given.size() : 0);
            endOperand();
        } else if (const std::string word = wordAt(sql, at); !word.empty()) {
            result += word;
            at += word.size();
            pattern = isWord(word, "LIKE");
        } else {
            result += c;
            ++at;
        }
    }
    return result;
}

} // namespace hubdb
