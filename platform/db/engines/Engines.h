#pragma once

#include <memory>
#include <string>

#include "PlatformExport.h"
#include "db/engines/Engine.h"

namespace hubdb {

struct DatabaseUrl;

/// The engine that a URL names. Nothing is opened yet.
VSDKPLATFORM_API std::unique_ptr<Engine> makeEngine(const DatabaseUrl& url);

} // namespace hubdb
