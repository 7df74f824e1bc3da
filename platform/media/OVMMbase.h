#pragma once

#include "PlatformExport.h"

/// The base of the media-management interfaces.
class VSDKPLATFORM_API OVMMbase {
  public:
    /// How the interface is reached; 1 is the hub database of this process, which every number stands for here.
    explicit OVMMbase(int access);
    virtual ~OVMMbase();

    int access() const { return access_; }

  private:
    int access_;
};
