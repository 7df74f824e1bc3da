#pragma once

#include <cstddef>
#include <string>

#include "vcommand/Commands.h"

/// A list for a person: a line for each entity below a line of titles, each cut to `width` unless that is 0.
std::string tableText(const Answer& answer, std::size_t width);
/// Entities for a person: a line for each field, and for each item of one that has many; an empty line between them.
std::string fieldsText(const Answer& answer);
/// RFC 4180 but for the line end, which is LF: names of columns, then the rows. An item of many is a line of its field.
std::string csvText(const Answer& answer);
/// {"client": {"id": 2, "name": ...}, "agentTypes": [{...}, ...]}, a line for each entity.
std::string jsonListText(const Answer& answer);
/// {"client": {...}}
Json jsonOf(const Answer& answer);

/// One JSON document and a line end. Broken UTF-8, which JSON cannot carry, becomes U+FFFD, and the document says so.
std::string jsonText(Json document);
