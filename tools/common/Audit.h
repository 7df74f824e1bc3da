#pragma once

#include <string>

namespace tools {

/// The name of this machine, empty when it has none.
std::string hostName();

/// Says who logs in and out, where the hub database asks for that (the parameter "VSDKSessionsAudit"): one line for
/// each event on standard error, and to the system's log as authpriv. Never a secret.
class Audit {
  public:
    /// Asks the database, which must be connected.
    explicit Audit(std::string program);

    bool isOn() const { return enabled_; }
    /// "login", "refused", "logout", "expired" of a user, on this machine or another one.
    void tell(const std::string& event, const std::string& user, const std::string& host = hostName()) const;

  private:
    std::string program_;
    bool enabled_;
};

} // namespace tools
