// SPDX-License-Identifier: MIT OR GPL-2.0
// What help and manual page say besides the tables of commands and options.
#pragma once

#include "command_table.h"

#include <string>
#include <vector>

namespace ifcctl
{

// Commands that open no device.
const std::vector<NamedHelp> &commandsWithoutDevice();

// The exit codes of the program.
const std::vector<NamedHelp> &exitCodeTable();

// How this build of the program reads lines at its prompt: a clause.
std::string promptKind();

} // namespace ifcctl
