#include "security/PasswordKey.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "db/ConnectionPool.h"
#include "security/Sodium.h"

namespace hubdb {

namespace {

/// As much of a file as `line` holds. The number of bytes, -1 and `errno` on failure.
ssize_t readFile(const std::string& path, std::array<char, PasswordKey::kLineBytes + 1>& line) {
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK); // a pipe must not keep anybody waiting
    if (file < 0)
        return -1;
    std::size_t length = 0;
    ssize_t got = 0;
    while (length < line.size() && (got = read(file, line.data() + length, line.size() - length)) > 0)
        length += static_cast<std::size_t>(got);
    const int reason = errno;
    close(file);
    errno = reason;
    return got < 0 ? -1 : static_cast<ssize_t>(length);
}

} // namespace

PasswordKey::~PasswordKey() {
    sodium_memzero(bytes_.data(), bytes_.size());
}

bool PasswordKey::load(const std::string& path, std::string& error) {
    std::array<char, kLineBytes + 1> line{};
    const ssize_t length = readFile(path, line);
    if (length < 0) {
        sodium_memzero(line.data(), line.size());
        error = path + ": the key of stored passwords cannot be read: " + std::strerror(errno);
        return false;
    }
    std::size_t decoded = 0;
    // The line end may be missing, as when the key was pasted.
    const bool whole = (length == kLineBytes && line[kLineBytes - 1] == '\n') || length == kLineBytes - 1;
    const bool valid =
        sodiumIsReady() && whole &&
        sodium_hex2bin(bytes_.data(), bytes_.size(), line.data(), kLineBytes - 1, nullptr, &decoded, nullptr) == 0 &&
        decoded == bytes_.size();
    sodium_memzero(line.data(), line.size());
    if (!valid)
        error = path + ": holds no key of stored passwords, which is a line of 64 hexadecimal digits";
    return valid;
}

bool PasswordKey::loadOfDatabase(std::string& error) {
    EngineError failure;
    const auto database = Database::current(failure);
    if (database == nullptr)
        error = failure.words;
    else if (database->keyPath().empty())
        error = "the database's URL names no key of stored passwords (key=PATH)";
    else
        return load(database->keyPath(), error);
    return false;
}

PasswordKey::Fingerprint PasswordKey::fingerprint() const {
    static_assert(kBytes == crypto_secretbox_KEYBYTES);
    constexpr char kPurpose[] = "hub database password key";
    Fingerprint fingerprint{};
    std::array<unsigned char, crypto_generichash_BYTES> digest{};
    crypto_generichash(digest.data(), digest.size(), reinterpret_cast<const unsigned char*>(kPurpose),
                       sizeof kPurpose - 1, bytes_.data(), bytes_.size());
    std::memcpy(fingerprint.data(), digest.data(), fingerprint.size());
    return fingerprint;
}

std::array<char, PasswordKey::kLineBytes> PasswordKey::newLine() {
    std::array<unsigned char, kBytes> random{};
    std::array<char, kLineBytes> line{};
    if (!sodiumIsReady())
        sodium_misuse();
    randombytes_buf(random.data(), random.size());
    sodium_bin2hex(line.data(), line.size(), random.data(), random.size());
    line.back() = '\n';
    sodium_memzero(random.data(), random.size());
    return line;
}

} // namespace hubdb
