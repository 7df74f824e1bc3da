#include "hubdb/Commands.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <optional>
#include <vector>

#include "Db/Tbl/HubTables.h"
#include "common/Database.h"
#include "db/HubSchema.h"
#include "hubdb/KeyFile.h"
#include "schema/SchemaVersion.h"
#include "security/PasswordKey.h"

namespace {

void throwUnlessDone(int status, const std::string& error) {
    if (status != kDbOk)
        throw tools::CommandError(tools::kExitFailed, error + " (database status " + std::to_string(status) + ")");
}

bool isHubDatabase(const hubdb::DatabaseUrl& url) {
    std::vector<std::string> differences;
    std::string error;
    return hubdb::checkSchema(url, kHubObjects, differences, error) == kDbOk;
}

std::string permissions(mode_t mode) {
    char text[8];
    std::snprintf(text, sizeof text, "%04o", static_cast<unsigned>(mode & 07777U));
    return text;
}

/// The lines of the doctor.
class Report {
  public:
    enum class Finding { kOk, kWarn, kFail };

    void add(Finding finding, const std::string& what, const std::string& words) {
        constexpr const char* kWords[] = {"ok    ", "warn  ", "fail  "};
        constexpr std::size_t kWidth = 14;
        const std::string padding(what.size() < kWidth ? kWidth - what.size() : 1, ' ');
        answer_.text += kWords[static_cast<int>(finding)] + what + padding + tools::escaped(words) + "\n";
        if (finding == Finding::kFail)
            answer_.exitCode = tools::kExitFailed;
    }
    const Answer& answer() const { return answer_; }

  private:
    Answer answer_;
};

using Finding = Report::Finding;

void lookAtFiles(const hubdb::DatabaseUrl& url, Report& report) {
    constexpr mode_t kOthers = S_IRWXG | S_IRWXO;
    std::string error;
    struct stat about {};
    if (!url.path.empty() && stat(url.path.c_str(), &about) == 0)
        report.add((about.st_mode & kOthers) == 0 ? Finding::kOk : Finding::kWarn, "database file",
                   url.path + ", mode " + permissions(about.st_mode) +
                       ((about.st_mode & kOthers) == 0 ? "" : ": others have access, and it holds login tokens"));
    if (url.keyPath.empty())
        report.add(Finding::kWarn, "password key", "the URL names none (key=PATH): stored passwords cannot be used");
    else if (stat(url.keyPath.c_str(), &about) != 0)
        report.add(Finding::kWarn, "password key",
                   url.keyPath + ": " + std::strerror(errno) + ": stored passwords cannot be used");
    else if (hubdb::PasswordKey key; !key.load(url.keyPath, error))
        report.add(Finding::kFail, "password key", error);
    else
        report.add((about.st_mode & 07777U) == (S_IRUSR | S_IWUSR) ? Finding::kOk : Finding::kWarn, "password key",
                   url.keyPath + ", mode " + permissions(about.st_mode) +
                       ((about.st_mode & 07777U) == (S_IRUSR | S_IWUSR) ? "" : ", should be 0600"));
}

void lookAtSchema(const hubdb::DatabaseUrl& url, Report& report) {
    std::vector<std::string> differences;
    std::string error;
    if (hubdb::checkSchema(url, kHubObjects, differences, error) != kDbOk)
        report.add(Finding::kFail, "schema", error);
    for (const auto& difference : differences)
        report.add(Finding::kFail, "schema", difference);
    if (error.empty() && differences.empty())
        report.add(Finding::kOk, "schema", "version " + std::to_string(hubdb::kSchemaVersion) + ", as declared");
}

} // namespace

Answer createDatabase(const hubdb::DatabaseUrl& url) {
    umask(S_IRWXG | S_IRWXO); // the database holds login tokens
    const std::string name = tools::escaped(url.name);
    std::optional<KeyFile> key;
    if (!url.keyPath.empty())
        key.emplace(url.keyPath);
    std::string error;
    const int status = hubdb::createSchema(url, kHubObjects, error);
    // A database on a server may have been made without a key, or from another machine: it is as good as made.
    const bool isThere = status == kDbBadStatement && url.path.empty() && isHubDatabase(url);
    if (status != kDbOk && isThere && key && key->publish())
        return {name + " is there already; created its key " + tools::escaped(url.keyPath) + "\n"};
    throwUnlessDone(status, error);
    if (!key)
        return {"created " + name + ", without a key: for stored passwords run this again with key=PATH in the URL\n"};
    const char* const how = key->publish() ? " and its key " : ", with the key that was there, ";
    return {"created " + name + how + tools::escaped(url.keyPath) + "\n"};
}

Answer checkDatabase(const hubdb::DatabaseUrl& url) {
    tools::requireDatabase(url);
    std::vector<std::string> differences;
    std::string error;
    throwUnlessDone(hubdb::checkSchema(url, kHubObjects, differences, error), error);
    if (differences.empty())
        return {"the schema is that of version " + std::to_string(hubdb::kSchemaVersion) + "\n"};
    Answer answer{"", tools::kExitFailed};
    for (const auto& difference : differences)
        answer.text += tools::escaped(difference) + "\n";
    return answer;
}

Answer upgradeDatabase(hubdb::DatabaseUrl url) {
    tools::requireDatabase(url);
    url.statementLimit = {}; // a table that is rebuilt takes as long as it takes
    int from = 0;
    std::string error;
    throwUnlessDone(hubdb::upgradeSchema(url, kHubObjects, from, error), error);
    const std::string version = std::to_string(hubdb::kSchemaVersion);
    return {from == hubdb::kSchemaVersion ? "the database is of version " + version + " already\n"
                                          : "upgraded from version " + std::to_string(from) + " to " + version + "\n"};
}

Answer doctorDatabase(hubdb::DatabaseUrl url) {
    tools::requireDatabase(url);
    url.statementLimit = {}; // nor does the integrity check hurry
    Report report;
    hubdb::DatabaseFacts facts;
    std::string error;
    if (hubdb::examineDatabase(url, facts, error) != kDbOk) {
        report.add(Finding::kFail, "database", error);
        return report.answer();
    }
    report.add(Finding::kOk, "engine", facts.engine);
    report.add(Finding::kOk, "journal", facts.journal);
    report.add(facts.integrity == "ok" ? Finding::kOk : Finding::kFail, "integrity", facts.integrity);
    lookAtSchema(url, report);
    lookAtFiles(url, report);
    report.add(Finding::kOk, "size", facts.bytes + " bytes");
    if (facts.version != 0)
        report.add(Finding::kOk, "round trip", std::to_string(facts.roundTripNanoseconds) + " ns for a point read");
    return report.answer();
}
