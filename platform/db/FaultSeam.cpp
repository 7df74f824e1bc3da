#include "db/FaultSeam.h"

namespace hubdb {

std::atomic<FaultHook> faultHook{nullptr};

} // namespace hubdb
