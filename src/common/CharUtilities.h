#pragma once

#include <string>

#include "VSDKExport.h"

/// Conversions between the text kinds of the interfaces, and the text of a time. Any thread may call any function here
/// at any time.

/// Wide and narrow texts are the same kind on this platform: each conversion returns a copy. Those of a pointer read
/// up to the terminator, whatever the number, and give an empty text for null.
VSDKDB_API std::string toWideString(const std::string& text);
VSDKDB_API std::string toWideString(const char* text, int size);
VSDKDB_API std::string toNarrowString(const std::string& text);
VSDKDB_API std::string toNarrowString(const char* text, int size);

/// `UnixTimeToLocTimeString` (common/VSDKErrors.h) for a time of 32 bits.
VSDKDB_API std::string dateToString(unsigned int time);
