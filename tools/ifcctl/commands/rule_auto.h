// SPDX-License-Identifier: MIT OR GPL-2.0
// The rule layer's own automatic placement and deletion, one rule at a time.
#pragma once

#include "tools/ifcctl/core/rules.h"
#include "tools/ifcctl/device/rule_set.h"

namespace ifcctl
{

// Every rule that the automatic deletion of these conditions would delete.
std::vector<PlacedRule> takenByDeletion(Session &session, const Match &match);

// The warnings about the order after automatic placement has put the newest rule there.
std::vector<std::string> orderWarnings(const RuleSet &set, unsigned id);

// The conditions in the form that automatic placement accepts: one comparison for each field, with mask bits.
// Throws Error.
Match automaticRequest(const ifc_rule &rule);

bool sameConditions(const Match &one, const Match &other);

} // namespace ifcctl
