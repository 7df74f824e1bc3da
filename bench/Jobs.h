#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "jobs/VSDKJobInfo.h"

/// What is asked for: the running backups of any entity, on behalf of the system.
inline constexpr int kJobUser = 0;
inline constexpr std::string_view kJobRequest =
    "<JobListRequest><filter opTypes=\"4 14 18 30 43 59 60 65\"><user userId=\"0\"/><entity subclientId=\"0\" "
    "backupSetId=\"0\" instanceId=\"0\" appTypeId=\"0\" clientId=\"0\"/></filter></JobListRequest>";

/// What the library sets on PostgreSQL, as far as it touches the procedure.
inline constexpr const char* kJobSettings = "SET jit = off; SET plan_cache_mode = force_generic_plan";

using JobRecords = std::vector<_VSDK_Job>;

/// One way to list the running jobs, on a connection that stays open. Failures are exceptions.
class JobCaller {
  public:
    virtual ~JobCaller() = default;
    virtual JobRecords call(_VSDK_JobSummary& summary) = 0;
};

/// Through SOCI with a kept statement, and parseJobs().
std::unique_ptr<JobCaller> sociJobs(const std::string& url, const std::string& sql);

/// The records of an answer as one would fill them by hand, with expat. Throws std::runtime_error.
JobRecords parseJobs(std::string_view xml, _VSDK_JobSummary& summary);

/// Gives a connection of SQLite's C interface the functions that the procedures call.
void addJobFunctions(void* database);
