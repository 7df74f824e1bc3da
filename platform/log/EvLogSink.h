#pragma once

#include <functional>
#include <string_view>

#include "PlatformExport.h"

/// The levels in use. A sink accepts every level up to the one it was set with.
inline constexpr int kEvLogFailures = 1;
inline constexpr int kEvLogInformation = 3;
inline constexpr int kEvLogDetail = 5;
inline constexpr int kEvLogMessages = 10; ///< request and response XML, up to megabytes a line

/// One line of the debug log. The views live as long as the call that receives them.
struct EvLogLine {
    int level;             ///< 1 or more, see above
    std::string_view tag;  ///< the function that logs, or "path:line" of its source
    std::string_view text; ///< whole, whatever its length; any bytes, line ends included; no terminator
};

/// Where the host wants the lines: any callable, owned by the log from `setEvLogSink` on.
///
/// It is called on the thread that logs, by several threads at once, with no lock held: it does its own locking. What
/// it throws is swallowed with the line. Lines that it logs itself are dropped, so that it cannot call itself.
using EvLogSink = std::function<void(const EvLogLine&)>;

/// Sends the lines of levels 1 to `maxLevel` to `sink` from now on; an empty sink or a level below 1 sends nothing
/// anywhere, which is how a process begins.
///
/// Any thread may call it at any time. A line that another thread is just delivering keeps the former sink alive until
/// that call returns, so a sink shares the ownership of what it writes to rather than refer to it. A host whose sink
/// needs other libraries' static objects takes it away before it leaves `main`; otherwise it goes at process exit.
/// Throws `std::bad_alloc` only, and then nothing has changed.
VSDKPLATFORM_API void setEvLogSink(EvLogSink sink, int maxLevel);
