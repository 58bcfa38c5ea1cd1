// SPDX-License-Identifier: MIT OR GPL-2.0
// Runs commands: OBJECT VERB ARGUMENT...
#pragma once

#include "command_table.h"

#include "tools/ifcctl/core/counter_rates.h"
#include "tools/ifcctl/core/rule_words.h"

#include <string>
#include <vector>

namespace ifcctl
{

// Runs one line. Throws Error.
void runLine(Session &session, const std::string &line);
void runWords(Session &session, const Words &words);

// The counter of an entry. Throws Error.
Counter readCounter(Session &session, unsigned entry);

// Programs each sub-action of an entry and returns what the rule layer printed. Throws Error if one is
// refused.
std::string programAction(Session &session, unsigned entry, const std::vector<SubAction> &action);

} // namespace ifcctl
