#pragma once

#include <span>
#include <string>
#include <string_view>

namespace hubdb {

/// The text of a procedure or cursor query of the hub database: inputs are ?1, ?2 ..., result columns stand in the
/// order of the accessor's row. The embedded engine runs it as a statement; on a server it is the body of a function.
/// Beside what both engines know, a text may call:
///
///   hubXmlIds(xml, path)  the whole numbers, blanks between them, in the attributes at a path such as
///   '/Users/User/@Id',
///                      as the members of a JSON object; NULL for none. Fails for what is not well-formed, for another
///                      root element, and for a number of more than 32 bits or none.
///   hubXmlText(text)      a text as the value of an attribute in double quotes, escaped as messages are
///
/// An engine that lacks string_agg(text, '') or format() gets them as well.
struct ProcedureText {
    std::string_view name; ///< in the database
    const char* inputs;    ///< their types, "integer" or "text"
    std::string sql;
};

/// All of them.
std::span<const ProcedureText> procedureTexts();

} // namespace hubdb
