// SPDX-License-Identifier: MIT OR GPL-2.0
// In 32-bit halves: a kernel has no run-time helper for 64-bit bit counts.
#include "ruleset/rule_bits.h"

namespace ruleset
{

uint64_t shiftLeft(uint64_t value, unsigned by)
{
    return value << by;
}

RuleSet ruleBit(unsigned rule)
{
    return shiftLeft(1, rule);
}

bool hasRule(RuleSet set, unsigned rule)
{
    return (set & ruleBit(rule)) != 0;
}

void addRule(RuleSet &set, unsigned rule)
{
    set |= ruleBit(rule);
}

unsigned lowestRule(RuleSet set)
{
    const uint32_t low = static_cast<uint32_t>(set);
    return static_cast<unsigned>(low != 0 ? __builtin_ctz(low)
                                          : 32 + __builtin_ctz(static_cast<uint32_t>(set >> 32)));
}

unsigned highestRule(RuleSet set)
{
    const uint32_t high = static_cast<uint32_t>(set >> 32);
    return static_cast<unsigned>(high != 0 ? 63 - __builtin_clz(high)
                                           : 31 - __builtin_clz(static_cast<uint32_t>(set)));
}

unsigned takeLowest(RuleSet &set)
{
    if (set == 0)
        return kNoRule;
    const unsigned rule = lowestRule(set);
    set &= set - 1;
    return rule;
}

unsigned takeHighest(RuleSet &set)
{
    if (set == 0)
        return kNoRule;
    const unsigned rule = highestRule(set);
    set ^= ruleBit(rule);
    return rule;
}

unsigned countRules(RuleSet set)
{
    unsigned count = 0;
    for (; set != 0; set &= set - 1)
        ++count;
    return count;
}

} // namespace ruleset
