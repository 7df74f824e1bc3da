#pragma once

#include <string>
#include <string_view>

namespace hubxml {

/// Appends a text as the value of an attribute in double quotes, so that a parser gives back just these bytes: & < > "
/// as entities; TAB, LF and CR as character references, since raw ones would become blanks; a backslash as \\, and each
/// byte that XML 1.0 cannot carry (other controls, broken UTF-8, U+FFFE, U+FFFF) as \xHH. The procedures of the hub
/// database write the same.
void appendText(std::string& out, std::string_view text);

/// Replaces `out` by what appendText() was given, from the value of an attribute as a parser gives it. False, and
/// anything in `out`, for a backslash that begins neither form.
bool readText(std::string_view value, std::string& out);

} // namespace hubxml
