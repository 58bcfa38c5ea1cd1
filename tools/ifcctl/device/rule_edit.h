// SPDX-License-Identifier: MIT OR GPL-2.0
// One change to a list of rules, in the form that a device accepts. Positions count after all preceding
// edits.
#pragma once

#include "ruleset/edits.h"

#include <cstdint>
#include <vector>

namespace ifcctl
{

struct RuleEdit {
    enum class Kind : uint32_t {
        Insert = IFC_RULESET_INSERT,
        Remove = IFC_RULESET_REMOVE,
        Replace = IFC_RULESET_REPLACE,
        Move = IFC_RULESET_MOVE,
        Clear = IFC_RULESET_CLEAR,
        Claim = IFC_RULESET_CLAIM,
    };
    Kind kind;
    uint32_t position;
    uint32_t argument;
    ifc_rule rule;
};

using RuleEdits = std::vector<RuleEdit>;

} // namespace ifcctl
