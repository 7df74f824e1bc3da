#include <soci/sqlite3/soci-sqlite3.h>

#include "Estate.h"
#include "Jobs.h"
#include "SociSession.h"

namespace {

class SociJobs : public JobCaller {
  public:
    SociJobs(const std::string& url, const std::string& sql)
        : session_(url), ready_(settle(url)),
          statement_((session_.prepare << sql, soci::use(user_), soci::use(request_), soci::into(xml_))) {}

    JobRecords call(_VSDK_JobSummary& summary) override {
        statement_.execute(true);
        statement_.fetch(); // lets go of its lock
        return parseJobs(xml_, summary);
    }

  private:
    bool settle(const std::string& url) {
        if (isServer(url))
            session_ << kJobSettings;
        else // SOCI itself cannot, but its session gives SQLite's own handle
            addJobFunctions(static_cast<soci::sqlite3_session_backend*>(session_.get_backend())->conn_);
        return true;
    }

    SociSession session_;
    bool ready_;
    int user_ = kJobUser;
    std::string request_{kJobRequest};
    std::string xml_;
    soci::statement statement_;
};

} // namespace

std::unique_ptr<JobCaller> sociJobs(const std::string& url, const std::string& sql) {
    return std::make_unique<SociJobs>(url, sql);
}
