// SPDX-License-Identifier: MIT OR GPL-2.0
// Overlap of two conditions on the same 8 bits, "equal" and "not equal". The definition: the set of the
// values that fulfil each condition, by trying all 256.
#include "prove.h"

#include "ruleset/ruleset.h"

#include <bitset>
#include <vector>

namespace
{

struct Comparison {
    unsigned compare;
    unsigned mask;
    unsigned key;
    std::bitset<256> values;
};

std::vector<Comparison> allComparisons()
{
    std::vector<Comparison> list;
    for (unsigned mask = 0; mask < 256; ++mask)
        for (unsigned key = 0; key < 256; ++key) {
            if ((key & ~mask) != 0)
                continue; // a key has no bits outside its mask
            for (const unsigned compare : {0u, 1u}) {
                Comparison made = {compare, mask, key, {}};
                for (unsigned value = 0; value < 256; ++value)
                    made.values[value] = ((value & mask) == key) == (compare == 0);
                list.push_back(made);
            }
        }
    return list;
}

// A field of eight bits, of which the library tries numbers; and eight bits of an address, which it searches
// bit by bit: two at each end and four around the border of its words.
struct Place {
    uint8_t field;
    uint8_t bit[8];
};
constexpr Place kPlaces[] = {
    {IPv6_TRAFFIC_CLASS, {0, 1, 2, 3, 4, 5, 6, 7}},
    {SMAC, {0, 1, 30, 31, 32, 33, 46, 47}},
};

ifc_rule ruleOf(const Place &place, const Comparison &comparison)
{
    ifc_rule rule = {};
    rule.count = 1;
    rule.condition[0].field = place.field;
    rule.condition[0].compare = static_cast<uint8_t>(comparison.compare);
    for (unsigned n = 0; n < 8; ++n) {
        rule.condition[0].mask |= uint64_t{comparison.mask >> n & 1} << place.bit[n];
        rule.condition[0].key |= uint64_t{comparison.key >> n & 1} << place.bit[n];
    }
    return rule;
}

uint64_t all(unsigned slice, bool sample)
{
    static const std::vector<Comparison> list = allComparisons();
    uint64_t cases = 0;
    for (const Place &place : kPlaces) {
        static std::vector<ifc_rule> rules;
        rules.clear();
        for (const Comparison &each : list)
            rules.push_back(ruleOf(place, each));
        for (size_t a = slice; a < list.size(); a += sample ? 64 * 101 : 64)
            for (size_t b = sample ? a % 13 : 0; b < list.size(); b += sample ? 13 : 1, ++cases) {
                const bool both = (list[a].values & list[b].values).any();
                if ((ifc_rule_overlap(&rules[a], &rules[b]) != 0) != both)
                    prove::fail("field %u: %s %x/%x and %s %x/%x %s", place.field,
                                list[a].compare == 0 ? "eq" : "ne", list[a].key, list[a].mask,
                                list[b].compare == 0 ? "eq" : "ne", list[b].key, list[b].mask,
                                both ? "overlap" : "do not overlap");
            }
    }
    return cases;
}

} // namespace

namespace prove
{

const Part kOverlap = {"overlap", "overlap of all pairs of masked comparisons of 8 bits", 64, all};

} // namespace prove
