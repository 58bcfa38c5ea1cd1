// SPDX-License-Identifier: MIT OR GPL-2.0
// Sets of rules as 64-bit words. Out of line: shifts and bit counts of 64 bits are long on 32-bit processors.
#pragma once

#include "ruleset/place.h"

namespace ruleset
{

using RuleSet = uint64_t;

constexpr unsigned kNoRule = kMaxRules;

uint64_t shiftLeft(uint64_t value, unsigned by);
RuleSet ruleBit(unsigned rule);
bool hasRule(RuleSet set, unsigned rule);
void addRule(RuleSet &set, unsigned rule);

// The answer of a search with a budget.
enum class Verdict : uint8_t { No, Yes, Unknown };

// The lowest rule of a set that is not empty.
unsigned lowestRule(RuleSet set);
unsigned highestRule(RuleSet set);

// Removes a rule from the set and returns it. kNoRule: the set is empty.
unsigned takeLowest(RuleSet &set);
unsigned takeHighest(RuleSet &set);

unsigned countRules(RuleSet set);

} // namespace ruleset
