// SPDX-License-Identifier: MIT OR GPL-2.0
#include "unpacker.h"

#include <string>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace capture
{

const char *unpackerOf(int descriptor)
{
    unsigned char start[4] = {};
    if (pread(descriptor, start, sizeof start, 0) != sizeof start)
        return nullptr;
    if (start[0] == 0x1F && start[1] == 0x8B)
        return "gzip";
    if (start[0] == 0x28 && start[1] == 0xB5 && start[2] == 0x2F && start[3] == 0xFD)
        return "zstd";
    if (start[0] == 0xFD && start[1] == '7' && start[2] == 'z' && start[3] == 'X')
        return "xz";
    return nullptr;
}

int Unpacker::start(const char *program, int descriptor)
{
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0)
        return -1;
    (void)lseek(descriptor, 0, SEEK_SET);
    posix_spawn_file_actions_t wiring;
    posix_spawn_file_actions_init(&wiring);
    posix_spawn_file_actions_adddup2(&wiring, descriptor, STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&wiring, ends[1], STDOUT_FILENO);
    // Its exit code says that a file is damaged. The message is ours.
    posix_spawn_file_actions_addopen(&wiring, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    std::string name = program;
    std::string flag = "-dc";
    char *arguments[] = {name.data(), flag.data(), nullptr};
    const int status = posix_spawnp(&process_, program, &wiring, nullptr, arguments, environ);
    posix_spawn_file_actions_destroy(&wiring);
    ::close(ends[1]);
    if (status == 0)
        return ends[0];
    process_ = -1;
    ::close(ends[0]);
    return -2;
}

int Unpacker::wait()
{
    int status = 0;
    if (process_ > 0)
        (void)waitpid(process_, &status, 0);
    process_ = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

} // namespace capture
