#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "VSDKExport.h"
#include "dblayer/VSDKDBLayerBase.h"

enum OVJobCategory : int;
namespace ZorvanUtilities {
class JobResponseVSDK;
}

/// Why a job failed, or is held up: one reason of several.
struct _VSDK_JobFailureReason {
    int code = 0;     ///< 0 also where the reason has none
    std::string text; ///< UTF-8
};

/// A running job as the job manager describes it. Texts are UTF-8, as stored; empty where the database has none.
struct _VSDK_Job {
    int jobId = 0;
    std::string attr2;       ///< the operation: "Backup", "Restore" ..., or the number of one without a name
    std::string status;      ///< "Running", "Pending", "Waiting", "Suspended", "Queued", or another state's number
    std::string attr5;       ///< the phase it is in
    std::string attr6;       ///< source client; in backup lists the client that is backed up, which is the same
    std::string attr15;      ///< destination client, of restore jobs only
    std::string attr7;       ///< agent type, by name
    std::string attr8;       ///< instance
    std::string attr9;       ///< backup set
    std::string attr10;      ///< subclient; empty for restore jobs
    std::string backupLevel; ///< "Full", "Incremental" ...; of agents with levels of their own "Delta", "New Index" ...
    std::vector<_VSDK_JobFailureReason> failureReasons; ///< in the order of the job manager
    std::string attr16;                                 ///< the user who started it
    int attr35 = -1;                                    ///< start in Unix seconds, low 32 bits; -1 until it is filled
};

/// How many of the jobs of the list queries are in which state. Other states are not counted, nor are jobs by id.
struct _VSDK_JobSummary {
    int running = 0;
    int pending = 0;
    int waiting = 0;
    int suspended = 0;
    int queued = 0;
};

/// A query for the running jobs of hubcell 2, made for job ids, for names or for ids of entities. A local of its user,
/// for one thread at a time.
///
///     constructed --FetchJobList--> answered --FetchJobList--> answered, the new jobs and counts behind the old ones
///
/// The job manager's procedure is asked once for each type of job, or once for a list of job ids. Operations return 0
/// or a code: 1285 or 1026 of common/VSDKErrors.h, -1 when the procedure failed (HubDatabase::lastFailure tells why),
/// or a status of message/MessageStatus.h, all below -2000, when its answer cannot be read or the job ids take more
/// than 4 MiB. A job that the user may not see is left out of a list, and ends a query by job ids with 1026. User 0 is
/// the system, which sees every job.
class VSDKDB_API VSDK_JobList : public VSDKDB_Base {
  public:
    enum JobTypes : int { kAllJobs = 0, kAdminJobs = 1, kBackupJobs = 2, kRestoreJobs = 4 };
    enum QueryMode : int { kByJobIds = 0, kByNames = 1, kByEntityIds = 2 };

    std::vector<_VSDK_Job> jobs; ///< of all queries so far, in the order of the answers
    _VSDK_JobSummary summary;    ///< of all list queries so far
    std::string errorText;       ///< why names could not be resolved
    std::int64_t reserved = 0;   ///< not used
    std::string clientName;
    int appType = 0; ///< agent type, 0: any
    std::string instanceName;
    std::string backupsetName;
    std::string subclientName;
    int clientId = 0; ///< this and the next three: as given, or found for the names; 0: any
    int instanceId = 0;
    int backupsetId = 0;
    int subclientId = 0;
    int queryMode = kByEntityIds;
    std::string description;       ///< of getDescription
    std::vector<long long> jobIds; ///< sent as 32 bits

    /// initialize() with one job id.
    VSDK_JobList(long long jobId, std::string client, int agent, std::string instance, std::string backupset,
                 std::string subclient);
    /// initialize().
    VSDK_JobList(std::vector<long long> ids, std::string client, int agent, std::string instance, std::string backupset,
                 std::string subclient);
    /// The jobs of entities by their ids, 0 for any.
    VSDK_JobList(int client, int agent, int instance, int backupset, int subclient);
    ~VSDK_JobList();

    /// Sets names and agent type, appends the job ids, and chooses the mode: by job ids when the first of them is not
    /// 0, whatever the others are; else by names when there is a name or an agent type of 1 or more; else by entity
    /// ids, all of them 0. With a name of a subclient or backup set, an instance without a name is
    /// "DefaultInstanceName", and a backup set without one "defaultBackupSet".
    void initialize(std::vector<long long> ids, std::string client, int agent, std::string instance,
                    std::string backupset, std::string subclient);

    /// Asks for jobs on behalf of a user. `jobTypes` is a set of JobTypes, which does not matter to a query by job ids;
    /// administrative jobs are in no query by names. On success `out` becomes a copy of `jobs`. On failure it stays as
    /// it was, but for job ids, whose jobs up to the failure it gets.
    int FetchJobList(std::vector<_VSDK_Job>& out, int jobTypes, int userId);

    /// Finds the ids of the names. 0, or 1285 and `errorText`: the database's words, or which name is unknown, and
    /// where.
    int GetEntityIdFromNames();
    /// Keeps `text` as `errorText`; null keeps what is there.
    void SetError(const char* text);

    /// The jobs of one type, appended to `jobs` and counted.
    int FetchBackupJobs(int userId);
    int FetchRestoreJobs(int userId);
    int FetchAdminJobs(int userId);
    /// The jobs of `jobIds`, of any type, appended to `jobs`; not counted.
    int FetchJob(int userId);

    /// The reasons in a job's failure text: code, CR, words, LF, any number of them, of which the last may lack the LF.
    /// What has no CR any more is left out. A code is the number that the text before the CR begins with, 0 for none.
    static std::vector<_VSDK_JobFailureReason> parseFailureReasons(const std::string& text);

    /// Sets `description` to what is stored of a running or else a finished job, empty for NULL. 0, or 1 and an empty
    /// description: no such job, or it could not be read.
    int getDescription(long long jobId);

    /// The job manager's answers for a category, kAnyCategory for all, also those of jobs that the user may not see
    /// (message/JobMessages.h, jobmgr/OVManageDBForJM.h). `out` is replaced on success; 1 when it is null.
    int getJobsFromDB(int userId, OVJobCategory category, std::vector<ZorvanUtilities::JobResponseVSDK>* out);

    /// 1 when the user may see the job, running or finished; else 0, also when the database fails. A query by job ids
    /// asks again for a job that is not to be seen, which may be there in a moment: `attempt` is how often that was
    /// done, and while it is not above 2 the thread sleeps 3 s and asks anew, 9 s in all from 0.
    int isJobVisibleForThisUser(int jobId, int userId, int attempt);

  private:
    bool hasJobIds() const;
    int fetchList(const char* function, int userId, OVJobCategory category);
    void count(const std::string& state);
};
