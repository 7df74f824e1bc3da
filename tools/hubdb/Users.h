#pragma once

#include <string>
#include <vector>

#include "common/Secret.h"
#include "hubdb/Commands.h"

/// What the commands about users and global parameters do. The database must be there, and of this version.

struct NewUser {
    std::string login;
    std::string name; ///< empty: the login
    std::string description;
};

/// Adds an enabled user whose password is stored as a hash.
Answer addUser(const hubdb::DatabaseUrl& url, const NewUser& user, const tools::PasswordSource& source);
/// Changes a user's password, in the form in which it is stored, and ends the user's login sessions.
Answer setUserPassword(const hubdb::DatabaseUrl& url, const std::string& login, const tools::PasswordSource& source);
/// Lets a user log in or not; whoever may not has no session any more.
Answer enableUser(const hubdb::DatabaseUrl& url, const std::string& login, bool enabled);
Answer listUsers(const hubdb::DatabaseUrl& url);

/// Whose jobs a user is to see.
struct VisibleJobs {
    std::vector<std::string> clients; ///< ids or names
    bool all = false;
    bool none = false;
};
/// Replaces what the user may see, unless nothing is said; tells what it is then.
Answer setVisibleJobs(const hubdb::DatabaseUrl& url, const std::string& login, const VisibleJobs& visible);

Answer setParameter(const hubdb::DatabaseUrl& url, const std::string& name, const std::string& value);
Answer getParameter(const hubdb::DatabaseUrl& url, const std::string& name);
Answer unsetParameter(const hubdb::DatabaseUrl& url, const std::string& name);
Answer listParameters(const hubdb::DatabaseUrl& url);
