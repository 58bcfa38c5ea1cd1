// SPDX-License-Identifier: MIT OR GPL-2.0
// Edits of rules as one write to the module's file `ruleset`, and the report that can be read from it.
#pragma once

#include "rule_edit.h"

#include <string>

namespace ifcctl
{

// The edits are for the tables of which this process has a copy. Throws Error if one write cannot hold them.
std::string ruleBatch(const RuleEdits &edits, unsigned flags);

// False: the text is no report.
bool readReport(const std::string &text, ifc_ruleset_report &report);

} // namespace ifcctl
