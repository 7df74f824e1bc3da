#pragma once

#include "PlatformExport.h"

/// The debug log: printf-style lines, handed to the sink that the host has set (log/EvLogSink.h), or to nobody.
///
/// Any thread may log. Nothing is formatted for a level that the sink does not accept. Nothing throws, and `errno` is
/// left as it was. A text that cannot be formatted (a null or broken format, a wide string that the locale cannot
/// write, no memory) gives a line that shows the format instead. A null function name is an empty tag, levels below 1
/// count as 1.
class VSDKPLATFORM_API EvDebug {
  public:
    /// Information, level 3.
    [[gnu::format(printf, 2, 3)]] static void Debug(const char* function, const char* format, ...) noexcept;

    /// A failure, level 1.
    [[gnu::format(printf, 2, 3)]] static void Error(const char* function, const char* format, ...) noexcept;

    /// 1 failures, 3 and 5 information, 10 request and response XML.
    [[gnu::format(printf, 3, 4)]] static void DebugLvl(const char* function, int level, const char* format,
                                                       ...) noexcept;

    /// Whether a line of this level would reach a sink now; for callers whose text is dear to make. One atomic read.
    static bool enabled(int level) noexcept;
};

/// A failure, level 1, tagged "file:line". Otherwise as `EvDebug::Error`.
[[gnu::format(printf, 3, 4)]] VSDKPLATFORM_API void log_error(const char* file, int line, const char* format,
                                                              ...) noexcept;
