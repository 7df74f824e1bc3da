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
///                         '/Users/User/@Id', as the members of a JSON object; NULL for none. Fails for what is not
///                         well-formed, has a document type or another root element, and for what is no number of 32
///                         bits. Limits, and what is taken beside plain UTF-8 without namespaces, are the engine's.
///   hubXmlText(text)      a text as the value of an attribute in double quotes, escaped as messages are
///
/// and string_agg(text, separator), which older versions of SQLite do not have.
struct ProcedureText {
    std::string_view name; ///< in the database
    const char* inputs;    ///< their types, "integer" or "text"
    std::string sql;
};

/// All of them.
std::span<const ProcedureText> procedureTexts();

} // namespace hubdb
