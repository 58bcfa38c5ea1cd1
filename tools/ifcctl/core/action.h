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

// Reads the words of an action from words[at] to the end.
Action parseAction(const Words &words, size_t &at);

// While the PPE is off the rule layer takes nothing but `cpu`, and deletes the rule of an entry that asks for
// more: that is refused here, before anything is written.
void refuseWithoutPpe(const Action &action);

// An action entry as the hardware holds it, by the words of parseAction() as far as they are switched on.
nlohmann::ordered_json describeAction(const IFC_Action_Format &action);

struct ActionWord {
    const char *word;
    unsigned actIdx;
    unsigned position; // of its value among value0 to value3
    uint64_t most;
    const char *meaning;
};
const std::vector<ActionWord> &actionWords();

} // namespace ifcctl
