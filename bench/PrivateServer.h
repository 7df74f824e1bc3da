#pragma once

#include <string>

/// A PostgreSQL server of the program's own, which scripts/postgres starts and this object's end, or an interrupt,
/// stops and removes. One at a time in a build tree. Throws std::runtime_error when it cannot be started.
///
/// From its start on the program shares one processor with it. Otherwise the kernel would put each connection's process
/// beside the program or elsewhere, as it likes, and waking one that sleeps elsewhere costs several times what a read
/// does.
class PrivateServer {
  public:
    PrivateServer();
    ~PrivateServer();
    PrivateServer(const PrivateServer&) = delete;
    PrivateServer& operator=(const PrivateServer&) = delete;

    /// Of an empty database, as its superuser.
    const std::string& url() const { return url_; }

  private:
    int lock_; ///< held until the server is gone
    std::string url_;
};
