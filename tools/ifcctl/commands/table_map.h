// SPDX-License-Identifier: MIT OR GPL-2.0
// table map: both tables as a picture of characters.
#pragma once

#include "commands.h"
#include "terminal.h"

#include "tools/ifcctl/core/table_map.h"

namespace ifcctl
{

// No line is wider than style.width, if that is at least 40. `words` has the text of each owner.
std::string drawTables(const TableMap &map, const std::vector<std::string> &words,
                       const TerminalStyle &style);

// Handler of the table in table_commands.cpp.
void tableMapCommand(Session &session, WordReader &words);

} // namespace ifcctl
