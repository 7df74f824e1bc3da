#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <functional>
#include <iostream>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "common/CommandLine.h"
#include "common/Database.h"
#include "common/Tool.h"
#include "common/VSDKErrors.h"
#include "db/DBStatus.h"
#include "db/HubDatabase.h"
#include "vcommand/Changes.h"
#include "vcommand/Commands.h"
#include "vcommand/Failures.h"
#include "vcommand/Jobs.h"
#include "vcommand/Output.h"
#include "vcommand/Sessions.h"
#include "vcommand/Watch.h"
#include "vcommand/kinds/Kinds.h"

namespace {

constexpr const char* kFooter =
    R"(--db, --json, --csv and --verbose may stand before or after the command. With
--json standard output is one JSON document, also when the command fails:
{"error": {"code": ..., "message": ..., "reason": ...}}. "replaced": true in it
says that a text was not valid UTF-8.

Entities are named by id or by name: a whole number is an id, any other text a
name as lists show it, compared byte by byte. What is not named is not limited:
"list subclients --client 2" lists those of all its agents.

Filters are COLUMN=VALUE, != < <= > >= for numbers, and for texts = and != with
the wildcards * and ?, ~ and !~ for a part of the text; all must hold.

"login USER" asks for the password and begins a session; its token is kept in a
file that only the user can read, until "logout" or until it expires.

Examples:
  vcommand list clients --db sqlite:/var/lib/hub/hub.db
  HUBDB_URL=sqlite:hub.db vcommand list agenttypes --client mail01 --json
  vcommand list subclients --client mail01 --agenttype Mailbox --all
  vcommand list subclients --filter "content~/home" --sort name --limit 20
  vcommand list instances --client 2 --csv --columns id,name,storagePolicy
  vcommand list snapshots --job 102
  vcommand show subclient default --client db01 --agenttype "SQL Database"
  vcommand show storagepolicy 1
  vcommand subclient set spool --client mail01 --content /var/spool /var/mail
  vcommand jobs --type backup --client mail01 --watch
  vcommand job 104 105
  vcommand login alice

Exit codes:
  0  done
  1  the library or the database reported a failure, or the output could not be
     written
  2  the command line is wrong
  3  the named entity or the database does not exist
  4  the data given are wrong, such as a name that several entities have; the
     login was refused or has expired; the job is not for this user; a rule is
     against the change, and nothing was changed
  5  the database did not commit the change, and nothing was changed
  6  it is not known whether the database committed the change)";

/// Adds an option that may be given once and is kept only if it is.
CLI::Option* addText(CLI::App& command, const std::string& name, std::optional<std::string>& text,
                     const std::string& about) {
    return command.add_option_function<std::string>(
        name, [&text](const std::string& given) { text = given; }, about);
}

/// A subcommand: its options, and what they were given.
class Command {
  public:
    virtual ~Command() = default;
    Command(const Command&) = delete; // options keep pointers into it
    Command& operator=(const Command&) = delete;

    bool isGiven() const { return app_->parsed(); }
    /// Throws a tools::CommandError for options that say nothing, before a database is asked.
    virtual void prepare() {}
    /// Whether it may need a session.
    virtual bool isGuarded() const = 0;
    virtual Answer run(const hubdb::DatabaseUrl& url) const = 0;
    /// Whether the answer is no list.
    virtual bool isAlone() const = 0;
    /// Whether a person gets it field by field.
    virtual bool isInFields() const { return isAlone(); }
    /// The time between two answers of a command that is to go on; nothing: one answer is all.
    virtual std::optional<std::chrono::seconds> interval() const { return std::nullopt; }

  protected:
    explicit Command(CLI::App* app) : app_(app) {}

    CLI::App* app_;
};

/// The options that choose, order and cut a list of a kind.
void addArrangement(CLI::App& command, Arrangement::Words& words, const Kind& kind, CLI::Option* without = nullptr) {
    const std::array options{
        command.add_option("--filter", words.filters, "A condition that must hold, such as id>100; may be repeated")
            ->allow_extra_args(false),
        command.add_option("--sort", words.sorts, "A column to sort by, with ',desc' backwards; may be repeated")
            ->allow_extra_args(false),
        addText(command, "--limit", words.limit, "How many to show at most"),
        addText(command, "--columns", words.columns, "The columns to show, with commas between them")};
    if (without != nullptr)
        for (CLI::Option* const option : options)
            option->excludes(without);
    std::string names;
    for (const Column& column : kind.columns(true, false))
        names += (names.empty() ? "" : ", ") + column.name;
    command.footer("Columns: " + names + "\n\n" + kFooter);
}

/// The options that say which entities of a kind are meant: one for each kind of its chain, or, of one that is meant
/// alone, its id or name in the place of its own option.
class ScopeOptions {
  public:
    ScopeOptions(CLI::App& command, const Kind& kind, bool alone)
        : command_(command), scope_(kind), given_(scope_.chain.size()) {
        scope_.alone = alone;
        for (std::size_t place = 0; place < given_.size(); ++place)
            add(place);
    }

    /// What was given, looked at. Throws a tools::CommandError for what names nothing.
    void prepare() {
        for (std::size_t place = 0; place < given_.size(); ++place)
            if (given_[place])
                scope_.selectors[place].emplace(*scope_.chain[place], *given_[place]);
            else if (const auto implied = scope_.chain[place]->names.implied)
                scope_.selectors[place].emplace(*scope_.chain[place], std::to_string(*implied));
    }
    Scope& scope() { return scope_; }
    const Scope& scope() const { return scope_; }

  private:
    void add(std::size_t place) {
        const Kind& kind = *scope_.chain[place];
        const std::string one = kind.names.one;
        const bool itself = place + 1 == given_.size();
        if (itself && scope_.alone) {
            addText(command_, "entity", given_[place], "Its id or name")->required();
            return;
        }
        std::string about = "The " + one + (kind.isNumber() ? "'s number" : ", by id or name");
        if (kind.names.implied)
            about += "; by default " + std::to_string(*kind.names.implied);
        auto* const option = addText(command_, "--" + commandWord(kind.names.one), given_[place], about);
        if (kind.isNumber() && !kind.names.implied)
            option->required();
    }

    CLI::App& command_;
    Scope scope_;
    std::vector<std::optional<std::string>> given_;
};

/// One `list` or `show` of a kind.
class EntityCommand final : public Command {
  public:
    EntityCommand(CLI::App& parent, const Kind& kind, const std::string& word, bool alone)
        : Command(parent.add_subcommand(word, alone ? std::string("One ") + kind.names.one : kind.names.about)),
          which_(*app_, kind, alone) {
        if (!alone)
            addListOptions();
    }

    void prepare() override {
        which_.prepare();
        Scope& scope = which_.scope();
        scope.properties = !onlyIds_;
        arrangement_.emplace(words_, scope.kind.columns(scope.properties, scope.alone));
    }

    bool isGuarded() const override { return true; }
    Answer run(const hubdb::DatabaseUrl& /*url*/) const override {
        return isAlone() ? showEntity(which_.scope()) : listEntities(which_.scope(), *arrangement_);
    }
    bool isAlone() const override { return which_.scope().alone; }

  private:
    void addListOptions() {
        Scope& scope = which_.scope();
        app_->add_flag("--no-properties", onlyIds_, "Read and show only ids")->disable_flag_override();
        if (std::string_view(scope.kind.names.one) == "subclient")
            app_->add_flag("--all", scope.all, "Also subclients that are otherwise left out")->disable_flag_override();
        addArrangement(*app_, words_, scope.kind);
    }

    ScopeOptions which_;
    bool onlyIds_ = false;
    Arrangement::Words words_;
    std::optional<Arrangement> arrangement_;
};

/// `subclient set`: changes one.
class ChangeCommand final : public Command {
  public:
    /// `forPerson` tells whether the answer is a table.
    ChangeCommand(CLI::App& parent, std::function<bool()> forPerson)
        : Command(parent.add_subcommand("set", "Change a subclient; all of it or nothing")),
          which_(*app_, subclientKind(), true), forPerson_(std::move(forPerson)) {
        which_.scope().properties = false;
        addText(*app_, "--description", request_.description, "The new description");
        addText(*app_, "--readers", readers_, "The number of data readers, 1 or more");
        addText(*app_, "--storage-policy", request_.storagePolicy,
                "The storage policy for data, by id or name; the time of the last backup is forgotten");
        addText(*app_, "--index-policy", request_.indexPolicy, "The storage policy for the index, by id or name");
        std::array content{
            app_->add_option("--content", paths_, "The paths in the place of all there are, of file systems")
                ->type_name("PATH"),
            addText(*app_, "--content-file", file_, "The same from a file, one on each line; - is standard input"),
            app_->add_option("--sql-database", databases_,
                             "A database, with its id unless it keeps the one it has; repeated for each that is to be "
                             "there, in the place of all there are")
                ->type_name("NAME[=ID]")
                ->allow_extra_args(false),
            app_->add_flag("--clear-content", request_.clearContent, "Leave no content at all")
                ->disable_flag_override()};
        for (CLI::Option* const one : content)
            for (CLI::Option* const other : content)
                if (one != other)
                    one->excludes(other);
        app_->add_flag("--dry-run", request_.dryRun, "Check and show what would change, and write nothing")
            ->disable_flag_override();
        app_->add_flag("-y,--yes", yes_, "Ask nothing, on a terminal either")->disable_flag_override();
        app_->add_flag("--force", request_.force,
                       "Write without the checks. Nobody looks whether somebody else has changed the backup set, a "
                       "backup is active, or a subclient policy rules it. Content is refused then: it is never "
                       "written without looking at the paths of the other subclients")
            ->disable_flag_override();
        app_->footer(kFooter);
    }

    void prepare() override {
        which_.prepare();
        if (readers_) {
            request_.readers = tools::parseId(*readers_);
            if (!request_.readers || *request_.readers < 1)
                throw tools::CommandError(tools::kExitUsage,
                                          "'" + tools::shown(*readers_) + "' is no number of data readers: 1 or more",
                                          tools::kInvalidArgument);
        }
        if (!paths_.empty())
            request_.paths = paths_;
        if (!databases_.empty())
            request_.databases = databases_;
        if (!request_.description && !request_.readers && !request_.storagePolicy && !request_.indexPolicy &&
            !request_.paths && !file_ && !request_.databases && !request_.clearContent)
            throw tools::CommandError(tools::kExitUsage, "nothing is to be changed: see --help",
                                      tools::kMissingArgument);
        if (file_)
            request_.paths = readPaths(*file_);
    }
    bool isGuarded() const override { return true; }
    Answer run(const hubdb::DatabaseUrl& /*url*/) const override {
        ChangeRequest request = request_;
        request.ask = !yes_ && forPerson_() && tools::isTerminal(0) && tools::isTerminal(1) && tools::isTerminal(2);
        bool shown = false;
        Answer answer = changeSubclient(which_.scope(), request, [&shown](const Answer& changes) {
            shown = true;
            return tools::writeOutput(tableText(changes, tools::terminalWidth())) && isAgreed();
        });
        answer.rowsAreShown = shown;
        return answer;
    }
    bool isAlone() const override { return false; }

  private:
    static bool isAgreed() {
        std::cerr << "Write this? [y/N] " << std::flush;
        std::string line;
        return std::getline(std::cin, line) && (line == "y" || line == "Y" || line == "yes" || line == "Yes");
    }

    ScopeOptions which_;
    std::function<bool()> forPerson_;
    ChangeRequest request_;
    std::optional<std::string> readers_;
    std::optional<std::string> file_;
    std::vector<std::string> paths_;
    std::vector<std::string> databases_;
    bool yes_ = false;
};

/// `jobs`: the running ones or how many they are, once or again and again.
class JobsCommand final : public Command {
  public:
    explicit JobsCommand(CLI::App& parent) : Command(parent.add_subcommand("jobs", "List running jobs")) {
        app_->add_option("--type", request_.types, "Only backup, restore or admin jobs; may be repeated")
            ->allow_extra_args(false)
            ->check(CLI::IsMember({"backup", "restore", "admin"}));
        addText(*app_, "--client", request_.client, "The client, by id or name");
        addText(*app_, "--agent,--agenttype", request_.agentType, "The agent type, by number or name");
        addText(*app_, "--instance", request_.instance, "The instance, by id, or by name with --client");
        addText(*app_, "--backupset", request_.backupSet, "The backup set, likewise");
        addText(*app_, "--subclient", request_.subclient, "The subclient, likewise");
        auto* const summary = app_->add_flag("--summary", summary_, "Show how many there are in which state");
        summary->disable_flag_override();
        addArrangement(*app_, words_, jobKind(), summary);
        app_->add_flag("--watch", watch_, "Show it again and again, on a terminal, until Ctrl-C")
            ->disable_flag_override();
        app_->add_option("--interval", interval_, "Seconds between two looks of --watch")
            ->check(CLI::Range(1, 3600))
            ->needs("--watch");
    }

    void prepare() override {
        arrangement_.emplace(words_, jobKind().columns(true, false));
        if (watch_ && !tools::isTerminal(1))
            throw tools::CommandError(tools::kExitUsage, "--watch needs a terminal", tools::kInvalidArgument);
    }
    bool isGuarded() const override { return false; } // it asks whose jobs are to be seen
    Answer run(const hubdb::DatabaseUrl& url) const override {
        const int user = userOf(url);
        if (user_ && *user_ != user) // what is watched is not to change hands
            throw tools::CommandError(tools::kExitRefused, "whoever was logged in is so no more", kNotLoggedIn);
        user_ = user;
        return summary_ ? countJobs(user, request_) : listJobs(user, request_, *arrangement_);
    }
    bool isAlone() const override { return summary_; }
    std::optional<std::chrono::seconds> interval() const override {
        return watch_ ? std::optional(std::chrono::seconds(interval_)) : std::nullopt;
    }

  private:
    JobsRequest request_;
    bool summary_ = false;
    bool watch_ = false;
    int interval_ = 2;
    Arrangement::Words words_;
    std::optional<Arrangement> arrangement_;
    mutable std::optional<int> user_; ///< for whom it ran before
};

/// `job`: some by their ids.
class JobCommand final : public Command {
  public:
    explicit JobCommand(CLI::App& parent)
        : Command(parent.add_subcommand("job", "Show jobs, running or finished, with their failure reasons")) {
        app_->add_option("ID", given_, "Their ids")->type_name("")->required();
    }

    void prepare() override {
        for (const std::string& text : given_) {
            const auto id = tools::parseId(text);
            if (!id || *id <= 0)
                throw tools::CommandError(
                    tools::kExitUsage,
                    "'" + tools::shown(text) +
                        "' is no job id: write a whole number from 1 to 2147483647, without plus sign and "
                        "leading zeros",
                    tools::kInvalidArgument);
            if (std::ranges::find(ids_, *id) == ids_.end())
                ids_.push_back(*id);
        }
    }
    bool isGuarded() const override { return false; }
    Answer run(const hubdb::DatabaseUrl& url) const override { return showJobs(userOf(url), ids_); }
    bool isAlone() const override { return false; }
    bool isInFields() const override { return true; }

  private:
    std::vector<std::string> given_;
    std::vector<int> ids_;
};

/// A command about the user's own session, or about all of them.
class SessionCommand final : public Command {
  public:
    using Run = std::function<Answer(const hubdb::DatabaseUrl&)>;

    SessionCommand(CLI::App& parent, const char* word, const char* about, bool guarded, Run run)
        : Command(parent.add_subcommand(word, about)), guarded_(guarded), run_(std::move(run)) {}

    CLI::App& app() { return *app_; }
    bool isGuarded() const override { return guarded_; }
    Answer run(const hubdb::DatabaseUrl& url) const override { return run_(url); }
    bool isAlone() const override { return true; }

  private:
    bool guarded_;
    Run run_;
};

using Commands = std::vector<std::unique_ptr<Command>>;

void addEntityCommands(CLI::App& app, Commands& commands) {
    CLI::App& list = *app.add_subcommand("list", "List entities")->require_subcommand(1);
    CLI::App& show = *app.add_subcommand("show", "Show all of one entity")->require_subcommand(1);
    for (const Kind* kind : kinds()) {
        commands.push_back(std::make_unique<EntityCommand>(list, *kind, commandWord(kind->names.many), false));
        commands.push_back(std::make_unique<EntityCommand>(show, *kind, commandWord(kind->names.one), true));
    }
}

void addSessionCommands(CLI::App& app, LoginRequest& request, Commands& commands) {
    const auto add = [&commands](CLI::App& parent, const char* word, const char* about, bool guarded,
                                 SessionCommand::Run run) -> CLI::App& {
        auto command = std::make_unique<SessionCommand>(parent, word, about, guarded, std::move(run));
        CLI::App& added = command->app();
        commands.push_back(std::move(command));
        return added;
    };
    CLI::App& login = add(app, "login", "Begin a session; asks for the password", false,
                          [&request](const hubdb::DatabaseUrl& url) { return logIn(url, request); });
    login.add_option("USER", request.user, "The user's login name")->type_name("")->required();
    auto* const file = login.add_option("--password-file", request.password.file,
                                        "Read the password from this file, which holds one line");
    login.add_flag("--password-stdin", request.password.standardInput, "Read it from standard input")
        ->disable_flag_override()
        ->excludes(file);
    add(app, "logout", "End the session", false, logOut);
    add(app, "whoami", "Show whose session it is", false, whoAmI);
    CLI::App& sessions = *app.add_subcommand("sessions", "All login sessions")->require_subcommand(1);
    commands.push_back(std::make_unique<EntityCommand>(sessions, sessionKind(), "list", false));
    add(sessions, "purge", "Remove the sessions that have expired", true,
        [](const hubdb::DatabaseUrl&) { return purgeSessions(); });
}

hubdb::DatabaseUrl connect(const std::string& db) {
    const auto url = tools::databaseUrl(db);
    if (!url)
        throw tools::CommandError(tools::kExitUsage, "no database: give --db or set HUBDB_URL",
                                  tools::kMissingArgument);
    hubdb::DatabaseUrl parsed = tools::parseDatabaseUrl(*url);
    tools::requireDatabase(parsed);
    std::string error;
    if (const int status = HubDatabase::connect(*url, error); status != kDbOk)
        throw tools::CommandError(tools::kExitFailed, error + " (database status " + std::to_string(status) + ")",
                                  tools::kNotConnected);
    return parsed;
}

/// Tells a failure on standard error, and returns what a JSON document says of it.
Json told(const tools::CommandError& failure) {
    const char* const message = GetErrorString(failure.code);
    std::cerr << "vcommand: error " << failure.code << ": " << message
              << "\nvcommand: " << tools::escaped(failure.what()) << "\n";
    return {{"code", failure.code}, {"message", message}, {"reason", failure.what()}};
}

std::string textOf(const Answer& answer, bool inFields, bool csv) {
    if (csv)
        return csvText(answer);
    std::string text;
    if (!answer.rowsAreShown)
        text = inFields ? fieldsText(answer) : tableText(answer, tools::isTerminal(1) ? tools::terminalWidth() : 0);
    return answer.closing.empty() ? text : text + answer.closing + "\n";
}

/// The whole of standard output, for a command line that can be answered.
std::string answerTo(int argc, char** argv, bool json, int& exitCode) {
    CLI::App app("Shows what the hub database knows of a backup estate, and changes its subclients.", "vcommand");
    app.set_version_flag("--version", std::string("vcommand ") + tools::version());
    app.footer(kFooter);
    app.fallthrough();
    app.require_subcommand(1);
    std::string db;
    int verbosity = 0;
    bool csv = false;
    app.add_option("--db", db, "The hub database, sqlite:PATH or postgresql://...; by default HUBDB_URL");
    auto* const asJson = app.add_flag("--json")->description("Answer with one JSON document")->disable_flag_override();
    app.add_flag("--csv", csv, "Answer with comma-separated values")->disable_flag_override()->excludes(asJson);
    app.add_flag("-v,--verbose", verbosity, "Log to standard error; -vv and -vvv log more");

    Commands commands;
    LoginRequest login;
    addEntityCommands(app, commands);
    CLI::App& subclient = *app.add_subcommand("subclient", "Change subclients")->require_subcommand(1);
    commands.push_back(std::make_unique<ChangeCommand>(subclient, [&] { return !json && !csv; }));
    commands.push_back(std::make_unique<JobsCommand>(app));
    commands.push_back(std::make_unique<JobCommand>(app));
    addSessionCommands(app, login, commands);
    if (const std::string information = tools::parseCommandLine(app, argc, argv); !information.empty())
        return json ? jsonText({{"text", information}}) : information;

    Command& command = **std::ranges::find_if(commands, [](const auto& one) { return one->isGiven(); });
    command.prepare();
    tools::logToStandardError(verbosity);
    const hubdb::DatabaseUrl url = connect(db);
    if (command.isGuarded())
        admit(url);
    if (const auto interval = command.interval()) {
        if (json || csv)
            throw tools::CommandError(tools::kExitUsage, "--watch is for a person: without --json and --csv",
                                      tools::kInvalidArgument);
        watch(*interval, [&](std::size_t width) {
            const Answer answer = command.run(url);
            return command.isInFields() ? fieldsText(answer) : tableText(answer, width);
        });
        return "";
    }
    Answer answer = command.run(url);
    Json error;
    if (answer.incomplete) {
        exitCode = answer.incomplete->exitCode;
        error = told(*answer.incomplete);
        answer.scope.emplace_back("error", error);
    }
    if (!json)
        return textOf(answer, command.isInFields(), csv);
    if (!command.isAlone())
        return jsonListText(answer);
    Json document = jsonOf(answer);
    if (answer.incomplete)
        document["error"] = error;
    return jsonText(document);
}

int run(int argc, char** argv) {
    // Asked of the arguments themselves: a command line that cannot be parsed is answered in JSON too.
    const bool json = std::any_of(argv, argv + argc, [](const char* a) { return std::strcmp(a, "--json") == 0; });
    int exitCode = tools::kExitDone;
    std::string output;
    try {
        output = answerTo(argc, argv, json, exitCode);
    } catch (const tools::CommandError& failure) {
        exitCode = failure.exitCode;
        const Json error = told(failure);
        output = json ? jsonText({{"error", error}}) : "";
    } catch (const std::exception& unexpected) { // no memory, for one
        exitCode = tools::kExitFailed;
        const Json error = told(tools::CommandError(tools::kExitFailed, unexpected.what(), kInternalError));
        output = json ? jsonText({{"error", error}}) : "";
    }
    HubDatabase::disconnect();
    tools::logToStandardError(0);
    if (!tools::writeOutput(output)) {
        std::cerr << "vcommand: cannot write the output: " << std::strerror(errno) << "\n";
        return tools::kExitFailed;
    }
    return exitCode;
}

} // namespace

int main(int argc, char** argv) {
    tools::prepareProcess();
    try {
        return run(argc, argv);
    } catch (const std::exception& unexpected) {
        std::cerr << "vcommand: " << unexpected.what() << "\n";
        return tools::kExitFailed;
    }
}
