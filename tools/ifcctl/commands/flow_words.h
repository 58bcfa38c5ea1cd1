// SPDX-License-Identifier: MIT OR GPL-2.0
// A rule in the words of testpmd's `flow` commands, translated into those of `rule add`.
#pragma once

#include "tools/ifcctl/core/word_reader.h"

namespace ifcctl
{

// The port's number; there is one chip, so it is 0. Throws Error.
void takeFlowPort(WordReader &words);

// Reads "[ingress] [group 0] [priority 0] pattern ITEM... / end actions ACTION... / end" up to the end of the
// line. Returns MATCH... [action WORD...]. Throws Error.
Words ruleWordsOfFlow(WordReader &words);

} // namespace ifcctl
