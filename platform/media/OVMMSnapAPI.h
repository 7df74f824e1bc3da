#pragma once

#include <cstdint>
#include <string>

#include "PlatformExport.h"
#include "media/OVMMbase.h"

class SMVolSnapInfo;

/// The snapshot interface of media management. A local of its user.
class VSDKPLATFORM_API OVMMSnapAPI : public OVMMbase {
  public:
    explicit OVMMSnapAPI(int access) : OVMMbase(access) {}

    /// Answers `request` with the volumes of its job and hub cell, by volume id; the status is also returned.
    ///
    /// Without a job (an id below 1) the request fails without words. When the database fails, the error code is its
    /// status (db/DBStatus.h) and the words are the engine's; no volume is answered then.
    int getVolumeSnaps(SMVolSnapInfo& request);

  private:
    std::int32_t lastStatus_ = 0;
    std::string lastError_;
};
