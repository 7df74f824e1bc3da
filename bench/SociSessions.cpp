#include <stdexcept>

#include "Db/Tbl/UMVSDKSessions.h"
#include "Sessions.h"
#include "SociSession.h"
#include "system/OVClock.h"

namespace {

class SociSessions : public SessionCaller {
  public:
    SociSessions(const std::string& url, const std::vector<std::string>& settings)
        : session_(url), settled_(settle(settings)), read_(prepareRead()),
          touch_((session_.prepare << "UPDATE UMVSDKSessions SET lastAccessedTime=:now WHERE id=:id", soci::use(now_),
                  soci::use(id_))) {}

    int call(const std::string& token) override {
        token_ = token;
        if (!read_.execute(true))
            throw std::runtime_error("SOCI found no session");
        read_.fetch(); // lets go of its lock
        id_ = column<"id">(row_);
        now_ = OVClock::now();
        touch_.execute(true);
        if (touch_.get_affected_rows() != 1)
            throw std::runtime_error("SOCI marked no session");
        return column<"evmgrsSessionId">(row_);
    }

  private:
    bool settle(const std::vector<std::string>& settings) {
        for (const auto& setting : settings)
            session_ << setting;
        return true;
    }
    soci::details::prepare_temp_type prepareRead() {
        auto prepared = session_.prepare << selectFrom<UMVSDKSessions_t2>("WHERE GUID=:token");
        prepared, soci::use(token_);
        bindRow(prepared, row_);
        return prepared;
    }

    SociSession session_;
    bool settled_;
    SociRow<UMVSDKSessions_t2> row_;
    std::string token_;
    long long now_ = 0;
    int id_ = 0;
    soci::statement read_;
    soci::statement touch_;
};

} // namespace

std::unique_ptr<SessionCaller> sociSessions(const std::string& url, const std::vector<std::string>& settings) {
    return std::make_unique<SociSessions>(url, settings);
}
