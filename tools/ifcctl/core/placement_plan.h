// SPDX-License-Identifier: MIT OR GPL-2.0
// Finds where the rule layer would place a request. The layer does not undo what it wrote before a refusal.
// So everything that it would refuse is refused here, before the first write.
#pragma once

#include "match.h"
#include "rules.h"

#include "ifc/records/chip.h"

namespace ifcctl
{

struct Plan {
    bool lut0;
    unsigned first; // LUT0 rule, or the first LUT1 entry
    unsigned last;  // the same LUT0 rule, or the last LUT1 entry
    // The number of the rule and of its action.
    unsigned id() const { return lut0 ? last : ifc::actionOfEntry(last); }
    std::string place() const { return describePlace(lut0, first, last); }
};

// `inexact` accepts a MAC mask that LUT1 widens. Throws Error if the match cannot be placed.
Plan planPlacement(const Match &match, bool inexact);

// How many times planPlacement() and the rule layer would accept this match, one after the other.
unsigned countFits(const Match &match, bool inexact);

struct FreeSpace {
    unsigned lut0;
    std::vector<unsigned> runs; // lengths of the free runs of LUT1, in order
};
FreeSpace freeSpace();

} // namespace ifcctl
