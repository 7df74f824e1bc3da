#include "vcommand/Sessions.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <map>

#include "Db/Tbl/UMVSDKSessions.h"
#include "common/Audit.h"
#include "common/Tool.h"
#include "db/DBText.h"
#include "db/EachRow.h"
#include "db/HubDatabase.h"
#include "security/OVGlobalParam.h"
#include "security/OVPassword.h"
#include "system/OVClock.h"
#include "users/VSDKUsers.h"
#include "vcommand/Failures.h"
#include "vcommand/SessionFile.h"

namespace {

constexpr int kInvalidLogin = 259;
constexpr int kTokenExpired = 313;
constexpr int kUserFetchFailed = 1288;
constexpr int kDecryptFailed = 1289;
constexpr int kSessionFetchFailed = 1291;

using Login = SessionFile::Login;

/// Throws why an operation did not answer 0: what failed below it, or what it refused.
void require(unsigned long code, const std::string& refusal) {
    if (code == 0)
        return;
    throwDatabaseFailure(static_cast<int>(code));
    throw tools::CommandError(tools::kExitRefused, refusal, static_cast<int>(code));
}

tools::Audit audit() {
    return tools::Audit("vcommand");
}

/// What the library says of a session, asked by its token.
struct Asked {
    VSDK_Sessions session;
    unsigned long code = 0;
    int number = 0;
    int userId = 0;
    std::string user; ///< of the audit: whose it is, or was until now; empty where there is none
};

/// The user in a session's row, empty without one.
std::string ownerOf(const std::string& token) {
    UMVSDKSessions session(nullptr);
    session.setIsolationType(4);
    session.setWhere("GUID='%s'", dbText(token));
    return getOneRow(&session, false, -1, 0) == kDbOk ? session.getDataPtr()->userName : "";
}

Asked ask(const std::string& token, const tools::Audit& log) {
    HubDatabase::clearLastFailure();
    Asked asked;
    if (log.isOn())
        asked.user = ownerOf(token); // who it was is not to be told afterwards
    errno = 0;                       // what is in it would switch the time-out off
    asked.session.updateSessionTimeout();
    throwDatabaseFailure(kSessionFetchFailed); // which would switch it off as well
    asked.code = asked.session.GetSessionId(token, asked.number, asked.userId);
    if (asked.code == kTokenExpired && !asked.user.empty())
        log.tell("expired", asked.user);
    return asked;
}

/// The session of a kept login, which is forgotten when there is none any more.
Asked use(const SessionFile& file, const Login& login, const tools::Audit& log) {
    Asked asked = ask(login.token, log);
    if (asked.code == kTokenExpired) {
        try {
            file.remove(login);
        } catch (const tools::CommandError&) { // it says the same the next time
        }
    }
    require(asked.code, "the session of '" + login.user + "' has expired or was ended: log in again");
    return asked;
}

[[noreturn]] void refuseWithoutLogin() {
    throw tools::CommandError(tools::kExitRefused, "nobody is logged in: vcommand login USER", kNotLoggedIn);
}

/// The password as a session keeps it. Without a key of the database it keeps none: its token is enough.
std::string encrypted(const std::string& password) {
    std::array<char, sizeof UMVSDKSessions_t::password> stored{};
    unsigned long capacity = stored.size();
    const int result = OVPassword::encrypt(password.c_str(), stored.data(), &capacity);
    if (result == OVPassword::kDone)
        return stored.data();
    if (result != OVPassword::kNoKey)
        throwDatabaseFailure(kDecryptFailed);
    HubDatabase::clearLastFailure();
    return "";
}

int userIdOf(const std::string& login) {
    VSDK_User user(0);
    bool found = false;
    tools::Secret password;
    require(user.GetUserPasswordByLogin(login, found, password.text), "the user cannot be read");
    if (!found)
        throw tools::CommandError(tools::kExitRefused, "the user is gone", kUserFetchFailed);
    return user.userId;
}

/// Throws when the password is not, or not any more, that of a user who may log in.
void requireValid(unsigned long code, const std::string& user, const tools::Audit& log) {
    if (code == kInvalidLogin) {
        throwDatabaseFailure(kInvalidLogin); // nothing is known about the password
        log.tell("refused", user);
    }
    require(code, "the login was refused");
}

/// Begins a session for a user whose password is right. Its token.
std::string begin(const std::string& user, const std::string& password, const std::string& path) {
    VSDK_Sessions session;
    session.hostName = tools::hostName();
    if (path.size() < sizeof UMVSDKSessions_t::sessionFileLocation && hubdb::isWholeText(path))
        session.sessionFileLocation = path;
    std::string token;
    const int userId = userIdOf(user);
    const unsigned long code = session.InsertSession(userId, 0, user, encrypted(password), token, 0, 0);
    require(token.empty() ? kSessionFetchFailed : code, "the session could not be stored");
    return token;
}

/// Ends a session that another one has replaced, if that can be.
void end(const std::string& token, const tools::Audit& log) {
    Asked asked;
    try {
        asked = ask(token, log);
    } catch (const tools::CommandError&) {
        return;
    }
    if (asked.code == 0 && asked.session.DeleteSession(token, asked.number) == 0)
        log.tell("logout", asked.user);
}

/// What is shown of a session.
Answer describe(const std::string& user, const Asked& asked, const std::string& token) {
    UMVSDKSessions session(nullptr);
    session.setIsolationType(4);
    session.setWhere("GUID='%s'", dbText(token));
    if (getOneRow(&session, false, -1, 0) != kDbOk)
        require(kTokenExpired, "the session was ended meanwhile: log in again");
    const UMVSDKSessions_t& row = *session.getDataPtr();
    constexpr std::int64_t kMinute = 60;
    const std::int64_t idle = row.timeout > 0 ? row.timeout * kMinute : std::max(asked.session.sessionTimeout, 0);
    return {
        sessionKind(),
        {{"user", Type::kText, Use::kBrief},
         {"userId", Type::kNumber, Use::kBrief},
         {"host", Type::kText, Use::kBrief},
         {"created", Type::kTime, Use::kBrief},
         {"idleSeconds", Type::kNumber, Use::kBrief}},
        {{toValue(user), toValue(asked.userId), toValue(asked.session.hostName), toValue(row.created), toValue(idle)}}};
}

bool areSessionsRequired() {
    HubDatabase::clearLastFailure();
    std::string value;
    const int status = OVGlobalParam::get("VSDKSessionsRequired", value, nullptr);
    throwDatabaseFailure(kSessionFetchFailed); // who cannot ask is not let in
    return status == kDbOk && value != "0";
}

} // namespace

const Kind& sessionKind() {
    using Session = UMVSDKSessions_t;
    static const KindOf<Session> kKind(
        {
            .one = "session",
            .many = "sessions",
            .about = "All login sessions, also those that have expired and are still there; never their tokens",
            .fetchFailed = kSessionFetchFailed,
        },
        {
            .id = [](const Session& session) { return session.id; },
            .name = [](const Path&, const Session& session) { return std::string(session.userName); },
            .list =
                [](const Path&, const Reading&, const std::function<void(Session&)>& visit) {
                    UMVSDKSessions sessions(nullptr);
                    sessions.setIsolationType(4);
                    eachRow(sessions, visit);
                },
        },
        {{"user", Use::kBrief, [](const Session& session) { return std::string(session.userName); }},
         {"userId", Use::kBrief, &Session::userId},
         {"host", Use::kBrief, [](const Session& session) { return std::string(session.hostName); }},
         {"created", Use::kBrief, Type::kTime, &Session::created},
         {"lastUse", Use::kBrief, Type::kTime, &Session::lastAccessedTime},
         {"logins", Use::kBrief, &Session::referenceCount},
         {"timeoutMinutes", Use::kDetail, &Session::timeout},
         {"connection", Use::kDetail, &Session::evmgrsSessionId},
         {"consoleType", Use::kDetail, &Session::consoleType},
         {"sessionFile", Use::kDetail,
          [](const Session& session) { return std::string(session.sessionFileLocation); }}});
    return kKind;
}

Answer logIn(const hubdb::DatabaseUrl& url, const LoginRequest& request) {
    const SessionFile file(url);
    tools::Secret password;
    tools::readPassword(request.password, "Password of " + tools::escaped(request.user), false, password);

    HubDatabase::clearLastFailure();
    const tools::Audit log = audit();
    const unsigned long valid = hubdb::isWholeText(request.user)
                                    ? VSDK_User(0).VerifyPasswordbyLogin(request.user, password.text)
                                    : kInvalidLogin;
    requireValid(valid, request.user, log);
    const Login login{request.user, begin(request.user, password.text, file.path())};
    std::optional<Login> before;
    Answer answer = [&] {
        try {
            const Asked asked = ask(login.token, log);
            require(asked.code, "the session was ended meanwhile");
            // Whoever changes the password or disables the user ends the sessions that are there; this one was not.
            requireValid(VSDK_Sessions().VerifyPassword(login.token, password.text), request.user, log);
            before = file.replace(login);
            return describe(request.user, asked, login.token);
        } catch (...) {
            int number = 0;
            VSDK_Sessions().DeleteSession(login.token, number);
            try {
                file.remove(login);
            } catch (const tools::CommandError&) { // the first failure counts
            }
            throw;
        }
    }();
    log.tell("login", request.user);
    if (before)
        end(before->token, log);
    return answer;
}

Answer whoAmI(const hubdb::DatabaseUrl& url) {
    const SessionFile file(url);
    const auto login = file.read();
    if (!login)
        refuseWithoutLogin();
    Asked asked = use(file, *login, audit());
    std::string user;
    std::string password; // encrypted
    require(asked.session.GetSessionInfo(login->token, asked.number, user, password), "the session was ended");
    return describe(user, asked, login->token);
}

Answer logOut(const hubdb::DatabaseUrl& url) {
    const SessionFile file(url);
    const auto login = file.read();
    if (!login)
        refuseWithoutLogin();
    const tools::Audit log = audit();
    Asked asked = use(file, *login, log);
    const unsigned long code = asked.session.DeleteSession(login->token, asked.number);
    if (code != 0)
        throwDatabaseFailure(static_cast<int>(code)); // the token is kept, so that it can be tried again
    else
        log.tell("logout", asked.user);
    file.remove(*login);
    return {sessionKind(),
            {{"user", Type::kText, Use::kBrief}, {"loggedOut", Type::kFlag, Use::kBrief}},
            {{toValue(login->user), toValue(true)}}};
}

Answer purgeSessions() {
    struct Owner {
        std::string user;
        std::string host;
    };
    const auto owners = [] {
        std::map<int, Owner> found;
        UMVSDKSessions sessions(nullptr);
        sessions.setIsolationType(4);
        eachRow(sessions, [&found](const UMVSDKSessions_t& row) { found[row.id] = {row.userName, row.hostName}; });
        throwDatabaseFailure(kSessionFetchFailed);
        return found;
    };
    HubDatabase::clearLastFailure();
    const tools::Audit log = audit();
    const auto before = log.isOn() ? owners() : std::map<int, Owner>();
    require(VSDK_Sessions().MonitorSessions(0, static_cast<int>(OVClock::now())), "the sessions cannot be removed");
    const auto after = log.isOn() ? owners() : std::map<int, Owner>();
    for (const auto& [id, owner] : before)
        if (!after.contains(id))
            log.tell("expired", owner.user, owner.host);
    return {sessionKind(), {{"purged", Type::kFlag, Use::kBrief}}, {{toValue(true)}}};
}

void admit(const hubdb::DatabaseUrl& url) {
    if (areSessionsRequired())
        userOf(url);
}

int userOf(const hubdb::DatabaseUrl& url) {
    constexpr int kSystem = 0;
    const SessionFile file(url);
    if (const auto login = file.read())
        return use(file, *login, audit()).userId;
    if (areSessionsRequired())
        refuseWithoutLogin();
    return kSystem;
}
