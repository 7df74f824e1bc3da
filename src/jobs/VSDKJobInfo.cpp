#include "jobs/VSDKJobInfo.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

#include "Db/Tbl/GetEntitiesIds.h"
#include "Db/Tbl/JMCheckUserJobVisibilityV2.h"
#include "Db/Tbl/JMGetRunningJobSummaryVSDK.h"
#include "Db/Tbl/JMJobInfo.h"
#include "Db/Tbl/JMJobStats.h"
#include "Db/Tbl/SprocWrapper.h"
#include "common/CharUtilities.h"
#include "common/VSDKErrors.h"
#include "db/DBText.h"
#include "db/EachRow.h"
#include "jobmgr/OVManageDBForJM.h"
#include "log/EvDebug.h"
#include "message/JobMessages.h"
#include "message/XMLDecoder.h"
#include "message/XMLEncoder.h"
#include "system/OVClock.h"

namespace {

using Response = ZorvanUtilities::JobResponseVSDK;

constexpr int kHubCell = 2;
constexpr int kJobNotVisible = 1026;
constexpr int kJobFetchFailed = 1285;
constexpr int kDebugLevel = 3;
constexpr int kXmlLevel = 10;

int intOf(const Response& response, Response::Field field) {
    return static_cast<int>(response.getInt(field));
}

bool isVisible(const char* function, const Response& response) {
    if (response.getInt(Response::kVisible) != 0)
        return true;
    EvDebug::DebugLvl(function, kDebugLevel, "Cannot see job %d", intOf(response, Response::kJobId));
    return false;
}

/// The level of a backup: some agents have names of their own for theirs.
std::string backupLevelOf(int level, int agent) {
    constexpr int kFull = 1;
    constexpr int kIncremental = 2;
    constexpr int kDifferential = 4;
    constexpr int kLogAgent = 5;
    constexpr std::array kDeltaAgents{37, 62};
    constexpr std::array kIndexAgents{45, 56, 57, 58, 66, 67, 68, 73, 82, 83, 89, 90, 124, 131};
    const auto isOneOf = [agent](const auto& agents) { return std::ranges::find(agents, agent) != agents.end(); };
    if (level == kIncremental && agent == kLogAgent)
        return "Transaction Log";
    if (level == kDifferential && isOneOf(kDeltaAgents))
        return "Delta";
    if (isOneOf(kIndexAgents))
        return level == kFull ? "New Index" : "";
    return getBkpLevelName(level);
}

/// The record of a job of a category. `sourceClient` is the text that holds it. Moves the texts out of the response.
_VSDK_Job jobOf(Response& response, int category, Response::Field sourceClient) {
    _VSDK_Job job;
    job.jobId = intOf(response, Response::kJobId);
    job.attr2 = response.takeString(Response::kOperation);
    job.status = response.takeString(Response::kState);
    job.attr5 = response.takeString(Response::kPhase);
    job.attr6 = response.takeString(sourceClient);
    if (category == kRestoreCategory)
        job.attr15 = response.takeString(Response::kDestinationClient);
    job.attr7 = response.takeString(Response::kAgentType);
    job.attr8 = response.takeString(Response::kInstance);
    job.attr9 = response.takeString(Response::kBackupSet);
    if (category != kRestoreCategory)
        job.attr10 = response.takeString(Response::kSubclient);
    const int level = intOf(response, Response::kLevel);
    if (category == kBackupCategory)
        job.backupLevel = backupLevelOf(level, intOf(response, Response::kAgentTypeId));
    else if (category == kAdministrativeCategory)
        job.backupLevel = getBkpLevelName(level);
    job.failureReasons = VSDK_JobList::parseFailureReasons(response.getString(Response::kFailureReason));
    job.attr16 = response.takeString(Response::kUserName);
    if (response.hasInt(Response::kStartTime))
        job.attr35 = static_cast<int>(response.getInt(Response::kStartTime)); // the low 32 bits
    return job;
}

/// A text that is no message, for a log: up to the first password that is not an attribute that can be masked.
std::string masked(const std::string& text) {
    constexpr std::string_view kWord = "password";
    constexpr std::string_view kMasked = "=\"****\"";
    std::string shown = filterPasswordAttrBased(text);
    std::string lowerCase = shown;
    std::ranges::transform(lowerCase, lowerCase.begin(),
                           [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    for (std::size_t at = 0; (at = lowerCase.find(kWord, at)) != std::string::npos; at += kMasked.size()) {
        at += kWord.size();
        if (lowerCase.compare(at, kMasked.size(), kMasked) != 0)
            return shown.substr(0, at) + " ...";
    }
    return shown;
}

} // namespace

VSDK_JobList::VSDK_JobList(long long jobId, std::string client, int agent, std::string instance, std::string backupset,
                           std::string subclient)
    : VSDK_JobList(std::vector{jobId}, std::move(client), agent, std::move(instance), std::move(backupset),
                   std::move(subclient)) {}

VSDK_JobList::VSDK_JobList(std::vector<long long> ids, std::string client, int agent, std::string instance,
                           std::string backupset, std::string subclient) {
    initialize(std::move(ids), std::move(client), agent, std::move(instance), std::move(backupset),
               std::move(subclient));
}

VSDK_JobList::VSDK_JobList(int client, int agent, int instance, int backupset, int subclient)
    : appType(agent), clientId(client), instanceId(instance), backupsetId(backupset), subclientId(subclient) {}

VSDK_JobList::~VSDK_JobList() = default;

void VSDK_JobList::initialize(std::vector<long long> ids, std::string client, int agent, std::string instance,
                              std::string backupset, std::string subclient) {
    clientName = std::move(client);
    appType = agent;
    instanceName = std::move(instance);
    backupsetName = std::move(backupset);
    subclientName = std::move(subclient);
    clientId = instanceId = backupsetId = subclientId = 0;
    if (!subclientName.empty() || !backupsetName.empty()) {
        if (instanceName.empty())
            instanceName = "DefaultInstanceName";
        if (backupsetName.empty())
            backupsetName = "defaultBackupSet";
    }
    jobIds.insert(jobIds.end(), ids.begin(), ids.end());
    if (hasJobIds())
        queryMode = kByJobIds;
    else if (!clientName.empty() || appType >= 1 || !instanceName.empty() || !backupsetName.empty() ||
             !subclientName.empty())
        queryMode = kByNames;
    else
        queryMode = kByEntityIds;
}

bool VSDK_JobList::hasJobIds() const {
    return !jobIds.empty() && jobIds.front() != 0;
}

int VSDK_JobList::FetchJobList(std::vector<_VSDK_Job>& out, int jobTypes, int userId) {
    if (queryMode == kByNames)
        if (const int code = GetEntityIdFromNames(); code != 0)
            return code;
    if (queryMode == kByJobIds) {
        const int code = FetchJob(userId);
        out = jobs;
        return code;
    }
    const int wanted = jobTypes == kAllJobs ? kBackupJobs | kRestoreJobs | kAdminJobs : jobTypes;
    int code = 0;
    if ((wanted & kBackupJobs) != 0)
        code = FetchBackupJobs(userId);
    if (code == 0 && (wanted & kRestoreJobs) != 0)
        code = FetchRestoreJobs(userId);
    if (code == 0 && (wanted & kAdminJobs) != 0)
        code = FetchAdminJobs(userId); // of which there are none for names
    if (code == 0)
        out = jobs;
    return code;
}

int VSDK_JobList::GetEntityIdFromNames() {
    const std::array names{toNarrowString(clientName), toNarrowString(instanceName), toNarrowString(backupsetName),
                           toNarrowString(subclientName)};
    GetEntitiesIds ids(nullptr);
    ids.setIsolationType(4);
    ids.setValues(appType, dbText(names[0]), dbText(names[1]), dbText(names[2]), dbText(names[3]));
    int status = ids.openCursor();
    if (status == kDbOk)
        status = ids.fetchCursor(false);
    if (status != kDbOk) {
        SetError(ids.getErrorStr(status).c_str());
        ids.closeCursor();
        return kJobFetchFailed;
    }
    const GetEntitiesIds_t found = *ids.getDataPtr();
    ids.closeCursor();
    if (found.r_errorString[0] != '\0') {
        SetError(found.r_errorString);
        return kJobFetchFailed;
    }
    clientId = found.r_clientId;
    instanceId = found.r_instId;
    backupsetId = found.r_bkpSetId;
    subclientId = found.r_subClntId;
    return 0;
}

void VSDK_JobList::SetError(const char* text) {
    if (text != nullptr)
        errorText = text;
}

int VSDK_JobList::FetchBackupJobs(int userId) {
    return fetchList("FetchBackupJobs", userId, kBackupCategory);
}

int VSDK_JobList::FetchRestoreJobs(int userId) {
    return fetchList("FetchRestoreJobs", userId, kRestoreCategory);
}

int VSDK_JobList::FetchAdminJobs(int userId) {
    return queryMode == kByNames ? 0 : fetchList("FetchAdminJobs", userId, kAdministrativeCategory);
}

int VSDK_JobList::fetchList(const char* function, int userId, OVJobCategory category) {
    std::vector<Response> responses;
    if (const int code = getJobsFromDB(userId, category, &responses); code != 0)
        return code;
    jobs.reserve(jobs.size() + responses.size());
    for (Response& response : responses) {
        if (!isVisible(function, response)) {
            if (hasJobIds())
                return kJobNotVisible;
            continue;
        }
        jobs.push_back(jobOf(response, category,
                             category == kBackupCategory ? Response::kDestinationClient : Response::kSourceClient));
        count(jobs.back().status);
    }
    return 0;
}

void VSDK_JobList::count(const std::string& state) {
    constexpr std::array kCounters{
        std::pair{"Running", &_VSDK_JobSummary::running}, std::pair{"Pending", &_VSDK_JobSummary::pending},
        std::pair{"Waiting", &_VSDK_JobSummary::waiting}, std::pair{"Suspended", &_VSDK_JobSummary::suspended},
        std::pair{"Queued", &_VSDK_JobSummary::queued}};
    for (const auto& [name, counter] : kCounters)
        if (state == name)
            ++(summary.*counter);
}

int VSDK_JobList::FetchJob(int userId) {
    std::vector<Response> responses;
    if (const int code = getJobsFromDB(userId, kAnyCategory, &responses); code != 0) {
        EvDebug::Error("FetchJob", "getJobsFromDB failed with error code [%d]", code);
        return code;
    }
    for (Response& response : responses) {
        if (!isVisible("FetchJob", response))
            return kJobNotVisible;
        jobs.push_back(jobOf(response, intOf(response, Response::kCategory), Response::kSourceClient));
    }
    return 0;
}

int VSDK_JobList::getDescription(long long jobId) {
    description.clear();
    const auto readFrom = [&](auto& table) {
        table.setIsolationType(4);
        table.setWhere("jobId = %lld AND hubCellId = %d", jobId, kHubCell);
        if (getOneRow(&table, false, -1, 0) != kDbOk)
            return false;
        if (const char* const text = valueOrNull(table.getDataPtr()->jobDescription))
            description = text;
        return true;
    };
    JMJobInfo running(nullptr);
    if (readFrom(running))
        return 0;
    JMJobStats finished(nullptr);
    return readFrom(finished) ? 0 : 1;
}

int VSDK_JobList::getJobsFromDB(int userId, OVJobCategory category, std::vector<Response>* out) {
    constexpr const char* kFunction = "getJobsFromDB";
    using Filter = JobManager::JobFilter;
    using Entity = OvEntities::GenericEntity;
    if (out == nullptr) {
        EvDebug::Error(kFunction, "output job pointer must be passed to the function");
        return 1;
    }
    Filter filter;
    if (queryMode != kByJobIds) {
        Entity entity;
        entity.setInt(Entity::kClientId, clientId);
        entity.setInt(Entity::kAppTypeId, appType);
        entity.setInt(Entity::kInstanceId, instanceId);
        entity.setInt(Entity::kBackupSetId, backupsetId);
        entity.setInt(Entity::kSubclientId, subclientId);
        filter.addMessage(Filter::kEntity, std::move(entity));
    }
    OvEntities::UserEntity user;
    user.setInt(OvEntities::UserEntity::kUserId, userId);
    filter.addMessage(Filter::kUser, std::move(user));
    if (hasJobIds()) {
        std::vector<std::int32_t> ids;
        std::ranges::transform(jobIds, std::back_inserter(ids),
                               [](long long id) { return static_cast<std::int32_t>(id); });
        filter.setIntList(Filter::kJobIds, std::move(ids));
    }
    if (category != kAnyCategory) {
        std::vector<std::int32_t> types;
        for (int type = kFirstOpType; type <= kLastOpType; ++type)
            if (OVManageDBForJM::getJobCategoryFromOpType(static_cast<OVOpType>(type)) == category)
                types.push_back(type);
        filter.setIntList(Filter::kOpTypes, std::move(types));
    }
    JobManager::JobListRequest request;
    request.addMessage(JobManager::JobListRequest::kFilter, std::move(filter));
    std::string requestXml;
    if (const int code = XMLEncoder::serialize(&request, requestXml, 0); code != kMessageOk) {
        EvDebug::Error(kFunction, "Error [%d] while framing the XML string JobListRequest", code);
        return code;
    }

    if (EvDebug::enabled(kXmlLevel))
        EvDebug::DebugLvl(kFunction, kXmlLevel, "Calling JMGetRunningJobSummary with userId [%d], input XML [%s] ",
                          userId, logXMLMessage(&request).c_str());
    std::string answer;
    SprocWrapper<JMGetRunningJobSummaryVSDK, JMGetRunningJobSummaryVSDK_t> procedure("JMGetRunningJobSummaryVSDK",
                                                                                     nullptr);
    procedure.getCursor()->setIsolationType(4);
    procedure.getCursor()->setValues(userId, requestXml.c_str(), "");
    if (const int code = procedure.getXMLFromCursor(answer, nullptr, false, true); code != kDbOk) {
        EvDebug::Error(kFunction, "Error [%d] while calling the stored procedure JMGetRunningJobSummary", code);
        return code;
    }
    if (EvDebug::enabled(kXmlLevel))
        EvDebug::DebugLvl(kFunction, kXmlLevel, "Response from JMGetRunningJobSummary [%s]",
                          logXMLMessage(answer).c_str());

    ZorvanUtilities::JobListResponseVSDK response;
    if (const int code = XMLDecoder::unSerialize(answer, response); code != kMessageOk) {
        if (EvDebug::enabled(1))
            EvDebug::Error(kFunction,
                           "Error [%d] while unserializing the response XML from JMGetRunningJobSummary [%s]", code,
                           masked(answer).c_str());
        return code;
    }
    std::vector<CNMessageBase> answers = response.takeMessages(ZorvanUtilities::JobListResponseVSDK::kJobs);
    std::vector<Response> answered;
    answered.reserve(answers.size());
    for (CNMessageBase& job : answers)
        answered.emplace_back(std::move(job));
    *out = std::move(answered);
    return 0;
}

int VSDK_JobList::isJobVisibleForThisUser(int jobId, int userId, int attempt) {
    constexpr int kRetriesLast = 2;
    constexpr int kPauseMs = 3000;
    const std::string users = "<Users><User Id=\"" + std::to_string(userId) + "\" /></Users>";
    for (;; ++attempt) {
        int visible = 0;
        JMCheckUserJobVisibilityV2 visibility(nullptr);
        visibility.setIsolationType(4);
        visibility.setValues(kHubCell, jobId, users.c_str());
        // Rows that were read count, also before a failure.
        eachCursorRow(visibility,
                      [&](const JMCheckUserJobVisibilityV2_t& row) { visible = row.isJobVisible != 0 ? 1 : 0; });
        if (visible == 1)
            return 1;
        if (attempt > kRetriesLast || !hasJobIds())
            return 0;
        EvDebug::DebugLvl("isJobVisibleForThisUser", kXmlLevel,
                          "Retrying call to JMGetJobVisibilityMask attempt no [%d]", attempt);
        OVClock::sleep(kPauseMs);
    }
}
