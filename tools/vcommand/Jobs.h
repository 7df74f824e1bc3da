#pragma once

#include <optional>
#include <string>
#include <vector>

#include "vcommand/Commands.h"

/// The commands about jobs, on behalf of a user, 0 for the system. The database is connected; they throw a
/// tools::CommandError.

/// A job, running or finished.
const Kind& jobKind();

/// Which running jobs.
struct JobsRequest {
    std::vector<std::string> types; ///< "backup", "restore", "admin"; none: all
    std::optional<std::string> client;
    std::optional<std::string> agentType;
    std::optional<std::string> instance;
    std::optional<std::string> backupSet;
    std::optional<std::string> subclient;
};

/// The running jobs that pass the arrangement, in its order. Names are looked for below their client.
Answer listJobs(int user, const JobsRequest& request, const Arrangement& arrangement);
/// How many of them are in which state.
Answer countJobs(int user, const JobsRequest& request);
/// Each job with its failure reasons and description, in the order given.
Answer showJobs(int user, const std::vector<int>& jobIds);
