#include "entities/VSDKAppTypeInfo.h"

#include <array>

#include "Db/Tbl/APP_IDAName.h"
#include "db/ReadScope.h"
#include "log/EvEvent.h"
#include "system/OVPI_Focus.h"
#include "system/OVSimSystemOS.h"

namespace {

constexpr int kFetchFailed = 1281; // without an entry in the catalogue of messages

} // namespace

VSDK_AppType::VSDK_AppType(int client, int appType) : clientId(client), appTypeId(appType), status(0) {}

int VSDK_AppType::FetchProperties(APP_IDAName_t* row) {
    APP_IDAName agent(nullptr);
    const EvEvent event; // system services may report into the event of their caller's scope
    OVSimSystemOS system;
    const char* const focus = OVPI_Focus::getFocus();
    system.setFocus(focus, focus);

    std::array<char, 512> buffer{};
    int size = static_cast<int>(buffer.size());
    if (!system.getAppTypeName(appTypeId, static_cast<unsigned long>(clientId), buffer.data(), &size))
        return kFetchFailed;
    name.assign(buffer.data(), static_cast<std::size_t>(size));

    agent.setIsolationType(4);
    if (row != nullptr) {
        status = row->status;
        return 0;
    }
    agent.setWhere("clientId=%d and appTypeId=%d", clientId, appTypeId);
    if (getOneRow(&agent, false, -1, 0) != 0)
        return kFetchFailed;
    status = agent.getDataPtr()->status;
    return 0;
}

VSDK_AppTypeList::VSDK_AppTypeList(int client) : clientId(client) {}
VSDK_AppTypeList::~VSDK_AppTypeList() = default;

VSDK_AppTypeList& VSDK_AppTypeList::FetchAppTypes(bool fetchProperties) {
    if (fetched)
        return *this;
    hubdb::ReadScope scope(fetchProperties);
    APP_IDAName agents(nullptr);
    agents.setIsolationType(4);
    agents.setWhere("clientId=%d", clientId);
    scope.eachRow(agents, [&](APP_IDAName_t& row) {
        auto agent = std::make_unique<VSDK_AppType>(clientId, row.appTypeId);
        if (fetchProperties)
            (void)agent->FetchProperties(&row);
        append(std::move(agent));
    });
    fetched = true;
    return *this;
}
