// SPDX-License-Identifier: MIT OR GPL-2.0
// Why a set has no layout.
#pragma once

#include "ruleset/layout.h"

namespace ruleset
{

// Fills the reason, the rules in conflict and the entries needed and free, for a set without a plan.
void explainConflict(const LayoutInput &input, LayoutWorkspace &work, LayoutAnswer &answer);

} // namespace ruleset
