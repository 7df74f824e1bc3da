#include "hubdb/KeyFile.h"

#include <fcntl.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>

#include "hubdb/Commands.h"

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

} // namespace

bool makeKeyFile(const std::string& path) {
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR);
    if (file < 0 && errno == EEXIST)
        return false;
    const bool written = file >= 0 && writeKey(file);
    const int reason = errno;
    const bool closed = file >= 0 && close(file) == 0;
    if (written && closed)
        return true;
    if (file >= 0)
        unlink(path.c_str());
    throw CommandError(tools::kExitFailed, path + ": the key cannot be written: " + std::strerror(reason));
}
