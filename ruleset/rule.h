// SPDX-License-Identifier: MIT OR GPL-2.0
// Conditions of rules, for the library's own sources. ruleset/ruleset.h defines a rule.
#pragma once

#include "ifc/records/fields.h"
#include "ruleset/ruleset.h"

namespace ruleset
{

using Rule = ifc_rule;
using RuleCondition = ifc_rule_condition;
using Report = ifc_ruleset_report;
using Set = ifc_ruleset;

constexpr unsigned kMaxChain = IFC_LUT1_SUB_TABLE; // entries of a rule in LUT1

inline RuleCondition makeCondition(unsigned field, unsigned compare, uint64_t mask, uint64_t key)
{
    return {static_cast<uint8_t>(field), static_cast<uint8_t>(compare), 0, 0, mask, key};
}

// The mask of a whole field, 1 to 47.
uint64_t onesOf(unsigned field);

} // namespace ruleset
