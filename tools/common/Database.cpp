#include "common/Database.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstring>

#include "common/CommandError.h"

namespace tools {

hubdb::DatabaseUrl parseDatabaseUrl(const std::string& url) {
    hubdb::DatabaseUrl parsed;
    std::string error;
    if (!hubdb::DatabaseUrl::parse(url, parsed, error))
        throw CommandError(kExitUsage, error, kInvalidArgument);
    return parsed;
}

bool isDatabaseUrl(const std::string& argument) {
    return argument.starts_with("sqlite:") || argument.find("://") != std::string::npos;
}

void requireDatabase(const hubdb::DatabaseUrl& url) {
    if (url.path.empty())
        return; // a server's: connecting tells
    struct stat about {};
    if (stat(url.path.c_str(), &about) != 0)
        throw CommandError(errno == ENOENT ? kExitNotFound : kExitFailed, url.path + ": " + std::strerror(errno),
                           kNotConnected);
}

} // namespace tools
