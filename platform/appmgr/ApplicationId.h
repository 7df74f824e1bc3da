#pragma once

#include <memory>

#include "PlatformExport.h"
#include "appmgr/Subclient.h"

/// Names an entity of the backup estate by its level and id. Reads the entity's row when it is first asked for
/// something, and once. A local of its user. `transaction` is a DBtran*, null for none.
class VSDKPLATFORM_API ApplicationId {
  public:
    static constexpr unsigned long kSubclientLevel = 2;
    static constexpr unsigned long kUnsetAppType = ~0UL;

    ApplicationId(unsigned long level, unsigned long id);

    /// The subclient, owned by this object. Null when there is none, the read failed, or the level is another one.
    Subclient* getSubclient(void* transaction);
    /// The subclient's agent type, kUnsetAppType when it has none. 0, or a status of db/DBStatus.h (100: no subclient)
    /// and kUnsetAppType.
    int getAppType(unsigned long& appType, void* transaction);

  private:
    int read(void* transaction);

    unsigned long level_;
    unsigned long id_;
    int status_; ///< of the read
    unsigned long appType_ = kUnsetAppType;
    std::unique_ptr<Subclient> subclient_;
};
