#include "entities/VSDKAppTypeInfo.h"

#include <array>
#include <memory>

#include "Db/Tbl/APP_IDAName.h"
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

VSDK_AppTypeList::VSDK_AppTypeList(int client) : fetched(false), clientId(client) {}

VSDK_AppTypeList::~VSDK_AppTypeList() {
    for (const VSDK_AppType* element : elements)
        delete element;
}

VSDK_AppTypeList& VSDK_AppTypeList::FetchAppTypes(bool fetchProperties) {
    if (fetched)
        return *this;
    APP_IDAName agents(nullptr);
    agents.setIsolationType(4);
    agents.setWhere("clientId=%d", clientId);
    int state = 0;
    while (getNextRow(&agents, &state, -1, 0) == 0) {
        auto element = std::make_unique<VSDK_AppType>(clientId, agents.getDataPtr()->appTypeId);
        if (fetchProperties)
            (void)element->FetchProperties(agents.getDataPtr());
        elements.push_back(element.get());
        (void)element.release(); // the list's from here on
    }
    fetched = true;
    return *this;
}
