// SPDX-License-Identifier: MIT OR GPL-2.0
// Sets of rules as 64-bit words, in 32-bit halves: a kernel has no helper for 64-bit bit counts.
#pragma once

#include <stdint.h>

namespace ruleset
{

using RuleSet = uint64_t;

constexpr RuleSet ruleBit(unsigned rule)
{
    return RuleSet{1} << rule;
}

// The lowest rule of a set that is not empty.
inline unsigned lowestRule(RuleSet set)
{
    const uint32_t low = static_cast<uint32_t>(set);
    return static_cast<unsigned>(low != 0 ? __builtin_ctz(low)
                                          : 32 + __builtin_ctz(static_cast<uint32_t>(set >> 32)));
}

inline unsigned highestRule(RuleSet set)
{
    const uint32_t high = static_cast<uint32_t>(set >> 32);
    return static_cast<unsigned>(high != 0 ? 63 - __builtin_clz(high)
                                           : 31 - __builtin_clz(static_cast<uint32_t>(set)));
}

// Takes the lowest rule out of a set that is not empty.
inline unsigned takeLowest(RuleSet &set)
{
    const unsigned rule = lowestRule(set);
    set &= set - 1;
    return rule;
}

inline unsigned takeHighest(RuleSet &set)
{
    const unsigned rule = highestRule(set);
    set ^= ruleBit(rule);
    return rule;
}

inline unsigned countRules(RuleSet set)
{
    unsigned count = 0;
    for (; set != 0; set &= set - 1)
        ++count;
    return count;
}

} // namespace ruleset
