// SPDX-License-Identifier: MIT OR GPL-2.0
// Whether a frame can fulfil several conditions together. "No" is always right; "yes" may also mean unknown.
#pragma once

#include "ruleset/rule.h"

namespace ruleset
{

// Steps that the search for values may take, over all fields. A step looks at the conditions on one field, at
// most 66, and chooses a bit. Without a step left the answer is "yes".
constexpr unsigned kOverlapSteps = 1024;

// Conditions that must all hold: those of up to two rules, and a few extra ones.
struct Together {
    const Rule *rule[2];
    RuleCondition extra[4];
    unsigned extras;
    unsigned steps; // the remaining budget
};

// Can a frame fulfil all of them?
bool canHold(Together &all, unsigned steps = kOverlapSteps);

} // namespace ruleset
