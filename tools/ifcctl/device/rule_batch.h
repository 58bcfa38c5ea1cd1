// SPDX-License-Identifier: MIT OR GPL-2.0
// Edits of rules as the module's file `ruleset` takes them in one write, and the report that it gives back.
#pragma once

#include "rule_edit.h"

#include <string>

namespace ifcctl
{

// For the tables that this process has a copy of. Throws Error for more edits than a write takes.
std::string ruleBatch(const RuleEdits &edits, unsigned flags);

// False: the text is no report.
bool readReport(const std::string &text, ifc_ruleset_report &report);

} // namespace ifcctl
