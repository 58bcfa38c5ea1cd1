// SPDX-License-Identifier: MIT OR GPL-2.0
// Usage: prove [--sample] [PART...]
#include "prove.h"

#include <atomic>
#include <chrono>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <vector>

#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

namespace
{

const prove::Part *const kParts[] = {
    &prove::kMasks32,      &prove::kMasks48, &prove::kWideImages, &prove::kNarrowImages,
    &prove::kCommands,     &prove::kActions, &prove::kRuns,       &prove::kPlacement,
    &prove::kCommandWords, &prove::kResults, &prove::kOverlap,
};

// What the processes of a part share.
struct Progress {
    std::atomic<unsigned> next{0};
    std::atomic<unsigned> done{0};
    std::atomic<uint64_t> cases{0};
};

const char *current = "";

[[noreturn]] void work(const prove::Part &part, bool sample, Progress &progress)
{
    for (unsigned slice; (slice = progress.next++) < part.slices; ++progress.done)
        progress.cases += part.check(slice, sample);
    _exit(0);
}

// False: a case failed.
bool run(const prove::Part &part, bool sample)
{
    using Clock = std::chrono::steady_clock;
    const auto begin = Clock::now();
    const auto seconds = [&] { return std::chrono::duration<double>(Clock::now() - begin).count(); };
    current = part.name;
    std::printf("%s: %s\n", part.name, part.claim);
    std::fflush(stdout);

    void *const room =
        mmap(nullptr, sizeof(Progress), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (room == MAP_FAILED) {
        std::perror("mmap");
        std::exit(2);
    }
    Progress &progress = *new (room) Progress;
    const long processors = sysconf(_SC_NPROCESSORS_ONLN);
    std::vector<pid_t> workers;
    for (long n = 0; n < (processors > 0 ? processors : 1); ++n) {
        const pid_t worker = fork();
        if (worker < 0) {
            std::perror("fork");
            std::exit(2);
        }
        if (worker == 0)
            work(part, sample, progress);
        workers.push_back(worker);
    }

    bool good = true;
    double told = 0;
    for (const pid_t worker : workers) {
        int status = 0;
        while (waitpid(worker, &status, WNOHANG) == 0) {
            usleep(10000);
            if (seconds() < told + 5)
                continue;
            told = seconds();
            std::printf("  %.0f s: %u of %u slices\n", told, progress.done.load(), part.slices);
            std::fflush(stdout);
        }
        good = good && WIFEXITED(status) && WEXITSTATUS(status) == 0;
    }
    good = good && progress.done == part.slices;
    std::printf("  %s: %llu cases, %.1f s\n", good ? "holds" : "FAILS",
                static_cast<unsigned long long>(progress.cases.load()), seconds());
    std::fflush(stdout);
    munmap(room, sizeof(Progress));
    return good;
}

int usage(const char *word)
{
    std::fprintf(stderr, "prove: part '%s': accepted: [--sample] and any of", word);
    for (const prove::Part *part : kParts)
        std::fprintf(stderr, " %s", part->name);
    std::fprintf(stderr, "\n");
    return 2;
}

} // namespace

namespace prove
{

void fail(const char *format, ...)
{
    char message[2048];
    va_list arguments;
    va_start(arguments, format);
    (void)std::vsnprintf(message, sizeof message, format, arguments);
    va_end(arguments);
    std::fprintf(stderr, "%s: %s\n", current, message);
    _exit(1);
}

} // namespace prove

int main(int argc, char **argv)
{
    bool sample = false;
    std::vector<const prove::Part *> chosen;
    for (int n = 1; n < argc; ++n) {
        if (std::strcmp(argv[n], "--sample") == 0) {
            sample = true;
            continue;
        }
        const size_t before = chosen.size();
        for (const prove::Part *part : kParts)
            if (std::strcmp(argv[n], part->name) == 0)
                chosen.push_back(part);
        if (chosen.size() == before)
            return usage(argv[n]);
    }
    if (chosen.empty())
        chosen.assign(std::begin(kParts), std::end(kParts));
    bool good = true;
    for (const prove::Part *part : chosen)
        good = run(*part, sample) && good;
    std::printf("prove: %zu part%s, %s\n", chosen.size(), chosen.size() == 1 ? "" : "s",
                good ? "all hold" : "NOT all hold");
    return good ? 0 : 1;
}
