// SPDX-License-Identifier: MIT OR GPL-2.0
// The rule layer's own automatic placement and deletion, one rule at a time.
#pragma once

#include "tools/ifcctl/core/rules.h"
#include "tools/ifcctl/device/session.h"

namespace ifcctl
{

// Every rule that the automatic deletion of these conditions would delete.
std::vector<PlacedRule> takenByDeletion(Session &session, const Match &match);

bool sameConditions(const Match &one, const Match &other);

} // namespace ifcctl
