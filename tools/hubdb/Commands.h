#pragma once

#include <string>

#include "common/CommandError.h"
#include "db/DatabaseUrl.h"

/// What the commands of hubdb do. Each returns what it has to say on standard output, and throws a tools::CommandError
/// when it fails; then nothing was changed.

struct Answer {
    std::string text;
    tools::ExitCode exitCode = tools::kExitDone;
};

/// Makes a hub database and the key of its passwords, or neither. A server's database may be made without a key, and
/// gets it when this is run again.
Answer createDatabase(const hubdb::DatabaseUrl& url);
/// Differences of the schema are lines of the answer, and a failure.
Answer checkDatabase(const hubdb::DatabaseUrl& url);
Answer upgradeDatabase(hubdb::DatabaseUrl url);
/// One line for each thing looked at, "ok", "warn" or "fail" in front.
Answer doctorDatabase(hubdb::DatabaseUrl url);
