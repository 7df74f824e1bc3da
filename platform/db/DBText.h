#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "PlatformExport.h"

struct OVDBText;

/// How texts of a caller reach forms and rows without being cut: a form's %s ends at a NUL and a row's buffer at its
/// width, so a text that would not arrive whole leaves a mark instead, which no valid text equals and which the layer
/// refuses with kDbBadText before anything reaches the engine.

/// `text` as the argument of a form's %s. The pointer is as short-lived as the text.
VSDKPLATFORM_API const char* dbText(const std::string& text);

/// Copies `text` into a row's buffer of `size` bytes, terminator included.
VSDKPLATFORM_API void dbSetText(char* buffer, std::size_t size, std::string_view text);
template <std::size_t N> void dbSetText(char (&buffer)[N], std::string_view text) {
    dbSetText(buffer, N, text);
}
VSDKPLATFORM_API void dbSetText(OVDBText& member, std::string_view text);

namespace hubdb {

/// True for well-formed UTF-8 without a NUL. The empty text is.
VSDKPLATFORM_API bool isWholeText(std::string_view text);

} // namespace hubdb
