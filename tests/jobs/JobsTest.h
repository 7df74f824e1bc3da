#pragma once

#include <map>
#include <string>
#include <tuple>
#include <vector>

#include "db/engines/sqlite/EmbeddedProcedures.h"
#include "entities/EntityTest.h"
#include "jobs/VSDKJobInfo.h"

namespace estate {

/// A text as it stands between the quotes of a literal.
inline std::string escaped(const std::string& text) {
    std::string quoted;
    for (const char c : text)
        quoted += c == '\'' ? "''" : std::string(1, c);
    return quoted;
}
inline std::string visibility(int user, int client) {
    return row("UMJobVisibility", "userId, clientId", user, client);
}

} // namespace estate

inline std::string textOf(const std::vector<_VSDK_JobFailureReason>& reasons) {
    std::string text;
    for (const auto& reason : reasons)
        text += std::to_string(reason.code) + "=" + reason.text + ";";
    return text;
}
inline std::string textOf(const _VSDK_Job& job) {
    return fieldsText(job.jobId, job.attr2, job.status, job.attr5, job.attr6, job.attr15, job.attr7, job.attr8,
                      job.attr9, job.attr10, job.backupLevel, textOf(job.failureReasons), job.attr16, job.attr35);
}
inline std::string textOf(const _VSDK_JobSummary& summary) {
    return fieldsText(summary.running, summary.pending, summary.waiting, summary.suspended, summary.queued);
}
/// "1 5 7"
inline std::string idsOf(const std::vector<_VSDK_Job>& jobs) {
    std::string ids;
    for (const auto& job : jobs)
        ids += (ids.empty() ? "" : " ") + std::to_string(job.jobId);
    return ids;
}

/// Lists of jobs, asked from the procedures or from answers of a test's own.
class JobsTest : public EntityTest {
  protected:
    static constexpr auto kProcedure = "JMGetRunningJobSummaryVSDK";

    void TearDown() override {
        EntityTest::TearDown();
        for (const auto& [name, text] : embedded_) // they are the whole process's
            hubdb::EmbeddedProcedures::add(name, text);
    }

    /// Defines a procedure anew, until the test ends.
    void define(const std::string& name, const std::string& query) {
        embedded_.emplace(name, hubdb::EmbeddedProcedures::find(name));
        hub_->define(name, query);
        connect(); // prepares anew
    }
    /// Makes the procedure answer this, whatever it is asked.
    void answer(const std::string& xml) { define(kProcedure, "SELECT '" + estate::escaped(xml) + "'"); }

    void answerJobs(const std::string& jobs) { answer("<JobListResponseVSDK>" + jobs + "</JobListResponseVSDK>"); }

    static VSDK_JobList byIds(std::vector<long long> ids) { return {std::move(ids), "", 0, "", "", ""}; }
    static VSDK_JobList all() { return {0, 0, 0, 0, 0}; }

  private:
    std::map<std::string, std::string> embedded_;
};
