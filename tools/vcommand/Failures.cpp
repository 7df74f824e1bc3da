#include "vcommand/Failures.h"

#include <string>

#include "db/HubDatabase.h"

void throwDatabaseFailure(int code) {
    std::string words;
    if (const int status = HubDatabase::lastFailure(words); status != 0)
        throw tools::CommandError(tools::kExitFailed, words + " (database status " + std::to_string(status) + ")",
                                  code);
}
