#include "system/OVClient.h"

#include "Db/Tbl/APP_Client.h"

int OVClient::lookup(void* transaction) {
    APP_Client client(static_cast<DBtran*>(transaction));
    client.setIsolationType(4);
    client.setWhere("id=%d", static_cast<int>(id_));
    const int status = getOneRow(&client, false, -1, 0);
    found_ = status == kDbOk;
    if (found_)
        name_ = client.getDataPtr()->name;
    return status;
}

int OVClient::getName(std::string& name, void* transaction) {
    const int status = found_ ? kDbOk : lookup(transaction);
    if (status == kDbOk)
        name = name_;
    return status;
}
