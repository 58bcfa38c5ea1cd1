// SPDX-License-Identifier: MIT OR GPL-2.0
// Some rules stand fixed. Is there a place for each of the others, in order? An exact search.
//
// What the fixed rules leave free is a row of bins, in the order of their numbers: the free wide places
// between two fixed wide rules are one bin, each run of free narrow entries is one. Inside a bin rules stand
// in their deciding order, so only the bin of each rule is searched for: two rules that overlap need bins in
// their order, or one bin together, and each bin has its room.
#pragma once

#include "ruleset/place.h"
#include "ruleset/rule_bits.h"

namespace ruleset
{

struct Shape;

// Fixed wide rules leave at most four bins of the eight places. Of 16 entries every second is free at most.
constexpr unsigned kMaxBins = IFC_LUT0_RULES / 2 + IFC_LUT1_RULES / 2;

// A decision of the search puts a rule into LUT0 or takes two narrow entries at least. One more than fit.
constexpr unsigned kMaxDecisions = IFC_LUT0_RULES + IFC_LUT1_RULES / 2 + 1;

using BinSet = uint32_t;

struct Bin {
    uint8_t start; // the number of its first place or entry
    uint8_t room;
};

enum class Verdict : uint8_t { No, Yes, Unknown };

struct Packing {
    // The problem.
    const Shape *shape;
    RuleSet rules;            // of the whole set
    RuleSet fixed;            // of these, place[] is given
    Place place[kMaxRules];   // of the fixed rules
    RuleSet later[kMaxRules]; // overlapping rules after it, without those that follow from others
    RuleSet earlier[kMaxRules];
    RuleSet after[kMaxRules]; // all that must come after it, directly or not
    uint8_t closedWide;       // places that no rule of the set may use
    uint32_t closedNarrow;
    uint8_t usedWide; // closed or under a fixed rule
    uint32_t usedNarrow;
    // The answer: a place for every rule that is not fixed.
    Place plan[kMaxRules];
    // The search.
    unsigned bins;
    Bin bin[kMaxBins];
    uint8_t room[kMaxBins];   // what decided rules leave of its room
    uint8_t usable[kMaxBins]; // of its room, by what the chains can fill at most
    uint8_t free[kMaxRules];  // the rules that are not fixed, in order
    unsigned freeCount;
    uint8_t lowest[kMaxRules + 1]; // the first and the last open bin; of a fixed and of no rule, no bound
    uint8_t highest[kMaxRules + 1];
    uint8_t twinBefore[kMaxRules]; // free rules of its length and order; kMaxRules: none
    uint8_t twinAfter[kMaxRules];
    BinSet wideBins;
    BinSet open[kMaxRules]; // bins that a rule may still go to
    BinSet saved[kMaxDecisions][kMaxRules];
};

// Sets the rules and their order from the whole overlap relation, of which it leaves out what follows.
void setOrder(Packing &packing, const uint64_t *overlaps, RuleSet rules);

// Fixes a rule in a place that is free, and takes it back.
void fixRule(Packing &packing, unsigned rule, Place place);
void freeRule(Packing &packing, unsigned rule);
void freeAll(Packing &packing);

// Lays out the bins and, for the rules that are not fixed, the bins that are open to each.
// False: one of them has none.
bool layBins(Packing &packing);

// The place of a rule that is put into a bin as its first.
Place firstPlace(const Packing &packing, unsigned rule, unsigned bin);

// Searches, and writes the plan where it finds one. budget: steps that it may take, which it counts down;
// nullptr: as many as it needs, and the verdict is never Unknown.
Verdict findPlan(Packing &packing, uint32_t *budget);

} // namespace ruleset
