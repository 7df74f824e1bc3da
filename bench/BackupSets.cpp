#include "BackupSets.h"

#include <cstdint>
#include <stdexcept>
#include <string_view>
#include <vector>

#include "Columns.h"
#include "Db/Tbl/HubTables.h"
#include "db/BulkInsert.h"
#include "db/DBText.h"

namespace {

constexpr int kFirstId = 500'000'000; ///< beyond what an estate's generator uses
constexpr int kFileSystem = 12;
constexpr int kPolicies = 12; ///< an estate has them
constexpr std::int64_t kStart = 1'700'000'000;

hubdb::BulkValue valueOf(std::int32_t number) {
    return hubdb::Value::int32(number);
}
hubdb::BulkValue valueOf(std::int64_t number) {
    return hubdb::Value::int64(number);
}
hubdb::BulkValue valueOf(const char* text) {
    return hubdb::Value::ofText(text);
}
hubdb::BulkValue valueOf(const OVDBText& text) {
    return hubdb::Value::ofText(text.bytes);
}

class Adder {
  public:
    explicit Adder(const std::string& url) {
        hubdb::DatabaseUrl parsed;
        std::string error;
        if (!hubdb::DatabaseUrl::parse(url, parsed, error) || insert_.begin(parsed, error) != kDbOk)
            throw std::runtime_error(error);
    }

    void addSet(const BenchBackupSet& set);
    void commit() {
        hubdb::BulkError error;
        check(insert_.commit(error), error);
    }

  private:
    template <class Descriptor> void add(const typename Descriptor::Row& row) {
        BufferRow<Descriptor> columns{row};
        std::vector<hubdb::BulkValue> values;
        eachColumn(columns, [&values](const auto& value) { values.push_back(valueOf(value)); });
        hubdb::BulkError error;
        check(insert_.insert(Descriptor::kRow, values, error), error);
    }
    template <class Descriptor>
    void addProperty(int owner, std::string_view name, const std::string& value, std::int64_t modified = 0) {
        typename Descriptor::Row row{};
        row.id = ++lastId_;
        row.componentNameId = owner;
        dbSetText(row.attrName, name);
        row.attrType = 1;
        row.attrVal.bytes = value;
        row.created = kStart;
        row.modified = modified;
        add<Descriptor>(row);
    }
    void addEntry(int owner, int type, const std::string& path, std::int64_t modified = 0);
    void addSubclient(const BenchBackupSet& set, int id, int number);

    static void check(int status, const hubdb::BulkError& error) {
        if (status != kDbOk)
            throw std::runtime_error(error.words);
    }

    hubdb::BulkInsert insert_;
    int lastId_ = kFirstId;
};

void Adder::addSet(const BenchBackupSet& set) {
    APP_Client_t client{};
    client.id = set.clientId;
    dbSetText(client.name, "fileserver-" + std::to_string(set.clientId));
    client.simOperatingSystemId = 1;
    add<APP_Client_t2>(client);
    APP_InstanceName_t instance{};
    instance.id = set.instanceId;
    dbSetText(instance.name, "DefaultInstance");
    add<APP_InstanceName_t2>(instance);
    APP_BackupSetName_t name{};
    name.id = set.backupSetId;
    dbSetText(name.name, "defaultBackupSet");
    name.modified = kStart + set.subclients;
    add<APP_BackupSetName_t2>(name);
    addProperty<APP_BackupSetProp_t2>(set.backupSetId, "User Description", "all file servers");
    addProperty<APP_BackupSetProp_t2>(set.backupSetId, "On Demand Backupset", "0");
    const int first = lastId_ + 1;
    lastId_ += set.subclients;
    for (int number = 0; number < set.subclients; ++number)
        addSubclient(set, first + number, number);
}

void Adder::addEntry(int owner, int type, const std::string& path, std::int64_t modified) {
    APP_ScFilterFile_t row{};
    row.id = ++lastId_;
    row.componentNameId = owner;
    row.type = type;
    row.fileName.bytes = path;
    row.created = kStart;
    row.modified = modified;
    add<APP_ScFilterFile_t2>(row);
}

void Adder::addSubclient(const BenchBackupSet& set, int id, int number) {
    const std::string text = std::to_string(number);
    APP_Application_t row{};
    row.id = id;
    row.clientId = set.clientId;
    row.appTypeId = set.appTypeId;
    row.instance = set.instanceId;
    row.backupSet = set.backupSetId;
    row.appNumber = id;
    row.dataArchGrpID = 1 + number % kPolicies;
    row.logArchGrpID = 1 + number % 5;
    row.refTime = kStart + number;
    dbSetText(row.subclientName, "share-" + text);
    row.subclientStatus = number % 50 == 49 ? 2 << number % 2 : number % 7 == 0 ? 8 : 0;
    dbSetText(row.GUID, "0f8fad5b-d9cb-469f-a165-" + std::to_string(id));
    add<APP_Application_t2>(row);

    ArchPipeConfig_t pipe{};
    pipe.appNumber = id;
    pipe.compressWhere = number % 3;
    pipe.numNWAgents = 1 + number % 4;
    add<ArchPipeConfig_t2>(pipe);

    for (const char* folder : {"home", "projects/archive", "mail"})
        addEntry(id, 1, "/srv/share-" + text + "/" + folder);
    if (number % 4 == 0)
        addEntry(id, 2, "/srv/share-" + text + "/home/*/.cache");
    if (number % 5 == 0)
        addEntry(id, 1, "/export/share-" + text, kStart + 1);

    addProperty<APP_SubClientProp_t2>(id, "User Description", "share " + text + " of the file server");
    addProperty<APP_SubClientProp_t2>(id, "Number of Data Readers", std::to_string(1 + number % 8));
    addProperty<APP_SubClientProp_t2>(id, "Subclient Policy", std::to_string(number % 9));
    if (number % 6 == 0)
        addProperty<APP_SubClientProp_t2>(id, "User Description", "before", kStart + 1);

    if (number % 10 == 0) {
        JMActivityControl_t activity{};
        activity.subclientId = id;
        activity.opType = number % 20 == 0 ? 4 : 57;
        activity.enabled = number % 3 == 0 ? 1 : 0;
        add<JMActivityControl_t2>(activity);
    }
}

} // namespace

BenchBackupSets::BenchBackupSets(int subclients) {
    int id = kFirstId;
    for (const auto& [set, size] : {std::pair(&tenth, subclients / 10), std::pair(&whole, subclients),
                                    std::pair(&tenfold, subclients * 10), std::pair(&fiftieth, subclients / 50)}) {
        ++id;
        *set = {id, kFileSystem, id, id, size};
    }
}

void addBackupSets(const std::string& url, const BenchBackupSets& sets) {
    Adder adder(url);
    for (const auto* set : {&sets.tenth, &sets.whole, &sets.tenfold, &sets.fiftieth})
        adder.addSet(*set);
    adder.commit();
}
