#include "entities/VSDKBackupsetInfo.h"
#include "vcommand/kinds/Kinds.h"
#include "vcommand/kinds/Paths.h"

namespace {

constexpr int kFetchFailed = 1283;

std::string name(const Path& at, const VSDK_Backupset& set) {
    return VSDKDB_Base::ReplaceSpecialChars(set.name, at[kAgentType]);
}

void list(const Path& at, const Reading& how, const std::function<void(VSDK_Backupset&)>& visit) {
    VSDK_BackupsetList list(at[kClient], at[kAgentType], at[kInstance]);
    for (VSDK_Backupset* set : list.FetchBackupsets(how.properties).elements)
        visit(*set);
}

std::vector<Path> paths(int id) {
    APP_Application subclients(nullptr);
    subclients.setWhere("backupSet=%d", id);
    return pathsOf(subclients, kBackupSet, kFetchFailed);
}

} // namespace

const Kind& backupSetKind() {
    static const KindOf<VSDK_Backupset> kKind(
        {
            .one = "backup set",
            .many = "backup sets",
            .about = "The backup sets of instances",
            .above = &instanceKind(),
            .fetchFailed = kFetchFailed,
        },
        {
            .id = &VSDK_Backupset::backupSetId,
            .name = name,
            .list = list,
            .make = [](const Path&, int id) { return VSDK_Backupset(id); },
            .fetch = [](VSDK_Backupset& set) { return set.FetchProperties(nullptr); },
            .paths = paths,
        },
        {{"name", Use::kBrief, name},
         {"status", Use::kBrief, &VSDK_Backupset::status},
         {"lastModified", Use::kBrief, Type::kTime, &VSDK_Backupset::lastModifiedTime},
         {"onDemand", Use::kBrief, &VSDK_Backupset::onDemand},
         {"description", Use::kBrief, &VSDK_Backupset::description}});
    return kKind;
}
