// SPDX-License-Identifier: MIT OR GPL-2.0
// Notes about the rules of a list: rules that never decide, and overlaps.
#pragma once

#include "tools/ifcctl/device/rule_set.h"

#include <string>
#include <vector>

namespace ifcctl
{

struct RuleNote {
    enum class Kind {
        NeverHits, // its conditions contradict each other
        Repeats,   // an earlier rule matches the same frames
        Covered,   // an earlier rule matches all its frames
        Overlap    // a later rule with another action matches some of its frames
    };
    Kind kind;
    unsigned position;
    unsigned other; // NeverHits: the same position
};

// Why this rule never decides a frame. Nothing: it may decide one.
std::vector<RuleNote> deadNotes(const RuleSet &set, unsigned position);
// The same for this rule, and for later rules that never decide because of it.
std::vector<RuleNote> notesAround(const RuleSet &set, unsigned position);
// The notes on all rules, overlaps with different actions included.
std::vector<RuleNote> allNotes(const RuleSet &set);

// "repeats rule 9", with the numbers of rules in the tables. `self` is the name of the rule at `position`.
std::string describe(const RuleSet &set, const RuleNote &note);
const char *kindName(RuleNote::Kind kind); // for JSON

} // namespace ifcctl
