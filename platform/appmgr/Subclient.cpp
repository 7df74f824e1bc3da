#include "appmgr/Subclient.h"

#include <cstdlib>
#include <cstring>
#include <unordered_map>
#include <vector>

#include "Db/Tbl/APP_Application.h"
#include "Db/Tbl/APP_ScFilterFile.h"
#include "Db/Tbl/APP_SubClientProp.h"
#include "appmgr/PropertyNames.h"
#include "appmgr/SubclientChange.h"
#include "db/DBText.h"
#include "db/EachRow.h"
#include "db/NumberOf.h"

namespace {

/// Whether a property is none of those that are content, whose names their owners choose.
bool isSetting(int type) {
    return type != kMailboxProperty && type != kMailDatabaseProperty && type != kSqlDatabaseProperty;
}
bool isDatabase(int type) {
    return type == kSqlDatabaseProperty;
}

/// The current rows of a property, of which the first counts, as they are to be replaced.
struct CurrentProperty {
    std::vector<int> ids;
    int type = 0;
    int ccpId = 0;
    std::string value;

    void add(const APP_SubClientProp_t& row) {
        if (ids.empty()) {
            type = row.attrType;
            ccpId = row.ccpId;
            value = row.attrVal.bytes;
        }
        ids.push_back(row.id);
    }

    int retire(SubclientChange& change) const {
        int status = ids.empty() ? kDbOk : change.beforeWrite();
        APP_SubClientProp row(change.transaction());
        row.setIsolationType(4);
        for (const int id : ids) {
            if (status != kDbOk)
                break;
            row.setWhere("id=%d", id);
            status = row.rowUpdate("modified = %lld", static_cast<long long>(change.now()));
        }
        return status;
    }

    /// Puts a row with another value in the place of them all.
    int replace(SubclientChange& change, int subclient, const std::string& name, int newType,
                const std::string& newValue) const {
        if (const int status = ids.empty() ? change.beforeWrite() : retire(change); status != kDbOk)
            return status;
        APP_SubClientProp row(change.transaction());
        APP_SubClientProp_t& added = *row.getDataPtr();
        row.setIsolationType(4);
        added.componentNameId = subclient;
        dbSetText(added.attrName, name);
        added.attrType = ids.empty() ? newType : type;
        dbSetText(added.attrVal, newValue);
        added.created = change.now();
        added.ccpId = ccpId;
        return row.rowInsert(false);
    }
};

/// Reads a property by its name.
int readProperty(SubclientChange& change, int subclient, const std::string& name, bool (*isOne)(int type),
                 CurrentProperty& current) {
    APP_SubClientProp rows(change.transaction());
    rows.setIsolationType(4);
    rows.setWhere("componentNameId=%d and attrName='%s' and modified=0", subclient, dbText(name));
    return eachRow(rows, [&](const APP_SubClientProp_t& row) {
        if (isOne(row.attrType))
            current.add(row);
    });
}

} // namespace

Subclient::Subclient(const APP_Application_t& row)
    : id_(row.id), name_(row.subclientName), dataPolicyId_(row.dataArchGrpID), indexPolicyId_(row.logArchGrpID) {}

Subclient::Subclient(int id) : id_(id) {}

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
        return !setting.found &&
               (setting.found = isSetting(row.attrType) && std::strcmp(row.attrName, setting.name) == 0);
    };
    APP_SubClientProp rows(static_cast<DBtran*>(transaction));
    rows.setIsolationType(4);
    rows.setWhere("componentNameId=%d and modified=0", id_);
    settingsRead_ = true;
    readers_ = 0;
    description_.clear();
    policyId_ = 0;
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
        cache_.addToPropList(ApplProperty::make(row.attrName, row.attrType,
                                                row.attrVal.isNull ? std::nullopt : std::optional(row.attrVal.bytes)));
    });
    if (status == kDbOk)
        properties = cache_;
    return status;
}

int Subclient::setSetting(const char* name, int type, const std::string& value, void* transaction) {
    settingsRead_ = false;
    return SubclientChange(id_, transaction).make([&](SubclientChange& change) {
        CurrentProperty current;
        const int status = readProperty(change, id_, name, &isSetting, current);
        // Further rows of that name do no harm while the first says what it should.
        return status != kDbOk || current.value == value ? status : current.replace(change, id_, name, type, value);
    });
}

int Subclient::setUserDescription(std::string description, void* transaction) {
    constexpr int kTextProperty = 1;
    return setSetting(appmgr::kUserDescription, kTextProperty, description, transaction);
}

int Subclient::setMaxNumberOfStreams(int readers, void* transaction) {
    constexpr int kNumberProperty = 2;
    if (readers > 0)
        return setSetting(appmgr::kNumberOfDataReaders, kNumberProperty, std::to_string(readers), transaction);
    return SubclientChange(id_, transaction).make([readers](SubclientChange& change) {
        return change.refuse(kDbBadValue, std::to_string(readers) + " is no number of data readers");
    });
}

int Subclient::setProperties(const PropertiesList& properties, void* transaction, int* /*code*/) {
    std::unordered_map<std::string, int> wanted;
    for (const auto& property : properties)
        if (const auto* const database = dynamic_cast<const MSSQLDBProperty*>(property.get()))
            wanted[database->getDBName()] = database->getDBId();
    return SubclientChange(id_, transaction).make([&](SubclientChange& change) {
        std::unordered_map<std::string, CurrentProperty> current;
        APP_SubClientProp rows(change.transaction());
        rows.setIsolationType(4);
        rows.setWhere("componentNameId=%d and attrType=118 and modified=0", id_);
        int status = eachRow(rows, [&current](const APP_SubClientProp_t& row) { current[row.attrName].add(row); });
        for (const auto& property : properties) { // new rows in the order of the list
            const auto found = wanted.find(property->getName());
            if (status != kDbOk || property->getType() != kSqlDatabaseProperty || found == wanted.end())
                continue;
            const auto& [name, databaseId] = *found;
            const CurrentProperty& before = current[name];
            if (before.ids.empty() || numberOf(before.value) != databaseId)
                status = before.replace(change, id_, name, kSqlDatabaseProperty, std::to_string(databaseId));
            wanted.erase(found);
        }
        return status;
    });
}

int Subclient::removeDatabase(const std::string& name, void* transaction, int* /*code*/) {
    return SubclientChange(id_, transaction).make([&](SubclientChange& change) {
        CurrentProperty current;
        const int status = readProperty(change, id_, name, &isDatabase, current);
        return status == kDbOk ? current.retire(change) : status;
    });
}

int Subclient::changeReferenceTime(const ChangeRefTime& change, void* transaction) {
    return SubclientChange(id_, transaction).make([&change](SubclientChange& of) {
        return of.setReferenceTime(change.getTime().getSeconds());
    });
}
