// SPDX-License-Identifier: MIT OR GPL-2.0
// What is worth a word about the rules of a list.
#pragma once

#include "tools/ifcctl/device/rule_set.h"

#include <string>
#include <vector>

namespace ifcctl
{

struct RuleNote {
    enum class Kind {
        NeverHits, // its conditions contradict each other
        Repeats,   // an earlier rule fits the same frames
        Covered,   // an earlier rule fits all its frames
        Overlap    // a later rule fits some of its frames and does something else
    };
    Kind kind;
    unsigned position;
    unsigned other; // NeverHits: the same position
};

// Why this rule never decides a frame; nothing: it may.
std::vector<RuleNote> deadNotes(const RuleSet &set, unsigned position);
// The same of this rule, and of those after it because of it.
std::vector<RuleNote> notesAround(const RuleSet &set, unsigned position);
// Of all rules, with overlaps of different actions.
std::vector<RuleNote> allNotes(const RuleSet &set);

// "repeats rule 9", by the numbers of rules that stand in the tables. `self` names the rule at `position`.
std::string describe(const RuleSet &set, const RuleNote &note);
const char *kindName(RuleNote::Kind kind); // for JSON

} // namespace ifcctl
