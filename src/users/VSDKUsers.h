#pragma once

#include <string>

#include "VSDKExport.h"

/// Replaces `out` by the text of a new random GUID: 36 characters, lower-case hexadecimal in groups of 8-4-4-4-12.
/// Always true. Any thread may call it at any time.
VSDKDB_API bool CreateGuid(std::string& out);
