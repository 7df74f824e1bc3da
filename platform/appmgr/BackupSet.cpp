#include "appmgr/BackupSet.h"

#include "Db/Tbl/APP_BackupSetName.h"
#include "Db/Tbl/APP_BackupSetProp.h"
#include "db/EachRow.h"

BackupSet::BackupSet(unsigned long id) : id_(id) {}

BackupSet::~BackupSet() = default;

int BackupSet::isOnDemandBackupset(bool& result, void* transaction) {
    APP_BackupSetProp property(static_cast<DBtran*>(transaction));
    property.setIsolationType(4);
    property.setWhere("componentNameId=%d and attrName = 'On Demand Backupset' and modified = 0",
                      static_cast<int>(id_));
    const int status = getOneRow(&property, false, -1, 0);
    if (status != kDbOk && status != kDbNoRow)
        return status;
    result = status == kDbOk && property.getDataPtr()->attrVal.bytes == "1";
    return kDbOk;
}

int BackupSet::getLastModifiedTime(std::int64_t& time, void* transaction) {
    APP_BackupSetName set(static_cast<DBtran*>(transaction));
    set.setIsolationType(4);
    set.setWhere("id=%d", static_cast<int>(id_));
    const int status = getOneRow(&set, false, -1, 0);
    if (status == kDbOk)
        time = set.getDataPtr()->modified;
    return status;
}

int BackupSet::getProperties(PropertiesList& properties, void* transaction) {
    APP_BackupSetProp rows(static_cast<DBtran*>(transaction));
    rows.setIsolationType(4);
    rows.setWhere("componentNameId=%d and modified=0", static_cast<int>(id_));
    cache_.clear();
    const int status = eachRow(rows, [this](const APP_BackupSetProp_t& row) {
        getPropertiesCallback(row.attrName, row.attrType, valueOrNull(row.attrVal), 0);
    });
    if (status == kDbOk)
        properties = cache_;
    return status;
}
