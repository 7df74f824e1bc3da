#include "vcommand/ListAgentTypes.h"

#include "db/HubDatabase.h"
#include "entities/VSDKAppTypeInfo.h"
#include "vcommand/FindClient.h"

Answer listAgentTypes(const std::string& client) {
    HubDatabase::clearLastFailure();
    const ClientName found = findClient(client);
    VSDK_AppTypeList list(found.id);
    list.FetchAppTypes(true);
    throwDatabaseFailure(kAppTypeFetchFailed);

    Answer answer{
        tools::Table({{"TYPE", tools::Table::Align::kRight}, {"NAME"}, {"STATUS", tools::Table::Align::kRight}}),
        {{"client", {{"id", found.id}, {"name", found.name}}}, {"agentTypes", nlohmann::ordered_json::array()}}};
    for (const VSDK_AppType* agent : list.elements) {
        const std::string type = std::to_string(agent->appTypeId);
        answer.table.addRow({type, agent->name, std::to_string(agent->status)});
        answer.json["agentTypes"].push_back(
            {{"type", agent->appTypeId}, {"name", agent->name}, {"status", agent->status}});
    }
    return answer;
}
