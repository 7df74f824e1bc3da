#include "hubdb/Users.h"

#include <array>
#include <functional>
#include <limits>
#include <set>
#include <vector>

#include "Db/Tbl/APP_Client.h"
#include "Db/Tbl/UMJobVisibility.h"
#include "Db/Tbl/UMUsers.h"
#include "Db/Tbl/UMVSDKSessions.h"
#include "Db/Tbl/ZXGlobalParam.h"
#include "common/Audit.h"
#include "common/Database.h"
#include "common/Table.h"
#include "db/EachRow.h"
#include "db/HubDatabase.h"
#include "security/OVGlobalParam.h"
#include "security/OVPassword.h"
#include "system/OVClock.h"
#include "users/VSDKUsers.h"

namespace {

/// The process's hub database, for as long as a command runs.
class Connected {
  public:
    explicit Connected(const hubdb::DatabaseUrl& url) {
        tools::requireDatabase(url);
        std::string error;
        if (const int status = HubDatabase::connect(url.whole, error); status != kDbOk)
            fail(status, error);
    }
    ~Connected() { HubDatabase::disconnect(); }
    Connected(const Connected&) = delete;
    Connected& operator=(const Connected&) = delete;

    [[noreturn]] static void fail(int status, const std::string& words) {
        throw tools::CommandError(tools::kExitFailed, words + " (database status " + std::to_string(status) + ")");
    }
    /// Of an accessor's operation, or of the thread's last failure.
    static void require(int status) {
        if (status == kDbOk)
            return;
        std::string words;
        HubDatabase::lastFailure(words);
        fail(status, words);
    }
};

std::string quoted(const std::string& text) {
    return "'" + text + "'";
}

[[noreturn]] void refuse(const std::string& why) {
    throw tools::CommandError(tools::kExitRefused, why);
}

void requireFits(const std::string& what, const std::string& text, std::size_t size) {
    if (text.size() >= size)
        refuse(what + " is longer than " + std::to_string(size - 1) + " bytes");
    if (!hubdb::isWholeText(text))
        refuse(what + " is not UTF-8");
}

/// In the form of what is stored now, or as a hash.
void storePassword(const std::string& clear, const char* before, char (&stored)[sizeof UMUsers_t::password]) {
    int result = OVPassword::kDone;
    if (*before == '\0' || OVPassword::isHashPassword(before) == 1) {
        std::string hash;
        result = OVPassword::hash(clear, hash);
        dbSetText(stored, hash);
    } else {
        unsigned long capacity = sizeof stored;
        result = OVPassword::encrypt(clear.c_str(), stored, &capacity);
    }
    if (result != OVPassword::kDone) {
        std::string words;
        HubDatabase::lastFailure(words);
        throw tools::CommandError(tools::kExitFailed, words);
    }
}

/// Reads a user's row, in the transaction of the accessor.
void findUser(UMUsers& user, const std::string& login) {
    user.setIsolationType(4);
    user.setWhere("login='%s'", dbText(login));
    const int status = getOneRow(&user, false, -1, 0);
    if (status == kDbNoRow)
        throw tools::CommandError(tools::kExitNotFound, "there is no user " + quoted(login));
    Connected::require(status);
}

struct Ended {
    std::string user;
    std::string host;
};

std::vector<Ended> endSessions(int userId, DBtran* transaction) {
    UMVSDKSessions sessions(transaction);
    std::vector<Ended> ended;
    sessions.setWhere("userId=%d", userId);
    Connected::require(eachRow(sessions, [&ended](const UMVSDKSessions_t& row) {
        ended.push_back({row.userName, row.hostName});
    }));
    sessions.setWhere("userId=%d", userId);
    const int status = sessions.rowDelete();
    Connected::require(status == kDbNoRow ? kDbOk : status);
    return ended;
}

void tellEnded(const std::vector<Ended>& ended) {
    const tools::Audit log("hubdb");
    for (const auto& [user, host] : ended)
        log.tell("logout", user, host);
}

/// Changes a user's row, and ends the sessions with it unless `keepSessions`.
std::string changeUser(const std::string& login, bool keepSessions, const std::function<int(UMUsers&)>& change) {
    DBtran transaction;
    Connected::require(transaction.startTran());
    UMUsers user(&transaction);
    findUser(user, login);
    const int status = change(user);
    if (status == kDbNoRow)
        throw tools::CommandError(tools::kExitNotFound, "the user " + quoted(login) + " is gone");
    Connected::require(status);
    const int id = user.getDataPtr()->id;
    const auto ended = keepSessions ? std::vector<Ended>() : endSessions(id, &transaction);
    Connected::require(transaction.commitTran());
    if (keepSessions)
        return "";
    // Whoever was let in before the change could be seen, and got the session only now.
    tellEnded(ended);
    const auto late = endSessions(id, nullptr);
    tellEnded(late);
    const std::size_t count = ended.size() + late.size();
    return "; " + std::to_string(count) + (count == 1 ? " login session was ended" : " login sessions were ended");
}

const char* formOf(const char* password) {
    return *password == '\0' ? "none" : OVPassword::isHashPassword(password) == 1 ? "hash" : "encrypted";
}

} // namespace

Answer addUser(const hubdb::DatabaseUrl& url, const NewUser& user, const tools::PasswordSource& source) {
    requireFits("the login", user.login, sizeof UMVSDKSessions_t::userName); // or it could be in no session
    requireFits("the name", user.name, sizeof UMUsers_t::name);
    requireFits("the description", user.description, std::string::npos);
    if (user.login.empty())
        refuse("the login is empty");
    const Connected connected(url);
    tools::Secret password;
    tools::readPassword(source, "Password of the new user " + tools::escaped(user.login), true, password);

    UMUsers users(nullptr);
    UMUsers_t& row = *users.getDataPtr();
    dbSetText(row.login, user.login);
    dbSetText(row.name, user.name.empty() ? user.login : user.name);
    dbSetText(row.description, user.description);
    std::string guid;
    CreateGuid(guid);
    dbSetText(row.userGuid, guid);
    storePassword(password.text, "", row.password);
    row.enabled = 1;
    row.origHCId = 2;
    row.modified = OVClock::now();
    row.datePasswordSet = static_cast<int>(row.modified);
    const int status = users.rowInsert(true);
    if (status == kDbConstraint)
        refuse("there is a user " + quoted(user.login) + " already");
    Connected::require(status);
    return {"added the user " + tools::escaped(quoted(user.login)) + " with the id " + std::to_string(row.id) + "\n"};
}

Answer setUserPassword(const hubdb::DatabaseUrl& url, const std::string& login, const tools::PasswordSource& source) {
    const Connected connected(url);
    {
        UMUsers user(nullptr);
        findUser(user, login); // before anybody is asked for a password
    }
    tools::Secret password;
    tools::readPassword(source, "New password of " + tools::escaped(login), true, password);
    const std::string ended = changeUser(login, false, [&](UMUsers& user) {
        char stored[sizeof UMUsers_t::password] = "";
        storePassword(password.text, user.getDataPtr()->password, stored);
        const auto now = static_cast<long long>(OVClock::now());
        return user.rowUpdate("password='%s', datePasswordSet=%d, modified=%lld", stored, static_cast<int>(now), now);
    });
    return {"changed the password of " + tools::escaped(quoted(login)) + ended + "\n"};
}

Answer enableUser(const hubdb::DatabaseUrl& url, const std::string& login, bool enabled) {
    const Connected connected(url);
    const std::string ended = changeUser(login, enabled, [&](UMUsers& user) {
        return user.rowUpdate("enabled=%d, modified=%lld", enabled ? 1 : 0, static_cast<long long>(OVClock::now()));
    });
    return {(enabled ? "enabled " : "disabled ") + tools::escaped(quoted(login)) + ended + "\n"};
}

Answer listUsers(const hubdb::DatabaseUrl& url) {
    const Connected connected(url);
    tools::Table table(
        {{"ID", tools::Table::Align::kRight}, {"LOGIN"}, {"NAME"}, {"ENABLED"}, {"PASSWORD"}, {"DESCRIPTION"}});
    UMUsers users(nullptr);
    users.setIsolationType(4);
    Connected::require(eachRow(users, [&table](const UMUsers_t& row) {
        table.addRow({std::to_string(row.id), row.login, row.name, row.enabled == 1 ? "yes" : "no",
                      formOf(row.password), row.description.bytes});
    }));
    return {table.text(tools::isTerminal(1) ? tools::terminalWidth() : 0)};
}

// ---- whose jobs a user sees

namespace {

constexpr int kEveryClient = 0;

/// The id of a client that is named, or given by its id.
int clientOf(const std::string& given, DBtran* transaction) {
    APP_Client client(transaction);
    client.setIsolationType(4);
    const auto id = tools::parseId(given);
    if (id)
        client.setWhere("id=%d", *id);
    else
        client.setWhere("name='%s'", dbText(given));
    std::vector<int> ids;
    Connected::require(eachRow(client, [&ids](const APP_Client_t& row) { ids.push_back(row.id); }));
    if (ids.empty())
        throw tools::CommandError(tools::kExitNotFound, "there is no client " + quoted(given));
    if (ids.size() > 1)
        refuse("several clients are named " + quoted(given) + ": give an id");
    return ids.front();
}

void showJobsOf(int userId, int clientId, DBtran* transaction) {
    UMJobVisibility visibility(transaction);
    visibility.getDataPtr()->userId = userId;
    visibility.getDataPtr()->clientId = clientId;
    Connected::require(visibility.rowInsert(false));
}

/// The clients by name, in the order of their ids; one that is gone by its id.
std::string visibleClients(int userId) {
    UMJobVisibility visibility(nullptr);
    visibility.setIsolationType(4);
    visibility.setWhere("userId=%d", userId);
    std::string clients;
    Connected::require(eachRow(visibility, [&clients](const UMJobVisibility_t& row) {
        APP_Client client(nullptr);
        client.setIsolationType(4);
        client.setWhere("id=%d", row.clientId);
        const bool named = row.clientId != kEveryClient && getOneRow(&client, false, -1, 0) == kDbOk;
        clients += clients.empty() ? "the jobs of " : ", ";
        clients += row.clientId == kEveryClient ? "all clients"
                   : named                      ? tools::escaped(client.getDataPtr()->name)
                                                : std::to_string(row.clientId);
    }));
    return clients.empty() ? "no jobs" : clients;
}

} // namespace

Answer setVisibleJobs(const hubdb::DatabaseUrl& url, const std::string& login, const VisibleJobs& visible) {
    const Connected connected(url);
    UMUsers user(nullptr);
    findUser(user, login);
    const int userId = user.getDataPtr()->id;
    if (visible.all || visible.none || !visible.clients.empty()) {
        DBtran transaction;
        Connected::require(transaction.startTran());
        UMJobVisibility before(&transaction);
        before.setWhere("userId=%d", userId);
        if (const int status = before.rowDelete(); status != kDbNoRow)
            Connected::require(status);
        std::set<int> clients;
        for (const std::string& client : visible.clients)
            clients.insert(clientOf(client, &transaction));
        if (visible.all)
            clients = {kEveryClient};
        for (const int client : clients)
            showJobsOf(userId, client, &transaction);
        Connected::require(transaction.commitTran());
    }
    return {tools::escaped(quoted(login)) + " sees " + visibleClients(userId) + "\n"};
}

// ---- parameters

namespace {

/// Parameters that are whole numbers: another text would silently mean something else.
struct NumberParameter {
    const char* name;
    int most;
};
constexpr std::array kNumbers{NumberParameter{"VSDKSessionTimeOut", std::numeric_limits<int>::max()},
                              NumberParameter{"VSDKSessionsRequired", 1}};

void requireParameter(int status, const std::string& name) {
    if (status == OVGlobalParam::kNotSet)
        throw tools::CommandError(tools::kExitNotFound, "the parameter " + quoted(name) + " is not set");
    Connected::require(status);
}

} // namespace

Answer setParameter(const hubdb::DatabaseUrl& url, const std::string& name, const std::string& value) {
    requireFits("the name", name, sizeof ZXGlobalParam_t::name);
    requireFits("the value", value, std::string::npos);
    if (name.empty())
        refuse("the name is empty");
    for (const auto& [which, most] : kNumbers)
        if (const auto number = tools::parseId(value); name == which && (!number || *number < 0 || *number > most))
            refuse(name + " takes a whole number from 0 to " + std::to_string(most));
    const Connected connected(url);
    Connected::require(OVGlobalParam::set(name, value, nullptr));
    return {};
}

Answer getParameter(const hubdb::DatabaseUrl& url, const std::string& name) {
    const Connected connected(url);
    std::string value;
    requireParameter(OVGlobalParam::get(name, value, nullptr), name);
    return {tools::escaped(value) + "\n"};
}

Answer unsetParameter(const hubdb::DatabaseUrl& url, const std::string& name) {
    const Connected connected(url);
    requireParameter(OVGlobalParam::remove(name, nullptr), name);
    return {};
}

Answer listParameters(const hubdb::DatabaseUrl& url) {
    const Connected connected(url);
    tools::Table table({{"NAME"}, {"VALUE"}});
    ZXGlobalParam parameters(nullptr);
    parameters.setIsolationType(4);
    parameters.setOrderBy("name, id");
    Connected::require(eachRow(parameters, [&table](const ZXGlobalParam_t& row) {
        table.addRow({row.name, row.value.bytes});
    }));
    return {table.text(tools::isTerminal(1) ? tools::terminalWidth() : 0)};
}
