// SPDX-License-Identifier: MIT OR GPL-2.0
#include "live_screen.h"

#include "tools/ifcctl/core/errors.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <iterator>

#include <ctime>
#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace ifcctl
{

namespace
{

constexpr const char *kEnter = "\033[?1049h\033[?25l"; // the other screen, without a cursor
constexpr const char *kLeave = "\033[?25h\033[?1049l";
constexpr const char *kHome = "\033[H";
constexpr const char *kClearLine = "\033[K";
constexpr const char *kClearBelow = "\033[J";

volatile std::sig_atomic_t lastSignal = 0;

void remember(int number)
{
    // A size change must not hide a request to end.
    if (number != SIGWINCH || lastSignal == 0)
        lastSignal = number;
}

double now()
{
    timespec time{};
    clock_gettime(CLOCK_MONOTONIC, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

} // namespace

bool LiveScreen::possible()
{
    const char *kind = std::getenv("TERM");
    return isatty(STDOUT_FILENO) != 0 && kind != nullptr && *kind != '\0' && std::string(kind) != "dumb";
}

LiveScreen::LiveScreen()
{
    // Commands may come from a pipe. Keys then come from the terminal itself.
    if (isatty(STDIN_FILENO) != 0) {
        keys_ = STDIN_FILENO;
    } else {
        keys_ = open("/dev/tty", O_RDONLY | O_CLOEXEC | O_NOCTTY);
        ownKeys_ = keys_ >= 0;
    }
    // Signals arrive during ppoll() only.
    sigset_t mask;
    sigemptyset(&mask);
    for (const int number : kSignals)
        sigaddset(&mask, number);
    sigprocmask(SIG_BLOCK, &mask, &oldMask_);
    lastSignal = 0;
    struct sigaction action = {};
    action.sa_handler = remember;
    for (size_t n = 0; n < std::size(kSignals); ++n) {
        sigaction(kSignals[n], nullptr, &oldActions_[n]);
        // What the caller ignores, as nohup does, stays ignored.
        if (oldActions_[n].sa_handler != SIG_IGN)
            sigaction(kSignals[n], &action, nullptr);
    }
    cooked_ = keys_ >= 0 && tcgetattr(keys_, &before_) == 0;
    enter();
}

LiveScreen::~LiveScreen()
{
    leave();
    for (size_t n = 0; n < std::size(kSignals); ++n)
        sigaction(kSignals[n], &oldActions_[n], nullptr);
    if (ownKeys_)
        ::close(keys_);
    sigprocmask(SIG_SETMASK, &oldMask_, nullptr);
    if (endedBy_ != 0)
        (void)raise(endedBy_);
}

void LiveScreen::enter()
{
    if (cooked_) {
        termios raw = before_;
        raw.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
        raw.c_cc[VMIN] = 1;
        raw.c_cc[VTIME] = 0;
        tcsetattr(keys_, TCSANOW, &raw);
    }
    std::fputs(kEnter, stdout);
    std::fflush(stdout);
}

void LiveScreen::leave()
{
    std::fputs(kLeave, stdout);
    std::fflush(stdout);
    if (cooked_)
        tcsetattr(keys_, TCSANOW, &before_);
}

void LiveScreen::stop()
{
    leave();
    (void)raise(SIGSTOP); // goes on here after SIGCONT
    if (cooked_)
        cooked_ = tcgetattr(keys_, &before_) == 0;
    enter();
    redraw();
}

void LiveScreen::draw(const std::string &text)
{
    text_ = text;
    redraw();
}

void LiveScreen::redraw()
{
    winsize size{};
    const bool known = ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col != 0 && size.ws_row != 0;
    const unsigned columns = known ? size.ws_col : 80;
    const unsigned rows = known ? size.ws_row : 24;
    std::string out = kHome;
    size_t at = 0;
    for (unsigned row = 0; row < rows && at < text_.size(); ++row) {
        const size_t end = std::min(text_.find('\n', at), text_.size());
        out += (row == 0 ? "" : "\r\n") + text_.substr(at, std::min<size_t>(end - at, columns)) + kClearLine;
        at = end + 1;
    }
    out += kClearBelow;
    if (std::fwrite(out.data(), 1, out.size(), stdout) != out.size() || std::fflush(stdout) != 0)
        throw outputFailed("standard output");
}

// True: q was pressed, or the terminal is gone.
bool LiveScreen::quitKey()
{
    char keys[64];
    const ssize_t got = ::read(keys_, keys, sizeof keys);
    if (got < 0)
        return errno != EINTR && errno != EAGAIN;
    return got == 0 || std::any_of(keys, keys + got, [](char key) { return key == 'q' || key == 'Q'; });
}

bool LiveScreen::wait(double seconds)
{
    const double end = now() + seconds;
    for (;;) {
        const double left = end - now();
        if (left <= 0)
            return true;
        pollfd keys = {keys_, POLLIN, 0}; // -1 is ignored
        const timespec time = {static_cast<time_t>(left), static_cast<long>((left - std::floor(left)) * 1e9)};
        const int ready = ppoll(&keys, 1, &time, &oldMask_);
        const int number = lastSignal;
        lastSignal = 0;
        if (number == SIGTSTP)
            stop();
        else if (number == SIGWINCH)
            redraw();
        else if (number != 0)
            endedBy_ = number;
        if (endedBy_ != 0 || (ready > 0 && quitKey()))
            return false;
    }
}

} // namespace ifcctl
