#pragma once

#include "PlatformExport.h"
#include "appmgr/ApplProperty.h"

/// What has properties. Keeps those that it was told of last.
class VSDKPLATFORM_API ApplProperties {
  public:
    virtual ~ApplProperties();
    /// Reads the current properties anew. `transaction` is a DBtran*, null for none. 0, or a status of db/DBStatus.h
    /// and `properties` as it was.
    virtual int getProperties(PropertiesList& properties, void* transaction) = 0;

  protected:
    ApplProperties() = default;
    ApplProperties(const ApplProperties&) = default;
    ApplProperties& operator=(const ApplProperties&) = default;

    PropertiesList cache_; ///< as they were read last
};
