#include "hubdb/KeyFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "common/CommandError.h"
#include "security/PasswordKey.h"

namespace {

bool writeKey(int file) {
    auto line = hubdb::PasswordKey::newLine();
    const bool written = write(file, line.data(), line.size()) == static_cast<ssize_t>(line.size()) && fsync(file) == 0;
    explicit_bzero(line.data(), line.size());
    return written;
}

[[noreturn]] void throwReason(const std::string& path, int reason) {
    throw tools::CommandError(tools::kExitFailed, path + ": the key cannot be written: " + std::strerror(reason));
}

} // namespace

KeyFile::KeyFile(const std::string& path) : path_(path) {
    struct stat about {};
    if (lstat(path.c_str(), &about) == 0)
        return;
    std::string draft = path + ".XXXXXX"; // made with mode 0600
    const int file = mkostemp(draft.data(), O_CLOEXEC);
    if (file < 0)
        throwReason(path, errno);
    const bool written = writeKey(file);
    const int reason = errno;
    close(file); // after the fsync nothing is left to fail
    if (!written) {
        unlink(draft.c_str());
        throwReason(path, reason);
    }
    draft_ = draft;
}

KeyFile::~KeyFile() {
    if (!draft_.empty())
        unlink(draft_.c_str());
}

bool KeyFile::publish() {
    if (draft_.empty() || (link(draft_.c_str(), path_.c_str()) != 0 && errno == EEXIST))
        return false;
    struct stat about {};
    if (lstat(path_.c_str(), &about) != 0)
        throwReason(path_, errno);
    return true;
}
