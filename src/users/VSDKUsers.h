#pragma once

#include <string>

#include "VSDKExport.h"
#include "dblayer/VSDKDBLayerBase.h"

/// A user of the hub server, one row of UMUsers. A local of its user, for one thread at a time.
///
/// Every operation runs one statement outside any transaction and returns 0 or a code of common/VSDKErrors.h. Nothing
/// is logged; HubDatabase::lastFailure tells why a database, a key or memory failed, also behind a 259. Logins are
/// UTF-8, at most 1020 bytes, compared by their bytes. The caller wipes the clear texts that it gets.
class VSDKDB_API VSDK_User : public VSDKDB_Base {
  public:
    int userId; ///< `id` in UMUsers; GetUserPasswordByLogin sets it

    explicit VSDK_User(int userId);

    /// 0 when `password` is that of the enabled user with this login; else 259, whatever the reason.
    unsigned long VerifyPasswordbyLogin(const std::string& login, const std::string& password);
    /// The password of the user with this login, and `userId`: the clear text of an encrypted one, a hash as it is
    /// stored. 0, also without such a user: then `found` is false and `password` empty. 1288 when the row could not be
    /// read, with `found` and `password` likewise. 1289 when the stored password could not be decrypted: `found` is
    /// true, the rest as it was.
    unsigned long GetUserPasswordByLogin(const std::string& login, bool& found, std::string& password);
    /// Login and password of the user `userId`; what is stored with a "4" in front counts as a hash. 0, 1288 (also when
    /// there is no such user) or 1289, and then both are as they were.
    unsigned long GetUserAndPassword(std::string& login, std::string& password);
    /// Adds a user of the system itself, enabled, with a random password that is stored encrypted, and gives that in
    /// clear: 36 characters. `local` makes the local kind. 0; 1289 when it could not be encrypted, and then nothing is
    /// changed; 1295, which has no message, when the row was refused, as for a login that is there already: `password`
    /// is nobody's then.
    unsigned long CreateSystemLocalAdminUser(const std::string& login, bool local, std::string& password);
};

/// The login sessions, rows of UMVSDKSessions: made at login, found by their token, shared through a reference count,
/// gone at logout or when they expire.
///
///                     InsertSession, number != 0
///     (no row) ----------------------------------------> live, connected
///        ^  \                                              |         ^
///        |   \--InsertSession, number 0--+   resetSessionId,         | UpdateSessions with a number
///        |                               v   resetAllSessionId       |
///        |                              live, not connected <--------+
///        |                                        |
///        +---- DeleteSession; ModifyReferenceCount to 0 or less; GetSessionId by token when it has
///              expired; MonitorSessions for all that have
///
/// The token is made by the database: 64 hexadecimal digits from a cryptographic source, never another session's. It
/// is all that a client needs to act as the user, and reaches no log.
///
/// A session has expired when it was not used for its own `timeout`, in minutes, or where that is 0, for
/// `sessionTimeout` seconds of this object; at exactly the limit it has. Only GetSessionId by token looks at that: all
/// other operations answer for an expired session as for any, until MonitorSessions or GetSessionId have removed it.
/// So a server asks GetSessionId by token first, for every request.
///
/// Every operation works outside any transaction and returns 0 or a code of common/VSDKErrors.h; 1291 is a failure of
/// the database, as is a row that is gone when it is to be changed. What fails before its one write has changed
/// nothing. No operation looks again between its read and its write: of two changes of a count at once, one may be
/// lost. Times are Unix seconds; the time of last use is written in 32 bits, which end in 2038. Texts are UTF-8,
/// compared by their bytes; out-arguments are set as far as an operation came.
///
/// An object serves one request, in one thread.
class VSDKDB_API VSDK_Sessions : public VSDKDB_Base {
  public:
    /// Idle time-out of the whole service, seconds; 0 or less: none. From the constructor, or updateSessionTimeout().
    int sessionTimeout;
    // Of the session: set by the caller before InsertSession, by GetSessionId by token and GetSessionInfo from the row.
    std::string sessionFileLocation; ///< where the client keeps its session file; at most 255 bytes
    std::string hostName;            ///< host the login came from; at most 255 bytes
    std::string encryptedToken;      ///< opaque, the client's; at most 400 bytes
    /// Whether the caller is to log who logs in and out, with user, host and time. False until updateAudit().
    bool auditEnabled;

    VSDK_Sessions();
    explicit VSDK_Sessions(int timeout);

    /// Adds a session with reference count 1 and gives its token.
    ///
    /// `userName`, at most 510 bytes, is stored as GetActualUsernameFromDomainlessUsername gives it; `password`, at
    /// most 400, is stored as given: encrypted, or empty. `impUserId` (a user impersonated) and `tokenExpires` are the
    /// caller's. 0, or 1291: the user's name could not be found, which is logged, or the row was refused, as with a
    /// text that is too long or not UTF-8. `guid` is empty after 0 when the token could not be read back.
    unsigned long InsertSession(const int& userId, const int& evmgrsSessionId, const std::string& userName,
                                const std::string& password, std::string& guid, int impUserId, int tokenExpires);

    /// The session of a token, unless it has expired, and marks it as used now. 0; 313: none, or it had expired and was
    /// removed; 1291.
    unsigned long GetSessionId(const std::string& guid, int& evmgrsSessionId, int& userId);
    /// The first connected session, by id, of a user name as stored. The password is not looked at: no proof of
    /// anything. 0; 259: none, and `evmgrsSessionId` is 0 if there were others; 1291.
    unsigned long GetSessionId(const std::string& userName, const std::string& password, int& evmgrsSessionId,
                               int& userId);
    /// Number, user name and stored (encrypted) password of a token's session, and marks it as used now. Where the
    /// parameter "DefaultADUserDomain" is set, a name without a domain gets that of "DefaultHSDomain", else "local". 0;
    /// 1292: the token is empty; 1293: no session; 1291.
    unsigned long GetSessionInfo(const std::string& guid, int& evmgrsSessionId, std::string& userName,
                                 std::string& password);
    /// Whether `password`, in clear, is that of the session's user now. 0; 259: no, or it could not be told; 1293: no
    /// session; 1291.
    unsigned long VerifyPassword(const std::string& guid, const std::string& password);

    /// Adds `delta` to the reference count of the first session, by id, of a user name as stored, whose stored password
    /// is `password`, in clear, and marks it as used now. The session is removed when the sum, of 32 bits, is 0 or
    /// less. 0; 1293: no session; 1289: its password could not be decrypted; 259: it is another; 2305: the sum is
    /// larger, and domainless login began after this session; 1291.
    unsigned long ModifyReferenceCount(const std::string& userName, const std::string& password, int delta,
                                       int& evmgrsSessionId, std::string& guid);
    /// The same for a token; `newCount` is the sum, 0 when the session was removed. 0, 1293, 2305, 1291.
    unsigned long ModifyReferenceCount(const std::string& guid, int delta, int& evmgrsSessionId, int& newCount);

    /// Removes the session of a token and gives its number. 0; 1293: none; 1292: it was gone at the last moment; 1291.
    unsigned long DeleteSession(const std::string& guid, int& evmgrsSessionId);
    /// Removes all sessions with this number. 0; 1292: none; 1291.
    unsigned long DeleteSession(const int& evmgrsSessionId);

    /// Sets the number of all sessions that have this one to 0. 0, also without any, or 1291.
    unsigned long resetSessionId(const int& evmgrsSessionId);
    /// Sets the number of all sessions to 0. As above.
    unsigned long resetAllSessionId();
    /// Gives all sessions with the old number the new one. As above.
    unsigned long UpdateSessions(const int& oldSessionId, const int& newSessionId);
    /// Gives the session of a token a new number. As above.
    unsigned long UpdateSessions(const std::string& guid, const int& newSessionId);

    /// Removes all sessions that have expired at `currentTime`, Unix seconds, by the procedure sec_VSDKMaintenance: the
    /// service's time-out is then the parameter "VSDKSessionTimeOut", whatever this object has. The first argument is
    /// not used. 0 or 1291.
    unsigned long MonitorSessions(const int& first, const int& currentTime);

    /// Sets `sessionTimeout` from the parameter "VSDKSessionTimeOut", as `atoi` reads it: -1 without one, 0 for what is
    /// no number. `errno` is not cleared before: where it holds ERANGE or EINVAL when this is called, the result is -1.
    /// It holds ERANGE, and the result is -1, after a number beyond 64 bits; so callers clear it first.
    void updateSessionTimeout();
    /// Sets `auditEnabled`: whether there is a parameter "VSDKSessionsAudit", whatever its value.
    void updateAudit();
};

/// The name under which the session of a user who typed `userName` is stored: where the parameter "DefaultADUserDomain"
/// is set, the full login name of the user `userId`, else `userName`. A failure of that lookup is put into `error`,
/// which is otherwise as it was, and `userName` is returned.
VSDKDB_API std::string GetActualUsernameFromDomainlessUsername(const std::string& userName, int userId, int& error);

/// What ModifyReferenceCount compares with a session's `created`: 1293, or 1291 when the parameter
/// "DefaultADUserDomain" could not be read. Not a time, though callers compare it as one.
VSDKDB_API long long GetDomainlessLoginEnabledTime();

/// Replaces `out` by the text of a new random GUID: 36 characters, lower-case hexadecimal in groups of 8-4-4-4-12.
/// Always true. Any thread may call it at any time.
VSDKDB_API bool CreateGuid(std::string& out);
