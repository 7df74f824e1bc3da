#include "vcommand/Jobs.h"

#include <algorithm>
#include <array>
#include <map>

#include "Db/Tbl/APP_iDAType.h"
#include "db/DBText.h"
#include "db/EachRow.h"
#include "db/HubDatabase.h"
#include "jobs/VSDKJobInfo.h"
#include "vcommand/Failures.h"
#include "vcommand/Walk.h"
#include "vcommand/kinds/Kinds.h"

namespace {

constexpr int kJobNotVisible = 1026;
constexpr int kFetchFailed = 1285;
constexpr const char* kUnreadable = "the job manager's answer cannot be read";

/// What is shown of a job.
struct ShownJob {
    _VSDK_Job job;
    bool finished = false;
    std::string description{};
};

std::vector<Item> reasonsOf(const ShownJob& shown) {
    std::vector<Item> reasons;
    for (const auto& [code, text] : shown.job.failureReasons)
        reasons.push_back({text, code});
    return reasons;
}

const std::vector<Field<ShownJob>>& fields() {
    static const auto text = [](std::string _VSDK_Job::*member) {
        return [member](const ShownJob& shown) { return shown.job.*member; };
    };
    static const std::vector<Field<ShownJob>> kFields{
        {"operation", Use::kBrief, text(&_VSDK_Job::attr2)},
        {"state", Use::kBrief, text(&_VSDK_Job::status)},
        {"phase", Use::kBrief, text(&_VSDK_Job::attr5)},
        {"client", Use::kBrief, text(&_VSDK_Job::attr6)},
        {"destinationClient", Use::kDetail, text(&_VSDK_Job::attr15)},
        {"agentType", Use::kBrief, text(&_VSDK_Job::attr7)},
        {"instance", Use::kDetail, text(&_VSDK_Job::attr8)},
        {"backupSet", Use::kDetail, text(&_VSDK_Job::attr9)},
        {"subclient", Use::kBrief, text(&_VSDK_Job::attr10)},
        {"level", Use::kBrief, text(&_VSDK_Job::backupLevel)},
        {"user", Use::kBrief, text(&_VSDK_Job::attr16)},
        {"started", Use::kDetail, Type::kTime, [](const ShownJob& shown) { return std::max(shown.job.attr35, 0); }},
        {"failureReasons", Use::kDetail, Type::kReasons, &reasonsOf},
        {"finished", Use::kAlone, &ShownJob::finished},
        {"description", Use::kAlone, &ShownJob::description},
    };
    return kFields;
}

/// Jobs are in no place of the estate: only their columns are asked for.
class JobKind final : public Kind {
  public:
    JobKind() : Kind({.one = "job", .many = "jobs", .fetchFailed = kFetchFailed}) {}
    void list(const Path&, const Reading&, const Visit&) const override {}
    int read(const Path&, int, const Visit&) const override { return kFetchFailed; }

  private:
    void addFields(std::vector<Column>& columns, bool alone) const override {
        for (const auto& field : fields())
            if (alone || field.column.use != Use::kAlone)
                columns.push_back(field.column);
    }
};

Row rowOf(const ShownJob& shown, bool alone) {
    Row row{toValue(shown.job.jobId)};
    for (const auto& field : fields())
        if (alone || field.column.use != Use::kAlone)
            row.push_back(field.value({}, shown));
    return row;
}

/// Throws why an operation of the library's did not answer 0.
void require(int code, const std::string& refusal) {
    if (code == 0)
        return;
    throwDatabaseFailure(kFetchFailed);
    throw tools::CommandError(tools::kExitFailed, refusal, code);
}

// ---- which jobs

constexpr int kNoAgentType = -1;

int agentTypeOf(const std::string& given) {
    const Selector agent(agentTypeKind(), given);
    if (agent.id == kNoAgentType)
        return kNoAgentType;
    APP_iDAType types(nullptr);
    types.setIsolationType(4);
    if (agent.id)
        types.setWhere("type=%d", *agent.id);
    else
        types.setWhere("name='%s'", dbText(given));
    const int status = getOneRow(&types, false, -1, 0);
    throwDatabaseFailure(kFetchFailed);
    if (status != kDbOk)
        throw tools::CommandError(tools::kExitNotFound,
                                  "there is no agent type " +
                                      (agent.id ? "with the number " + given : "named '" + given + "'"),
                                  tools::kInvalidArgument);
    return types.getDataPtr()->type;
}

/// A query for the entities that are named, by their ids. They are found as lists find them.
VSDK_JobList queryFor(const JobsRequest& request) {
    VSDK_JobList query(0, 0, 0, 0, 0);
    if (request.agentType)
        query.appType = agentTypeOf(*request.agentType);
    struct Level {
        const Kind& kind;
        const std::optional<std::string>& given;
        int VSDK_JobList::*id;
    };
    const std::array levels{
        Level{clientKind(), request.client, &VSDK_JobList::clientId},
        Level{agentTypeKind(), request.agentType, &VSDK_JobList::appType},
        Level{instanceKind(), request.instance, &VSDK_JobList::instanceId},
        Level{backupSetKind(), request.backupSet, &VSDK_JobList::backupsetId},
        Level{subclientKind(), request.subclient, &VSDK_JobList::subclientId},
    };
    std::size_t end = levels.size();
    while (end > 0 && !levels.at(end - 1).given)
        --end;
    if (end == 0 || (end == kAgentType + 1 && !request.client))
        return query; // an agent type is one without a client as well
    Scope scope(levels.at(end - 1).kind);
    scope.properties = false;
    for (std::size_t place = 0; place < end; ++place) {
        const auto& [kind, given, id] = levels.at(place);
        if (!given)
            continue;
        const auto& selector =
            scope.selectors[place].emplace(kind, place == kAgentType ? std::to_string(query.appType) : *given);
        if (!selector.id && !request.client)
            throw tools::CommandError(tools::kExitUsage,
                                      std::string("the ") + kind.names.one + " '" + given.value() +
                                          "' is named without its client: give --client, or its id",
                                      tools::kMissingArgument);
    }
    Walk walk(scope);
    walk.run([](const Path&, int, const Entity*) { return true; });
    for (std::size_t place = 0; place < end; ++place)
        if (levels.at(place).given)
            query.*levels.at(place).id = walk.found(place).first;
    return query;
}

int typesOf(const JobsRequest& request) {
    int types = VSDK_JobList::kAllJobs;
    for (const std::string& type : request.types)
        types |= type == "backup"    ? VSDK_JobList::kBackupJobs
                 : type == "restore" ? VSDK_JobList::kRestoreJobs
                                     : VSDK_JobList::kAdminJobs;
    return types;
}

/// Asks for the jobs, which the query then holds.
VSDK_JobList ask(int user, const JobsRequest& request) {
    HubDatabase::clearLastFailure();
    VSDK_JobList query = queryFor(request);
    std::vector<_VSDK_Job> jobs;
    require(query.FetchJobList(jobs, typesOf(request), user), kUnreadable);
    return query;
}

// ---- single jobs

constexpr int kOnce = 3; ///< a visibility check with so many tries behind it makes no other

/// Also what could not be asked is not visible: then that is the reason.
[[noreturn]] void refuseToShow(int jobId) {
    throwDatabaseFailure(kFetchFailed);
    throw tools::CommandError(tools::kExitRefused, "job " + std::to_string(jobId) + " is not yours to see",
                              kJobNotVisible);
}

/// Those of the jobs that are running.
std::map<int, ShownJob> runningOnes(const std::vector<int>& jobIds, int user) {
    VSDK_JobList query(std::vector<long long>(jobIds.begin(), jobIds.end()), "", 0, "", "", "");
    std::vector<_VSDK_Job> jobs;
    const int code = query.FetchJobList(jobs, VSDK_JobList::kAllJobs, user);
    if (code == kJobNotVisible)
        for (const int jobId : jobIds)
            if (query.isJobVisibleForThisUser(jobId, user, kOnce) == 0 && query.getDescription(jobId) == 0)
                refuseToShow(jobId);
    require(code, code == kJobNotVisible ? "one of the jobs is not yours to see" : kUnreadable);
    std::map<int, ShownJob> running;
    for (_VSDK_Job& job : jobs) {
        ShownJob& shown = running[job.jobId];
        if (query.getDescription(job.jobId) == 0)
            shown.description = query.description;
        throwDatabaseFailure(kFetchFailed);
        shown.job = std::move(job);
    }
    return running;
}

ShownJob finishedOne(int jobId, int user) {
    VSDK_JobList query(jobId, "", 0, "", "", "");
    const bool known = query.getDescription(jobId) == 0;
    throwDatabaseFailure(kFetchFailed);
    if (!known)
        throw tools::CommandError(tools::kExitNotFound, "there is no job " + std::to_string(jobId), kFetchFailed);
    if (query.isJobVisibleForThisUser(jobId, user, kOnce) == 0)
        refuseToShow(jobId);
    if (auto begun = runningOnes({jobId}, user); !begun.empty()) // meanwhile
        return std::move(begun.at(jobId));
    ShownJob shown;
    shown.job.jobId = jobId;
    shown.job.status = "Finished";
    shown.finished = true;
    shown.description = query.description;
    return shown;
}

} // namespace

const Kind& jobKind() {
    static const JobKind kKind;
    return kKind;
}

Answer listJobs(int user, const JobsRequest& request, const Arrangement& arrangement) {
    VSDK_JobList query = ask(user, request);
    Answer answer{jobKind(), jobKind().columns(true, false), {}, arrangement.columns()};
    for (_VSDK_Job& job : query.jobs)
        if (Row row = rowOf({std::move(job)}, false); arrangement.passes(row))
            answer.rows.push_back(std::move(row));
    arrangement.arrange(answer.rows);
    return answer;
}

Answer countJobs(int user, const JobsRequest& request) {
    const VSDK_JobList query = ask(user, request);
    static const NumberKind kSummary({.one = "summary", .many = "summaries"});
    Answer answer{kSummary, {}, {Row{}}};
    const auto add = [&answer](const char* name, int count) {
        answer.columns.push_back({name, Type::kNumber, Use::kBrief});
        answer.rows.front().push_back(toValue(count));
    };
    const _VSDK_JobSummary& counted = query.summary;
    add("running", counted.running);
    add("pending", counted.pending);
    add("waiting", counted.waiting);
    add("suspended", counted.suspended);
    add("queued", counted.queued);
    add("other", static_cast<int>(query.jobs.size()) - counted.running - counted.pending - counted.waiting -
                     counted.suspended - counted.queued);
    return answer;
}

Answer showJobs(int user, const std::vector<int>& jobIds) {
    HubDatabase::clearLastFailure();
    auto running = runningOnes(jobIds, user);
    Answer answer{jobKind(), jobKind().columns(true, true), {}};
    for (const int jobId : jobIds) {
        const auto found = running.find(jobId);
        answer.rows.push_back(rowOf(found == running.end() ? finishedOne(jobId, user) : found->second, true));
    }
    return answer;
}
