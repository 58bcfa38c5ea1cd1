// SPDX-License-Identifier: MIT OR GPL-2.0
// ifc_set_action(): each sub-action, on each kind of revision, in both modes, with corner values, over
// entries that hold zeros, ones and a mixture. The definition: a row of 128 bits and a list of what each
// sub-action writes.
#include "bits.h"
#include "machine.h"
#include "prove.h"

#include <climits>
#include <cstdio>
#include <cstring>

namespace
{

using prove::Bits;

// A value of a sub-action goes to one or two runs of bits, the lowest bits to the first.
struct Target {
    unsigned value; // 0 to 3
    unsigned lsb, width;
    unsigned lsb2, width2;
};

struct SubAction {
    const char *text; // of the numbers that follow
    unsigned shown;   // how many
    unsigned targets;
    Target target[4];
};

constexpr SubAction kSubActions[17] = {
    {"channel:%d, queue:%d\n", 2, 2, {{0, 3, 5, 0, 0}, {1, 0, 3, 0, 0}}},
    {"fport:%d, nbq:%d\n", 2, 2, {{0, 8, 4, 0, 0}, {1, 123, 5, 0, 0}}},
    {"sp_tag/gemport:0x%x\n", 1, 1, {{0, 12, 16, 0, 0}}},
    {"CNT0:%d\n", 1, 1, {{0, 28, 4, 32, 2}}},
    {"CNT1:%d\n", 1, 1, {{0, 34, 5, 0, 0}}},
    {"MTR_G:%d\n", 1, 1, {{0, 40, 8, 0, 0}}},
    {"IPv4 DSCP:%d\n", 1, 1, {{0, 48, 8, 0, 0}}},
    {"IPv6 Traffic Class:%d\n", 1, 1, {{0, 56, 8, 0, 0}}},
    {"vpm0:%d, vo0:%d, vid0:0x%x\n",
     3,
     4,
     {{0, 100, 2, 0, 0}, {1, 96, 2, 0, 0}, {2, 76, 4, 0, 0}, {3, 64, 12, 0, 0}}},
    {"vo1:%d, vid1:0x%x\n", 2, 3, {{0, 98, 2, 0, 0}, {1, 92, 4, 0, 0}, {2, 80, 12, 0, 0}}},
    {"fqos:%d\n", 1, 1, {{0, 102, 1, 0, 0}}},
    {"fast:%d\n", 1, 1, {{0, 103, 1, 0, 0}}},
    {"mc:%d\n", 1, 1, {{0, 104, 1, 0, 0}}},
    {"keep pcp:%d\n", 1, 1, {{0, 105, 1, 0, 0}}},
    {"ifc_set_action: cpu:%d, nbq:%d\n", 2, 2, {{0, 122, 1, 0, 0}, {1, 123, 5, 0, 0}}},
    {"owf:%d\n", 1, 1, {{0, 107, 1, 0, 0}}},
    {"dpi:%d\n", 1, 1, {{0, 106, 1, 0, 0}}},
};

constexpr unsigned kCpuBit = 122;
constexpr unsigned kEnableLsb = 108;

uint64_t take(const Bits &entry, const Target &target)
{
    return entry.get(target.lsb, target.width) + (entry.get(target.lsb2, target.width2) << target.width);
}

void put(Bits &entry, const Target &target, uint32_t value)
{
    entry.put(target.lsb, target.width, value);
    entry.put(target.lsb2, target.width2, value >> target.width);
}

// Edits the entry and returns the line that is printed.
std::string edit(Bits &entry, unsigned sub, bool on, int revision, const uint32_t *given)
{
    uint32_t value[4] = {given[0], given[1], given[2], given[3]};
    if (sub <= 14 && !on)
        std::memset(value, 0, sizeof value);
    if (sub <= 13)
        entry.put(kEnableLsb + (revision == 12 && sub >= 4 ? sub - 1 : sub), 1, on);
    if (sub == 16)
        entry.put(kEnableLsb + 13, 1, on);
    if (sub == 1)
        entry.put(kCpuBit, 1, 0);
    const SubAction &what = kSubActions[sub];
    for (unsigned n = 0; n < what.targets; ++n)
        put(entry, what.target[n], value[what.target[n].value]);

    unsigned shown[3] = {};
    for (unsigned n = 0; n < what.shown; ++n)
        shown[n] = static_cast<unsigned>(take(entry, what.target[n]));
    if (sub == 8 || sub == 9) { // a tag shows its two parts as one number
        const unsigned part = sub == 8 ? 2 : 1;
        shown[part] =
            static_cast<unsigned>(take(entry, what.target[part]) * 4096 + take(entry, what.target[part + 1]));
    }
    if (sub == 1)
        shown[1] = value[1]; // Known: as given
    char text[100];
    (void)std::snprintf(text, sizeof text, what.text, shown[0], shown[1], shown[2]);
    return text;
}

// In record order: word 0 holds the highest bits.
void fill(unsigned background, uint32_t *words)
{
    for (uint32_t n = 0; n < 4; ++n)
        words[n] = background == 0 ? 0 : background == 1 ? 0xFFFFFFFF : 0x9E3779B9 * (n + background);
}

void check(unsigned index, unsigned sub, uint32_t mode, int revision, unsigned background,
           const uint32_t *value)
{
    engine::Tables &tables = machine::window().tables();
    for (unsigned n = index == 0 ? 0 : index - 1; n <= index + 1 && n < 40; ++n)
        fill(background, tables.action[n]);
    Bits entry(128);
    for (unsigned n = 0; n < 4; ++n)
        entry.put(32 * n, 32, tables.action[index][3 - n]);
    const std::string text = edit(entry, sub, mode != 0, revision, value);
    machine::setRevision(revision);
    machine::forgetText();
    machine::forgetCounts();
    const int result =
        ifc_set_action(index, sub, static_cast<IFC_Mode_t>(mode), value[0], value[1], value[2], value[3]);
    uint32_t untouched[4];
    fill(background, untouched);
    bool neighbours = true;
    for (const unsigned n : {index - 1, index + 1})
        neighbours = neighbours && (n >= 40 || std::memcmp(tables.action[n], untouched, 16) == 0);
    const machine::Counts &counts = machine::counts();
    if (result != 0 || !entry.equals(tables.action[index] + 3) || machine::text() != text || !neighbours ||
        counts.reads != 6 || counts.writes != 6 || counts.locks != 2 || counts.outsideLock != 0 ||
        counts.queries != (sub <= 14 ? 1 : 0))
        prove::fail(
            "ifc_set_action(%u, %u, %u, 0x%x, 0x%x, 0x%x, 0x%x), revision %d, background %u: result %d, "
            "words %08x %08x %08x %08x, printed %s expected %s",
            index, sub, mode, value[0], value[1], value[2], value[3], revision, background, result,
            tables.action[index][0], tables.action[index][1], tables.action[index][2],
            tables.action[index][3], machine::text().c_str(), text.c_str());
}

constexpr uint32_t kCorners[] = {0,    1,    2,      7,      0xF,    0x10,       0x15,       0x2A,
                                 0x3F, 0xFF, 0x0FFF, 0x1000, 0xA5A5, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF};
// For sub-actions of three and four values, where all combinations would take hours.
constexpr uint32_t kFewCorners[] = {0, 1, 2, 0xA, 0xF, 0x10, 0x0FFF, 0xFFFFFFFF};
constexpr int kRevisions[] = {0,  1,  2,  3,  4,  5,  6,  7,  8,   9,   10,      11,
                              12, 13, 14, 15, 16, 17, 28, -1, -12, 268, INT_MAX, INT_MIN};

// A slice is an entry. All combinations of the values that the sub-action uses; the others get noise.
uint64_t all(unsigned slice, bool sample)
{
    machine::reset();
    ifcSendToPpe = 1;
    uint64_t cases = 0;
    if (sample && slice % 13 != 0)
        return 0;
    for (unsigned sub = 0; sub < 17; ++sub)
        for (const int revision : kRevisions)
            for (const uint32_t mode : {0u, 1u, 0x100u, 0x80000000u})
                for (unsigned background = 0; background < 3; ++background) {
                    const unsigned values = kSubActions[sub].targets;
                    const bool many = values > 2;
                    if (many && revision != 12 && revision != 0 && revision != INT_MIN)
                        continue;
                    if (sample && (slice + sub + background + mode) % 3 != 0)
                        continue;
                    const unsigned bits = many ? 3 : 4; // that choose a corner
                    const unsigned step = !sample ? 1 : many ? 251 : 11;
                    for (unsigned n = 0; n < 1u << bits * values; n += step, ++cases) {
                        uint32_t value[4];
                        for (unsigned v = 0; v < 4; ++v)
                            value[v] = v >= values ? 0xDEADBEEF * (n + v)
                                       : many      ? kFewCorners[n >> 3 * v & 7]
                                                   : kCorners[n >> 4 * v & 15];
                        check(slice, sub, mode, revision, background, value);
                    }
                }
    return cases;
}

} // namespace

namespace prove
{

const Part kActions = {"actions", "each sub-action, revision, mode, corner value, entry", 40, all};

} // namespace prove
