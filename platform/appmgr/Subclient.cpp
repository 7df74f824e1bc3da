#include "appmgr/Subclient.h"

#include <cstdlib>
#include <cstring>

#include "Db/Tbl/APP_Application.h"
#include "Db/Tbl/APP_ScFilterFile.h"
#include "Db/Tbl/APP_SubClientProp.h"
#include "appmgr/PropertyNames.h"
#include "db/EachRow.h"
#include "db/NumberOf.h"

Subclient::Subclient(const APP_Application_t& row)
    : id_(row.id), name_(row.subclientName), dataPolicyId_(row.dataArchGrpID), indexPolicyId_(row.logArchGrpID) {}

Subclient::~Subclient() = default;

int Subclient::readSettings(void* transaction) {
    if (settingsRead_)
        return settingsStatus_;
    // One statement for all of them. Of several rows with one name the first counts.
    struct Setting {
        const char* name;
        bool found;
    };
    Setting readers{appmgr::kNumberOfDataReaders, false};
    Setting description{appmgr::kUserDescription, false};
    Setting policy{appmgr::kSubclientPolicy, false};
    const auto is = [](const APP_SubClientProp_t& row, Setting& setting) {
        return !setting.found && (setting.found = std::strcmp(row.attrName, setting.name) == 0);
    };
    APP_SubClientProp rows(static_cast<DBtran*>(transaction));
    rows.setIsolationType(4);
    rows.setWhere("componentNameId=%d and modified=0", id_);
    settingsRead_ = true;
    settingsStatus_ = eachRow(rows, [&](const APP_SubClientProp_t& row) {
        const std::string& value = row.attrVal.bytes;
        if (is(row, readers))
            readers_ = numberOf(value);
        else if (is(row, description))
            description_ = value;
        else if (is(row, policy))
            policyId_ = std::strtoul(value.c_str(), nullptr, 10);
    });
    return settingsStatus_;
}

int Subclient::getNumberOfDataReaders(int& readers, void* transaction) {
    const int status = readSettings(transaction);
    if (status == kDbOk)
        readers = readers_;
    return status;
}

int Subclient::getUserDescription(std::string& description, void* transaction) {
    const int status = readSettings(transaction);
    if (status == kDbOk)
        description = description_;
    return status;
}

int Subclient::getSubclientPolicyId(unsigned long& policyId, void* transaction) {
    const int status = readSettings(transaction);
    if (status == kDbOk)
        policyId = policyId_;
    return status;
}

int Subclient::getBackupContent(BackupContent& content, void* transaction) {
    APP_ScFilterFile rows(static_cast<DBtran*>(transaction));
    rows.setIsolationType(4);
    rows.setWhere("componentNameId=%d and type=1 and modified=0", id_);
    return eachRow(rows, [&content](const APP_ScFilterFile_t& row) {
        if (!row.fileName.isNull)
            content.addToContent(row.fileName.bytes);
    });
}

int Subclient::getProperties(PropertiesList& properties, void* transaction) {
    APP_SubClientProp rows(static_cast<DBtran*>(transaction));
    rows.setIsolationType(4);
    rows.setWhere("componentNameId=%d and modified=0", id_);
    cache_.clear();
    const int status = eachRow(rows, [this](const APP_SubClientProp_t& row) {
        cache_.add(ApplProperty::make(row.attrName, row.attrType,
                                      row.attrVal.isNull ? std::nullopt : std::optional(row.attrVal.bytes)));
    });
    if (status == kDbOk)
        properties = cache_;
    return status;
}
