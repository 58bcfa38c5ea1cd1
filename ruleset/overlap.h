// SPDX-License-Identifier: MIT OR GPL-2.0
// Which frames can fit conditions together. "No" is always right; where it does not know it says yes.
#pragma once

#include "ruleset/rule.h"

namespace ruleset
{

// Conditions that must all hold: those of up to two rules, and a few more.
struct Together {
    const Rule *rule[2];
    RuleCondition extra[4];
    unsigned extras;
    unsigned steps; // what is left of the budget
};

// Can a frame fulfil all of them?
bool canHold(Together &all);

} // namespace ruleset
