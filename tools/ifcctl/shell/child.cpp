// SPDX-License-Identifier: MIT OR GPL-2.0
#include "child.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace ifcctl
{

namespace
{

// Ignores a signal while it exists.
class Ignored
{
public:
    explicit Ignored(int number) : number_(number), before_(std::signal(number, SIG_IGN)) {}
    ~Ignored() { (void)std::signal(number_, before_); }
    Ignored(const Ignored &) = delete;
    Ignored &operator=(const Ignored &) = delete;

private:
    int number_;
    void (*before_)(int);
};

void writeAll(int descriptor, const std::string &bytes)
{
    for (size_t done = 0; done < bytes.size();) {
        const ssize_t count = ::write(descriptor, bytes.data() + done, bytes.size() - done);
        if (count < 0 && errno != EINTR)
            return; // the reader notices the missing bytes
        done += count < 0 ? 0 : static_cast<size_t>(count);
    }
}

std::string readAll(int descriptor)
{
    std::string bytes;
    char buffer[8192];
    for (;;) {
        const ssize_t count = ::read(descriptor, buffer, sizeof buffer);
        if (count > 0)
            bytes.append(buffer, static_cast<size_t>(count));
        else if (count == 0 || errno != EINTR)
            return bytes;
    }
}

void sayNoProcess()
{
    (void)std::fprintf(stderr, "ifcctl: no process for the command: %s\n", std::strerror(errno));
}

} // namespace

void runChild(const std::function<ExitCode()> &command, std::string *memory)
{
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0) {
        sayNoProcess();
        return;
    }
    (void)std::fflush(stdout);
    const Ignored interrupt(SIGINT);
    const Ignored quit(SIGQUIT);
    // Blocked until the child no longer ignores it, Ctrl-C is not lost.
    sigset_t interruptOnly;
    sigset_t before;
    (void)sigemptyset(&interruptOnly);
    (void)sigaddset(&interruptOnly, SIGINT);
    (void)sigprocmask(SIG_BLOCK, &interruptOnly, &before);
    const pid_t child = ::fork();
    if (child == 0) {
        (void)std::signal(SIGINT, SIG_DFL);
        (void)std::signal(SIGQUIT, SIG_DFL);
        (void)sigprocmask(SIG_SETMASK, &before, nullptr);
        const ExitCode code = command();
        if (memory != nullptr)
            writeAll(ends[1], *memory);
        (void)std::fflush(stdout);
        ::_exit(code);
    }
    (void)sigprocmask(SIG_SETMASK, &before, nullptr);
    ::close(ends[1]);
    const std::string bytes = child < 0 ? "" : readAll(ends[0]);
    ::close(ends[0]);
    if (child < 0) {
        sayNoProcess();
        return;
    }
    int status = 0;
    while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    if (WIFSIGNALED(status))
        (void)std::fprintf(stderr, "\nifcctl: the command was ended: %s\n", strsignal(WTERMSIG(status)));
    else if (memory != nullptr && !bytes.empty())
        *memory = bytes;
}

} // namespace ifcctl
