// SPDX-License-Identifier: MIT OR GPL-2.0
// The examples of the manual page. A test runs them, in this order, in a folder with a file capture.pcap.
#pragma once

#include "tools/ifcctl/commands/command_table.h"

#include <vector>

namespace ifcctl
{

// Each a command line for a shell, and what it does.
const std::vector<NamedHelp> &examples();

} // namespace ifcctl
