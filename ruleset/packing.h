// SPDX-License-Identifier: MIT OR GPL-2.0
// With some rules fixed, finds a place for each of the others that keeps the order. The search is exact.
//
// The space that the fixed rules leave free is divided into bins, ordered by number. The free wide places
// between two fixed wide rules are one bin; each run of free narrow entries is one bin. Inside a bin the
// rules are in list order, so the search only assigns rules to bins. Two rules that overlap need the same bin
// or two bins in their order, and the rules of a bin must not exceed its room.
#pragma once

#include "ruleset/place.h"
#include "ruleset/rule_bits.h"

namespace ruleset
{

struct Shape;

// Fixed rules divide the eight wide places into at most four bins, and 16 entries into at most eight.
constexpr unsigned kMaxBins = IFC_LUT0_RULES / 2 + IFC_LUT1_RULES / 2;

// Each decision of the search puts a rule into LUT0 or uses at least two narrow entries. This is one more
// than can be made.
constexpr unsigned kMaxDecisions = IFC_LUT0_RULES + IFC_LUT1_RULES / 2 + 1;

using BinSet = uint32_t;

struct Bin {
    uint8_t start; // the number of its first place or entry
    uint8_t room;
};

struct Packing {
    BinSet open[kMaxRules]; // of the search: bins still possible for a rule

    // The problem.
    const Shape *shape;
    RuleSet rules;          // of the whole set
    RuleSet fixed;          // those whose place[] is given
    Place place[kMaxRules]; // of the fixed rules
    struct Order {
        RuleSet later[kMaxRules]; // overlapping rules after it, except those implied by others
        RuleSet earlier[kMaxRules];
        RuleSet after[kMaxRules]; // all rules that must come after it, directly or indirectly
    } order;
    uint64_t closed; // cells (cellsOf()) that no rule of the set may use
    uint64_t used;   // closed or under a fixed rule
    // The answer: a place for every rule that is not fixed.
    Place plan[kMaxRules];
    // The search.
    unsigned bins;
    Bin bin[kMaxBins];
    uint8_t room[kMaxBins];   // its room that is left by decided rules
    uint8_t usable[kMaxBins]; // the most of its room that chains can fill
    uint8_t free[kMaxRules];  // the rules that are not fixed, in order
    unsigned freeCount;
    uint8_t lowest[kMaxRules + 1]; // the first and the last open bin; no bound for fixed rules and kNoRule
    uint8_t highest[kMaxRules + 1];
    uint8_t twin[2][kMaxRules]; // free rules of the same length and order, before and after it; or kNoRule
    BinSet wideBins;
    BinSet saved[kMaxDecisions][kMaxRules];
};

// Sets the rules and their order from the whole overlap relation. Implied pairs are left out.
void setOrder(Packing &packing, const uint64_t *overlaps, RuleSet rules);

// Fixes a rule in a place that is free.
void fixRule(Packing &packing, unsigned rule, Place place);

// Makes a fixed rule free, or fixes it again at the same place.
void toggleRule(Packing &packing, unsigned rule);

void freeAll(Packing &packing);

// Makes the bins, and finds the open bins of each rule that is not fixed. False: a rule has none.
bool layBins(Packing &packing);

// The place of a rule that is the first in a bin.
Place firstPlace(const Packing &packing, unsigned rule, unsigned bin);

// Searches for a plan and stores it. budget: the steps that the search may take; it is counted down. nullptr:
// no limit, and the verdict is never Unknown.
Verdict findPlan(Packing &packing, uint32_t *budget);

} // namespace ruleset
