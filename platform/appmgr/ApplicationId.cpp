#include "appmgr/ApplicationId.h"

#include <string>

#include "Db/Tbl/APP_Application.h"
#include "Db/Tbl/ArchGroup.h"
#include "appmgr/EntityId.h"
#include "appmgr/SubclientChange.h"

namespace {

constexpr int kNotRead = 1;

/// Writes a policy's id into the column that `current` and `update` are about.
int changePolicy(int subclient, unsigned long policyId, void* transaction, std::int32_t APP_Application_t::*current,
                 int (*update)(APP_Application& row, int policy)) {
    return SubclientChange(subclient, transaction).make([=](SubclientChange& of) -> int {
        const int policy = appmgr::idOf(policyId);
        ArchGroup row(of.transaction());
        row.setIsolationType(4);
        row.setWhere("id=%d", policy);
        int status = getOneRow(&row, false, -1, 0);
        if (status == kDbNoRow)
            return of.refuse(kDbConstraint,
                             "there is no storage policy " + std::to_string(static_cast<long>(policyId)));
        if (status != kDbOk || of.subclient().getDataPtr()->*current == policy)
            return status;
        status = of.beforeWrite();
        return status == kDbOk ? update(of.subclient(), policy) : status;
    });
}

} // namespace

ApplicationId::ApplicationId(unsigned long level, unsigned long id) : level_(level), id_(id), status_(kNotRead) {}

int ApplicationId::read(void* transaction) {
    if (status_ != kNotRead)
        return status_;
    if (level_ != kSubclientLevel)
        return status_ = kDbNoRow;
    APP_Application row(static_cast<DBtran*>(transaction));
    row.setIsolationType(4);
    row.setWhere("id=%d", appmgr::idOf(id_));
    status_ = getOneRow(&row, false, -1, 0);
    if (status_ == kDbOk) {
        constexpr std::size_t kAppTypeColumn = 2;
        static_assert(APP_Application_t2::kColumns[kAppTypeColumn].offset == offsetof(APP_Application_t, appTypeId));
        subclient_ = std::make_unique<Subclient>(*row.getDataPtr());
        clientId_ = row.getDataPtr()->clientId;
        instanceId_ = row.getDataPtr()->instance;
        backupSetId_ = row.getDataPtr()->backupSet;
        backupSet_.emplace(static_cast<unsigned long>(backupSetId_));
        const int type = row.getDataPtr()->appTypeId;
        if (row.getIndicator(kAppTypeColumn) == 0 && type != -1)
            appType_ = static_cast<unsigned long>(type);
    }
    return status_;
}

Subclient* ApplicationId::getSubclient(void* transaction) {
    return read(transaction) == kDbOk ? subclient_.get() : nullptr;
}

BackupSet* ApplicationId::getBackupSet(void* transaction) {
    return read(transaction) == kDbOk ? &*backupSet_ : nullptr;
}

int ApplicationId::getAppType(unsigned long& appType, void* transaction) {
    const int status = read(transaction);
    appType = appType_;
    return status;
}

int ApplicationId::setDataArchiveGroup(unsigned long policyId, void* transaction, int* /*code*/, int* /*reserved*/) {
    return changePolicy(appmgr::idOf(id_), policyId, transaction, &APP_Application_t::dataArchGrpID,
                        [](APP_Application& row, int policy) { return row.rowUpdate("dataArchGrpID = %d", policy); });
}

int ApplicationId::setIndexArchiveGroup(unsigned long policyId, void* transaction, int* /*code*/, int* /*reserved*/) {
    return changePolicy(appmgr::idOf(id_), policyId, transaction, &APP_Application_t::logArchGrpID,
                        [](APP_Application& row, int policy) { return row.rowUpdate("logArchGrpID = %d", policy); });
}

int ApplicationId::removeBackupTime(int /*which*/, void* transaction) {
    return SubclientChange(appmgr::idOf(id_), transaction).make([](SubclientChange& change) {
        return change.setReferenceTime(0);
    });
}
