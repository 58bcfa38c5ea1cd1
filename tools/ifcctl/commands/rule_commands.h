// SPDX-License-Identifier: MIT OR GPL-2.0
// What the sources of the rule commands share.
#pragma once

#include "commands.h"

#include "tools/ifcctl/core/match.h"

namespace ifcctl
{

// The conditions of a rule, at least one. A single MAC goes last unless --keep-order. Throws Error.
Match matchOf(const Session &session, WordReader &words);

// Handlers of the table in rule_commands.cpp.
void ruleFind(Session &session, WordReader &words);
void ruleDelete(Session &session, WordReader &words);
void ruleExplain(Session &session, WordReader &words);

} // namespace ifcctl
