#pragma once

#include <atomic>
#include <cstdint>

#include "PlatformExport.h"

namespace hubdb {

/// Where a test may make the database layer fail as if the engine had.
enum class FaultPoint : std::uint8_t { kExecute, kNextRow, kBegin, kBeforeCommit, kAfterCommit };

/// Asked at every fault point when set: a status other than kDbOk is taken for the engine's. `object` is the table,
/// procedure or cursor, empty for a transaction.
using FaultHook = int (*)(FaultPoint point, const char* object);

extern VSDKPLATFORM_API std::atomic<FaultHook> faultHook;

inline int injectedFault(FaultPoint point, const char* object) {
    const FaultHook hook = faultHook.load(std::memory_order_relaxed);
    return hook == nullptr ? 0 : hook(point, object);
}

} // namespace hubdb
