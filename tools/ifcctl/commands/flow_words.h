// SPDX-License-Identifier: MIT OR GPL-2.0
// The words of testpmd's `flow` commands, translated into those of `rule add`.
#pragma once

#include "tools/ifcctl/core/word_reader.h"

#include <string>

namespace ifcctl
{

// Stands after each item and each action.
inline const std::string kFlowNext = "/";

// The port's number; there is one chip, so it is 0. Throws Error.
void takeFlowPort(WordReader &words);

// Reads "[ingress] [group 0] [priority 0] pattern ITEM... / end actions ACTION... / end" up to the end of the
// line. Returns MATCH... [action WORD...]. What a rule of this chip cannot hold is refused by name. Throws
// Error.
Words ruleWordsOfFlow(WordReader &words);

// The items and actions that are known, for help and messages.
std::string flowItems();
std::string flowActions();

// What may follow an item: its fields, and before a value the words that say which part it is.
Words flowFieldsOf(const std::string &item);
const Words &flowValueParts();
// The word of `rule add` that a field of an item becomes; "" if there is none.
std::string flowMatchWord(const std::string &item, const std::string &field);
// The word before an action's number; "" for an action without one.
std::string flowParameterOf(const std::string &action);

} // namespace ifcctl
