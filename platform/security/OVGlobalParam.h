#pragma once

#include <string>

#include "PlatformExport.h"

/// The global parameters of the hub server: named texts of ZXGlobalParam. Of several rows of a name the first by id
/// counts. Names are UTF-8, at most 128 bytes, compared by their bytes. `transaction` is a DBtran*, null for none. Any
/// thread.
class VSDKPLATFORM_API OVGlobalParam {
  public:
    static constexpr int kNotSet = 0x80001;

    /// 0, kNotSet, or a negative status of db/DBStatus.h; `value` is as it was unless 0.
    static int get(const std::string& name, std::string& value, void* transaction);
    /// 0, or a negative status and nothing is changed. Of two that set a new name at once outside a transaction both
    /// may add a row, and the first by id counts until the next set.
    static int set(const std::string& name, const std::string& value, void* transaction);
    /// 0, kNotSet, or a negative status.
    static int remove(const std::string& name, void* transaction);
};
