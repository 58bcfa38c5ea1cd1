// SPDX-License-Identifier: MIT OR GPL-2.0
// The actions of testpmd's `flow` commands, as the words of `action`.
#pragma once

#include "tools/ifcctl/core/word_reader.h"

#include <string>

namespace ifcctl
{

// Reads "ACTION... / end". What an action of this chip cannot do is refused by name. Throws Error.
Words readFlowActions(WordReader &words);

// The actions that are known, for help and messages.
std::string flowActions();
// The word before an action's number; "" for an action without one.
std::string flowParameterOf(const std::string &action);

} // namespace ifcctl
