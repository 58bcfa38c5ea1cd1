// SPDX-License-Identifier: MIT OR GPL-2.0
// One change to a list of rules, as a device takes it. Positions are those after the edits before this one.
#pragma once

#include "ruleset/ruleset.h"

#include <cstdint>
#include <vector>

namespace ifcctl
{

struct RuleEdit {
    enum class Kind : uint32_t {
        Insert,  // `rule` in front of the rule at `position`
        Remove,  // the rule at `position`
        Replace, // at `position`: the parts of `rule` that `argument` names, as ifc_ruleset_replace()
        Move,    // the rule at `position` to the position `argument`
        Clear    // all rules
    };
    Kind kind;
    uint32_t position;
    uint32_t argument;
    ifc_rule rule;
};

using RuleEdits = std::vector<RuleEdit>;

} // namespace ifcctl
