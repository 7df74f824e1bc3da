#pragma once

#include <chrono>
#include <string>
#include <thread>
#include <vector>

/// Stands between clients and a server's Unix socket as a network does: it takes connections on a TCP port of this
/// machine and passes on what comes, each way a little later. What comes meanwhile goes with it, so that the delay
/// limits round trips and not what goes through. Clients must be gone before it is.
class DelayingProxy {
  public:
    /// `url` is scripts/postgres's. Throws std::runtime_error when it cannot listen.
    DelayingProxy(const std::string& url, std::chrono::microseconds oneWay);
    ~DelayingProxy();
    DelayingProxy(const DelayingProxy&) = delete;
    DelayingProxy& operator=(const DelayingProxy&) = delete;

    /// Of the server through the proxy.
    const std::string& url() const { return url_; }

  private:
    void acceptAll();
    void pass(int client, int server) const;

    std::string socketPath_;
    std::chrono::microseconds oneWay_;
    int listener_;
    std::string url_;
    std::thread acceptor_;
    std::vector<std::thread> connections_;
};
