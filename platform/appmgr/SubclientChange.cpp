#include "appmgr/SubclientChange.h"

#include <algorithm>

#include "Db/Tbl/APP_BackupSetName.h"
#include "system/OVClock.h"

SubclientChange::SubclientChange(int subclientId, void* transaction)
    : id_(subclientId), now_(std::max<std::int64_t>(OVClock::now(), 1)),
      transaction_(static_cast<DBtran*>(transaction)) {}

int SubclientChange::begin() {
    if (transaction_ == nullptr) {
        transaction_ = &own_.emplace();
        if (const int status = own_->startTran(); status != kDbOk)
            return status;
    }
    subclient_.emplace(transaction_);
    subclient_->setIsolationType(4);
    subclient_->setWhere("id=%d", id_);
    const int status = getOneRow(&*subclient_, false, -1, 0);
    return status == kDbNoRow ? refuse(kDbConstraint, "there is no subclient " + std::to_string(id_)) : status;
}

int SubclientChange::end(int status) {
    if (!own_)
        return status;
    if (status == kDbOk)
        return own_->commitTran();
    if (own_->isOpen())
        own_->rollbackTran();
    return status;
}

int SubclientChange::beforeWrite() {
    const int set = subclient_->getDataPtr()->backupSet;
    if (!transaction_->once(APP_BackupSetName_t2::kRow, set))
        return kDbOk;
    APP_BackupSetName row(transaction_);
    row.setIsolationType(4);
    row.setWhere("id=%d", set);
    const auto now = static_cast<long long>(now_);
    const int status = row.rowUpdate("modified = CASE WHEN modified >= %lld THEN modified + 1 ELSE %lld END", now, now);
    // Where the set has no row, nobody can have read its time, but there is still somebody to queue with.
    return status == kDbNoRow ? subclient_->rowUpdate("refTime = refTime") : status;
}

int SubclientChange::setReferenceTime(std::int64_t time) {
    if (subclient_->getDataPtr()->refTime == time)
        return kDbOk;
    const int status = beforeWrite();
    return status == kDbOk ? subclient_->rowUpdate("refTime = %lld", static_cast<long long>(time)) : status;
}
