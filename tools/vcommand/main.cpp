#include <algorithm>
#include <cerrno>
#include <cstring>
#include <functional>
#include <iostream>

#include "common/CommandLine.h"
#include "common/Database.h"
#include "common/Tool.h"
#include "common/VSDKErrors.h"
#include "db/DBStatus.h"
#include "db/HubDatabase.h"
#include "vcommand/Command.h"
#include "vcommand/ListAgentTypes.h"

namespace {

using Json = nlohmann::ordered_json;

constexpr const char* kFooter =
    R"(--db, --json and --verbose may stand before or after the command. With --json
standard output is one JSON document, also when the command fails:
{"error": {"code": ..., "message": ..., "reason": ...}}. "replaced": true in it
says that a text was not valid UTF-8.

Examples:
  vcommand list agenttypes --client 2 --db sqlite:/var/lib/hub/hub.db
  HUBDB_URL=sqlite:hub.db vcommand list agenttypes --client mail01 --json

Exit codes:
  0  done
  1  the library or the database reported a failure, or the output could not be
     written
  2  the command line is wrong
  3  the named entity or the database does not exist
  4  the data given are wrong, such as a name that several entities have)";

/// What a command line asks for.
struct Request {
    std::string db;
    int verbosity = 0;
    std::function<Answer()> command;
};

/// One JSON document and a line end. Broken UTF-8, which JSON cannot carry, becomes U+FFFD, and the document says so.
std::string jsonText(Json document) {
    constexpr int kIndent = 2;
    try {
        return document.dump(kIndent) + "\n";
    } catch (const Json::type_error&) {
        document["replaced"] = true;
        return document.dump(kIndent, ' ', false, Json::error_handler_t::replace) + "\n";
    }
}

/// Reads the command line. Throws a tools::CommandError; a text is the whole answer to --help or --version.
std::string parse(int argc, char** argv, Request& request) {
    CLI::App app("Shows what the hub database knows of a backup estate.", "vcommand");
    app.set_version_flag("--version", std::string("vcommand ") + tools::version());
    app.footer(kFooter);
    app.fallthrough();
    app.require_subcommand(1);
    app.add_option("--db", request.db, "The hub database, sqlite:PATH or postgresql://...; by default HUBDB_URL");
    app.add_flag("--json")->description("Answer with one JSON document")->disable_flag_override();
    app.add_flag("-v,--verbose", request.verbosity, "Log to standard error; -vv and -vvv log more");

    CLI::App* const list = app.add_subcommand("list", "List entities");
    list->require_subcommand(1);

    std::string client;
    CLI::App* const agentTypes = list->add_subcommand("agenttypes", "The agents of a client, with name and status");
    agentTypes->add_option("--client", client, "The client: a whole number is its id, any other text its name")
        ->required();
    agentTypes->callback([&] { request.command = [client] { return listAgentTypes(client); }; });

    return tools::parseCommandLine(app, argc, argv);
}

void connect(const std::string& db) {
    const auto url = tools::databaseUrl(db);
    if (!url)
        throw tools::CommandError(tools::kExitUsage, "no database: give --db or set HUBDB_URL",
                                  tools::kMissingArgument);
    tools::requireDatabase(tools::parseDatabaseUrl(*url));
    std::string error;
    if (const int status = HubDatabase::connect(*url, error); status != kDbOk)
        throw tools::CommandError(tools::kExitFailed, error + " (database status " + std::to_string(status) + ")",
                                  tools::kNotConnected);
}

/// The whole of standard output, for a command line that can be answered.
std::string answerTo(int argc, char** argv, bool json) {
    Request request;
    const std::string information = parse(argc, argv, request);
    if (!information.empty())
        return json ? jsonText({{"text", information}}) : information;
    tools::logToStandardError(request.verbosity);
    connect(request.db);
    const Answer answer = request.command();
    return json ? jsonText(answer.json) : answer.table.text();
}

/// Standard output for a failure, which is told on standard error.
std::string answerTo(const tools::CommandError& failure, bool json) {
    const char* const message = GetErrorString(failure.code);
    std::cerr << "vcommand: error " << failure.code << ": " << message
              << "\nvcommand: " << tools::escaped(failure.what()) << "\n";
    return json ? jsonText({{"error", {{"code", failure.code}, {"message", message}, {"reason", failure.what()}}}})
                : "";
}

int run(int argc, char** argv) {
    // Asked of the arguments themselves: a command line that cannot be parsed is answered in JSON too.
    const bool json = std::any_of(argv, argv + argc, [](const char* a) { return std::strcmp(a, "--json") == 0; });
    int exitCode = tools::kExitDone;
    std::string output;
    try {
        output = answerTo(argc, argv, json);
    } catch (const tools::CommandError& failure) {
        exitCode = failure.exitCode;
        output = answerTo(failure, json);
    } catch (const std::exception& unexpected) { // no memory, for one
        exitCode = tools::kExitFailed;
        output = answerTo(tools::CommandError(tools::kExitFailed, unexpected.what(), kInternalError), json);
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
