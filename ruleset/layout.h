// SPDX-License-Identifier: MIT OR GPL-2.0
// Finds a place for every rule of an ordered set. If one frame can hit two rules, the earlier one gets the
// lower number and so decides. Uses no records and no registers.
#pragma once

#include "ruleset/packing.h"
#include "ruleset/place.h"
#include "ruleset/rule_bits.h"

namespace ruleset
{

// One rule, as the layout sees it. If its current place cannot be kept (another length, a reserved place, the
// place of an earlier rule of the set), the rule counts as moved.
struct Shape {
    uint8_t narrowEntries = 0;  // entries of its chain in LUT1, 1..16; 0: LUT1 does not hold it
    uint8_t countedEntries = 0; // entries that automatic placement counts, at least narrowEntries
    bool wideAllowed = false;   // LUT0 holds it
    Place now;                  // its current place, within one sub-table; nowhere: a new rule
};

struct LayoutInput {
    unsigned count = 0;    // rules, at most kMaxRules
    Shape rule[kMaxRules]; // rule 0 decides first
    // Bit j of word i, j > i: some frame may hit rules i and j. Other bits are ignored.
    uint64_t overlaps[kMaxRules] = {};
    unsigned widePlaces = IFC_LUT0_RULES; // usable places of LUT0, from place 0 on; 0: a chip without LUT0
    uint8_t reservedWide = 0;             // bit n: wide place n must stay as it is
    uint32_t reservedNarrow = 0;          // bit n: entry n must stay as it is
    uint32_t budget = 4000; // steps of the search for fewest moves; the search for any layout has no limit
};

enum class LayoutResult : uint8_t {
    MovedFewest, // a layout, and no layout moves fewer rules
    Found,       // a layout; one with fewer moves may exist
    NoLayout,    // no layout exists
};

enum class NoLayoutReason : uint8_t {
    None,
    NoTable, // no table of this chip holds rule `earlier`
    Space,   // not enough room, whatever the order
    Pair,    // `earlier` and `later` overlap, and no two places keep their order
    Order,   // the rules of `conflict` have room, but not in their order
};

struct LayoutAnswer {
    LayoutResult result = LayoutResult::NoLayout;
    NoLayoutReason reason = NoLayoutReason::None;
    Place place[kMaxRules]; // unless NoLayout
    uint64_t moved = 0;     // bit i: rule i had a place and gets another one
    unsigned moves = 0;     // bits of moved
    // NoLayout: the smallest set of rules found that has no layout. Pair, NoTable: also given by index.
    uint64_t conflict = 0;
    unsigned earlier = 0;
    unsigned later = 0;
    // Entries needed and free in each table. Rules that both tables hold are counted separately.
    unsigned wideNeeded = 0;   // rules that only LUT0 holds
    unsigned wideFree = 0;     // places that are not reserved
    unsigned narrowNeeded = 0; // entries of the rules that only LUT1 holds
    unsigned narrowFree = 0;
    unsigned eitherRules = 0;   // rules that both tables hold
    unsigned eitherEntries = 0; // their entries if all of them were in LUT1
};

// State of the search for the fewest rules that move.
constexpr unsigned kMaxCores = 64;

struct StaySearch {
    RuleSet clash[kMaxRules]; // by rule: candidates that cannot stay together with it
    RuleSet candidates;       // rules whose current place may be kept
    RuleSet core[kMaxCores];  // sets of candidates that cannot all stay
    unsigned cores;
    struct Frame {
        RuleSet moved, kept, choices;
    } frame[kMaxRules + 1];
};

// Working memory of one call. It needs no initialisation and keeps nothing for the next call.
struct LayoutWorkspace {
    Packing packing;
    StaySearch stay;
};

// Fills answer and returns answer.result. Takes no lock, allocates nothing.
LayoutResult findLayout(const LayoutInput &input, LayoutWorkspace &work, LayoutAnswer &answer);

} // namespace ruleset
