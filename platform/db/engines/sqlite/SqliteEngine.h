#pragma once

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>

#include "db/DatabaseUrl.h"
#include "db/engines/Engine.h"

namespace hubdb {

/// The writers of this process, one at a time: they wait at a mutex, which wakes the next at once, instead of polling
/// the file's lock.
class WriterQueue {
  public:
    enum class Entry { kEntered, kTimedOut, kSelf };

    /// kSelf: the calling thread is the writer already and would wait for itself.
    Entry enter(std::chrono::milliseconds limit);
    void leave() noexcept;
    /// The writer found that another process writes. For a while the next one here lets some time pass behind the one
    /// before, or the file would be free for moments only, and who polls its lock would hardly ever meet one.
    void noteOthers() { othersSeen_ = Clock::now(); }

  private:
    using Clock = std::chrono::steady_clock;

    void letOthersIn();

    std::mutex mutex_;
    std::condition_variable left_;
    std::thread::id writer_;
    // Of the writer alone.
    Clock::time_point othersSeen_;
    Clock::time_point enteredAt_;
    Clock::time_point leftAt_;
};

/// SQLite, embedded: one file, opened by SQLite alone.
class SqliteEngine : public Engine {
  public:
    explicit SqliteEngine(DatabaseUrl url);

    std::unique_ptr<Connection> open(EngineError& error, RoundTrips* roundTrips) override;
    const Dialect& dialect() const override;
    bool isMissing() const override;
    void remove(bool onlyEmpty) noexcept override;
    bool forkedChildMayConnect(bool idle) const override;

  private:
    DatabaseUrl url_;
    std::shared_ptr<WriterQueue> writers_ = std::make_shared<WriterQueue>();
};

} // namespace hubdb
