#include "common/Audit.h"

#include <spdlog/logger.h>
#include <spdlog/pattern_formatter.h>
#include <spdlog/sinks/stdout_sinks.h>
#include <spdlog/sinks/syslog_sink.h>
#include <unistd.h>

#include <array>
#include <memory>

#include "common/Tool.h"
#include "users/VSDKUsers.h"

namespace tools {

namespace {

bool isAsked() {
    VSDK_Sessions settings;
    settings.updateAudit();
    return settings.auditEnabled;
}

/// On one line, between quotes that are no part of it.
std::string quoted(const std::string& text) {
    std::string inner;
    for (const char c : text)
        inner += c == '"' ? "\\x22" : c == '\\' ? "\\x5C" : std::string(1, c);
    return '"' + escaped(inner) + '"';
}

} // namespace

std::string hostName() {
    std::array<char, 256> name{};
    return gethostname(name.data(), name.size() - 1) == 0 ? name.data() : "";
}

Audit::Audit(std::string program) : program_(std::move(program)), enabled_(isAsked()) {}

void Audit::tell(const std::string& event, const std::string& user, const std::string& host) const {
    if (!enabled_)
        return;
    const auto terminal = std::make_shared<spdlog::sinks::stderr_sink_mt>();
    const auto system = std::make_shared<spdlog::sinks::syslog_sink_mt>(program_, LOG_PID, LOG_AUTHPRIV, true);
    terminal->set_formatter(
        std::make_unique<spdlog::pattern_formatter>("audit: %Y-%m-%dT%H:%M:%SZ %v", spdlog::pattern_time_type::utc));
    system->set_pattern("%v"); // which has its own time
    spdlog::logger logger("audit", {terminal, system});
    logger.info("{} {} user={} host={}", program_, event, quoted(user), quoted(host));
}

} // namespace tools
