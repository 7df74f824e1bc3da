#include "entities/VSDKSubclientInfo.h"
#include "vcommand/kinds/Kinds.h"
#include "vcommand/kinds/Paths.h"

namespace {

constexpr int kFetchFailed = 1284;

/// The path tells the agent type also where no more of the subclient was read.
std::string shown(const Path& at, const std::string& text) {
    return VSDKDB_Base::ReplaceSpecialChars(text, at[kAgentType]);
}

std::string name(const Path& at, const VSDK_Subclient& subclient) {
    return shown(at, subclient.name);
}

std::vector<Item> content(const Path& at, const VSDK_Subclient& subclient) {
    std::vector<Item> items;
    for (const std::string& entry : subclient.content)
        items.push_back({shown(at, entry), {}});
    return items;
}

std::vector<Item> databases(const VSDK_Subclient& subclient) {
    std::vector<Item> items;
    for (const auto& database : subclient.sqlContent)
        items.push_back({database.databaseName, database.databaseId});
    return items;
}

void list(const Path& at, const Reading& how, const std::function<void(VSDK_Subclient&)>& visit) {
    VSDK_SubclientList list(at[kClient], at[kAgentType], at[kInstance], at[kBackupSet]);
    for (VSDK_Subclient* subclient : list.FetchSubclients(how.properties, how.all).elements)
        visit(*subclient);
}

std::vector<Path> paths(int id) {
    APP_Application subclients(nullptr);
    subclients.setWhere("id=%d", id);
    return pathsOf(subclients, kSubclient, kFetchFailed);
}

} // namespace

const Kind& subclientKind() {
    static const KindOf<VSDK_Subclient> kKind(
        {
            .one = "subclient",
            .many = "subclients",
            .about = "The subclients of backup sets, with their content",
            .above = &backupSetKind(),
            .fetchFailed = kFetchFailed,
        },
        {
            .id = &VSDK_Subclient::subclientId,
            .name = name,
            .list = list,
            .make = [](const Path&, int id) { return VSDK_Subclient(id); },
            .fetch = [](VSDK_Subclient& subclient) { return subclient.FetchProperties(nullptr, true); },
            .paths = paths,
        },
        {{"name", Use::kBrief, name},
         {"status", Use::kBrief, &VSDK_Subclient::status},
         {"storagePolicy", Use::kBrief, &VSDK_Subclient::storagePolicyName},
         {"storagePolicyId", Use::kDetail, &VSDK_Subclient::applicationNumber2},
         {"indexStoragePolicyId", Use::kDetail, &VSDK_Subclient::applicationNumber3},
         {"subclientPolicyId", Use::kDetail, &VSDK_Subclient::subclientPolicyId},
         {"backupSetModified", Use::kDetail, Type::kTime, &VSDK_Subclient::backupSetModifiedTime},
         {"dataReaders", Use::kDetail, &VSDK_Subclient::applicationNumber1},
         {"networkAgents", Use::kDetail, &VSDK_Subclient::numNWAgents},
         {"compression", Use::kDetail, &VSDK_Subclient::compressWhere},
         {"activity", Use::kDetail, &VSDK_Subclient::activityFlags},
         {"content", Use::kBrief, content},
         {"databases", Use::kBrief, databases},
         {"description", Use::kBrief, &VSDK_Subclient::applicationText}});
    return kKind;
}
