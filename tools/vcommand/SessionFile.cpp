#include "vcommand/SessionFile.h"

#include <fcntl.h>
#include <pwd.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <nlohmann/json.hpp>

#include "common/CommandError.h"
#include "common/Descriptor.h"
#include "common/Tool.h"
#include "db/DBText.h"

namespace {

constexpr mode_t kOwnerOnly = S_IRUSR | S_IWUSR | S_IXUSR;
constexpr mode_t kOthers = S_IRWXG | S_IRWXO;
constexpr int kFileFailed = 616;  // "Unable to Create or Open the Session file..."
constexpr int kFileDamaged = 520; // "VSDKSession file corrupted, Relogin required"
constexpr int kUpdateFailed = 522;
constexpr int kDeleteFailed = 523;

[[noreturn]] void fail(int code, const std::string& path) {
    throw tools::CommandError(tools::kExitFailed, path + ": " + std::strerror(errno), code);
}

std::string stateDirectory() {
    const char* const state = std::getenv("XDG_STATE_HOME");
    if (state != nullptr && *state == '/') // others are to be ignored
        return state;
    const char* home = std::getenv("HOME");
    if (home == nullptr || *home != '/') {
        const passwd* const user = getpwuid(geteuid());
        home = user == nullptr ? nullptr : user->pw_dir;
    }
    if (home == nullptr)
        throw tools::CommandError(tools::kExitFailed, "there is no home directory to keep the login in: set HOME",
                                  kFileFailed);
    return std::string(home) + "/.local/state";
}

/// What a database is called whatever the directory that a command runs in.
std::string identityOf(const hubdb::DatabaseUrl& url) {
    if (url.path.empty())
        return url.name;
    const std::unique_ptr<char, decltype(&std::free)> whole(realpath(url.path.c_str(), nullptr), &std::free);
    return "sqlite:" + (whole == nullptr ? url.path : std::string(whole.get()));
}

/// A short name that differs from database to database; that it is the right one stands in the file.
std::string fileName(const std::string& identity) {
    std::uint64_t hash = 0xCBF29CE484222325U; // FNV-1a
    for (const char c : identity)
        hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001B3U;
    std::array<char, 17> digits{};
    std::snprintf(digits.data(), digits.size(), "%016llx", static_cast<unsigned long long>(hash));
    return digits.data();
}

void makeDirectories(const std::string& path) {
    for (std::size_t slash = 1; (slash = path.find('/', slash)) != std::string::npos; ++slash)
        if (mkdir(path.substr(0, slash).c_str(), kOwnerOnly) != 0 && errno != EEXIST)
            fail(kFileFailed, path.substr(0, slash));
}

/// Keeps other commands from changing the file for as long as the result lives. Throws a tools::CommandError.
tools::Descriptor locked(const std::string& path) {
    tools::Descriptor lock(
        open((path + ".lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, S_IRUSR | S_IWUSR));
    if (lock.number() < 0 || flock(lock.number(), LOCK_EX) != 0)
        fail(kUpdateFailed, path);
    return lock;
}

} // namespace

SessionFile::SessionFile(const hubdb::DatabaseUrl& url)
    : database_(tools::escaped(identityOf(url))), path_(stateDirectory() + "/vcommand/" + fileName(database_)) {}

std::optional<SessionFile::Login> SessionFile::read() const {
    const tools::Descriptor file(open(path_.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
    if (file.number() < 0 && (errno == ENOENT || errno == ENOTDIR))
        return std::nullopt;
    struct stat about {};
    if (file.number() < 0 || fstat(file.number(), &about) != 0)
        fail(kFileFailed, path_);
    const char* const fault = !S_ISREG(about.st_mode)          ? "is no file"
                              : about.st_uid != geteuid()      ? "belongs to another user"
                              : (about.st_mode & kOthers) != 0 ? "can be used by others"
                                                               : nullptr;
    if (fault != nullptr)
        throw tools::CommandError(tools::kExitRefused,
                                  path_ + ": " + fault + ", so no login in it is used: remove it, and log in again",
                                  kFileFailed);
    constexpr std::size_t kMost = 16384;
    std::string text(kMost, '\0');
    const ssize_t length = ::read(file.number(), text.data(), text.size());
    if (length < 0)
        fail(kFileFailed, path_);
    text.resize(static_cast<std::size_t>(length));
    const auto json = nlohmann::json::parse(text, nullptr, false);
    const auto member = [&json](const char* name) {
        const bool is = json.is_object() && json.contains(name) && json[name].is_string();
        return is ? json[name].get<std::string>() : std::string();
    };
    if (json.is_discarded() || member("token").empty() || !hubdb::isWholeText(member("token")))
        throw tools::CommandError(tools::kExitRefused, path_ + ": is no login of vcommand: log in again", kFileDamaged);
    if (member("database") != database_)
        return std::nullopt;
    return Login{member("user"), member("token")};
}

std::optional<SessionFile::Login> SessionFile::replace(const Login& login) const {
    makeDirectories(path_);
    const tools::Descriptor lock = locked(path_);
    std::optional<Login> before;
    try {
        before = read();
    } catch (const tools::CommandError&) { // what is not to be used is replaced
    }
    write(login);
    return before;
}

void SessionFile::write(const Login& login) const {
    const nlohmann::json json = {{"database", database_}, {"user", login.user}, {"token", login.token}};
    const std::string text = json.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) + "\n";
    std::string draft = path_ + ".XXXXXX"; // made with mode 0600
    const tools::Descriptor file(mkostemp(draft.data(), O_CLOEXEC));
    if (file.number() < 0)
        fail(kFileFailed, path_);
    errno = ENOSPC; // of a write that was cut
    if (::write(file.number(), text.data(), text.size()) != static_cast<ssize_t>(text.size()) ||
        fsync(file.number()) != 0 || rename(draft.c_str(), path_.c_str()) != 0) {
        const int reason = errno;
        unlink(draft.c_str());
        errno = reason;
        fail(kUpdateFailed, path_);
    }
}

void SessionFile::remove(const Login& login) const {
    const tools::Descriptor lock = locked(path_);
    if (const auto now = read(); !now || now->token != login.token)
        return;
    if (unlink(path_.c_str()) != 0 && errno != ENOENT && errno != ENOTDIR)
        fail(kDeleteFailed, path_);
}
