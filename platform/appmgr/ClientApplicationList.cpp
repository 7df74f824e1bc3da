#include "appmgr/ClientApplicationList.h"

#include "Db/Tbl/GetBackupSetList.h"
#include "Db/Tbl/GetInstanceList.h"
#include "Db/Tbl/GetSubclientList.h"
#include "db/EachRow.h"

namespace {

/// Runs a cursor over the entities below the given ones, and notes their ids and names.
template <class Cursor, class Also, class... Scope>
int listEntities(std::list<unsigned long>& ids, std::list<std::string>& names, void* transaction, Also also,
                 Scope... scope) {
    ids.clear();
    names.clear();
    Cursor cursor(static_cast<DBtran*>(transaction));
    cursor.setIsolationType(4);
    cursor.setValues(static_cast<int>(scope)...);
    return eachCursorRow(cursor, [&](const auto& row) {
        ids.push_back(static_cast<unsigned long>(row.id));
        names.emplace_back(row.name);
        also(row);
    });
}

constexpr auto kNothingElse = [](const auto&) {};

} // namespace

int ClientApplicationList::getInstanceList(unsigned long clientId, unsigned long appTypeId,
                                           std::list<unsigned long>& ids, std::list<std::string>& names,
                                           void* transaction, int /*flag*/) {
    return listEntities<GetInstanceList>(ids, names, transaction, kNothingElse, clientId, appTypeId);
}

int ClientApplicationList::getBackupSetList(std::list<unsigned long>& ids, std::list<std::string>& names,
                                            std::list<bool>& flags, unsigned long clientId, unsigned long appTypeId,
                                            unsigned long instanceId, void* transaction, int /*flag*/) {
    flags.clear();
    const auto keepFlag = [&flags](const GetBackupSetList_t& row) { flags.push_back(row.onDemand != 0); };
    return listEntities<GetBackupSetList>(ids, names, transaction, keepFlag, clientId, appTypeId, instanceId);
}

int ClientApplicationList::getSubclientList(std::list<unsigned long>& ids, std::list<std::string>& names,
                                            unsigned long clientId, unsigned long appTypeId, unsigned long instanceId,
                                            unsigned long backupSetId, void* transaction, int /*flag*/) {
    return listEntities<GetSubclientList>(ids, names, transaction, kNothingElse, clientId, appTypeId, instanceId,
                                          backupSetId);
}
