#include "vcommand/Changes.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>
#include <iterator>
#include <list>
#include <set>

#include "Db/Tbl/APP_SubClientProp.h"
#include "appmgr/FSSubclientConf.h"
#include "db/DBStatus.h"
#include "db/DBText.h"
#include "db/HubDatabase.h"
#include "entities/VSDKStoragePolicyInfo.h"
#include "entities/VSDKSubclientInfo.h"
#include "vcommand/Failures.h"
#include "vcommand/kinds/Kinds.h"

namespace {

using Outcome = VSDK_Subclient::CommitOutcome;
using ContentKind = VSDK_Subclient::ContentKind;

constexpr int kFetchFailed = 1284;
constexpr int kPolicyFetchFailed = 1287;
constexpr int kNoSubclient = 1542;
constexpr int kNotSupported = 1548;
constexpr const char* kNothing = "Nothing was written.";
constexpr const char* kNoForcedContent =
    "content is not changed without the checks, which find the agent type: leave --force out";

[[noreturn]] void refuse(int code, const std::string& reason) {
    throw tools::CommandError(tools::kExitRefused, reason, code);
}

/// A storage policy, and how it is shown.
struct Policy {
    int id;
    bool exists;
    std::string shown;
};

Policy policyOf(int id) {
    VSDK_StoragePolicy policy(id);
    const bool exists = policy.FetchProperties(nullptr) == 0;
    throwDatabaseFailure(kPolicyFetchFailed);
    return {id, exists, exists ? policy.GetName() + " (" + std::to_string(id) + ")" : std::to_string(id)};
}

/// One that a command line names. An id is handed on as it is: it is the library that refuses one that is none.
Policy policyNamed(const std::string& given) {
    Scope scope(storagePolicyKind());
    const Selector& selector = scope.selectors[0].emplace(storagePolicyKind(), given);
    if (selector.id)
        return policyOf(*selector.id);
    scope.properties = false;
    Walk walk(scope);
    walk.run([](const Path&, int, const Entity*) { return true; });
    return policyOf(walk.found(0).first);
}

void requireText(const std::string& text, const char* what) {
    if (!hubdb::isWholeText(text))
        refuse(tools::kInvalidArgument, std::string(what) + " is not UTF-8");
}

/// Databases as a command line gives them. Without an id one keeps that which it has, or has none.
std::list<_VSDK_SQLContent> databasesOf(const std::vector<std::string>& given,
                                        const std::list<_VSDK_SQLContent>& before) {
    std::list<_VSDK_SQLContent> databases;
    std::set<std::string> names;
    for (const std::string& text : given) {
        _VSDK_SQLContent database;
        requireText(text, "a database's name");
        const std::size_t equals = text.rfind('=');
        database.databaseName = text.substr(0, equals);
        if (equals != std::string::npos) {
            const auto id = tools::parseId(std::string_view(text).substr(equals + 1));
            if (!id || *id < 0)
                refuse(tools::kInvalidArgument,
                       "'" + text + "': behind the last '=' belongs the database's id, a number");
            database.databaseId = *id;
        } else {
            const auto known = std::ranges::find(before, text, &_VSDK_SQLContent::databaseName);
            database.databaseId = known == before.end() ? 0 : known->databaseId;
        }
        constexpr std::size_t kRoom = sizeof(APP_SubClientProp_t::attrName); // the terminator's included
        if (database.databaseName.empty() || database.databaseName.size() >= kRoom)
            refuse(tools::kInvalidArgument,
                   "a database has a name, of at most " + std::to_string(kRoom - 1) + " bytes");
        if (!names.insert(database.databaseName).second)
            refuse(tools::kInvalidArgument, "the database '" + database.databaseName + "' is given twice");
        databases.push_back(std::move(database));
    }
    return databases;
}

/// Why the library answered a code, as the words and the exit code of a person.
tools::CommandError refusalOf(int code, VSDK_Subclient& subclient) {
    std::string words;
    const int status = HubDatabase::lastFailure(words);
    const auto refused = [code](const std::string& reason) {
        return tools::CommandError(tools::kExitRefused, reason, code);
    };
    switch (code) {
    case 1541: // its number is not for everybody
        return refused("a backup of it is active: see vcommand jobs --subclient " +
                       std::to_string(subclient.subclientId));
    case kNoSubclient:
        if (status != 0) // nobody knows whether there is one
            break;
        return {tools::kExitNotFound, "there is no subclient " + std::to_string(subclient.subclientId), code};
    case 1544:
        return refused("it follows the subclient policy " + std::to_string(subclient.subclientPolicyId));
    case kNotSupported:
        return refused(kNoForcedContent);
    case 1794:
        return refused("somebody has changed its backup set since it was read");
    case 1795: {
        FSSubclientConf conf(subclient.appTypeId);
        if (subclient.LoadMe(conf) == 0)
            (void)subclient.LoadAllExceptMe(conf);
        if (!conf.reason().empty())
            return refused(conf.reason());
        break;
    }
    default:
        break;
    }
    if (status == kDbSerialization)
        return refused("somebody has changed its backup set at the same time: try again");
    if (status == kDbConstraint || status == kDbBadText ||
        status == kDbBadValue) // what was asked for, not the database
        return refused(words);
    return {tools::kExitFailed,
            status == 0 ? "the library refused" : words + " (database status " + std::to_string(status) + ")", code};
}

/// What is to be changed, as rows for a person and staged in the subclient.
class Plan {
  public:
    Plan(int id, const ChangeRequest& request) : subclient_(id), request_(request) {
        if (subclient_.FetchProperties(nullptr, true) != 0) {
            throwDatabaseFailure(kFetchFailed);
            throw tools::CommandError(tools::kExitFailed, "not all of its properties could be read", kFetchFailed);
        }
        throwDatabaseFailure(kFetchFailed); // what was not read must not be taken for empty
        stage();
    }

    VSDK_Subclient& subclient() { return subclient_; }
    std::vector<Row>& rows() { return rows_; }
    /// What a commit would be refused for.
    std::optional<tools::CommandError> fault() {
        if (const int code = request_.force ? 0 : subclient_.CanICommit(); code != 0)
            return refusalOf(code, subclient_);
        if (request_.force && (subclient_.changeMask & VSDK_Subclient::kContentStaged) != 0)
            return tools::CommandError(tools::kExitRefused, kNoForcedContent, kNotSupported);
        for (const auto& [code, policy] : policies_)
            if (!policy.exists)
                return tools::CommandError(tools::kExitRefused, "there is no storage policy " + policy.shown, code);
        return std::nullopt;
    }

  private:
    void stage() {
        // Staged in any case: it is written in any case.
        subclient_.SetDescription(request_.description.value_or(subclient_.applicationText));
        add("description", subclient_.applicationText, subclient_.description);
        requireText(subclient_.description, "the description");
        if (request_.readers && *request_.readers != subclient_.applicationNumber1) {
            subclient_.setDataReaders(*request_.readers);
            add("dataReaders", std::to_string(subclient_.applicationNumber1), std::to_string(*request_.readers));
        }
        constexpr int kDataPolicyFailed = 1539;
        constexpr int kIndexPolicyFailed = 1540;
        if (const auto id =
                addPolicy("storagePolicy", kDataPolicyFailed, subclient_.applicationNumber2, request_.storagePolicy))
            subclient_.SetDataStoragePolicy(*id);
        if (const auto id = addPolicy("indexStoragePolicy", kIndexPolicyFailed, subclient_.applicationNumber3,
                                      request_.indexPolicy))
            subclient_.SetIndexStoragePolicy(*id);
        stageContent();
    }

    void stageContent() {
        if (!request_.paths && !request_.databases && !request_.clearContent)
            return;
        const ContentKind kind = VSDK_Subclient::contentKind(static_cast<unsigned long>(subclient_.appTypeId));
        if ((kind != ContentKind::kPaths && kind != ContentKind::kSqlDatabases) ||
            (request_.paths && kind != ContentKind::kPaths) || (request_.databases && kind == ContentKind::kPaths)) {
            refuse(kNotSupported, kind == ContentKind::kPaths ? "its content is paths: --content"
                                  : kind == ContentKind::kSqlDatabases
                                      ? "its content is databases: --sql-database"
                                      : "the content of its agent type is not changed");
        }
        if (kind == ContentKind::kPaths) {
            paths_ = request_.paths.value_or(std::vector<std::string>());
            for (const std::string& path : paths_)
                requireText(path, "a path");
            if (addContent("content", {subclient_.content.begin(), subclient_.content.end()}, paths_))
                subclient_.SetContent(&paths_);
            return;
        }
        const auto shown = [](const std::list<_VSDK_SQLContent>& databases) {
            std::vector<std::string> texts;
            for (const auto& [id, name] : databases)
                texts.push_back(itemText({name, id}));
            return texts;
        };
        auto databases = databasesOf(request_.databases.value_or(std::vector<std::string>()), subclient_.sqlContent);
        if (addContent("databases", shown(subclient_.sqlContent), shown(databases)))
            subclient_.SetSQLContent(std::move(databases));
    }

    void add(const char* field, const std::string& before, const std::string& after) {
        if (before != after)
            rows_.push_back({std::string(field), before, after});
    }

    /// The id of a policy that is another one than before.
    std::optional<int> addPolicy(const char* field, int code, int before, const std::optional<std::string>& given) {
        if (!given)
            return std::nullopt;
        const Policy policy = policyNamed(*given);
        if (policy.id == before)
            return std::nullopt;
        policies_.emplace_back(code, policy);
        add(field, policyOf(before).shown, policy.shown);
        return policy.id;
    }

    /// What goes, and what comes, each on a row of its own. False when all is as it was.
    bool addContent(const char* field, std::vector<std::string> before, std::vector<std::string> after) {
        const std::set<std::string> old(before.begin(), before.end());
        const std::set<std::string> wanted(after.begin(), after.end());
        for (const std::string& text : before)
            if (!wanted.contains(text))
                rows_.push_back({std::string(field), text, std::string()});
        for (const std::string& text : after)
            if (!old.contains(text))
                rows_.push_back({std::string(field), std::string(), text});
        std::ranges::sort(before);
        std::ranges::sort(after);
        return before != after; // duplicates too
    }

    VSDK_Subclient subclient_;
    const ChangeRequest& request_;
    std::vector<std::string> paths_;
    std::vector<std::pair<int, Policy>> policies_;
    std::vector<Row> rows_;
};

/// The id of the one that is meant.
int subclientOf(const Scope& which) {
    Walk walk(which);
    try {
        walk.run([](const Path&, int, const Entity*) { return true; });
    } catch (const tools::CommandError& failure) {
        if (failure.exitCode != tools::kExitNotFound)
            throw;
        throw tools::CommandError(failure.exitCode, failure.what(), kNoSubclient);
    }
    return walk.found(which.chain.size() - 1).first;
}

} // namespace

std::vector<std::string> readPaths(const std::string& file) {
    const auto fail = [&file](tools::ExitCode exit, const std::string& what) {
        throw tools::CommandError(exit, (file == "-" ? "standard input" : "'" + file + "'") + ": " + what,
                                  tools::kInvalidArgument);
    };
    std::ifstream opened;
    if (file != "-") {
        errno = 0;
        opened.open(file, std::ios::binary);
        if (!opened)
            fail(tools::kExitNotFound, std::strerror(errno));
    }
    std::istream& in = file == "-" ? std::cin : opened;
    std::vector<std::string> paths;
    std::size_t number = 0;
    for (std::string line; std::getline(in, line);) {
        constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
        if (++number == 1 && line.starts_with(kByteOrderMark))
            line.erase(0, kByteOrderMark.size());
        if (!line.empty() && line.back() == '\r')
            line.pop_back();
        if (!hubdb::isWholeText(line))
            fail(tools::kExitRefused, "line " + std::to_string(number) + " is not UTF-8, or holds a NUL");
        if (!line.empty())
            paths.push_back(std::move(line));
    }
    if (in.bad() || (file == "-" && std::ferror(stdin) != 0)) // of which std::cin tells nothing
        fail(tools::kExitFailed, "it cannot be read");
    std::cin.clear(); // a question may follow
    if (paths.empty())
        fail(tools::kExitRefused, "there is no path in it; --clear-content empties the content");
    return paths;
}

Answer changeSubclient(const Scope& which, const ChangeRequest& request, const Confirm& confirm) {
    HubDatabase::clearLastFailure();
    Plan plan(subclientOf(which), request);
    VSDK_Subclient& subclient = plan.subclient();

    static const NumberKind kChange({.one = "change", .many = "changes"});
    Answer answer{kChange,
                  {{"field", Type::kText, Use::kBrief},
                   {"before", Type::kText, Use::kBrief},
                   {"after", Type::kText, Use::kBrief}},
                  std::move(plan.rows())};
    answer.scope.emplace_back(
        "subclient", Json{{"id", subclient.subclientId}, {"name", subclient.ReplaceSpecialChars(subclient.name)}});
    const auto end = [&answer](const char* outcome, const char* closing) {
        answer.scope.emplace_back("outcome", outcome);
        answer.closing = closing;
    };
    const auto fail = [&](const tools::CommandError& why) {
        answer.incomplete.emplace(why);
        return answer;
    };

    HubDatabase::clearLastFailure();
    if (request.dryRun || request.ask)
        if (const auto refusal = plan.fault()) {
            end("refused", kNothing);
            return fail(*refusal);
        }
    if (request.dryRun) {
        end("dry run", kNothing);
        return answer;
    }
    if (request.ask && !answer.rows.empty() && !confirm(answer)) {
        end("declined", kNothing);
        return answer;
    }
    if (const int code = subclient.Commit(request.force); code != 0) {
        end("refused", kNothing);
        return fail(refusalOf(code, subclient));
    }
    std::string words;
    const int status = HubDatabase::lastFailure(words);
    words += " (database status " + std::to_string(status) + ")";
    switch (subclient.commitOutcome) {
    case Outcome::kDone:
        end("done", answer.rows.empty() ? "There is nothing to change." : "Done.");
        return answer;
    case Outcome::kUnknown:
        end("unknown", "");
        return fail({tools::kExitUnknown, "it is not known whether this was done: look at the subclient. " + words,
                     kInternalError});
    default:
        end("not done", kNothing);
        return fail(
            {tools::kExitNotDone, "nothing was changed, the database did not commit: " + words, kInternalError});
    }
}
