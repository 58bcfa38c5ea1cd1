// SPDX-License-Identifier: MIT OR GPL-2.0
// Finds a place for every rule of an ordered set, so that of two rules that one frame can hit the earlier
// decides. Knows no records and touches no register.
#pragma once

#include "ruleset/packing.h"
#include "ruleset/place.h"
#include "ruleset/rule_bits.h"

namespace ruleset
{

// What the layout knows of one rule. A rule that stands where it cannot (another length, a reserved place,
// the place of an earlier rule of the set) counts as a move.
struct Shape {
    uint8_t narrowEntries = 0;  // entries of its chain in LUT1, 1..16; 0: it cannot stand in LUT1
    uint8_t countedEntries = 0; // entries that automatic placement counts, at least narrowEntries
    bool wideAllowed = false;   // it can stand in LUT0
    Place now;                  // where it stands; nowhere: a new rule
};

struct LayoutInput {
    unsigned count = 0;    // rules, at most kMaxRules
    Shape rule[kMaxRules]; // rule 0 decides first
    // Bit j of word i, j > i: some frame may hit both. Other bits are ignored.
    uint64_t overlaps[kMaxRules] = {};
    unsigned widePlaces = IFC_LUT0_RULES; // usable places of LUT0, from place 0 on; 0: a chip without LUT0
    uint8_t reservedWide = 0;             // bit n: wide place n must stay as it is
    uint32_t reservedNarrow = 0;          // bit n: entry n must stay as it is
    uint32_t budget = 4000; // steps of the search for fewest moves; that for any layout has no bound
};

enum class LayoutResult : uint8_t {
    MovedFewest, // a layout, and no layout moves fewer rules
    Found,       // a layout; one with fewer moves may exist
    NoLayout,    // no layout exists
    BadInput,    // a count or an entry number out of range
};

enum class NoLayoutReason : uint8_t {
    None,
    NoTable, // rule `earlier` fits no table of this chip
    Space,   // the rules do not fit, whatever their order
    Pair,    // `earlier` and `later` overlap and cannot stand in this order
    Order,   // the rules of `conflict` fit, but not in their order
};

struct LayoutAnswer {
    LayoutResult result = LayoutResult::NoLayout;
    NoLayoutReason reason = NoLayoutReason::None;
    Place place[kMaxRules]; // unless NoLayout or BadInput
    uint64_t moved = 0;     // bit i: rule i stood somewhere and stands elsewhere now
    unsigned moves = 0;     // bits of moved
    // NoLayout: rules that cannot stand together, as few as were found. Pair and NoTable: by index too.
    uint64_t conflict = 0;
    unsigned earlier = 0;
    unsigned later = 0;
    // Entries needed and free by table. Rules that fit both tables count apart.
    unsigned wideNeeded = 0;   // rules that only LUT0 holds
    unsigned wideFree = 0;     // places that are not reserved
    unsigned narrowNeeded = 0; // entries of the rules that only LUT1 holds
    unsigned narrowFree = 0;
    unsigned eitherRules = 0;   // rules that both tables hold
    unsigned eitherEntries = 0; // their entries, were all of them in LUT1
};

// Rules that stay: the search for the smallest set that moves.
constexpr unsigned kMaxCores = 64;

struct StaySearch {
    RuleSet candidates;       // rules that stand where they may stay
    RuleSet clash[kMaxRules]; // candidates that cannot both stay
    RuleSet core[kMaxCores];  // sets of candidates that cannot all stay
    unsigned cores;
    struct Frame {
        RuleSet moved, kept, choices;
    } frame[kMaxRules + 1];
};

// Working memory of one call. Nothing in it lasts from call to call.
struct LayoutWorkspace {
    Packing packing;
    StaySearch stay;
};

// Fills answer and returns answer.result. Takes no lock, allocates nothing.
LayoutResult findLayout(const LayoutInput &input, LayoutWorkspace &work, LayoutAnswer &answer);

} // namespace ruleset
