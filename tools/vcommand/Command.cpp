#include "vcommand/Command.h"

#include "db/HubDatabase.h"

void throwDatabaseFailure(int code) {
    std::string words;
    if (const int status = HubDatabase::lastFailure(words); status != 0)
        throw CommandError(tools::kExitFailed, code, words + " (database status " + std::to_string(status) + ")");
}
