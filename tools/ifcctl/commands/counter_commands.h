// SPDX-License-Identifier: MIT OR GPL-2.0
// Handlers of the table in counter_commands.cpp, by source.
#pragma once

#include "commands.h"

namespace ifcctl
{

void counterWatch(Session &session, WordReader &words);

} // namespace ifcctl
