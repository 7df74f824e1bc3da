#pragma once

#include <optional>
#include <string>
#include <vector>

#include "db/DatabaseUrl.h"
#include "vcommand/Commands.h"

/// The commands about jobs. The database is connected; they throw a tools::CommandError. Whoever is logged in sees the
/// jobs that are his to see; where nobody is, and nobody must be, all of them are shown.

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
Answer listJobs(const hubdb::DatabaseUrl& url, const JobsRequest& request, const Arrangement& arrangement);
/// How many of them are in which state.
Answer countJobs(const hubdb::DatabaseUrl& url, const JobsRequest& request);
/// Each job with its failure reasons and description, in the order given.
Answer showJobs(const hubdb::DatabaseUrl& url, const std::vector<int>& jobIds);
