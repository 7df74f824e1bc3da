#include "entities/VSDKMediaAgentInfo.h"

#include "Db/Tbl/APP_Client.h"
#include "Db/Tbl/MMHost.h"
#include "db/ReadScope.h"

namespace {

constexpr int kFetchFailed = 1286;

} // namespace

VSDK_MediaAgent::VSDK_MediaAgent(int client) : clientId(client) {}

int VSDK_MediaAgent::FetchProperties(MMHost_t* row) {
    if (row == nullptr) {
        MMHost host(nullptr);
        host.setIsolationType(4);
        host.setWhere("id=%d", clientId);
        if (getOneRow(&host, false, -1, 0) != 0)
            return kFetchFailed;
    }
    APP_Client client(nullptr);
    client.setIsolationType(4);
    client.setWhere("id=%d", clientId);
    if (getOneRow(&client, false, -1, 0) != 0)
        return kFetchFailed;
    name = client.getDataPtr()->name;
    return 0;
}

VSDK_MediaAgentList::VSDK_MediaAgentList() = default;
VSDK_MediaAgentList::~VSDK_MediaAgentList() = default;

VSDK_MediaAgentList& VSDK_MediaAgentList::FetchMediaAgents(bool fetchProperties) {
    if (fetched)
        return *this;
    hubdb::ReadScope scope(fetchProperties);
    MMHost hosts(nullptr);
    hosts.setIsolationType(4);
    hosts.setWhere("ClientId != 1");
    scope.eachRow(hosts, [&](MMHost_t& row) {
        auto agent = std::make_unique<VSDK_MediaAgent>(row.ClientId);
        if (fetchProperties)
            (void)agent->FetchProperties(&row);
        append(std::move(agent));
    });
    fetched = true;
    return *this;
}
