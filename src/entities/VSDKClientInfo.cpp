#include "entities/VSDKClientInfo.h"

#include "Db/Tbl/APP_Client.h"
#include "Db/Tbl/GetClientAndOSInfo.h"
#include "Db/Tbl/SimGetOSType.h"
#include "Db/Tbl/SimOperatingSystem.h"
#include "db/EachRow.h"

namespace {

constexpr int kFetchFailed = 1280;

} // namespace

VSDK_Client::VSDK_Client(int client) : clientId(client), simSystemOSId(0), status(0), releaseId(0) {}

int VSDK_Client::FetchProperties(APP_Client_t* row) {
    APP_Client client(nullptr);
    if (row == nullptr) {
        client.setIsolationType(4);
        client.setWhere("id=%d", clientId);
        if (getOneRow(&client, false, -1, 0) != 0)
            return kFetchFailed;
        row = client.getDataPtr();
    }
    name = row->name;
    simSystemOSId = row->simOperatingSystemId;
    status = row->status;
    releaseId = row->releaseId;

    SimOperatingSystem system(nullptr);
    system.setIsolationType(4);
    system.setWhere("id=%d", simSystemOSId);
    if (getOneRow(&system, false, -1, 0) != 0)
        return kFetchFailed;
    osName = system.getDataPtr()->Name;
    return 0;
}

int VSDK_Client::FetchProperties(GetClientAndOSInfo_t* row) {
    name = row->name;
    simSystemOSId = row->simSystemOSId;
    status = row->status;
    osName = row->osName;
    releaseId = row->releaseId;
    return 0;
}

int VSDK_Client::FetchOsType(std::string& osType) {
    SimGetOSType system(nullptr);
    system.setIsolationType(4);
    system.setValues(clientId);
    const auto failed = [](int result) { return result != kDbOk && result != kDbNoRow; };
    if (const int opened = system.openCursor(); failed(opened))
        return opened;
    if (const int read = system.fetchCursor(false); failed(read))
        return read;
    osType = system.getDataPtr()->o_simOSType;
    system.closeCursor();
    return 0;
}

VSDK_ClientList::VSDK_ClientList() = default;
VSDK_ClientList::~VSDK_ClientList() = default;

VSDK_ClientList& VSDK_ClientList::FetchClients(bool fetchProperties) {
    if (fetched)
        return *this;
    constexpr int kAnyClient = 0; // the cursor takes an id and lists all
    GetClientAndOSInfo clients(nullptr);
    clients.setIsolationType(4);
    clients.setValues(kAnyClient);
    eachCursorRow(clients, [&](GetClientAndOSInfo_t& row) {
        auto client = std::make_unique<VSDK_Client>(row.clientId);
        if (fetchProperties)
            client->FetchProperties(&row);
        append(std::move(client));
    });
    fetched = true;
    return *this;
}
