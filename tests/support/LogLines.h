#pragma once

#include <memory>
#include <mutex>
#include <string>

#include "log/EvLogSink.h"

namespace support {

/// The lines that the process logs while this lives, one after the other: failures, or those up to a level, which each
/// line then begins with.
class LogLines {
  public:
    explicit LogLines(int maxLevel = kEvLogFailures) {
        setEvLogSink(
            [kept = kept_, maxLevel](const EvLogLine& line) {
                const std::lock_guard lock(kept->mutex);
                if (maxLevel > kEvLogFailures)
                    kept->text += std::to_string(line.level) + ' ';
                (kept->text += line.tag) += ' ';
                (kept->text += line.text) += '\n';
            },
            maxLevel);
    }
    ~LogLines() { setEvLogSink({}, 0); }
    LogLines(const LogLines&) = delete;
    LogLines& operator=(const LogLines&) = delete;

    /// What was logged since the last call.
    std::string taken() {
        const std::lock_guard lock(kept_->mutex);
        return std::exchange(kept_->text, {});
    }

  private:
    struct Kept {
        std::mutex mutex;
        std::string text;
    };
    std::shared_ptr<Kept> kept_ = std::make_shared<Kept>();
};

} // namespace support
