#include "entities/VSDKBackupsetInfo.h"

#include <list>

#include "Db/Tbl/APP_BackupSetName.h"
#include "Db/Tbl/APP_BackupSetProp.h"
#include "appmgr/ClientApplicationList.h"
#include "db/ReadScope.h"

namespace {

constexpr int kFetchFailed = 1283;

} // namespace

VSDK_Backupset::VSDK_Backupset(int backupSet)
    : BackupSet(static_cast<unsigned long>(backupSet)), backupSetId(backupSet), status(0), lastModifiedTime(0),
      onDemand(false) {}
VSDK_Backupset::~VSDK_Backupset() = default;

int VSDK_Backupset::FetchProperties(APP_Application_t* /*row*/) {
    APP_BackupSetName set(nullptr);
    set.setIsolationType(4);
    set.setWhere("id=%d", backupSetId);
    if (getOneRow(&set, false, -1, 0) != 0)
        return kFetchFailed;
    name = set.getDataPtr()->name;
    status = set.getDataPtr()->status;
    lastModifiedTime = static_cast<int>(set.getDataPtr()->modified);

    if (isOnDemandBackupset(onDemand, nullptr) != 0)
        return kFetchFailed;

    APP_BackupSetProp property(nullptr);
    property.setIsolationType(4);
    property.setWhere("componentNameId=%d and attrName = 'User Description' and modified = 0", backupSetId);
    if (getOneRow(&property, false, -1, 0) != 0)
        description.clear();
    else if (!property.getDataPtr()->attrVal.isNull)
        description = property.getDataPtr()->attrVal.bytes;
    return 0;
}

int VSDK_Backupset::GetLastModifiedTime() {
    return lastModifiedTime;
}

VSDK_BackupsetList::VSDK_BackupsetList(int client, int appType, int instance)
    : clientId(client), appTypeId(appType), instanceId(instance) {}
VSDK_BackupsetList::~VSDK_BackupsetList() = default;

VSDK_BackupsetList& VSDK_BackupsetList::FetchBackupsets(bool fetchProperties) {
    if (fetched)
        return *this;
    hubdb::ReadScope scope(fetchProperties);
    scope.begin();
    std::list<unsigned long> ids;
    std::list<std::string> names;
    std::list<bool> flags;
    ClientApplicationList applications;
    applications.getBackupSetList(ids, names, flags, static_cast<unsigned long>(clientId),
                                  static_cast<unsigned long>(appTypeId), static_cast<unsigned long>(instanceId),
                                  nullptr, 1);
    scope.each(APP_BackupSetName_t2::kRow, ids, [&](int id) {
        auto set = std::make_unique<VSDK_Backupset>(id);
        if (fetchProperties)
            (void)set->FetchProperties(nullptr);
        append(std::move(set));
    });
    fetched = true;
    return *this;
}
