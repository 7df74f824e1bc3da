#include "entities/VSDKInstanceInfo.h"
#include "vcommand/kinds/Kinds.h"
#include "vcommand/kinds/Paths.h"

namespace {

using Instance = VSDK_Instance;

constexpr int kFetchFailed = 1282;

std::string name(const Path& /*at*/, const Instance& instance) {
    return VSDKDB_Base::ReplaceSpecialChars(instance.name, instance.appTypeId);
}

void list(const Path& at, const Reading& how, const std::function<void(Instance&)>& visit) {
    VSDK_InstanceList list(at[kClient], at[kAgentType]);
    for (Instance* instance : list.FetchInstances(how.properties).elements)
        visit(*instance);
}

std::vector<Path> paths(int id) {
    APP_Application subclients(nullptr);
    subclients.setWhere("instance=%d", id);
    return pathsOf(subclients, kInstance, kFetchFailed);
}

} // namespace

const Kind& instanceKind() {
    static const KindOf<Instance> kKind(
        {
            .one = "instance",
            .many = "instances",
            .about = "The instances of agents, such as database servers",
            .above = &agentTypeKind(),
            .fetchFailed = kFetchFailed,
        },
        {
            .id = &Instance::instanceId,
            .name = name,
            .list = list,
            .make = [](const Path& at, int id) { return Instance(at[kClient], at[kAgentType], id); },
            .fetch = [](Instance& instance) { return instance.FetchProperties(nullptr); },
            .paths = paths,
        },
        {{"name", Use::kBrief, name},
         {"status", Use::kBrief, &Instance::status},
         {"storagePolicy", Use::kBrief, &Instance::dataStoragePolicyName},
         {"logStoragePolicy", Use::kDetail, &Instance::logStoragePolicyName},
         {"description", Use::kBrief, &Instance::description}});
    return kKind;
}
