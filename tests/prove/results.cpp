// SPDX-License-Identifier: MIT OR GPL-2.0
// checkIFCResult(). The definition: a set of the rules that were hit, and the set that is expected.
#include "machine.h"
#include "prove.h"

#include <climits>
#include <set>
#include <utility>

namespace
{

using Rule = std::pair<int, int>; // table and number
using Rules = std::set<Rule>;

Rule ruleOf(unsigned bit) // 0 to 95
{
    return bit < 32 ? Rule{IFC_LUT0, static_cast<int>(bit)} : Rule{IFC_LUT1, static_cast<int>(bit) - 32};
}

void record(const Rules &hits)
{
    *gpIfcPriv = {};
    for (const auto &[table, number] : hits)
        (table == IFC_LUT0 ? gpIfcPriv->lut0HitMap
         : number < 32     ? gpIfcPriv->lut1HitMap0
                           : gpIfcPriv->lut1HitMap1) |= 1u << number % 32;
}

// Whether the answer is "as expected" when `hits` were recorded.
bool expected(const Rules &hits, int table, int index)
{
    if (index < 0)
        return hits.empty();
    if (table == IFC_LUT0) {
        // Known: the low byte of the index counts, and from 32 on it names no rule, so nothing may be hit.
        const int number = index % 256;
        return number > 31 ? hits.empty() : hits == Rules{{IFC_LUT0, number}};
    }
    return table == IFC_LUT1 && index <= 63 && hits == Rules{{IFC_LUT1, index}};
}

void check(const Rules &hits, int table, int index)
{
    const int got = checkIFCResult(table, index);
    if (got != (expected(hits, table, index) ? 0 : -1))
        prove::fail("checkIFCResult(%d, %d) is %d with %zu hits, the first %d-%d", table, index, got,
                    hits.size(), hits.empty() ? -1 : hits.begin()->first,
                    hits.empty() ? -1 : hits.begin()->second);
}

// Each set of no, one or two hits, and all; each table; each index from -2 to 1100.
uint64_t checkHits(unsigned bit)
{
    uint64_t cases = 0;
    for (unsigned other = 0; other <= 97; ++other) {
        Rules hits = {ruleOf(bit)};
        if (other < 96)
            hits.insert(ruleOf(other));
        else if (other == 96)
            hits.clear();
        else
            for (unsigned n = 0; n < 96; ++n)
                hits.insert(ruleOf(n));
        record(hits);
        for (const int table : {0, 1, 2, 3, -1, 256, INT_MAX, INT_MIN})
            for (int index = -2; index <= 1100; ++index, ++cases)
                check(hits, table, index);
    }
    return cases;
}

// Each index that there is: no hit, one in LUT0 and one in LUT1, asked for in the table that has it. The
// definition for numbers instead of sets, so that it is fast enough.
uint64_t checkIndexes(unsigned slice, bool sample)
{
    uint64_t cases = 0;
    const auto each = [&](const Rules &hits, int table, const auto &good) {
        record(hits);
        for (uint64_t n = 0; n < 1u << 26; n += sample ? 8191 : 1, ++cases) {
            const int index = static_cast<int>((slice << 26) + static_cast<uint32_t>(n));
            if (checkIFCResult(table, index) != (good(index) ? 0 : -1))
                prove::fail("checkIFCResult(%d, %d) with %zu hits", table, index, hits.size());
        }
    };
    each({}, IFC_LUT0, [](int index) { return index < 0 || (index & 255) > 31; });
    each({{IFC_LUT0, 5}}, IFC_LUT0, [](int index) { return index >= 0 && (index & 255) == 5; });
    each({{IFC_LUT1, 37}}, IFC_LUT1, [](int index) { return index == 37; });
    return cases;
}

uint64_t all(unsigned slice, bool sample)
{
    machine::reset();
    if (slice >= 64)
        return sample && slice % 8 != 0 ? 0 : checkHits(slice - 64);
    return checkIndexes(slice, sample);
}

} // namespace

namespace prove
{

const Part kResults = {"results", "checkIFCResult, each index, each table, up to two hits", 64 + 96, all};

} // namespace prove
