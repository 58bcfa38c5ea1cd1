// SPDX-License-Identifier: MIT OR GPL-2.0
// The processor time of `ifcctl rule show` on a state file that holds 20 rules.
#include "paired.h"

#include <cstdio>
#include <cstdlib>
#include <string>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace
{

constexpr unsigned kRules = 20;
constexpr double kLimit = 5; // milliseconds

// Runs ifcctl with its output thrown away. The result is its processor time in milliseconds; negative: it
// failed.
double run(const std::vector<std::string> &words)
{
    std::vector<char *> arguments = {const_cast<char *>(IFC_IFCCTL)};
    for (const std::string &word : words)
        arguments.push_back(const_cast<char *>(word.c_str()));
    arguments.push_back(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
        dup2(nowhere, STDOUT_FILENO);
        execv(IFC_IFCCTL, arguments.data());
        _exit(127);
    }
    int status = 0;
    rusage usage{};
    if (child < 0 || wait4(child, &status, 0, &usage) != child || status != 0)
        return -1;
    const auto milliseconds = [](const timeval &time) {
        return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_usec) / 1e3;
    };
    return milliseconds(usage.ru_utime) + milliseconds(usage.ru_stime);
}

} // namespace

int main()
{
    char folder[] = "/tmp/tool_bench_XXXXXX";
    if (mkdtemp(folder) == nullptr)
        return 1;
    const std::string state = std::string(folder) + "/chip.state";
    bool good = run({"--state", state, "ppe", "on"}) >= 0;
    for (unsigned n = 0; n < kRules; ++n)
        good = good && run({"--state", state, "rule", "add", "dst_port", std::to_string(5000 + n), "action",
                            "queue", std::to_string(n % 8), "channel", "1"}) >= 0;
    std::vector<double> times;
    for (int n = 0; good && n < paired::kRepetitions; ++n) {
        times.push_back(run({"--state", state, "rule", "show"}));
        good = times.back() >= 0;
    }
    unlink(state.c_str());
    rmdir(folder);
    if (!good) {
        std::fprintf(stderr, "tool_bench: ifcctl failed\n");
        return 1;
    }
    row::printLimit("ifcctl rule show, 20 rules in a state file", paired::median(times), "ms", kLimit);
    return 0;
}
