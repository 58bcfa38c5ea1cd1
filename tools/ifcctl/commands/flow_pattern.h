// SPDX-License-Identifier: MIT OR GPL-2.0
// The pattern of testpmd's `flow` commands, as the words of MATCH.
#pragma once

#include "tools/ifcctl/core/word_reader.h"

#include <string>

namespace ifcctl
{

// Reads "ITEM... / end". What a rule of this chip cannot match is refused by name. Throws Error.
Words readFlowPattern(WordReader &words);

// The items that are known, for help and messages.
std::string flowItems();

// What may follow an item: its fields, and before a value the words that say which part it is.
Words flowFieldsOf(const std::string &item);
const Words &flowValueParts();
// The word of `rule add` that a field of an item becomes; "" if there is none.
std::string flowMatchWord(const std::string &item, const std::string &field);

} // namespace ifcctl
