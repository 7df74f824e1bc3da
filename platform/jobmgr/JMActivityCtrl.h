#pragma once

#include "PlatformExport.h"
#include "jobmgr/OVOpType.h"

/// What may run. A local of its user.
class VSDKPLATFORM_API JMActivityCtrl {
  public:
    /// Whether operations of a type may run on a subclient; where nothing is said they may. 0, or a status of
    /// db/DBStatus.h and `enabled` false: nobody can tell.
    int isSubclientEnabled(int subclientId, bool& enabled, OVOpType opType);
};
