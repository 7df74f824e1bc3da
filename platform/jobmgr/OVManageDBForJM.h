#pragma once

#include "PlatformExport.h"
#include "jobmgr/OVOpType.h"

/// What a job does, as lists divide them.
enum OVJobCategory : int {
    kAnyCategory = 0, ///< none in particular
    kBackupCategory = 1,
    kRestoreCategory = 2,
    kAdministrativeCategory = 3
};

/// What the job manager knows of operations. Any thread.
class VSDKPLATFORM_API OVManageDBForJM {
  public:
    /// Backups and restores are those of schema/OperationTypes.h; every other type from 1 to 154 is administrative.
    /// kAnyCategory for what is no operation type.
    static OVJobCategory getJobCategoryFromOpType(OVOpType type);
};

/// The name of a backup level: 1 "Full", 2 "Incremental", 3 "Synthetic Full", 4 "Differential"; empty for every other
/// number. Static.
VSDKPLATFORM_API const char* getBkpLevelName(int level);
