// SPDX-License-Identifier: MIT OR GPL-2.0
// Ratios of two benchmarks. Their repetitions run interleaved; the result is the median of the ratios of each
// pair. Times are processor times, so that other programs do not count.
#pragma once

#include "row.h"

#include <benchmark/benchmark.h>

#include <algorithm>
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
                times[run.run_name.str()].push_back(run.GetAdjustedCPUTime());
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

// Prints the row of A against B: the median of A/B over the pairs of repetitions. `count`: operations in one
// repetition. `bound`: 0 is none.
inline void printRatio(const Collector &collector, const std::string &what, const std::string &a,
                       const std::string &yardstick, const std::string &b, double bound, double count = 1)
{
    const auto ofA = collector.times.find(a);
    const auto ofB = collector.times.find(b);
    if (ofA == collector.times.end() || ofB == collector.times.end())
        return;
    std::vector<double> ratios;
    for (size_t n = 0; n < std::min(ofA->second.size(), ofB->second.size()); ++n)
        ratios.push_back(ofA->second[n] / ofB->second[n]);
    row::print(what, row::number(median(ofA->second) / count, "ns"),
               yardstick + " " + row::number(median(ofB->second) / count, "ns"), median(ratios),
               bound > 0 ? row::Bound::AtMost : row::Bound::None, bound);
}

} // namespace paired
