#include "Db/Tbl/APP_Client.h"
#include "entities/VSDKClientInfo.h"
#include "vcommand/kinds/Kinds.h"

namespace {

using Client = VSDK_Client;

constexpr int kFetchFailed = 1280;

void list(const Path& /*at*/, const Reading& how, const std::function<void(Client&)>& visit) {
    VSDK_ClientList list;
    for (Client* client : list.FetchClients(how.properties).elements)
        visit(*client);
}

/// Also the hub server, and a client whose operating system is not known, which the list leaves out.
std::optional<std::vector<Kind::Named>> find(const Selector& client) {
    APP_Client clients(nullptr);
    clients.setIsolationType(4);
    if (client.id)
        clients.setWhere("id=%d", *client.id);
    else
        clients.setWhere("name='%s'", dbText(client.text));
    std::vector<Kind::Named> found;
    int state = 0;
    while (getNextRow(&clients, &state, -1, 0) == kDbOk)
        found.push_back({clients.getDataPtr()->id, clients.getDataPtr()->name});
    throwDatabaseFailure(kFetchFailed);
    return found;
}

std::string osType(const Client& client) {
    std::string type;
    (void)Client(client).FetchOsType(type); // whoever reads one entity looks for the database's failures
    return type;
}

} // namespace

const Kind& clientKind() {
    static const KindOf<Client> kKind(
        {
            .one = "client",
            .many = "clients",
            .about = "All clients but the hub server itself",
            .fetchFailed = kFetchFailed,
        },
        {
            .id = &Client::clientId,
            .name = [](const Path&, const Client& client) { return client.name; },
            .list = list,
            .make = [](const Path&, int id) { return Client(id); },
            .fetch = [](Client& client) { return client.FetchProperties(nullptr); },
            .find = find,
        },
        {{"name", Use::kBrief, &Client::name},
         {"os", Use::kBrief, &Client::osName},
         {"osId", Use::kDetail, &Client::simSystemOSId},
         {"osType", Use::kAlone, osType},
         {"status", Use::kBrief, &Client::status},
         {"release", Use::kBrief, &Client::releaseId}});
    return kKind;
}
