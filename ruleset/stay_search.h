// SPDX-License-Identifier: MIT OR GPL-2.0
// Searches for the placed rules that stay, so that the fewest move.
#pragma once

#include "ruleset/layout.h"

namespace ruleset
{

// Finds the placed rules that may stay individually, and the pairs of them that break the order.
// True: there are such pairs.
bool findCandidates(const LayoutInput &input, const Packing &packing, StaySearch &stay);

// Fixes these rules at their current places, and no others.
void fixStaying(const LayoutInput &input, Packing &packing, RuleSet rules);

// Finds the rules that stay, so that the others have a plan and the fewest move. The packing then holds these
// rules and the plan. False: the budget ran out, and fewer moves may be possible.
// Requires that the set has a plan if no rule stays.
bool findStaying(const LayoutInput &input, LayoutWorkspace &work, uint32_t budget, RuleSet &staying);

} // namespace ruleset
