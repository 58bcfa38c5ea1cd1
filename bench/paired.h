// SPDX-License-Identifier: MIT OR GPL-2.0
// Ratios of two benchmarks. Their repetitions run interleaved; the result is the median of the ratios of each
// pair. Times are processor times, so that other programs do not count. Benchmarks that wait for a file ask
// for clock time.
#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

namespace paired
{

constexpr int kRepetitions = 60;

class Collector : public benchmark::BenchmarkReporter
{
public:
    bool ReportContext(const Context &) override { return true; }
    void ReportRuns(const std::vector<Run> &runs) override
    {
        for (const Run &run : runs)
            if (run.run_type == Run::RT_Iteration)
                times[run.run_name.str()].push_back(
                    run.run_name.time_type.empty() ? run.GetAdjustedCPUTime() : run.GetAdjustedRealTime());
    }
    std::map<std::string, std::vector<double>> times;
};

inline double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    const size_t n = values.size();
    return n == 0 ? 0 : n % 2 != 0 ? values[n / 2] : (values[n / 2 - 1] + values[n / 2]) / 2;
}

// Runs all registered benchmarks, each kRepetitions times, in random order.
inline Collector runAll(int argc, char **argv)
{
    std::vector<std::string> words(argv, argv + argc);
    words.push_back("--benchmark_repetitions=" + std::to_string(kRepetitions));
    words.push_back("--benchmark_enable_random_interleaving=true");
    words.push_back("--benchmark_min_time=0.002");
    std::vector<char *> pointers;
    for (std::string &word : words)
        pointers.push_back(word.data());
    int count = static_cast<int>(pointers.size());
    benchmark::Initialize(&count, pointers.data());
    Collector collector;
    benchmark::RunSpecifiedBenchmarks(&collector);
    return collector;
}

enum class Bound { AtMost, AtLeast };

// Prints at the end of a line whether the bound is met.
inline void printVerdict(double value, double bound, Bound kind)
{
    const bool met = kind == Bound::AtMost ? value <= bound : value >= bound;
    if (met)
        std::printf("  met (bound %.2f)", bound);
    else
        std::printf("  NOT met (%.3f of %.2f)", value, bound);
}

// Prints one line: the median of A/B over the pairs of repetitions.
inline void printRatio(const Collector &collector, const std::string &what, const std::string &a,
                       const std::string &b, double bound)
{
    const auto ofA = collector.times.find(a);
    const auto ofB = collector.times.find(b);
    if (ofA == collector.times.end() || ofB == collector.times.end())
        return;
    std::vector<double> ratios;
    for (size_t n = 0; n < std::min(ofA->second.size(), ofB->second.size()); ++n)
        ratios.push_back(ofA->second[n] / ofB->second[n]);
    std::printf("%-44s %9.1f ns %9.1f ns  ratio %5.2f", what.c_str(), median(ofA->second),
                median(ofB->second), median(ratios));
    if (bound > 0)
        printVerdict(median(ratios), bound, Bound::AtMost);
    std::printf("  (%zu pairs)\n", ratios.size());
}

} // namespace paired
