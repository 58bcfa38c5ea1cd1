// SPDX-License-Identifier: MIT OR GPL-2.0
// Conditions of a rule: makes them, and finds those that exclude each other.
#pragma once

#include "ruleset/ruleset.h"

namespace ifcctl
{

constexpr uint64_t kIcmpv6 = 58; // belongs to IPv6

ifc_rule_condition makeCondition(unsigned field, unsigned compare, uint64_t mask, uint64_t key);
ifc_rule_condition makeRange(unsigned field, uint64_t first, uint64_t last); // of the whole field

// The IP version that a frame must have to fulfil the condition: 4, 6, or 0 for any.
unsigned ipVersionOf(const ifc_rule_condition &condition);

// True: no frame fulfils both, because they contradict each other on one field or need different IP versions.
// False if one of them never holds by itself.
bool excludeEachOther(const ifc_rule_condition &one, const ifc_rule_condition &other);

} // namespace ifcctl
