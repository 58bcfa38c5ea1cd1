// SPDX-License-Identifier: MIT OR GPL-2.0
// Mask reduction. The definition: a list of the masks that can be reduced, in ascending order; all others are
// refused.
#include "machine.h"
#include "prove.h"

#include "ifc/records/narrow_record.h"

#include <algorithm>
#include <cstring>
#include <set>
#include <vector>

namespace
{

constexpr uint32_t kRefused = 0xFFFFFFFF;

struct Known {
    uint64_t mask;
    uint32_t result;
};

// The masks of 32 or 48 bits that can be reduced; the last one is above all masks.
std::vector<Known> reducible(unsigned width)
{
    std::vector<Known> list;
    uint64_t fromBottom = 0;
    uint64_t fromTop = 0;
    for (unsigned count = 1; count <= width; ++count) {
        fromBottom = 2 * fromBottom + 1;
        fromTop += uint64_t{1} << (width - count);
        list.push_back({fromTop, count});
        if (count < width) // Known: every run that reaches above the low word is taken for one of 47 bits
            list.push_back({fromBottom, 0x80000000 + (count <= 32 ? count : 47)});
    }
    std::sort(list.begin(), list.end(), [](const Known &a, const Known &b) { return a.mask < b.mask; });
    list.push_back({~uint64_t{0}, kRefused});
    return list;
}

const std::vector<Known> kOf32 = reducible(32);
const std::vector<Known> kOf48 = reducible(48);

size_t firstFrom(const std::vector<Known> &list, uint64_t mask)
{
    size_t n = 0;
    while (list[n].mask < mask)
        ++n;
    return n;
}

uint32_t resultFor(const std::vector<Known> &list, uint64_t mask)
{
    const auto at = std::lower_bound(list.begin(), list.end() - 1, mask,
                                     [](const Known &known, uint64_t value) { return known.mask < value; });
    return at->mask == mask ? at->result : kRefused;
}

// The line "mask should not be 0!" comes first when no end of the low word is covered.
bool saysZero(uint32_t low, int width)
{
    const bool anEnd = (low & 1) == 1 || low >= 0x80000000;
    return !anEnd && (width == 32 || low != 0);
}

// What was printed by one call: the texts are compared, not formatted.
unsigned zeros, refusals, others;
uint32_t refusedHigh, refusedLow;

void hear(const char *format, va_list arguments)
{
    static const char *zero, *of32, *of48; // where the texts were found equal
    if (format == of32) {
        refusedLow = va_arg(arguments, uint32_t);
        refusedHigh = 0;
        ++refusals;
    } else if (format == zero) {
        ++zeros;
    } else if (format == of48) {
        refusedHigh = va_arg(arguments, uint32_t);
        refusedLow = va_arg(arguments, uint32_t);
        ++refusals;
    } else if (std::strcmp(format, "mask should not be 0!\n") == 0) {
        zero = format;
        ++zeros;
    } else if (std::strcmp(format, "mask should be left->right or right->left, but mask:%8x\n") == 0) {
        of32 = format;
        hear(format, arguments);
    } else if (std::strcmp(format, "mask should be left->right or right->left, but mask:%04x%8x\n") == 0) {
        of48 = format;
        hear(format, arguments);
    } else {
        ++others;
    }
}

// The operation, with its messages.
void check(uint32_t high, uint32_t low, int width, uint32_t expected)
{
    zeros = refusals = others = 0;
    const uint32_t got = change_mask_from_48_to_32(high, low, width);
    const bool refused = expected == kRefused;
    const bool texts = refusals == (refused ? 1u : 0u) && others == 0 &&
                       zeros == (refused && saysZero(low, width) ? 1u : 0u) &&
                       (!refused || (refusedLow == low && refusedHigh == (width == 48 ? high : 0)));
    if (got != expected || !texts)
        prove::fail("mask %x %08x of %d bits: result %x, expected %x; %u, %u and %u messages", high, low,
                    width, got, expected, zeros, refusals, others);
}

void begin()
{
    machine::reset();
    machine::setPrinter(hear);
}

// Calls with each low word of the slice, or a sample with all that can be reduced and their neighbours, and
// its result. `high` is fixed.
template <typename Check>
uint64_t sweep(const std::vector<Known> &list, uint64_t high, unsigned slice, bool sample, const Check &each)
{
    const uint64_t first = high << 32 | uint64_t{slice} << 24;
    const uint64_t last = first | 0xFFFFFF;
    uint64_t cases = 0;
    size_t next = firstFrom(list, first);
    for (uint64_t mask = first; mask <= last; mask += sample ? 16381 : 1) {
        while (list[next].mask < mask)
            ++next;
        each(static_cast<uint32_t>(mask), list[next].mask == mask ? list[next].result : kRefused);
        ++cases;
    }
    for (const Known &known : list)
        for (const uint64_t mask : {known.mask - 1, known.mask, known.mask + 1})
            if (sample && mask >= first && mask <= last) {
                each(static_cast<uint32_t>(mask), resultFor(list, mask));
                ++cases;
            }
    return cases;
}

uint64_t allOf32(unsigned slice, bool sample)
{
    begin();
    // The high word does not count: it gets a different value in each case.
    return sweep(kOf32, 0, slice, sample,
                 [](uint32_t low, uint32_t expected) { check(~low * 7, low, 32, expected); });
}

// The low words that are runs from one end, none, and all of these with one bit changed.
std::vector<uint32_t> tellingLows()
{
    std::set<uint32_t> lows = {0};
    for (unsigned count = 1; count <= 32; ++count) {
        lows.insert(static_cast<uint32_t>((uint64_t{1} << count) - 1));
        lows.insert(0xFFFFFFFF << (32 - count));
    }
    const std::set<uint32_t> runs = lows;
    for (const uint32_t run : runs)
        for (unsigned bit = 0; bit < 32; ++bit)
            lows.insert(run ^ 1u << bit);
    return {lows.begin(), lows.end()};
}

// One high word for each way in which a high word counts: none, all, from the bottom, from the top, neither.
constexpr uint32_t kHighs[] = {0, 0xFFFF, 0x00FF, 0xFF00, 0x8001};

uint64_t allOf48(unsigned slice, bool sample)
{
    begin();
    static const std::vector<uint32_t> lows = tellingLows();
    uint64_t cases = 0;
    // All high words with the telling low words; and one bit above the 48.
    for (uint32_t high = slice << 8; high < (slice + 1) << 8; high += sample ? 85 : 1)
        for (const uint32_t low : lows) {
            check(high, low, 48, resultFor(kOf48, uint64_t{high} << 32 | low));
            const uint32_t above = high | 0x10000u << (low + high) % 16;
            check(above, low, 48, kRefused);
            cases += 2;
        }
    // The other way round: all low words with the telling high words.
    for (const uint32_t high : kHighs)
        cases += sweep(kOf48, high, slice, sample, [high](uint32_t low, uint32_t expected) {
            const ifc::ReducedMask got = ifc::reduceMask(high, low, 48);
            const bool none = got.fault == ifc::MaskFault::None;
            const bool noEnd = got.fault == ifc::MaskFault::NoEnd;
            if (got.word != expected || none != (expected != kRefused) ||
                noEnd != (!none && saysZero(low, 48)))
                prove::fail("mask %x %08x of 48 bits: result %x, expected %x", high, low, got.word, expected);
        });
    return cases;
}

} // namespace

namespace prove
{

const Part kMasks32 = {"masks32", "mask reduction, all 2^32 masks of 32 bits, with the messages", 256,
                       allOf32};
const Part kMasks48 = {"masks48", "mask reduction, 48 bits: all high words, all low words", 256, allOf48};

} // namespace prove
