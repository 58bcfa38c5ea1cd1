// SPDX-License-Identifier: MIT OR GPL-2.0
// A command in a process of its own.
#pragma once

#include "tools/ifcctl/core/errors.h"

#include <functional>
#include <string>

namespace ifcctl
{

// Runs the command and waits for it. Ctrl-C ends the command, not this process; standard error says so. What
// the command has then in `memory` (nullptr: nothing is kept) is also there in this process, unless a signal
// has ended the command.
void runChild(const std::function<ExitCode()> &command, std::string *memory);

} // namespace ifcctl
