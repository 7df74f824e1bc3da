#include "vcommand/Watch.h"

#include <unistd.h>

#include <algorithm>
#include <array>
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

constexpr std::string_view kEnter = "\x1b[?1049h\x1b[?25l";
constexpr std::string_view kLeave = "\x1b[?25h\x1b[?1049l";

constexpr std::array kEnding{SIGINT, SIGQUIT, SIGTERM, SIGHUP};

/// Ends out of a drawing, with what a signal handler may do.
extern "C" void endDrawing(int /*signal*/) {
    (void)!::write(STDOUT_FILENO, kLeave.data(), kLeave.size());
    _exit(tools::kExitDone);
}

/// The signals that end, stop or redraw, kept back while this lives: they are taken between two drawings, and those
/// that end also within one.
class HeldSignals {
  public:
    HeldSignals() {
        sigemptyset(&held_);
        for (const int signal : {SIGTSTP, SIGWINCH})
            sigaddset(&held_, signal);
        for (const int signal : kEnding)
            sigaddset(&held_, signal);
        pthread_sigmask(SIG_BLOCK, &held_, &before_);
        std::ranges::transform(kEnding, actions_.begin(), [](int signal) { return std::signal(signal, &endDrawing); });
    }
    ~HeldSignals() {
        for (std::size_t i = 0; i < kEnding.size(); ++i)
            std::signal(kEnding.at(i), actions_.at(i));
        pthread_sigmask(SIG_SETMASK, &before_, nullptr);
    }
    HeldSignals(const HeldSignals&) = delete;
    HeldSignals& operator=(const HeldSignals&) = delete;

    /// Waits for one, which it returns; below 0 when none came.
    int wait(std::chrono::seconds limit) const {
        const timespec time{limit.count(), 0};
        return sigtimedwait(&held_, nullptr, &time);
    }
    /// Stops the process as Ctrl-Z does, until it is continued.
    static void stop() {
        std::raise(SIGTSTP);
        const Let let(std::array{SIGTSTP});
    }

    /// Those of them that may come while this lives.
    class Let {
      public:
        template <class Signals> explicit Let(const Signals& signals) {
            sigemptyset(&let_);
            for (const int signal : signals)
                sigaddset(&let_, signal);
            pthread_sigmask(SIG_UNBLOCK, &let_, nullptr);
        }
        ~Let() { pthread_sigmask(SIG_BLOCK, &let_, nullptr); }
        Let(const Let&) = delete;
        Let& operator=(const Let&) = delete;

      private:
        sigset_t let_{};
    };

  private:
    sigset_t held_{};
    sigset_t before_{};
    std::array<void (*)(int), kEnding.size()> actions_{};
};

/// The terminal's other screen, without a cursor, while this lives.
class OtherScreen {
  public:
    OtherScreen() { write(kEnter); }
    ~OtherScreen() { tools::writeOutput(kLeave); }
    OtherScreen(const OtherScreen&) = delete;
    OtherScreen& operator=(const OtherScreen&) = delete;

    static void leaveWhile(const std::function<void()>& action) {
        write(kLeave);
        action();
        write(kEnter);
    }
};

/// The text as the whole of a screen: each line takes the place of the one that was there. Erased is before writing:
/// behind a line as wide as the window the cursor still stands on its last character.
std::string screenOf(std::string_view text) {
    const std::size_t width = tools::terminalWidth();
    const std::size_t lines = tools::terminalHeight();
    std::string screen = "\x1b[H";
    for (std::size_t shown = 1; !text.empty(); ++shown) {
        std::string line(text.substr(0, text.find('\n')));
        std::string_view rest = text.substr(std::min(line.size() + 1, text.size()));
        if (shown == lines && !rest.empty()) {
            line = "(" + std::to_string(std::ranges::count(text, '\n')) + " more)";
            rest = {};
        }
        screen += shown == 1 ? "" : "\n";
        screen += rest.empty() ? "\x1b[J" : "\x1b[K";
        screen += tools::cutToWidth(line, width);
        text = rest;
    }
    return screen;
}

} // namespace

void watch(std::chrono::seconds interval, const std::function<std::string(std::size_t width)>& draw) {
    std::string text = draw(tools::terminalWidth()); // what fails at once leaves the screen as it is
    const HeldSignals signals;
    const OtherScreen screen;
    while (true) {
        write(screenOf(text));
        const int signal = signals.wait(interval);
        if (signal == SIGTSTP)
            OtherScreen::leaveWhile(&HeldSignals::stop);
        else if (signal >= 0 && signal != SIGWINCH)
            return;
        const HeldSignals::Let let(kEnding); // the database may take its time
        text = draw(tools::terminalWidth());
    }
}
