#pragma once

#include <string>

#include "common/Secret.h"
#include "db/DatabaseUrl.h"
#include "vcommand/Commands.h"

/// The commands that begin, use and end a login session. The database is connected; they throw a tools::CommandError.
///
/// Whatever asks for a session asks the library for its token first, which looks whether it has expired and marks it
/// as used.

/// A row of the sessions' table, without its token.
const Kind& sessionKind();

struct LoginRequest {
    std::string user;
    tools::PasswordSource password;
};
/// Checks the password, begins a session, keeps its token, and ends the session that was kept before.
Answer logIn(const hubdb::DatabaseUrl& url, const LoginRequest& request);
Answer whoAmI(const hubdb::DatabaseUrl& url);
/// Ends the session whose token is kept, and forgets it.
Answer logOut(const hubdb::DatabaseUrl& url);
/// Removes all sessions that have expired.
Answer purgeSessions();

/// Lets a command go on: where the parameter "VSDKSessionsRequired" is set, and not to 0, only with a session, which is
/// marked as used. Where none is required, none is looked at: a list needs to write nothing.
void admit(const hubdb::DatabaseUrl& url);

/// Whose eyes a command looks with: the user of the session that is kept, which is marked as used. Without one it is
/// user 0, the system itself, unless a session is required.
int userOf(const hubdb::DatabaseUrl& url);
