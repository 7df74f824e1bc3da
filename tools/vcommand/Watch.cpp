#include "vcommand/Watch.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <ctime>
#include <string_view>

#include "common/CommandError.h"
#include "common/Tool.h"

namespace {

void write(std::string_view text) {
    if (!tools::writeOutput(text))
        throw tools::CommandError(tools::kExitFailed, std::string("cannot write the output: ") + std::strerror(errno));
}

/// The signals that end or redraw, kept back while this lives: they are taken between two drawings.
class HeldSignals {
  public:
    HeldSignals() {
        sigemptyset(&held_);
        for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGWINCH})
            sigaddset(&held_, signal);
        pthread_sigmask(SIG_BLOCK, &held_, &before_);
    }
    ~HeldSignals() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
    HeldSignals(const HeldSignals&) = delete;
    HeldSignals& operator=(const HeldSignals&) = delete;

    /// Waits for one. False: it is time to end.
    bool wait(std::chrono::seconds limit) const {
        const timespec time{limit.count(), 0};
        const int signal = sigtimedwait(&held_, nullptr, &time);
        return signal < 0 || signal == SIGWINCH;
    }

  private:
    sigset_t held_{};
    sigset_t before_{};
};

/// The terminal's other screen, without a cursor, while this lives.
class OtherScreen {
  public:
    OtherScreen() { write("\x1b[?1049h\x1b[?25l"); }
    ~OtherScreen() { tools::writeOutput("\x1b[?25h\x1b[?1049l"); }
    OtherScreen(const OtherScreen&) = delete;
    OtherScreen& operator=(const OtherScreen&) = delete;
};

/// The text as the whole of a screen of so many lines: each line takes the place of the one that was there.
std::string screenOf(std::string_view text, std::size_t lines) {
    std::string screen = "\x1b[H";
    for (std::size_t shown = 1; !text.empty(); ++shown) {
        const std::string_view line = text.substr(0, text.find('\n'));
        text.remove_prefix(std::min(line.size() + 1, text.size()));
        if (shown == lines && !text.empty()) {
            std::size_t left = 1;
            for (const char c : text)
                left += c == '\n' ? 1 : 0;
            return screen + "(" + std::to_string(left) + " more)\x1b[K";
        }
        ((screen += shown == 1 ? "" : "\n") += line) += "\x1b[K";
    }
    return screen + "\x1b[J";
}

} // namespace

void watch(std::chrono::seconds interval, const std::function<std::string(std::size_t width)>& draw) {
    const HeldSignals signals;
    std::string text = draw(tools::terminalWidth()); // what fails at once leaves the screen as it is
    const OtherScreen screen;
    write(screenOf(text, tools::terminalHeight()));
    while (signals.wait(interval)) {
        text = draw(tools::terminalWidth());
        write(screenOf(text, tools::terminalHeight()));
    }
}
