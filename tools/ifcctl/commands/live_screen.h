// SPDX-License-Identifier: MIT OR GPL-2.0
// A text on the whole terminal that is drawn again and again, and keys. The terminal is restored at the end,
// on a signal and while the program is stopped.
#pragma once

#include <string>

#include <csignal>
#include <termios.h>

namespace ifcctl
{

class LiveScreen
{
public:
    // True: standard output is a terminal that can do this.
    static bool possible();

    LiveScreen();
    // Restores the terminal. After a signal that asks the program to end, it is raised again, for the handler
    // that was there before.
    ~LiveScreen();
    LiveScreen(const LiveScreen &) = delete;
    LiveScreen &operator=(const LiveScreen &) = delete;

    // Lines are cut at the edges of the screen. Throws Error.
    void draw(const std::string &text);

    // Waits for this time. Draws the last text again when the terminal's size changes or the program goes on
    // after a stop. False: it should end, by the key q or by a signal.
    bool wait(double seconds);

private:
    void enter();
    void leave();
    void stop();
    void redraw();
    bool quitKey();

    int keys_ = -1; // descriptor of the keyboard, -1 if there is none
    bool ownKeys_ = false;
    bool cooked_ = false; // before_ is valid
    termios before_{};
    sigset_t oldMask_{};
    static constexpr int kSignals[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGTSTP, SIGWINCH};
    struct sigaction oldActions_[sizeof kSignals / sizeof(int)] = {};
    int endedBy_ = 0; // a signal
    std::string text_;
};

} // namespace ifcctl
