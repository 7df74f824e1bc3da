#pragma once

#include <stdexcept>
#include <string>

#include "common/Tool.h"
#include "db/DatabaseUrl.h"

/// What the commands of hubdb do. Each returns what it has to say on standard output, and throws a CommandError when it
/// fails; then nothing was changed.

class CommandError : public std::runtime_error {
  public:
    CommandError(tools::ExitCode exit, const std::string& reason) : std::runtime_error(reason), exitCode(exit) {}

    tools::ExitCode exitCode;
};

struct Answer {
    std::string text;
    tools::ExitCode exitCode = tools::kExitDone;
};

/// Makes a hub database and the key of its passwords.
Answer createDatabase(const hubdb::DatabaseUrl& url);
/// Differences of the schema are lines of the answer, and a failure.
Answer checkDatabase(const hubdb::DatabaseUrl& url);
Answer upgradeDatabase(hubdb::DatabaseUrl url);
/// One line for each thing looked at, "ok", "warn" or "fail" in front.
Answer doctorDatabase(hubdb::DatabaseUrl url);

/// Throws unless the database's file is there.
void requireDatabase(const hubdb::DatabaseUrl& url);
