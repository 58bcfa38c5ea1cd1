// SPDX-License-Identifier: MIT OR GPL-2.0
// Actions as operators write them.
#pragma once

#include "match.h"

#include "ifc/ifc_glb.h"

#include <nlohmann/json.hpp>

namespace ifcctl
{

struct SubAction {
    unsigned actIdx;
    uint32_t values[4];
};

using Action = std::vector<SubAction>;

// Reads the words of an action up to the end of the line. Throws Error.
Action parseAction(WordReader &words);

// While the PPE is off, the rule layer accepts only `cpu`; any other sub-action makes it delete the rule of
// that entry. Such an action is refused here, before anything is written.
void refuseWithoutPpe(const Action &action);

// An action entry as the hardware holds it: the words of parseAction() whose enable bit is set.
nlohmann::ordered_json describeAction(const IFC_Action_Format &action);

} // namespace ifcctl
