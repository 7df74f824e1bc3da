#include "common/Secret.h"

#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>

#include "common/CommandError.h"
#include "common/Descriptor.h"
#include "common/Tool.h"
#include "security/OVPassword.h"

namespace tools {

namespace {

constexpr std::size_t kMost = OVPassword::kClearBytesMax;

/// A terminal that does not show what is typed. Signals that would end the process, or stop it, wait until it does
/// again.
class Silence {
  public:
    explicit Silence(int terminal) : terminal_(terminal) {
        sigset_t signals;
        sigemptyset(&signals);
        for (const int one : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGTSTP})
            sigaddset(&signals, one);
        sigprocmask(SIG_BLOCK, &signals, &before_);
        isSet_ = tcgetattr(terminal_, &shown_) == 0;
        termios silent = shown_;
        silent.c_lflag &= ~static_cast<tcflag_t>(ECHO | ISIG); // the keys that make signals end the line instead
        silent.c_lflag |= ECHONL;
        silent.c_cc[VEOL] = shown_.c_cc[VINTR];
        isSet_ = isSet_ && tcsetattr(terminal_, TCSAFLUSH, &silent) == 0;
    }
    ~Silence() {
        if (isSet_)
            tcsetattr(terminal_, TCSAFLUSH, &shown_);
        sigprocmask(SIG_SETMASK, &before_, nullptr);
    }
    Silence(const Silence&) = delete;
    Silence& operator=(const Silence&) = delete;

    bool isSet() const { return isSet_; }
    char interruptKey() const { return static_cast<char>(shown_.c_cc[VINTR]); }

  private:
    int terminal_;
    bool isSet_ = false;
    termios shown_{};
    sigset_t before_{};
};

/// Everything up to the end, or up to and with the first of the bytes `ends`; more than a password holds is cut.
bool readBytes(int file, const std::string& ends, Secret& bytes) {
    bytes.text.reserve(kMost + 3); // so that it never moves and leaves a copy behind
    char byte = 0;
    ssize_t got = 0;
    while (bytes.text.size() < kMost + 3 && (got = read(file, &byte, 1)) != 0) {
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0)
            return false;
        bytes.text += byte;
        if (ends.find(byte) != std::string::npos)
            break;
    }
    return true;
}

[[noreturn]] void refuse(const std::string& why) {
    throw CommandError(kExitRefused, why, kInvalidArgument);
}

void readStream(int file, const std::string& name, Secret& password) {
    if (!readBytes(file, "", password))
        throw CommandError(kExitFailed, name + ": " + std::strerror(errno), kInvalidArgument);
    std::string& text = password.text;
    if (!text.empty() && text.back() == '\n')
        text.pop_back();
    if (text.find('\n') != std::string::npos)
        refuse(name + ": a password is one line");
}

void ask(int terminal, const std::string& prompt, Secret& password) {
    const Silence silence(terminal);
    if (!silence.isSet() || write(terminal, prompt.data(), prompt.size()) < 0 ||
        !readBytes(terminal, {'\n', silence.interruptKey()}, password))
        throw CommandError(kExitFailed, std::string("the terminal: ") + std::strerror(errno), kInvalidArgument);
    std::string& text = password.text;
    const bool interrupted = !text.empty() && text.back() == silence.interruptKey();
    if ((interrupted || text.empty()) && write(terminal, "\n", 1) < 0) // which ECHONL did not see
        throw CommandError(kExitFailed, std::string("the terminal: ") + std::strerror(errno), kInvalidArgument);
    if (interrupted)
        throw CommandError(kExitFailed, "interrupted", kInvalidArgument);
    if (!text.empty() && text.back() == '\n')
        text.pop_back();
}

void check(const std::string& password) {
    if (password.empty())
        refuse("the password is empty");
    if (password.size() > kMost)
        refuse("the password is longer than " + std::to_string(kMost) + " bytes");
    if (password.find('\0') != std::string::npos)
        refuse("the password holds a NUL");
}

} // namespace

Secret::~Secret() {
    explicit_bzero(text.data(), text.size());
}

void readPassword(const PasswordSource& source, const std::string& prompt, bool twice, Secret& password) {
    if (source.standardInput) {
        if (isTerminal(STDIN_FILENO)) // which would show it
            throw CommandError(kExitUsage, "standard input is a terminal: leave out --password-stdin",
                               kInvalidArgument);
        readStream(STDIN_FILENO, "standard input", password);
    } else if (source.file) {
        const Descriptor file(open(source.file->c_str(), O_RDONLY | O_CLOEXEC));
        if (file.number() < 0)
            throw CommandError(errno == ENOENT ? kExitNotFound : kExitFailed,
                               "'" + *source.file + "': " + std::strerror(errno), kInvalidArgument);
        readStream(file.number(), *source.file, password);
    } else {
        const Descriptor terminal(open("/dev/tty", O_RDWR | O_CLOEXEC));
        if (terminal.number() < 0)
            throw CommandError(kExitUsage,
                               "there is no terminal to ask for the password: use --password-stdin or "
                               "--password-file",
                               kMissingArgument);
        ask(terminal.number(), prompt + ": ", password);
        check(password.text);
        Secret again;
        if (twice)
            ask(terminal.number(), "The same again: ", again);
        if (twice && again.text != password.text)
            refuse("the two passwords differ");
    }
    check(password.text);
}

} // namespace tools
