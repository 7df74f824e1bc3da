#pragma once

#include <string>

#include "PlatformExport.h"

namespace hubdb {

/// The procedures and cursor queries of the embedded engine, which has none of its own: one SQL text per name, its
/// inputs ?1, ?2 ... Those of the hub database are there from the start; a host or test may add more. Any thread.
class VSDKPLATFORM_API EmbeddedProcedures {
  public:
    /// Adds or replaces a procedure. Statements prepared before keep the text they were prepared with.
    static void add(const std::string& name, const std::string& sql);
    /// Empty when there is none of that name.
    static std::string find(const std::string& name);
};

} // namespace hubdb
