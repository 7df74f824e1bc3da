#pragma once

#include <memory>
#include <string>
#include <vector>

/// One way to look a login session up by its token and to mark it as used now, for one thread at a time.
class SessionCaller {
  public:
    virtual ~SessionCaller() = default;
    /// The session's number. Failures are exceptions.
    virtual int call(const std::string& token) = 0;
};

/// Through SOCI with two kept statements, after `settings`, which are statements.
std::unique_ptr<SessionCaller> sociSessions(const std::string& url, const std::vector<std::string>& settings);
