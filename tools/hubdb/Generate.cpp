#include "hubdb/Generate.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <initializer_list>
#include <span>
#include <string_view>
#include <vector>

#include "Db/Tbl/HubTables.h"
#include "common/Database.h"
#include "db/BulkInsert.h"
#include "db/DBText.h"
#include "hubdb/Progress.h"

namespace {

/// Random numbers that are the same everywhere (splitmix64); the standard library's distributions are not.
class Random {
  public:
    explicit Random(std::uint64_t seed) : state_(seed) {}

    std::uint64_t next() {
        state_ += 0x9E3779B97F4A7C15U;
        std::uint64_t mixed = state_;
        mixed = (mixed ^ (mixed >> 30U)) * 0xBF58476D1CE4E5B9U;
        mixed = (mixed ^ (mixed >> 27U)) * 0x94D049BB133111EBU;
        return mixed ^ (mixed >> 31U);
    }
    /// From 0 to `limit` - 1.
    int below(int limit) { return static_cast<int>(next() % static_cast<std::uint64_t>(limit)); }
    bool oneIn(int many) { return below(many) == 0; }
    template <class Choices> const auto& of(const Choices& choices) { return choices[next() % std::size(choices)]; }
    std::string hex(int digits) {
        std::string text;
        while (digits-- > 0)
            text += "0123456789abcdef"[next() >> 60U];
        return text;
    }

  private:
    std::uint64_t state_;
};

// ---- what agents are called and what they protect

/// How an agent type's content looks: paths, or parts joined by separator bytes.
enum class Content { kPaths, kPair, kDocument, kArchive, kMachine, kMailbox, kMailStore, kSql };

struct AgentKind {
    Content content;
    const char* name;
    std::span<const int> types;
};

constexpr int kPathTypes[] = {1, 11, 12, 13, 17, 18, 19, 20, 21, 29, 33, 34, 36, 38, 42, 43, 63, 64, 74, 86, 88};
constexpr int kPairTypes[] = {6, 7, 51, 52, 59, 60, 77, 90};
constexpr int kDocumentTypes[] = {46, 78, 89};
constexpr int kArchiveTypes[] = {25, 40};
constexpr int kMachineTypes[] = {65, 75, 76, 87};
constexpr int kMailboxTypes[] = {8, 14, 35, 44, 45, 54, 55, 56, 57, 67, 68, 82};
constexpr int kMailStoreTypes[] = {9, 15, 53};
constexpr int kSqlTypes[] = {4, 16, 70, 81};

constexpr AgentKind kAgentKinds[] = {
    {Content::kPaths, "File System", kPathTypes},           {Content::kPair, "Directory", kPairTypes},
    {Content::kDocument, "Document Store", kDocumentTypes}, {Content::kArchive, "Archive", kArchiveTypes},
    {Content::kMachine, "Virtual Machine", kMachineTypes},  {Content::kMailbox, "Mailbox", kMailboxTypes},
    {Content::kMailStore, "Mail Store", kMailStoreTypes},   {Content::kSql, "SQL Database", kSqlTypes},
};

constexpr int kNamelessType = 901; ///< an agent type whose display name is missing

constexpr const char* kWords[] = {"atlas", "birch", "cedar", "delta", "ember", "fjord", "grove", "harbor",
                                  "iris",  "jade",  "karst", "lumen", "maple", "north", "opal",  "pearl"};
constexpr const char* kWordsOfTheWorld[] = {"Zürich",  "Ødegård", "łódź",    "Αθήνα",      "Москва", "תל־אביב",
                                            "القاهرة", "मुंबई",     "กรุงเทพ",  "東京支店",   "서울",   "🗄️ archive",
                                            "o'brien", "a \"b\"", "100%;--", "back\\slash"};
constexpr int kStatusBits[] = {2, 4, 8, 6, 10};

constexpr std::int64_t kStart = 1'700'000'000; ///< the estate's clock, Unix seconds
constexpr int kPolicies = 12;
constexpr int kHubCell = 2;
constexpr int kMissing = 1'000'000'000; ///< added to an id, names a row that is not there

struct Subclient {
    int id;
    int clientId;
    int appTypeId;
    int instanceId;
    int backupSetId;
};

OVDBText text(std::string bytes) {
    return {std::move(bytes), false};
}
OVDBText nullText() {
    return {"", true};
}

class Estate {
  public:
    Estate(hubdb::BulkInsert& insert, const EstateSize& size)
        : insert_(insert), size_(size), random_(static_cast<std::uint64_t>(size.seed)) {}

    std::uint64_t fill();

  private:
    /// Inserts a row; `nulls` are the columns that are NULL in spite of what it holds.
    template <class Descriptor>
    void add(const typename Descriptor::Row& row, std::initializer_list<std::string_view> nulls = {}) {
        insertRow(Descriptor::kRow, reinterpret_cast<const char*>(&row), nulls);
    }
    void insertRow(const OVDBRowDeclaration& table, const char* row, std::initializer_list<std::string_view> nulls);

    void addOperatingSystems();
    void addAgentTypes();
    void addPolicies();
    void addParameters();
    void addUsers();
    void addSessions();
    void addClient(int id);
    void addMediaAgent(int clientId);
    void addAgent(int clientId, const AgentKind& kind, int appTypeId);
    void addInstance(int clientId, const AgentKind& kind, int appTypeId);
    void addBackupSet(int clientId, const AgentKind& kind, int appTypeId, int instanceId);
    void addSubclient(const Subclient& subclient, const AgentKind& kind, bool isDefault);
    void addContent(int subclientId, Content content);
    void addJobs();
    void addRunningJob(int jobId, bool isBackup);
    void addFinishedJob(int jobId);

    /// A property and, now and then, the value that it had before.
    template <class Descriptor>
    void addProperty(int& lastId, int owner, std::string_view name, int type, std::string value) {
        typename Descriptor::Row row{};
        row.componentNameId = owner;
        dbSetText(row.attrName, name);
        row.attrType = type;
        row.created = moment();
        if (random_.oneIn(6)) {
            row.id = ++lastId;
            row.attrVal = random_.oneIn(4) ? nullText() : text("before " + value);
            row.modified = row.created + 3600;
            add<Descriptor>(row);
        }
        row.id = ++lastId;
        row.attrVal = text(std::move(value));
        row.modified = 0;
        add<Descriptor>(row);
    }

    std::string word() { return random_.oneIn(12) ? random_.of(kWordsOfTheWorld) : random_.of(kWords); }
    std::string words(std::string_view separators);
    std::string contentEntry(Content content);
    int status(int many) { return random_.oneIn(many) ? random_.of(kStatusBits) : 0; }
    std::int64_t moment() { return kStart - random_.below(90'000'000); }
    const AgentKind& nextKind(int& type);

    hubdb::BulkInsert& insert_;
    const EstateSize& size_;
    Random random_;
    std::uint64_t rows_ = 0;
    std::vector<hubdb::BulkValue> values_;

    std::vector<Subclient> subclients_;
    std::string clientName_;
    std::size_t nextType_ = 0;
    int users_ = 0;
    int agents_ = 0;
    int instances_ = 0;
    int backupSets_ = 0;
    int instanceProperties_ = 0;
    int backupSetProperties_ = 0;
    int subclientProperties_ = 0;
    int contents_ = 0;
    int volumes_ = 0;
};

hubdb::BulkValue valueOf(const OVDBColumn& column, const char* row) {
    const char* const member = row + column.offset;
    if (column.isFixedText())
        return hubdb::Value::ofText({member, strnlen(member, column.size)});
    if (column.isInteger()) {
        std::int32_t narrow = 0;
        std::int64_t wide = 0;
        if (column.size == sizeof narrow) {
            std::memcpy(&narrow, member, sizeof narrow);
            return hubdb::Value::int32(narrow);
        }
        std::memcpy(&wide, member, sizeof wide);
        return hubdb::Value::int64(wide);
    }
    const auto& owned = *reinterpret_cast<const OVDBText*>(member);
    return owned.isNull ? hubdb::Value::null() : hubdb::Value::ofText(owned.bytes);
}

[[noreturn]] void throwFailure(const std::string& place, const hubdb::BulkError& error) {
    throw tools::CommandError(tools::kExitFailed,
                              place + error.words + " (database status " + std::to_string(error.status) + ")" +
                                  (error.status == kDbConstraint ? ": only an empty database can be filled" : ""));
}

void Estate::insertRow(const OVDBRowDeclaration& table, const char* row,
                       std::initializer_list<std::string_view> nulls) {
    values_.clear();
    for (const auto& column : table.columns)
        values_.push_back(std::ranges::count(nulls, column.name) != 0 ? hubdb::Value::null() : valueOf(column, row));
    hubdb::BulkError error;
    if (insert_.insert(table, values_, error) != kDbOk)
        throwFailure(std::string(table.object) + ": ", error);
    ++rows_;
}

// ---- what the whole estate shares

void Estate::addOperatingSystems() {
    constexpr const char* kSystems[][2] = {{"Linux", "Unix"},         {"BSD", "Unix"},
                                           {"Desktop OS", "Desktop"}, {"Server OS", "Server"},
                                           {"Hypervisor", "Virtual"}, {"Mainframe", "Host"}};
    int id = 0;
    for (const auto& [name, type] : kSystems) {
        SimOperatingSystem_t row{};
        row.id = ++id;
        dbSetText(row.Name, name);
        dbSetText(row.Type, type);
        dbSetText(row.SubType, "x86-64");
        dbSetText(row.Version, std::to_string(10 + id));
        dbSetText(row.PlatformType, type);
        add<SimOperatingSystem_t2>(row, id == 6 ? std::initializer_list<std::string_view>{"SubType"}
                                                : std::initializer_list<std::string_view>{});
    }
}

void Estate::addAgentTypes() {
    for (const auto& kind : kAgentKinds)
        for (const int type : kind.types) {
            APP_iDAType_t row{};
            row.type = type;
            dbSetText(row.name, std::string(kind.name) + " Agent " + std::to_string(type));
            add<APP_iDAType_t2>(row);
        }
}

void Estate::addPolicies() {
    for (int id = 1; id <= kPolicies; ++id) {
        ArchGroup_t row{};
        row.id = id;
        row.defaultCopy = id;
        dbSetText(row.name, id == kPolicies ? "policy-1" : "policy-" + std::to_string(id)); // one name twice
        row.description = id % 3 == 0 ? nullText() : text("kept for " + std::to_string(id * 30) + " days");
        row.maxStreams = 8;
        row.type = 1;
        dbSetText(row.TimeZone, "UTC");
        add<ArchGroup_t2>(row);
    }
}

void Estate::addParameters() {
    constexpr const char* kParameters[][2] = {{"VSDKSessionTimeOut", "30"},
                                              {"VSDKSessionsAudit", "1"},
                                              {"DefaultADUserDomain", "example"},
                                              {"DefaultHSDomain", ""}};
    int id = 0;
    for (const auto& [name, value] : kParameters) {
        ZXGlobalParam_t row{};
        row.id = ++id;
        dbSetText(row.name, name);
        row.value = text(value);
        row.created = kStart;
        add<ZXGlobalParam_t2>(row);
    }
}

void Estate::addUsers() {
    users_ = 10 + size_.clients / 1000;
    for (int id = 1; id <= users_; ++id) {
        UMUsers_t row{};
        row.id = id;
        const std::string name = id == 1 ? "admin" : word() + "-" + std::to_string(id);
        dbSetText(row.name, name);
        dbSetText(row.login, id % 4 == 0 ? "example\\" + name : name);
        dbSetText(row.email, "user" + std::to_string(id) + "@example.org");
        row.description = id % 2 == 0 ? nullText() : text("generated");
        row.enabled = id % 7 == 0 ? 0 : 1; // without a password nobody logs in as one of them
        row.modified = moment();
        row.umDSproviderId = id % 4 == 0 ? 1 : 0;
        dbSetText(row.userGuid, random_.hex(32));
        if (id % 3 == 0)
            add<UMUsers_t2>(row, {"password", "salt", "Pager", "origUserGuid"});
        else
            add<UMUsers_t2>(row);

        UMJobVisibility_t visible{};
        visible.userId = id;
        visible.clientId = id == 1 ? 0 : 2 + random_.below(size_.clients);
        if (id % 5 != 0) // the others see no job
            add<UMJobVisibility_t2>(visible);
    }
}

void Estate::addSessions() {
    for (int id = 1; id <= size_.sessions; ++id) {
        UMVSDKSessions_t row{};
        row.id = id;
        row.userId = 1 + random_.below(users_);
        dbSetText(row.GUID, random_.hex(64));
        dbSetText(row.userName, "user-" + std::to_string(row.userId));
        row.created = moment();
        row.lastAccessedTime = row.created + random_.below(100'000);
        row.referenceCount = 1 + random_.below(3);
        dbSetText(row.hostName, "console-" + std::to_string(id));
        row.timeout = random_.oneIn(3) ? 5 : 0;
        add<UMVSDKSessions_t2>(row);
    }
}

// ---- clients and what is on them

void Estate::addClient(int id) {
    APP_Client_t row{};
    row.id = id;
    if (id == 1)
        clientName_ = "hubserver";
    else if (!random_.oneIn(200)) // else the name of the client before
        clientName_ = word() + "-" + std::to_string(id);
    dbSetText(row.name, clientName_);
    dbSetText(row.displayName, clientName_);
    dbSetText(row.net_hostname, "host-" + std::to_string(id) + ".example.org");
    dbSetText(row.hsHostName, "hubserver.example.org");
    row.simOperatingSystemId = random_.oneIn(300) ? 77 : 1 + random_.below(6);
    row.refTime = moment();
    row.clientDescription = random_.oneIn(2) ? nullText() : text("rack " + std::to_string(random_.below(40)));
    dbSetText(row.jobResultDir, "/var/hub/results");
    row.ovdPort = 8400;
    row.evmgrcPort = 8402;
    row.status = status(40);
    row.releaseId = 10 + random_.below(6);
    dbSetText(row.GUID, random_.hex(32));
    if (random_.oneIn(10))
        add<APP_Client_t2>(row, {"client_password", "offlineTimeStamp", "displayName"});
    else
        add<APP_Client_t2>(row);

    constexpr int kClientsPerMediaAgent = 100;
    if (id % kClientsPerMediaAgent == 1)
        addMediaAgent(id);
    if (id == 1)
        return; // the hub server backs up nobody
    const auto& files = kAgentKinds[0];
    addAgent(id, files, random_.of(files.types));
    for (int more = random_.below(3); more > 0; --more) {
        int type = 0;
        const auto& kind = nextKind(type);
        addAgent(id, kind, type);
    }
}

/// Every agent type but those of the file systems, again and again.
const AgentKind& Estate::nextKind(int& type) {
    const std::span<const AgentKind> kinds = std::span(kAgentKinds).subspan(1);
    std::size_t count = 0;
    for (const auto& kind : kinds)
        count += kind.types.size();
    std::size_t at = nextType_++ % count;
    auto kind = kinds.begin();
    for (; at >= kind->types.size(); ++kind)
        at -= kind->types.size();
    type = kind->types[at];
    return *kind;
}

void Estate::addMediaAgent(int clientId) {
    MMHost_t row{};
    row.ClientId = clientId;
    row.MmHostEnabled = 1;
    row.OfflineReason = random_.oneIn(10) ? 1 : 0;
    dbSetText(row.IndexCachePathName, "/var/hub/index");
    row.Descript = random_.oneIn(2) ? nullText() : text("media agent");
    row.MaxReservations = 100;
    add<MMHost_t2>(row);
}

void Estate::addAgent(int clientId, const AgentKind& kind, int appTypeId) {
    APP_IDAName_t row{};
    row.id = ++agents_;
    row.clientId = random_.oneIn(1000) ? clientId + kMissing : clientId;
    row.appTypeId = random_.oneIn(150) ? kNamelessType : appTypeId;
    row.status = status(10);
    row.refTime = moment();
    row.modified = random_.oneIn(20) ? kStart : 0;
    if (random_.oneIn(50))
        add<APP_IDAName_t2>(row, {"status", "ccpTime"});
    else
        add<APP_IDAName_t2>(row);
    for (int more = random_.oneIn(8) ? 2 : 1; more > 0; --more)
        addInstance(clientId, kind, row.appTypeId);
}

void Estate::addInstance(int clientId, const AgentKind& kind, int appTypeId) {
    APP_InstanceName_t row{};
    row.id = ++instances_;
    dbSetText(row.name, kind.content == Content::kPaths  ? "DefaultInstance"
                        : kind.content == Content::kPair ? word() + "\x12" + "node" + std::to_string(row.id)
                                                         : word() + "-" + std::to_string(row.id));
    row.refTime = moment();
    row.status = status(30);
    dbSetText(row.GUID, random_.hex(32));
    add<APP_InstanceName_t2>(row);
    if (random_.oneIn(2))
        addProperty<APP_InstanceProp_t2>(instanceProperties_, row.id, "User Description", 1, "instance on " + word());
    for (int more = random_.oneIn(8) ? 2 : 1; more > 0; --more)
        addBackupSet(clientId, kind, appTypeId, row.id);
}

void Estate::addBackupSet(int clientId, const AgentKind& kind, int appTypeId, int instanceId) {
    APP_BackupSetName_t row{};
    row.id = ++backupSets_;
    dbSetText(row.name, random_.oneIn(5) ? word() : "defaultBackupSet");
    row.refTime = moment();
    row.modified = moment();
    row.status = status(30);
    dbSetText(row.GUID, random_.hex(32));
    const bool missing = random_.oneIn(300);
    if (!missing)
        add<APP_BackupSetName_t2>(row);
    if (random_.oneIn(2))
        addProperty<APP_BackupSetProp_t2>(backupSetProperties_, row.id, "User Description", 1, "set of " + word());
    if (random_.oneIn(4))
        addProperty<APP_BackupSetProp_t2>(backupSetProperties_, row.id, "On Demand Backupset", 1,
                                          random_.oneIn(2) ? "1" : "0");
    const int subclients = 1 + random_.below(2);
    for (int i = 0; i < subclients; ++i)
        addSubclient({static_cast<int>(subclients_.size()) + 1, clientId, appTypeId, instanceId, row.id}, kind, i == 0);
}

void Estate::addSubclient(const Subclient& subclient, const AgentKind& kind, bool isDefault) {
    subclients_.push_back(subclient);
    APP_Application_t row{};
    row.id = subclient.id;
    row.clientId = subclient.clientId;
    row.appTypeId = random_.oneIn(300) ? -1 : subclient.appTypeId;
    row.instance = subclient.instanceId;
    row.backupSet = subclient.backupSetId;
    row.appNumber = subclient.id;
    row.dataArchGrpID = random_.oneIn(300) ? kMissing : 1 + random_.below(kPolicies);
    row.logArchGrpID = 1 + random_.below(kPolicies);
    row.refTime = moment();
    dbSetText(row.subclientName, isDefault ? "default" : word());
    row.subclientStatus = status(15);
    dbSetText(row.GUID, random_.hex(32));
    if (random_.oneIn(300))
        add<APP_Application_t2>(row, {"appTypeId", "logArchGrpID", "GUID"});
    else
        add<APP_Application_t2>(row);

    if (!random_.oneIn(50)) {
        ArchPipeConfig_t pipe{};
        pipe.appNumber = row.id;
        pipe.compressWhere = random_.below(3);
        pipe.numNWAgents = 1 + random_.below(4);
        add<ArchPipeConfig_t2>(pipe);
    }
    if (random_.oneIn(20)) {
        JMActivityControl_t activity{};
        activity.subclientId = row.id;
        activity.opType = random_.oneIn(2) ? 4 : 57;
        activity.enabled = random_.oneIn(3) ? 1 : 0;
        add<JMActivityControl_t2>(activity);
    }
    if (random_.oneIn(2))
        addProperty<APP_SubClientProp_t2>(subclientProperties_, row.id, "Number of Data Readers", 2,
                                          std::to_string(1 + random_.below(8)));
    if (random_.oneIn(10))
        addProperty<APP_SubClientProp_t2>(subclientProperties_, row.id, "Subclient Policy", 2,
                                          std::to_string(1 + random_.below(9)));
    addContent(row.id, kind.content);
}

/// Words with separators between them. One statement for each random number: the order in which operands are evaluated
/// is the compiler's own.
std::string Estate::words(std::string_view separators) {
    std::string text = word();
    for (const char separator : separators) {
        text += separator;
        text += word();
    }
    return text;
}

std::string Estate::contentEntry(Content content) {
    switch (content) {
    case Content::kPaths: {
        const bool isShare = random_.oneIn(3);
        return isShare ? R"(\\server\share\)" + word() : "/srv/" + words("/");
    }
    case Content::kDocument: {
        const std::string path = words("\x13");
        return path + "\x0E" + random_.hex(8);
    }
    case Content::kArchive:
        return words("\x15");
    case Content::kMachine:
        return words("\x12\x13\x15");
    case Content::kSql:
        return word() + "_db";
    case Content::kPair:
    case Content::kMailbox:
    case Content::kMailStore:
        break;
    }
    return words("\x12");
}

void Estate::addContent(int subclientId, Content content) {
    constexpr int kSqlProperty = 118;
    constexpr int kMailboxProperty = 111;
    constexpr int kMailStoreProperty = 112;
    for (int entries = 1 + random_.below(3); entries > 0; --entries) {
        APP_ScFilterFile_t row{};
        row.id = ++contents_;
        row.componentNameId = subclientId;
        row.type = random_.oneIn(4) ? 2 + random_.below(2) : 1;
        row.fileName = random_.oneIn(200) ? nullText() : text(contentEntry(content));
        row.created = moment();
        row.modified = random_.oneIn(5) ? row.created + 86400 : 0;
        add<APP_ScFilterFile_t2>(row);

        if (content == Content::kSql) {
            const std::string name = word() + "_db";
            addProperty<APP_SubClientProp_t2>(subclientProperties_, subclientId, name, kSqlProperty,
                                              std::to_string(1 + random_.below(500)));
        } else if (content == Content::kMailbox) {
            addProperty<APP_SubClientProp_t2>(subclientProperties_, subclientId, "mailbox", kMailboxProperty,
                                              words("\x12\x12"));
        } else if (content == Content::kMailStore) {
            addProperty<APP_SubClientProp_t2>(subclientProperties_, subclientId, "store", kMailStoreProperty,
                                              words("\x12"));
        }
    }
}

// ---- jobs

void Estate::addJobs() {
    const int jobs = size_.jobs < 0 ? size_.clients : size_.jobs;
    for (int jobId = 1; jobId <= jobs && !subclients_.empty(); ++jobId) {
        const Subclient& on = random_.of(subclients_);
        const bool isBackup = !random_.oneIn(5);
        JMJobEntity_t row{};
        row.jobId = jobId;
        row.hubCellId = kHubCell;
        row.clientId = on.clientId;
        row.appTypeId = on.appTypeId;
        row.instanceId = on.instanceId;
        row.backupSetId = on.backupSetId;
        row.subclientId = random_.oneIn(100) ? on.id + kMissing : on.id;
        row.backupLevel = 1 + random_.below(4);
        row.destClientId = isBackup ? on.clientId : 2 + random_.below(size_.clients);
        add<JMJobEntity_t2>(row);
        if (jobId % 10 == 0)
            addRunningJob(jobId, isBackup);
        else
            addFinishedJob(jobId);
    }
}

void Estate::addRunningJob(int jobId, bool isBackup) {
    constexpr int kBackup = 4;
    constexpr int kRestore = 5;
    JMJobInfo_t row{};
    row.jobId = jobId;
    row.hubCellId = kHubCell;
    row.opType = isBackup ? kBackup : kRestore;
    row.userId = random_.oneIn(10) ? users_ + kMissing : 1 + random_.below(users_);
    row.currentPhase = 1 + random_.below(4);
    row.currentPhaseName = text(row.currentPhase == 4 ? "Archive Index" : "Scan");
    row.jobStartTime = static_cast<std::int32_t>(kStart - random_.below(40'000));
    row.attemptStartTime = row.jobStartTime;
    row.state = 1;
    row.displayState = random_.oneIn(20) ? 9 : 1 + random_.below(5);
    row.percentcomplete = random_.below(100);
    row.opUsername = text("user-" + std::to_string(row.userId));
    row.libraryList = nullText();
    row.jobCategory = isBackup ? 1 : 2; // NULL in every other row
    dbSetText(row.failureReason, "19\rno path to " + word() + "\n82\rtry again\tlater\n");
    if (random_.oneIn(2))
        add<JMJobInfo_t2>(row, {"failureReason", "jobCategory", "currentPhaseName"});
    else
        add<JMJobInfo_t2>(row);
}

void Estate::addFinishedJob(int jobId) {
    JMJobStats_t row{};
    row.jobId = jobId;
    row.status = random_.oneIn(8) ? 3 : 1;
    row.opType = 4;
    row.hubCellId = kHubCell;
    row.jobDescription = random_.oneIn(3) ? text("job of " + word()) : nullText();
    row.xmlJobInfo = nullText();
    add<JMJobStats_t2>(row);
    if (!random_.oneIn(20))
        return;
    SMVolume_t volume{};
    volume.SMVolumeId = ++volumes_;
    volume.jobId = jobId;
    volume.hubCellId = kHubCell;
    volume.sourcePath = text("/srv/" + word());
    volume.creationTime = moment();
    volume.mountStatus = random_.below(3);
    volume.mountHostId = 2 + random_.below(size_.clients);
    volume.mountPath = volume.mountStatus == 0 ? nullText() : text("/mnt/snap" + std::to_string(volume.SMVolumeId));
    add<SMVolume_t2>(volume);
}

std::uint64_t Estate::fill() {
    Progress progress("generating");
    addOperatingSystems();
    addAgentTypes();
    addPolicies();
    addParameters();
    addUsers();
    addSessions();
    for (int id = 1; id <= size_.clients + 1; ++id) {
        addClient(id);
        progress.show(static_cast<std::uint64_t>(id), static_cast<std::uint64_t>(size_.clients), rows_);
    }
    addJobs();
    return rows_;
}

} // namespace

Answer generateEstate(const hubdb::DatabaseUrl& url, const EstateSize& size) {
    tools::requireDatabase(url);
    hubdb::BulkInsert insert;
    std::string error;
    if (insert.begin(url, error) != kDbOk)
        throw tools::CommandError(tools::kExitFailed, error);
    const std::uint64_t rows = Estate(insert, size).fill();
    if (hubdb::BulkError failure; insert.commit(failure) != kDbOk)
        throwFailure("", failure);
    return {"generated " + std::to_string(size.clients) + " clients, " + std::to_string(rows) + " rows\n"};
}
