// SPDX-License-Identifier: MIT OR GPL-2.0
// Which placed rules stay: the search for the fewest that move.
#pragma once

#include "ruleset/layout.h"

namespace ruleset
{

// The placed rules that may stay on their own, and the pairs of them that stand against their order.
void findCandidates(const LayoutInput &input, const Packing &packing, StaySearch &stay);

// True if two candidates stand against their order.
bool clashes(const StaySearch &stay);

// Fixes these rules where they stand, and no others.
void fixStaying(const LayoutInput &input, Packing &packing, RuleSet rules);

// Finds the rules that stay, so that the others have a plan and the fewest move; the packing then holds these
// rules and the plan. False: the budget was spent first, and fewer moves may be possible.
// Only for a set that has a plan if no rule stays.
bool findStaying(const LayoutInput &input, LayoutWorkspace &work, uint32_t budget, RuleSet &staying);

} // namespace ruleset
