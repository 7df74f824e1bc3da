#include "vcommand/Sessions.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <iostream>
#include <map>

#include "Db/Tbl/UMVSDKSessions.h"
#include "common/Audit.h"
#include "common/Tool.h"
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
constexpr int kNotLoggedIn = 1293;

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

/// A session that the library has let pass.
struct Passed {
    VSDK_Sessions session;
    int number = 0;
    int userId = 0;
};

/// Asks the library for a kept login, and forgets it when it has expired.
Passed use(const SessionFile& file, const Login& login) {
    HubDatabase::clearLastFailure();
    Passed passed;
    errno = 0; // what is in it would switch the time-out off
    passed.session.updateSessionTimeout();
    throwDatabaseFailure(kSessionFetchFailed); // which would switch it off as well
    const unsigned long code = passed.session.GetSessionId(login.token, passed.number, passed.userId);
    if (code == kTokenExpired) {
        file.remove();
        audit().tell("expired", login.user);
    }
    require(code, "the session of '" + login.user + "' has expired or was ended: log in again");
    return passed;
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
void requireValid(unsigned long code, const std::string& user) {
    if (code == kInvalidLogin) {
        throwDatabaseFailure(kInvalidLogin); // nothing is known about the password
        audit().tell("refused", user);
    }
    require(code, "the login was refused");
}

/// What is shown of a session.
Answer describe(const std::string& user, const Passed& passed, const std::string& token) {
    UMVSDKSessions session(nullptr);
    session.setIsolationType(4);
    session.setWhere("GUID='%s'", dbText(token));
    if (getOneRow(&session, false, -1, 0) != kDbOk)
        throwDatabaseFailure(kSessionFetchFailed);
    const UMVSDKSessions_t& row = *session.getDataPtr();
    constexpr std::int64_t kMinute = 60;
    const std::int64_t idle = row.timeout > 0 ? row.timeout * kMinute : std::max(passed.session.sessionTimeout, 0);
    return {sessionKind(),
            {{"user", Type::kText, Use::kBrief},
             {"userId", Type::kNumber, Use::kBrief},
             {"host", Type::kText, Use::kBrief},
             {"created", Type::kTime, Use::kBrief},
             {"idleSeconds", Type::kNumber, Use::kBrief}},
            {{toValue(user), toValue(passed.userId), toValue(passed.session.hostName), toValue(row.created),
              toValue(idle)}}};
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
    requireValid(VSDK_User(0).VerifyPasswordbyLogin(request.user, password.text), request.user);
    Passed begun;
    begun.userId = userIdOf(request.user);
    begun.session.hostName = tools::hostName();
    if (file.path().size() < sizeof UMVSDKSessions_t::sessionFileLocation)
        begun.session.sessionFileLocation = file.path();
    Login login{request.user, ""};
    require(begun.session.InsertSession(begun.userId, begun.number, request.user, encrypted(password.text), login.token,
                                        0, 0),
            "the session could not be stored");
    try {
        // Whoever changes the password or disables the user ends the sessions that are there; this one was not.
        requireValid(begun.session.VerifyPassword(login.token, password.text), request.user);
        const Passed passed = use(file, login);
        std::optional<Login> before;
        try {
            before = file.read();
        } catch (const tools::CommandError&) { // what is not to be used is replaced
        }
        file.write(login);
        int number = 0;
        if (before && begun.session.DeleteSession(before->token, number) == 0)
            audit().tell("logout", before->user);
        audit().tell("login", request.user);
        return describe(request.user, passed, login.token);
    } catch (...) {
        int number = 0;
        begun.session.DeleteSession(login.token, number);
        throw;
    }
}

Answer whoAmI(const hubdb::DatabaseUrl& url) {
    const SessionFile file(url);
    const auto login = file.read();
    if (!login)
        refuseWithoutLogin();
    Passed passed = use(file, *login);
    std::string user;
    std::string password; // encrypted
    require(passed.session.GetSessionInfo(login->token, passed.number, user, password), "the session was ended");
    return describe(user, passed, login->token);
}

Answer logOut(const hubdb::DatabaseUrl& url) {
    const SessionFile file(url);
    const auto login = file.read();
    if (!login)
        refuseWithoutLogin();
    Passed passed = use(file, *login);
    const unsigned long code = passed.session.DeleteSession(login->token, passed.number);
    if (code != 0)
        throwDatabaseFailure(static_cast<int>(code)); // the token is kept, so that it can be tried again
    file.remove();                                    // of a session that others have just ended, too
    audit().tell("logout", login->user);
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
    return {sessionKind(), {}, {}};
}

void admit(const hubdb::DatabaseUrl& url) {
    HubDatabase::clearLastFailure();
    std::string value;
    const int status = OVGlobalParam::get("VSDKSessionsRequired", value, nullptr);
    throwDatabaseFailure(kSessionFetchFailed); // who cannot ask is not let in
    const bool required = status == kDbOk && value != "0";
    try {
        const SessionFile file(url);
        const auto login = file.read();
        if (login)
            use(file, *login);
        else if (required)
            refuseWithoutLogin();
    } catch (const tools::CommandError& refusal) {
        if (required)
            throw;
        if (refusal.code == kTokenExpired)
            std::cerr << "vcommand: " << tools::escaped(refusal.what()) << "\n";
    }
}
