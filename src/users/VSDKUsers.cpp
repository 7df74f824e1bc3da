#include "users/VSDKUsers.h"

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>

#include <uuid/uuid.h>

#include "Db/Tbl/Sec_VSDKMaintenance.h"
#include "Db/Tbl/UMUsers.h"
#include "Db/Tbl/UMVSDKSessions.h"
#include "Db/Tbl/ZXGlobalParam.h"
#include "log/EvDebug.h"
#include "security/EvExternal.h"
#include "security/EvSecurityMgr.h"
#include "security/OVGlobalParam.h"
#include "security/OVPassword.h"
#include "system/OVClock.h"

namespace {

constexpr unsigned long kInvalidLogin = 259;
constexpr unsigned long kTokenExpired = 313;
constexpr unsigned long kUserFetchFailed = 1288;
constexpr unsigned long kDecryptFailed = 1289;
constexpr unsigned long kSessionFetchFailed = 1291;
constexpr unsigned long kNoSessionInfo = 1292;
constexpr unsigned long kNotLoggedIn = 1293;
constexpr unsigned long kUserInsertFailed = 1295;
constexpr unsigned long kDomainlessSinceLogin = 2305;

constexpr const char* kDomainParameter = "DefaultADUserDomain";

/// Numbers that grow beyond 32 bits start again at the other end.
int wrappedSum(int a, int b) {
    return static_cast<int>(static_cast<std::uint32_t>(a) + static_cast<std::uint32_t>(b));
}
int wrappedProduct(int a, int b) {
    return static_cast<int>(static_cast<std::uint32_t>(a) * static_cast<std::uint32_t>(b));
}

/// A password in clear, wiped when it goes.
class ClearText {
  public:
    ClearText() = default;
    explicit ClearText(const std::string& text) : text_(text) {}
    ~ClearText() { explicit_bzero(text_.data(), text_.size()); }
    ClearText(const ClearText&) = delete;
    ClearText& operator=(const ClearText&) = delete;

    std::string& text() { return text_; }

    /// False when `stored` cannot be decrypted.
    bool decrypt(const char* stored) {
        std::array<char, OVPassword::kClearBuffer> buffer{};
        unsigned long length = std::numeric_limits<unsigned long>::max(); // no limit but the platform's own
        const bool done = OVPassword::decrypt(stored, buffer.data(), &length) == OVPassword::kDone;
        text_ = buffer.data();
        explicit_bzero(buffer.data(), buffer.size());
        return done;
    }

  private:
    std::string text_;
};

/// A stored password as the lookups give it: a hash as it stands, any other in clear. False, and `password` as it was,
/// when that cannot be decrypted.
bool reveal(const char* stored, bool isHash, std::string& password) {
    ClearText clear;
    if (!isHash && !clear.decrypt(stored))
        return false;
    password = isHash ? stored : clear.text().c_str(); // no copy on the way
    return true;
}

int readOne(DBtable& accessor) {
    accessor.setIsolationType(4);
    return getOneRow(&accessor, false, -1, 0);
}

/// The session of a token.
int readByToken(UMVSDKSessions& session, const std::string& guid) {
    session.setWhere("GUID='%s'", dbText(guid));
    return readOne(session);
}

/// What a change of all sessions that match came to, when none at all is as good.
unsigned long changed(int status) {
    return status == kDbOk || status == kDbNoRow ? 0 : kSessionFetchFailed;
}

unsigned long deleted(int status) {
    return status == kDbOk ? 0 : status == kDbNoRow ? kNoSessionInfo : kSessionFetchFailed;
}

unsigned long touch(UMVSDKSessions& session, std::int64_t now) {
    const int written = session.rowUpdate("lastAccessedTime=%d", static_cast<int>(now));
    return written == kDbOk ? 0 : kSessionFetchFailed;
}

void copyTexts(const UMVSDKSessions_t& row, VSDK_Sessions& session) {
    session.sessionFileLocation = row.sessionFileLocation;
    session.hostName = row.hostName;
    session.encryptedToken = row.encryptedToken;
}

bool hasExpired(const UMVSDKSessions_t& row, int serviceTimeout, std::int64_t now) {
    if (row.timeout == 0)
        return serviceTimeout > 0 && row.lastAccessedTime <= now - serviceTimeout;
    return row.timeout > 0 && row.lastAccessedTime <= now - wrappedProduct(row.timeout, 60);
}

/// Writes the changed count of a session that was read, or removes the session. `newCount` is the sum, and 0 when it is
/// removed.
unsigned long changeCount(UMVSDKSessions& session, int delta, std::int64_t now, int& newCount) {
    const UMVSDKSessions_t& row = *session.getDataPtr();
    newCount = wrappedSum(row.referenceCount, delta);
    int written = kDbOk;
    if (newCount > 0) {
        if (delta > 0 && GetDomainlessLoginEnabledTime() > row.created)
            return kDomainlessSinceLogin;
        written = session.rowUpdate("referenceCount=%d, lastAccessedTime=%d", newCount, static_cast<int>(now));
    } else {
        written = session.rowDelete();
        if (written == kDbOk)
            newCount = 0;
    }
    return written == kDbOk ? 0 : kSessionFetchFailed;
}

/// Whether users may log in without their domain. What it was read to be goes to the log of `function`.
bool hasDefaultDomain(const char* function) {
    std::string domain;
    const int error = OVGlobalParam::get(kDomainParameter, domain, nullptr);
    if (error == OVGlobalParam::kNotSet)
        EvDebug::DebugLvl(function, 5, "No default domain is set, error[%d].", error);
    else if (error != 0)
        EvDebug::DebugLvl(function, 1, "call to get default domain failed with error code: [%d]", error);
    return error == 0 && !domain.empty();
}

/// A stored name with its domain: one without is a user of the hub server's own.
std::string qualified(const std::string& userName) {
    constexpr const char* kFunction = "GetSessionInfo";
    constexpr const char* kLocal = "local";
    if (!hasDefaultDomain(kFunction) || userName.find('\\') != std::string::npos)
        return userName;
    std::string domain;
    const int error = OVGlobalParam::get("DefaultHSDomain", domain, nullptr);
    if (error == 0)
        EvDebug::DebugLvl(kFunction, 5, "Default HS domain: [%s]", domain.c_str());
    else if (error == OVGlobalParam::kNotSet)
        EvDebug::DebugLvl(kFunction, 5, "default HS domain is not set. Using \"[%s]\" as default HS domain", kLocal);
    else
        EvDebug::DebugLvl(kFunction, 1,
                          "Failed to find default HS domain with error: [%d]. Using \"[%s]\" as default HS domain",
                          error, kLocal);
    return (domain.empty() ? kLocal : domain) + "\\" + userName;
}

} // namespace

// ---- users

VSDK_User::VSDK_User(int user) : userId(user) {}

unsigned long VSDK_User::VerifyPasswordbyLogin(const std::string& login, const std::string& password) {
    UMUsers user(nullptr);
    user.setWhere("login=N'%s'", dbText(login));
    if (const int status = readOne(user); status != kDbOk) {
        if (status == kDbNoRow)
            OVPassword::verifyNothing(password); // who tries logins is not to hear which ones there are
        return kInvalidLogin;
    }
    ClearText given(password);
    std::string message;
    const auto id = static_cast<unsigned long>(user.getDataPtr()->id);
    return EvSecurityMgr(0).validateUser(id, given.text(), message, nullptr) == EvSecurityMgr::kValid ? 0
                                                                                                      : kInvalidLogin;
}

unsigned long VSDK_User::GetUserPasswordByLogin(const std::string& login, bool& found, std::string& password) {
    UMUsers user(nullptr);
    user.setWhere("login='%s'", dbText(login));
    const int status = readOne(user);
    found = status == kDbOk;
    if (!found) {
        password.clear();
        return status == kDbNoRow ? 0 : kUserFetchFailed;
    }
    const UMUsers_t& row = *user.getDataPtr();
    if (!reveal(row.password, OVPassword::isHashPassword(row.password) == 1, password))
        return kDecryptFailed;
    userId = row.id;
    return 0;
}

unsigned long VSDK_User::GetUserAndPassword(std::string& login, std::string& password) {
    UMUsers user(nullptr);
    user.setWhere("id=%d", userId);
    if (readOne(user) != kDbOk)
        return kUserFetchFailed;
    const UMUsers_t& row = *user.getDataPtr();
    if (!reveal(row.password, row.password[0] == '4', password)) // this lookup goes by the first character alone
        return kDecryptFailed;
    login = row.login;
    return 0;
}

unsigned long VSDK_User::CreateSystemLocalAdminUser(const std::string& login, bool local, std::string& password) {
    constexpr int kLocalFlags = 0x10005;
    constexpr int kAdminFlags = 0x25;
    ClearText generated;
    CreateGuid(generated.text());

    UMUsers user(nullptr);
    UMUsers_t& row = *user.getDataPtr();
    dbSetText(row.name, login);
    dbSetText(row.login, login);
    dbSetText(row.description, local ? "System created local User for vcommand operations"
                                     : "System created Admin User for vcommand operations");
    row.flags = local ? kLocalFlags : kAdminFlags;
    row.enabled = 1;
    row.origHCId = 2;
    unsigned long capacity = 401;
    static_assert(sizeof row.password >= 401);
    if (OVPassword::encrypt(generated.text().c_str(), row.password, &capacity) != OVPassword::kDone)
        return kDecryptFailed;
    password = generated.text();
    return user.rowInsert(true) == kDbOk ? 0 : kUserInsertFailed;
}

// ---- sessions

VSDK_Sessions::VSDK_Sessions() : VSDK_Sessions(-1) {}

VSDK_Sessions::VSDK_Sessions(int timeout) : sessionTimeout(timeout), auditEnabled(false) {}

unsigned long VSDK_Sessions::InsertSession(const int& userId, const int& evmgrsSessionId, const std::string& userName,
                                           const std::string& password, std::string& guid, int impUserId,
                                           int tokenExpires) {
    const std::int64_t now = OVClock::now();
    int error = 0;
    const std::string name = GetActualUsernameFromDomainlessUsername(userName, userId, error);
    if (error != 0) {
        EvDebug::Error("InsertSession", "Error [%d] in getting user name for userId [%d]", error, userId);
        return kSessionFetchFailed;
    }
    UMVSDKSessions session(nullptr);
    UMVSDKSessions_t& row = *session.getDataPtr();
    row.userId = userId;
    row.evmgrsSessionId = evmgrsSessionId;
    dbSetText(row.userName, name);
    dbSetText(row.password, password);
    row.referenceCount = 1;
    row.created = row.lastAccessedTime = now;
    dbSetText(row.sessionFileLocation, sessionFileLocation);
    dbSetText(row.encryptedToken, encryptedToken);
    dbSetText(row.hostName, hostName);
    row.consoleType = 13;
    row.imp_userId = impUserId;
    row.tokenExpires = tokenExpires;
    if (session.rowInsert(true) != kDbOk)
        return kSessionFetchFailed;
    session.setWhere("id=%d", row.id);
    readOne(session); // whatever it answers: the session is there
    guid = row.GUID;
    return 0;
}

unsigned long VSDK_Sessions::GetSessionId(const std::string& guid, int& evmgrsSessionId, int& userId) {
    const std::int64_t now = OVClock::now();
    UMVSDKSessions session(nullptr);
    if (const int status = readByToken(session, guid); status != kDbOk)
        return status == kDbNoRow ? kTokenExpired : kSessionFetchFailed;
    const UMVSDKSessions_t& row = *session.getDataPtr();
    if (hasExpired(row, sessionTimeout, now))
        return session.rowDelete() == kDbOk ? kTokenExpired : kSessionFetchFailed;
    evmgrsSessionId = row.evmgrsSessionId;
    userId = row.userId;
    copyTexts(row, *this);
    return touch(session, now);
}

unsigned long VSDK_Sessions::GetSessionId(const std::string& userName, const std::string& /*password*/,
                                          int& evmgrsSessionId, int& userId) {
    UMVSDKSessions session(nullptr);
    session.setIsolationType(4);
    session.setWhere("userName='%s'", dbText(userName));
    const UMVSDKSessions_t& row = *session.getDataPtr();
    int state = 0;
    int status = kDbOk;
    while ((status = getNextRow(&session, &state, -1, 0)) == kDbOk) {
        evmgrsSessionId = row.evmgrsSessionId;
        if (row.evmgrsSessionId != 0) {
            userId = row.userId;
            return 0;
        }
    }
    return status == kDbNoRow ? kInvalidLogin : kSessionFetchFailed;
}

unsigned long VSDK_Sessions::GetSessionInfo(const std::string& guid, int& evmgrsSessionId, std::string& userName,
                                            std::string& password) {
    if (guid.empty())
        return kNoSessionInfo;
    const std::int64_t now = OVClock::now();
    UMVSDKSessions session(nullptr);
    if (const int status = readByToken(session, guid); status != kDbOk)
        return status == kDbNoRow ? kNotLoggedIn : kSessionFetchFailed;
    const UMVSDKSessions_t& row = *session.getDataPtr();
    evmgrsSessionId = row.evmgrsSessionId;
    userName = qualified(row.userName);
    password = row.password;
    copyTexts(row, *this);
    return touch(session, now);
}

unsigned long VSDK_Sessions::VerifyPassword(const std::string& guid, const std::string& password) {
    UMVSDKSessions session(nullptr);
    if (const int status = readByToken(session, guid); status != kDbOk)
        return status == kDbNoRow ? kNotLoggedIn : kSessionFetchFailed;
    std::string message;
    const auto id = static_cast<unsigned long>(session.getDataPtr()->userId);
    return EvSecurityMgr(0).validateUserwithDBpassword(id, password, message, nullptr, true) == EvSecurityMgr::kValid
               ? 0
               : kInvalidLogin;
}

unsigned long VSDK_Sessions::ModifyReferenceCount(const std::string& userName, const std::string& password, int delta,
                                                  int& evmgrsSessionId, std::string& guid) {
    const std::int64_t now = OVClock::now();
    UMVSDKSessions session(nullptr);
    session.setWhere("userName='%s'", dbText(userName));
    if (const int status = readOne(session); status != kDbOk)
        return status == kDbNoRow ? kNotLoggedIn : kSessionFetchFailed;
    const UMVSDKSessions_t& row = *session.getDataPtr();
    ClearText clear;
    if (!clear.decrypt(row.password))
        return kDecryptFailed;
    if (!OVPassword::isSame(clear.text(), password))
        return kInvalidLogin;
    evmgrsSessionId = row.evmgrsSessionId;
    guid = row.GUID;
    int newCount = 0;
    return changeCount(session, delta, now, newCount);
}

unsigned long VSDK_Sessions::ModifyReferenceCount(const std::string& guid, int delta, int& evmgrsSessionId,
                                                  int& newCount) {
    const std::int64_t now = OVClock::now();
    UMVSDKSessions session(nullptr);
    if (const int status = readByToken(session, guid); status != kDbOk)
        return status == kDbNoRow ? kNotLoggedIn : kSessionFetchFailed;
    evmgrsSessionId = session.getDataPtr()->evmgrsSessionId;
    return changeCount(session, delta, now, newCount);
}

unsigned long VSDK_Sessions::DeleteSession(const std::string& guid, int& evmgrsSessionId) {
    UMVSDKSessions session(nullptr);
    if (const int status = readByToken(session, guid); status != kDbOk)
        return status == kDbNoRow ? kNotLoggedIn : kSessionFetchFailed;
    evmgrsSessionId = session.getDataPtr()->evmgrsSessionId;
    return deleted(session.rowDelete());
}

unsigned long VSDK_Sessions::DeleteSession(const int& evmgrsSessionId) {
    UMVSDKSessions sessions(nullptr);
    sessions.setWhere("evmgrsSessionId=%d", evmgrsSessionId);
    return deleted(sessions.rowDelete());
}

unsigned long VSDK_Sessions::resetSessionId(const int& evmgrsSessionId) {
    UMVSDKSessions sessions(nullptr);
    sessions.setWhere("evmgrsSessionId=%d", evmgrsSessionId);
    return changed(sessions.rowUpdate("evmgrsSessionId=0"));
}

unsigned long VSDK_Sessions::resetAllSessionId() {
    UMVSDKSessions sessions(nullptr);
    sessions.setWhere("evmgrsSessionId <> 0");
    return changed(sessions.rowUpdate("evmgrsSessionId=0"));
}

unsigned long VSDK_Sessions::UpdateSessions(const int& oldSessionId, const int& newSessionId) {
    UMVSDKSessions sessions(nullptr);
    sessions.setWhere("evmgrsSessionId=%d", oldSessionId);
    return changed(sessions.rowUpdate("evmgrsSessionId=%d", newSessionId));
}

unsigned long VSDK_Sessions::UpdateSessions(const std::string& guid, const int& newSessionId) {
    UMVSDKSessions session(nullptr);
    session.setWhere("GUID='%s'", dbText(guid));
    return changed(session.rowUpdate("evmgrsSessionId=%d", newSessionId));
}

unsigned long VSDK_Sessions::MonitorSessions(const int& /*first*/, const int& currentTime) {
    Sec_VSDKMaintenance maintenance(nullptr);
    maintenance.setValues(currentTime);
    const int status = readOne(maintenance);
    EvDebug::Debug("MonitorSessions", "Going to delete expired user sessions");
    if (status == kDbOk || status == kDbNoRow)
        return 0;
    EvDebug::Debug("MonitorSessions", "Error in reading rows from UMVSDKSessions table %d", status);
    return kSessionFetchFailed;
}

void VSDK_Sessions::updateSessionTimeout() {
    const int before = errno;
    ZXGlobalParam parameter(nullptr);
    parameter.setWhere("name='%s'", "VSDKSessionTimeOut");
    const int status = readOne(parameter);
    errno = before; // what the caller's earlier calls left counts, not what the engine did on its way
    sessionTimeout = -1;
    if (status != kDbOk)
        return;
    const int seconds = std::atoi(parameter.getDataPtr()->value.bytes.c_str());
    if (errno != ERANGE && errno != EINVAL)
        sessionTimeout = seconds;
}

void VSDK_Sessions::updateAudit() {
    ZXGlobalParam parameter(nullptr);
    parameter.setWhere("name='%s'", "VSDKSessionsAudit");
    auditEnabled = readOne(parameter) == kDbOk;
}

// ---- user names and domains

std::string GetActualUsernameFromDomainlessUsername(const std::string& userName, int userId, int& error) {
    if (!hasDefaultDomain("GetActualUsernameFromDomainlessUsername"))
        return userName;
    std::array<char, 1024> login{};
    int failure = 0;
    EvExternal(0).getUserLogin(userId, login.data(), &failure, nullptr);
    if (failure == 0)
        return login.data();
    error = failure;
    return userName;
}

long long GetDomainlessLoginEnabledTime() {
    ZXGlobalParam parameter(nullptr);
    parameter.setWhere("name = '%s'", kDomainParameter);
    const int status = readOne(parameter);
    // The parameter's `created` is not what callers compare with: they get these numbers.
    return status == kDbOk || status == kDbNoRow ? kNotLoggedIn : kSessionFetchFailed;
}

bool CreateGuid(std::string& out) {
    uuid_t guid;
    uuid_generate_random(guid);
    std::array<char, UUID_STR_LEN> text{};
    uuid_unparse_lower(guid, text.data());
    out = text.data();
    explicit_bzero(&guid, sizeof guid); // it may become a password
    explicit_bzero(text.data(), text.size());
    return true;
}
