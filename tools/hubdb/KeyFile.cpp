#include "hubdb/KeyFile.h"

#include <fcntl.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "common/CommandError.h"

namespace {

constexpr std::size_t kKeyBytes = 32;

/// Empty when the system has no randomness to give.
std::string randomHex() {
    std::array<unsigned char, kKeyBytes> bytes{};
    if (getrandom(bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size()))
        return "";
    std::string text;
    for (const unsigned char byte : bytes) {
        text += "0123456789abcdef"[byte >> 4U];
        text += "0123456789abcdef"[byte & 15U];
    }
    explicit_bzero(bytes.data(), bytes.size());
    return text;
}

bool writeKey(int file) {
    std::string line = randomHex() + "\n";
    const bool written = line.size() == 2 * kKeyBytes + 1 &&
                         write(file, line.data(), line.size()) == static_cast<ssize_t>(line.size()) && fsync(file) == 0;
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
