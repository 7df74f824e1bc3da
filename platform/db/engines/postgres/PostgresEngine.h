#pragma once

#include <atomic>

#include "db/DatabaseUrl.h"
#include "db/engines/Engine.h"

namespace hubdb {

/// PostgreSQL, a server, over libpq's non-blocking interface: every wait has its limit, whatever the network or the
/// server does.
class PostgresEngine : public Engine {
  public:
    explicit PostgresEngine(DatabaseUrl url);

    std::unique_ptr<Connection> open(EngineError& error, RoundTrips* roundTrips) override;
    const Dialect& dialect() const override;
    bool isMissing() const override { return false; }
    void remove(bool /*onlyEmpty*/) noexcept override {}
    bool forkedChildMayConnect(bool /*idle*/) const override { return true; }

  private:
    DatabaseUrl url_;
    std::atomic<std::size_t> lastHost_{0};
};

} // namespace hubdb
