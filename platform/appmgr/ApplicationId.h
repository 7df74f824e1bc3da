#pragma once

#include <memory>
#include <optional>

#include "PlatformExport.h"
#include "appmgr/BackupSet.h"
#include "appmgr/Subclient.h"

/// Names an entity of the backup estate by its level and id. Reads the entity's row when it is first asked for
/// something, and once; what it has read does not follow its own changes. A local of its user. `transaction` is a
/// DBtran*, null for none.
///
/// Statuses are 0 or those of db/DBStatus.h; no such subclient is 100 of a read, kDbConstraint of a change. A change
/// that fails has failed its transaction (db/DBtran.h), and nothing of it stays; without one it has one of its own.
class VSDKPLATFORM_API ApplicationId {
  public:
    static constexpr unsigned long kSubclientLevel = 2;
    static constexpr unsigned long kUnsetAppType = ~0UL;

    ApplicationId(unsigned long level, unsigned long id);

    /// Reads the row: 0 when there is one.
    int getApplicationId(void* transaction) { return read(transaction); }
    /// The subclient, owned by this object. Null when there is none, the read failed, or the level is another one.
    Subclient* getSubclient(void* transaction);
    /// The backup set that the subclient names, be there a row of it or not; likewise owned, likewise null.
    BackupSet* getBackupSet(void* transaction);
    /// The subclient's agent type, kUnsetAppType when it has none. On failure kUnsetAppType too.
    int getAppType(unsigned long& appType, void* transaction);
    /// Ids of what the subclient belongs to; 0 until it was read.
    int getClientId() const { return clientId_; }
    int getInstanceId() const { return instanceId_; }
    int getBackupSetId() const { return backupSetId_; }

    /// Makes a storage policy the subclient's for data. kDbConstraint also when there is no such policy. `*code` is the
    /// caller's number for what is done; it and the last argument may be null and stay as they are.
    int setDataArchiveGroup(unsigned long policyId, void* transaction, int* code, int* reserved);
    /// The same for the index.
    int setIndexArchiveGroup(unsigned long policyId, void* transaction, int* code, int* reserved);
    /// Forgets the backup reference time: the next backup has none to reckon from. There is one time, whatever `which`.
    int removeBackupTime(int which, void* transaction);

  private:
    int read(void* transaction);

    unsigned long level_;
    unsigned long id_;
    int status_; ///< of the read
    unsigned long appType_ = kUnsetAppType;
    int clientId_ = 0;
    int instanceId_ = 0;
    int backupSetId_ = 0;
    std::unique_ptr<Subclient> subclient_;
    std::optional<BackupSet> backupSet_;
};
