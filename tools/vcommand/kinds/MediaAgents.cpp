#include "entities/VSDKMediaAgentInfo.h"
#include "vcommand/kinds/Kinds.h"

namespace {

using MediaAgent = VSDK_MediaAgent;

constexpr int kFetchFailed = 1286;

void list(const Path& /*at*/, const Reading& how, const std::function<void(MediaAgent&)>& visit) {
    VSDK_MediaAgentList list;
    for (MediaAgent* agent : list.FetchMediaAgents(how.properties).elements)
        visit(*agent);
}

} // namespace

const Kind& mediaAgentKind() {
    static const KindOf<MediaAgent> kKind(
        {
            .one = "media agent",
            .many = "media agents",
            .about = "All media agents but the hub server itself; their ids are those of the clients",
            .fetchFailed = kFetchFailed,
        },
        {
            .id = &MediaAgent::clientId,
            .name = [](const Path&, const MediaAgent& agent) { return agent.name; },
            .list = list,
            .make = [](const Path&, int id) { return MediaAgent(id); },
            .fetch = [](MediaAgent& agent) { return agent.FetchProperties(nullptr); },
        },
        {{"name", Use::kBrief, &MediaAgent::name}});
    return kKind;
}
