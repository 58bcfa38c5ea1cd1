// SPDX-License-Identifier: MIT OR GPL-2.0
// The prompt at which commands are typed.
#pragma once

#include "tools/ifcctl/core/errors.h"
#include "tools/ifcctl/device/device.h"

#include <functional>
#include <string>

namespace ifcctl
{

// Runs one command line as the program does, and says on standard error what fails.
using LineRunner = std::function<ExitCode(const Options &options, const std::string &line)>;

// True: standard input and output are a terminal.
bool onTerminal();

// Reads lines until `quit`, `exit` or Ctrl-D. Each command runs in a process of its own, which opens the
// device and saves what changed, as a call of the program does; Ctrl-C ends it alone. Without a state file
// the chip is kept in memory until the shell ends. Returns kExitDone, also after commands that failed.
ExitCode runShell(Options options, const LineRunner &run);

} // namespace ifcctl
