// SPDX-License-Identifier: MIT OR GPL-2.0
// Lines as the terminal gives them.
#include "interrupt.h"
#include "line_editor.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include <poll.h>
#include <unistd.h>

namespace ifcctl
{

namespace
{

class PlainLines : public LineEditor
{
public:
    ~PlainLines() override { std::free(text_); }

    Result read(const std::string &prompt, std::string &line) override
    {
        const InterruptCatch interrupt;
        (void)std::fputs(prompt.c_str(), stdout);
        (void)std::fflush(stdout);
        const bool dropped = interrupt.happened() || !waitForLine();
        const ssize_t length = dropped ? 0 : getline(&text_, &size_, stdin);
        if (length > 0) {
            line.assign(text_, static_cast<size_t>(text_[length - 1] == '\n' ? length - 1 : length));
            return Result::Line;
        }
        std::clearerr(stdin);
        (void)std::fputs("\n", stdout);
        return dropped ? Result::Dropped : Result::End;
    }

    void remember(const std::string & /*line*/) override {}

private:
    // False: Ctrl-C. The signal is blocked outside the wait, so that it is never missed.
    static bool waitForLine()
    {
        sigset_t interruptOnly;
        sigset_t before;
        (void)sigemptyset(&interruptOnly);
        (void)sigaddset(&interruptOnly, SIGINT);
        (void)sigprocmask(SIG_BLOCK, &interruptOnly, &before);
        pollfd input{STDIN_FILENO, POLLIN, 0};
        const bool dropped = ppoll(&input, 1, nullptr, &before) < 0 && errno == EINTR;
        (void)sigprocmask(SIG_SETMASK, &before, nullptr);
        return !dropped;
    }

    char *text_ = nullptr;
    size_t size_ = 0;
};

} // namespace

std::unique_ptr<LineEditor> openPlainLines()
{
    return std::make_unique<PlainLines>();
}

} // namespace ifcctl
