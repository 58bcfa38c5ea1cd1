// SPDX-License-Identifier: MIT OR GPL-2.0
// Prints random sets and their layouts for layout_oracle.py, one JSON object on each line, or the processor
// time of the layouts.
#include "random_sets.h"

#include <cstdio>
#include <cstdlib>
#include <ctime>

namespace
{

ruleset::LayoutWorkspace work;

void printSet(uint64_t seed, const ruleset::LayoutInput &input, const ruleset::LayoutAnswer &answer)
{
    std::printf("{\"seed\":%llu,\"wide_places\":%u,\"reserved_wide\":%u,\"reserved_narrow\":%u,\"rules\":[",
                static_cast<unsigned long long>(seed), input.widePlaces, input.reservedWide,
                input.reservedNarrow);
    for (unsigned i = 0; i < input.count; ++i) {
        const ruleset::Shape &shape = input.rule[i];
        const ruleset::Place &place = answer.place[i];
        std::printf("%s{\"entries\":%u,\"wide\":%u,\"now\":[%u,%u,%u],\"place\":[%u,%u,%u]}",
                    i == 0 ? "" : ",", shape.narrowEntries, shape.wideAllowed, shape.now.table,
                    shape.now.first, shape.now.entries, place.table, place.first, place.entries);
    }
    std::printf("],\"overlaps\":[");
    const char *comma = "";
    for (unsigned i = 0; i < input.count; ++i) {
        for (unsigned j = i + 1; j < input.count; ++j) {
            if (input.overlaps[i] >> j & 1) {
                std::printf("%s[%u,%u]", comma, i, j);
                comma = ",";
            }
        }
    }
    std::printf("],\"result\":%u,\"reason\":%u,\"moves\":%u,\"conflict\":[",
                static_cast<unsigned>(answer.result), static_cast<unsigned>(answer.reason), answer.moves);
    comma = "";
    for (unsigned i = 0; i < input.count; ++i) {
        if (answer.conflict >> i & 1) {
            std::printf("%s%u", comma, i);
            comma = ",";
        }
    }
    std::printf("]}\n");
}

// The processor time of this thread in microseconds.
double processorTime()
{
    timespec now;
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) * 1e6 + static_cast<double>(now.tv_nsec) / 1e3;
}

int printTimes(uint64_t seed, unsigned sets)
{
    std::vector<std::pair<double, uint64_t>> times;
    unsigned results[4] = {};
    for (unsigned n = 0; n < sets; ++n) {
        const ruleset::LayoutInput input = random_sets::randomSet(seed + n);
        ruleset::LayoutAnswer answer;
        const double begin = processorTime();
        ++results[static_cast<unsigned>(ruleset::findLayout(input, work, answer))];
        times.push_back({processorTime() - begin, seed + n});
    }
    std::sort(times.begin(), times.end());
    std::printf("%u sets: %u with fewest moves, %u with moves not proven fewest, %u without a layout\n", sets,
                results[0], results[1], results[2]);
    std::printf("median %.1f us, 99 of 100 within %.1f us, worst %.1f us (set %llu)\n", times[sets / 2].first,
                times[sets - 1 - sets / 100].first, times[sets - 1].first,
                static_cast<unsigned long long>(times[sets - 1].second));
    return 0;
}

} // namespace

// layout_probe SEED SETS: sets and layouts. layout_probe SEED SETS time: times.
int main(int argc, char **argv)
{
    if (argc < 3 || std::atoi(argv[2]) <= 0) {
        std::fprintf(stderr, "usage: layout_probe SEED SETS [time]\n");
        return 2;
    }
    const uint64_t seed = std::strtoull(argv[1], nullptr, 10);
    const unsigned sets = static_cast<unsigned>(std::atoi(argv[2]));
    if (argc > 3)
        return printTimes(seed, sets);
    for (unsigned n = 0; n < sets; ++n) {
        const ruleset::LayoutInput input = random_sets::randomSet(seed + n);
        ruleset::LayoutAnswer answer;
        ruleset::findLayout(input, work, answer);
        if (answer.result != ruleset::LayoutResult::NoLayout) {
            const std::string fault = random_sets::faultOf(input, answer.place);
            if (!fault.empty())
                std::fprintf(stderr, "set %llu: %s\n", static_cast<unsigned long long>(seed + n),
                             fault.c_str());
        }
        printSet(seed + n, input, answer);
    }
    return 0;
}
