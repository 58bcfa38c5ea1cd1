// SPDX-License-Identifier: MIT OR GPL-2.0
// Conditions and actions, in the words of a rule, piece by piece.
#pragma once

#include "html.h"

namespace ifcctl::report
{

// `match` as matchText() gives it, `action` as actionText() does.
void writeMatch(Html &html, const std::string &match);
void writeAction(Html &html, const std::string &action);

} // namespace ifcctl::report
