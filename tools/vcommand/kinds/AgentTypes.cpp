#include <set>

#include "entities/VSDKAppTypeInfo.h"
#include "entities/VSDKInstanceInfo.h"
#include "vcommand/kinds/Kinds.h"

namespace {

using AgentType = VSDK_AppType;
using Visit = std::function<void(AgentType&)>;

constexpr int kFetchFailed = 1281;
constexpr int kUnset = -1;

/// Each type once, and one of which there are instances though the client has no such agent: the unset type, or the one
/// that is asked for.
void visitParents(int client, const VSDK_AppTypeList& agents, std::optional<int> wanted, const Visit& visit) {
    std::set<int> seen;
    for (AgentType* agent : agents.elements)
        if (seen.insert(agent->appTypeId).second)
            visit(*agent);
    AgentType unlisted(client, wanted.value_or(kUnset));
    if (seen.contains(unlisted.appTypeId))
        return;
    VSDK_InstanceList instances(client, unlisted.appTypeId);
    if (!instances.FetchInstances(false).elements.empty())
        visit(unlisted);
}

void list(const Path& at, const Reading& how, const Visit& visit) {
    VSDK_AppTypeList agents(at[kClient]);
    agents.FetchAppTypes(how.properties);
    throwDatabaseFailure(kFetchFailed);
    if (how.parents)
        return visitParents(at[kClient], agents, how.wanted, visit);
    for (AgentType* agent : agents.elements)
        visit(*agent);
}

} // namespace

const Kind& agentTypeKind() {
    static const KindOf<AgentType> kKind(
        {
            .one = "agent type",
            .many = "agent types",
            .about = "The agents installed on clients",
            .above = &clientKind(),
            .fetchFailed = kFetchFailed,
            .idColumn = "type",
        },
        {
            .id = &AgentType::appTypeId,
            .name = [](const Path&, const AgentType& agent) { return agent.name; },
            .list = list,
            .make = [](const Path& at, int id) { return AgentType(at[kClient], id); },
            .fetch = [](AgentType& agent) { return agent.FetchProperties(nullptr); },
        },
        {{"name", Use::kBrief, &AgentType::name}, {"status", Use::kBrief, &AgentType::status}});
    return kKind;
}
