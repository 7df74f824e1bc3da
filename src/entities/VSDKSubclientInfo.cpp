#include "entities/VSDKSubclientInfo.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <string_view>

#include "Db/Tbl/APP_Application.h"
#include "Db/Tbl/APP_ScFilterFile.h"
#include "Db/Tbl/APP_SubClientProp.h"
#include "Db/Tbl/ArchPipeConfig.h"
#include "appmgr/ApplicationId.h"
#include "appmgr/ClientApplicationList.h"
#include "db/EachRow.h"
#include "db/NumberOf.h"
#include "db/ReadScope.h"
#include "entities/VSDKBackupsetInfo.h"
#include "entities/VSDKStoragePolicyInfo.h"
#include "jobmgr/JMActivityCtrl.h"
#include "log/EvDebug.h"
#include "log/Utf8Cut.h"

namespace {

constexpr int kFetchFailed = 1284;
constexpr const char* kFetchProperties = "FetchProperties"; // the tag of its log lines

constexpr OVOpType kBackup{4};
constexpr OVOpType kOperation57{57};

/// A text in a buffer of 1,024 bytes: what does not fit is cut, at a character.
std::string bounded(std::string text) {
    constexpr std::size_t kBuffer = 1024;
    if (text.size() >= kBuffer)
        text.resize(evlog::utf8Cut(text, kBuffer - 1));
    return text;
}

std::string mailboxEntry(const ExchangeMBoxProperty& mailbox) {
    constexpr char kSeparator = specialchars::kSeparatorA;
    return bounded(mailbox.getDisplayName(false) + kSeparator + mailbox.getContainer() + kSeparator +
                   mailbox.getMailBoxName(false));
}

std::string mailDatabaseEntry(const ExchangeDBProperty& database) {
    return bounded(database.getDescription() + '\\' + database.getStoreName());
}

} // namespace

VSDK_Subclient::VSDK_Subclient(int subclient)
    : appTypeId(0), subclientId(subclient), status(0), backupSetModifiedTime(0), numNWAgents(0), compressWhere(0),
      activityFlags(0), applicationNumber1(0), applicationNumber2(0), applicationNumber3(0), subclientPolicyId(0),
      dataStoragePolicyId(0), indexStoragePolicyId(0), dataReaders(0), stagedContent(nullptr), changeMask(0),
      commitAppTypeId(0), transaction(nullptr), commitOutcome(CommitOutcome::kNone) {}

VSDK_Subclient::ContentKind VSDK_Subclient::contentKind(unsigned long appType) {
    static constexpr std::array kPathTypes{
        1UL,  11UL, 12UL, 13UL, 17UL, 18UL, 19UL, 20UL, 21UL, 29UL, 33UL,
        34UL, 36UL, 38UL, 42UL, 43UL, 63UL, 64UL, 74UL, 86UL, 88UL, ApplicationId::kUnsetAppType};
    static constexpr std::array kSqlTypes{4UL, 16UL, 70UL, 81UL};
    static constexpr std::array kMailboxTypes{8UL, 14UL, 35UL, 44UL, 45UL, 54UL, 55UL, 56UL, 57UL, 67UL, 68UL, 82UL};
    static constexpr std::array kMailDatabaseTypes{9UL, 15UL, 53UL};
    const auto isOneOf = [appType](const auto& types) { return std::ranges::find(types, appType) != types.end(); };
    return isOneOf(kPathTypes)           ? ContentKind::kPaths
           : isOneOf(kSqlTypes)          ? ContentKind::kSqlDatabases
           : isOneOf(kMailboxTypes)      ? ContentKind::kMailboxes
           : isOneOf(kMailDatabaseTypes) ? ContentKind::kMailDatabases
                                         : ContentKind::kOther;
}

int VSDK_Subclient::FetchProperties(APP_Application_t* row, bool allSubclients) {
    ApplicationId application(ApplicationId::kSubclientLevel, static_cast<unsigned long>(subclientId));
    Subclient* const subclient = application.getSubclient(nullptr);

    APP_Application own(nullptr);
    if (row == nullptr) {
        own.setIsolationType(4);
        own.setWhere("id=%d", subclientId);
        if (getOneRow(&own, false, -1, 0) != 0) {
            EvDebug::Error(kFetchProperties, "Get subclient info failed.");
            return kFetchFailed;
        }
        row = own.getDataPtr();
    }
    if (subclient == nullptr) {
        EvDebug::Error(kFetchProperties, "Subclient pointer is NULL");
        return kFetchFailed;
    }
    unsigned long appType = ApplicationId::kUnsetAppType;
    (void)application.getAppType(appType, nullptr);
    name = subclient->getName();
    appTypeId = static_cast<int>(appType);
    status = row->subclientStatus;
    if (!allSubclients && (status & kLeftOut) != 0)
        return 0;

    VSDK_Backupset backupSet(row->backupSet);
    if (backupSet.FetchProperties(nullptr) != 0)
        return kFetchFailed;
    backupSetModifiedTime = backupSet.GetLastModifiedTime();

    VSDK_StoragePolicy policy(row->dataArchGrpID);
    if (policy.FetchProperties(nullptr) != 0)
        return kFetchFailed;
    storagePolicyName = policy.GetName();

    const ContentKind kind = contentKind(appType);
    if (kind == ContentKind::kPaths) {
        BackupContent texts;
        (void)subclient->getBackupContent(texts, nullptr);
        for (std::string& text : texts.takeTexts())
            content.push_back(std::move(text));
    } else {
        fetchFilterEntries();
    }
    fetchTransferSettings();
    (void)subclient->getNumberOfDataReaders(applicationNumber1, nullptr);
    applicationNumber2 = subclient->getDataStoragePolicyId();
    applicationNumber3 = subclient->getIndexStoragePolicyId();
    (void)subclient->getUserDescription(applicationText, nullptr);
    (void)subclient->getSubclientPolicyId(subclientPolicyId, nullptr);

    JMActivityCtrl activity;
    bool enabled = false;
    (void)activity.isSubclientEnabled(subclientId, enabled, kBackup);
    if (enabled)
        activityFlags |= kBackupActivity;
    (void)activity.isSubclientEnabled(subclientId, enabled, kOperation57);
    if (enabled)
        activityFlags |= kOperation57Activity;

    if (kind == ContentKind::kSqlDatabases)
        fetchSqlContent();
    else if (kind == ContentKind::kMailboxes || kind == ContentKind::kMailDatabases)
        return fetchMailContent(*subclient, kind == ContentKind::kMailDatabases);
    return 0;
}

void VSDK_Subclient::fetchFilterEntries() {
    APP_ScFilterFile entries(nullptr);
    entries.setIsolationType(4);
    entries.setWhere("componentNameId=%d and type>0 and modified=0", subclientId);
    eachRow(entries, [this](const APP_ScFilterFile_t& row) {
        if (!row.fileName.isNull)
            content.push_back(ReplaceSpecialChars(row.fileName.bytes));
    });
}

void VSDK_Subclient::fetchTransferSettings() {
    ArchPipeConfig settings(nullptr);
    settings.setIsolationType(4);
    settings.setWhere("appNumber = %d", subclientId);
    eachRow(settings, [this](const ArchPipeConfig_t& row) {
        numNWAgents = row.numNWAgents;
        compressWhere = row.compressWhere;
    });
}

void VSDK_Subclient::fetchSqlContent() {
    APP_SubClientProp databases(nullptr);
    databases.setIsolationType(4);
    databases.setWhere("componentNameId=%d and attrType=118 and modified=0", subclientId);
    eachRow(databases, [this](const APP_SubClientProp_t& row) {
        sqlContent.push_back({numberOf(row.attrVal.bytes), row.attrName});
    });
}

int VSDK_Subclient::fetchMailContent(Subclient& subclient, bool databases) {
    ApplProperties* const view = subclient.getPropertyView();
    if (view == nullptr) {
        EvDebug::Error(kFetchProperties, "Exchange Subclient pointer is NULL");
        return kFetchFailed;
    }
    PropertiesList properties;
    if (view->getProperties(properties, nullptr) != 0)
        return kFetchFailed;
    for (const auto& property : properties) {
        if (databases) {
            if (const auto* database = dynamic_cast<const ExchangeDBProperty*>(property.get()))
                content.push_back(mailDatabaseEntry(*database));
        } else if (const auto* mailbox = dynamic_cast<const ExchangeMBoxProperty*>(property.get())) {
            content.push_back(mailboxEntry(*mailbox));
        }
    }
    return 0;
}

int VSDK_Subclient::GetSubclientId() {
    return subclientId;
}

std::string VSDK_Subclient::GetName() {
    return name;
}

std::list<std::string>& VSDK_Subclient::GetContent() {
    return content;
}

int VSDK_Subclient::GetStatus() {
    return status;
}

std::string VSDK_Subclient::ReplaceSpecialChars(const std::string& text) {
    return VSDKDB_Base::ReplaceSpecialChars(text, appTypeId);
}

VSDK_SubclientList::VSDK_SubclientList(int client, int appType, int instance, int backupSet)
    : clientId(client), appTypeId(appType), instanceId(instance), backupSetId(backupSet) {}
VSDK_SubclientList::~VSDK_SubclientList() = default;

VSDK_SubclientList& VSDK_SubclientList::FetchSubclients(bool fetchProperties, bool allSubclients) {
    if (fetched)
        return *this;
    hubdb::ReadScope scope(fetchProperties);
    scope.begin();
    std::list<unsigned long> ids;
    std::list<std::string> names;
    ClientApplicationList applications;
    applications.getSubclientList(ids, names, static_cast<unsigned long>(clientId),
                                  static_cast<unsigned long>(appTypeId), static_cast<unsigned long>(instanceId),
                                  static_cast<unsigned long>(backupSetId), nullptr, 1);
    const auto read = [&](int id) {
        auto subclient = std::make_unique<VSDK_Subclient>(id);
        if (fetchProperties)
            (void)subclient->FetchProperties(nullptr, allSubclients);
        if (allSubclients || (subclient->GetStatus() & VSDK_Subclient::kLeftOut) == 0)
            append(std::move(subclient));
    };
    // Of a subclient that will be left out only its row is read.
    const auto foresee = [&](std::span<const int> chunk) {
        APP_Application row(nullptr);
        row.setIsolationType(4);
        for (const int id : chunk) {
            if (allSubclients || !scope.isOpen())
                break;
            row.setWhere("id=%d", id);
            if (getOneRow(&row, false, -1, 0) == 0 &&
                (row.getDataPtr()->subclientStatus & VSDK_Subclient::kLeftOut) != 0)
                scope.leaveOut(id);
        }
    };
    scope.each(APP_Application_t2::kRow, ids, read, foresee);
    fetched = true;
    return *this;
}
