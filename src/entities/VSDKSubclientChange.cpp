// How a subclient is changed: what is staged, checked and committed. Its reading is VSDKSubclientInfo.cpp's.

#include <memory>
#include <unordered_set>
#include <utility>

#include "appmgr/ApplicationId.h"
#include "appmgr/FSSubclientConf.h"
#include "appmgr/SubclientConf.h"
#include "common/CharUtilities.h"
#include "db/DBtran.h"
#include "db/HubDatabase.h"
#include "entities/VSDKSubclientInfo.h"
#include "jobs/VSDKJobInfo.h"
#include "log/EvDebug.h"

namespace {

constexpr const char* kCommit = "Commit"; // the tag of its log lines

enum Code : int {
    kJobsNotListed = 1285,
    kContentFailed = 1538,
    kDataPolicyFailed = 1539,
    kIndexPolicyFailed = 1540,
    kJobIsActive = 1541,
    kNoSubclient = 1542,
    kPolicyNotRead = 1543,
    kFollowsPolicy = 1544,
    kReferenceTimeFailed = 1545,
    kNoTransaction = 1546,
    kContentNotSupported = 1548,
    kSetNotRead = 1793,
    kChangedByOthers = 1794,
    kContentInconsistent = 1795,
    kDescriptionFailed = 1800,
    kReadersFailed = 1801
};

/// The application manager's numbers for what is done, which are handed on as they are.
constexpr int kChangeDataPolicy = 0x8001;
constexpr int kChangeIndexPolicy = 0x8002;
constexpr int kChangeContent = 0x7000;

ApplicationId applicationOf(int subclientId) {
    return {ApplicationId::kSubclientLevel, static_cast<unsigned long>(subclientId)};
}

SubclientConf confOf(int subclientId) {
    return SubclientConf(static_cast<unsigned long>(subclientId));
}

/// A transaction in the object that commits, while this lives.
class Recorded {
  public:
    Recorded(DBtran*& place, DBtran& tran) : place_(place) { place_ = &tran; }
    ~Recorded() { place_ = nullptr; }
    Recorded(const Recorded&) = delete;
    Recorded& operator=(const Recorded&) = delete;

  private:
    DBtran*& place_;
};

} // namespace

void VSDK_Subclient::SetContent(std::vector<std::string>* paths) {
    stagedContent = paths;
    changeMask |= kContentStaged;
}

void VSDK_Subclient::SetSQLContent(std::list<_VSDK_SQLContent> databases) {
    sqlContent = std::move(databases);
    changeMask |= kContentStaged;
}

void VSDK_Subclient::SetDataStoragePolicy(int id) {
    dataStoragePolicyId = id;
    changeMask |= kDataStoragePolicyStaged;
}

void VSDK_Subclient::SetIndexStoragePolicy(int id) {
    indexStoragePolicyId = id;
    changeMask |= kIndexStoragePolicyStaged;
}

void VSDK_Subclient::SetDescription(std::string text) {
    description = std::move(text);
}

void VSDK_Subclient::setDataReaders(int readers) {
    dataReaders = readers;
}

// ---- the checks

int VSDK_Subclient::CanICommit() {
    HubDatabase::clearLastFailure();
    ApplicationId application = applicationOf(subclientId);
    if (application.getApplicationId(nullptr) != 0)
        return kNoSubclient;
    (void)application.getAppType(commitAppTypeId, nullptr);

    std::int64_t modified = 0;
    if (application.getBackupSet(nullptr)->getLastModifiedTime(modified, nullptr) != 0)
        return kSetNotRead;
    if (static_cast<int>(modified) != backupSetModifiedTime)
        return kChangedByOthers;

    VSDK_JobList running(0, 0, 0, 0, subclientId);
    std::vector<_VSDK_Job> jobs;
    if (running.FetchJobList(jobs, VSDK_JobList::kBackupJobs, 0) != 0)
        return kJobsNotListed;
    if (!jobs.empty())
        return kJobIsActive;

    unsigned long policy = 0;
    if (application.getSubclient(nullptr)->getSubclientPolicyId(policy, nullptr) != 0)
        return kPolicyNotRead;
    if (policy != 0)
        return kFollowsPolicy;

    if ((changeMask & kContentStaged) != 0 && contentKind(commitAppTypeId) == ContentKind::kPaths &&
        CheckContentConsistancy() != 0)
        return kContentInconsistent;
    return 0;
}

int VSDK_Subclient::CheckContentConsistancy() {
    FSSubclientConf conf(appTypeId);
    if (LoadMe(conf) == 0 && LoadAllExceptMe(conf) == 0)
        return 0;
    std::string words = conf.reason();
    if (words.empty())
        (void)HubDatabase::lastFailure(words);
    EvDebug::Error("CheckContentConsistancy", "subclient %d: %s", subclientId, words.c_str());
    return kContentInconsistent;
}

int VSDK_Subclient::LoadMe(FSSubclientConf& conf) {
    ApplicationId application = applicationOf(subclientId);
    if (application.getApplicationId(nullptr) != 0)
        return kNoSubclient;
    if (conf.setName(application.getSubclient(nullptr)->getName().c_str()) != 0)
        return kContentInconsistent;
    if (stagedContent != nullptr)
        for (const std::string& path : *stagedContent)
            // What holds a NUL would be judged by its beginning; it cannot be written in any case.
            if (path.find('\0') == std::string::npos && conf.setPath(toNarrowString(path).c_str()) != 0)
                return kContentInconsistent;
    return 0;
}

int VSDK_Subclient::LoadAllExceptMe(FSSubclientConf& conf) {
    constexpr int kNotChecked = 0x8;
    ApplicationId application = applicationOf(subclientId);
    if (application.getApplicationId(nullptr) != 0)
        return kNoSubclient;
    HubDatabase::clearLastFailure();
    VSDK_SubclientList list(application.getClientId(), appTypeId, application.getInstanceId(),
                            application.getBackupSetId());
    list.FetchSubclients(true, true);
    for (VSDK_Subclient* const other : list.elements) {
        if (other->GetSubclientId() == subclientId || (other->GetStatus() & kNotChecked) != 0)
            continue;
        if (conf.setName(toNarrowString(other->GetName()).c_str()) != 0)
            return kContentInconsistent;
        std::list<std::string>& paths = other->GetContent();
        if (paths.empty()) { // its reading ended before them where its storage policy, say, has no row
            BackupContent texts;
            ApplicationId its = applicationOf(other->GetSubclientId());
            if (Subclient* const itself = its.getSubclient(nullptr); itself != nullptr)
                (void)itself->getBackupContent(texts, nullptr);
            paths.assign(texts.begin(), texts.end());
        }
        for (const std::string& path : paths)
            if (conf.setPath(toNarrowString(path).c_str()) != 0)
                return kContentInconsistent;
    }
    // Reads of many keep a failure to themselves, and what could not be read was not judged.
    std::string words;
    return HubDatabase::lastFailure(words) == 0 ? 0 : kContentInconsistent;
}

// ---- the commit

int VSDK_Subclient::Commit(bool skipChecks) {
    HubDatabase::clearLastFailure();
    commitOutcome = CommitOutcome::kNone;
    const auto log = [this](const char* what, int code) {
        std::string words;
        (void)HubDatabase::lastFailure(words);
        EvDebug::Error(kCommit, "subclient %d: %s, code %d: %s", subclientId, what, code, words.c_str());
    };
    if (const int code = skipChecks ? 0 : CanICommit(); code != 0) {
        log("refused", code);
        return code;
    }
    commitOutcome = CommitOutcome::kNotDone;
    DBtran tran(false);
    if (tran.startTran() != 0) {
        log("no transaction", kNoTransaction);
        return kNoTransaction;
    }
    const Recorded recorded(transaction, tran);
    if (const int code = writeChanges(); code != 0) {
        log("rolled back", code);
        tran.rollbackTran();
        return code;
    }
    switch (tran.commitTran(false)) {
    case kDbOk:
        commitOutcome = CommitOutcome::kDone;
        EvDebug::Debug(kCommit, "subclient %d: done", subclientId);
        break;
    case kDbUnknownOutcome:
        commitOutcome = CommitOutcome::kUnknown;
        log("it is not known whether the changes are done", 0);
        break;
    default:
        log("not done", 0);
        break;
    }
    return 0;
}

int VSDK_Subclient::writeChanges() {
    int code = CommitContent();
    if (code == 0)
        code = CommitDataStoragePolicy();
    if (code == 0)
        code = CommitIndexStoragePolicy();
    if (code == 0)
        code = CommitDescription();
    if (code == 0 && dataReaders != 0)
        code = CommitDataReaders();
    return code;
}

int VSDK_Subclient::CommitContent() {
    if ((changeMask & kContentStaged) == 0)
        return 0;
    switch (contentKind(commitAppTypeId)) {
    case ContentKind::kPaths:
        return ModifyFileSystemContent();
    case ContentKind::kSqlDatabases:
        return ModifySQLContent();
    default:
        return kContentNotSupported;
    }
}

int VSDK_Subclient::ModifyFileSystemContent() {
    if (stagedContent == nullptr || transaction == nullptr)
        return kContentFailed;
    SubclientConf conf = confOf(subclientId);
    BackupContent wanted;
    const BackupContent none;
    for (const std::string& path : *stagedContent)
        wanted.addToContent(path);
    int code = kChangeContent;
    (void)conf.initContent(transaction, true, false); // or the update fails
    return conf.updateContent(1, wanted, none, true, transaction, &code) == 0 ? 0 : kContentFailed;
}

int VSDK_Subclient::ModifySQLContent() {
    if (transaction == nullptr)
        return kNoSubclient;
    int code = kChangeContent;
    ApplicationId application = applicationOf(subclientId);
    if (application.getApplicationId(transaction) != 0)
        return kNoSubclient;
    Subclient& subclient = *application.getSubclient(transaction);

    PropertiesList wanted;
    std::unordered_set<std::string> names;
    for (const _VSDK_SQLContent& database : sqlContent) {
        auto property = std::make_shared<MSSQLDBProperty>(toNarrowString(database.databaseName), "");
        property->setDBId(static_cast<unsigned long>(database.databaseId));
        names.insert(property->getDBName());
        wanted.addToPropList(std::move(property));
    }
    PropertiesList current;
    if (subclient.getProperties(current, transaction) != 0)
        return kNoSubclient;
    // What fails from here on has failed the transaction.
    for (const auto& property : current)
        if (const auto* const database = dynamic_cast<const MSSQLDBProperty*>(property.get()))
            if (!names.contains(database->getDBName()))
                (void)subclient.removeDatabase(database->getDBName(), transaction, &code);
    (void)subclient.setProperties(wanted, transaction, &code);
    (void)subclient.changeReferenceTime(ChangeRefTime(kChangeContent, OVDate()), transaction);
    return 0;
}

int VSDK_Subclient::CommitDataStoragePolicy() {
    if ((changeMask & kDataStoragePolicyStaged) == 0)
        return 0;
    ApplicationId application = applicationOf(subclientId);
    if (application.getApplicationId(transaction) != 0)
        return kNoSubclient;
    int code = kChangeDataPolicy;
    const auto policy = static_cast<unsigned long>(static_cast<int>(dataStoragePolicyId));
    if (transaction == nullptr || application.setDataArchiveGroup(policy, transaction, &code, nullptr) != 0)
        return kDataPolicyFailed;
    return application.removeBackupTime(1, transaction) == 0 ? 0 : kReferenceTimeFailed;
}

int VSDK_Subclient::CommitIndexStoragePolicy() {
    if ((changeMask & kIndexStoragePolicyStaged) == 0)
        return 0;
    ApplicationId application = applicationOf(subclientId);
    if (application.getApplicationId(transaction) != 0)
        return kNoSubclient;
    int code = kChangeIndexPolicy;
    const auto policy = static_cast<unsigned long>(static_cast<int>(indexStoragePolicyId));
    if (transaction == nullptr || application.setIndexArchiveGroup(policy, transaction, &code, nullptr) != 0)
        return kIndexPolicyFailed;
    return 0;
}

int VSDK_Subclient::CommitDescription() {
    if (transaction == nullptr || confOf(subclientId).setUserDescription(description, transaction) != 0)
        return kDescriptionFailed;
    return 0;
}

int VSDK_Subclient::CommitDataReaders() {
    if (transaction == nullptr || confOf(subclientId).setMaxNumberOfStreams(dataReaders, transaction) != 0)
        return kReadersFailed;
    return 0;
}
