#pragma once

#include "PlatformExport.h"
#include "message/CNMessageBase.h"

namespace EvMgrs {

/// A login at the event manager. A message of the older kind: its passwords are plain attributes, and it must not reach
/// a log but through logXMLMessage (common/VSDKErrors.h).
class VSDKPLATFORM_API LoginRequest : public CNMessageBase {
  public:
    enum Field : int {
        kUser = 1,
        kPassword = 2,
        kDomain = 3,
        kClientName = 4, ///< where the user sits
        kNewPassword = 5 ///< where the old one has aged
    };
    LoginRequest();
};

} // namespace EvMgrs
