// SPDX-License-Identifier: MIT OR GPL-2.0
// Random operations against the layer on the simulated window, and against the plain model. After each one
// the results, the register accesses, the shadow tables, the hardware's tables and the actions must say the
// same. A failing sequence is shrunk and printed as lines for `ifcctl op`.
//
// Usage: random_driver [--operations N] [--seed S]
#include "generator.h"
#include "world.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <random>

using namespace model;

namespace
{

std::string failureOf(const std::vector<Step> &steps, size_t *at = nullptr)
{
    World world;
    for (size_t n = 0; n < steps.size(); ++n) {
        const std::string failure = world.run(steps[n]);
        if (!failure.empty()) {
            if (at != nullptr)
                *at = n;
            return failure;
        }
    }
    return "";
}

// Removes what the failure does not need: halves, quarters, ..., single operations, then single conditions.
std::vector<Step> shrink(std::vector<Step> steps)
{
    const auto fails = [](std::vector<Step> &candidate) {
        size_t at = 0;
        if (failureOf(candidate, &at).empty())
            return false;
        candidate.resize(at + 1);
        return true;
    };
    for (size_t chunk = steps.size() / 2; chunk >= 1; chunk /= 2) {
        bool again = true;
        while (again) {
            again = false;
            for (size_t first = 0; first < steps.size();) {
                auto candidate = steps;
                const auto from = candidate.begin() + static_cast<std::ptrdiff_t>(first);
                candidate.erase(from,
                                from + static_cast<std::ptrdiff_t>(std::min(chunk, steps.size() - first)));
                if (!candidate.empty() && fails(candidate)) {
                    steps = candidate;
                    again = true;
                } else {
                    first += chunk;
                }
            }
        }
    }
    for (size_t n = 0; n < steps.size(); ++n)
        for (size_t c = 0; n < steps.size() && c < steps[n].request.size();) {
            auto candidate = steps;
            candidate[n].request.erase(candidate[n].request.begin() + static_cast<std::ptrdiff_t>(c));
            if (fails(candidate))
                steps = candidate;
            else
                ++c;
        }
    return steps;
}

void printReplay(const std::vector<Step> &steps)
{
    for (const Step &s : steps) {
        if (s.kind == kRevision)
            std::printf("# from here on the chip's revision is %u\n", s.a[0]);
        else if (s.kind == kTpid)
            std::printf("# FE_TPID_CFG is set to 0x%x\n", s.a[0]);
        else
            std::printf("op %s\n", lineOf(s).c_str());
    }
}

} // namespace

int main(int argc, char **argv)
{
    unsigned long operations = 50000;
    unsigned long seed = 1;
    for (int n = 1; n + 1 < argc; n += 2) {
        if (std::strcmp(argv[n], "--operations") == 0)
            operations = std::strtoul(argv[n + 1], nullptr, 0);
        else if (std::strcmp(argv[n], "--seed") == 0)
            seed = std::strtoul(argv[n + 1], nullptr, 0);
        else
            argc = 0;
    }
    if (argc % 2 == 0) {
        std::fprintf(stderr, "usage: random_driver [--operations N] [--seed S]\n");
        return 2;
    }
    const auto begin = std::chrono::steady_clock::now();
    std::mt19937_64 random(seed);
    Generator generator([&random](uint64_t bound) { return bound == 0 ? random() : random() % bound; });
    std::vector<Step> steps;
    {
        World world;
        for (unsigned long n = 0; n < operations; ++n) {
            steps.push_back(generator.next());
            const std::string failure = world.run(steps.back());
            if (failure.empty())
                continue;
            std::printf("seed %lu, operation %lu: %s\nshrinking\n", seed, n, failure.c_str());
            steps = shrink(steps);
            std::printf("%zu operations remain, which end with: %s\n", steps.size(),
                        failureOf(steps).c_str());
            printReplay(steps);
            return 1;
        }
    }
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - begin;
    std::printf("%lu operations, seed %lu: layer, hardware and model agree after each (%.1f s)\n", operations,
                seed, took.count());
    return 0;
}
