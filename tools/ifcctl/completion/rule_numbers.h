// SPDX-License-Identifier: MIT OR GPL-2.0
// The numbers of the rules that a device holds, read without its lock and without a transfer.
#pragma once

#include "tools/ifcctl/core/word_reader.h"
#include "tools/ifcctl/device/device.h"

namespace ifcctl
{

// Of the device that the options name. No numbers if it cannot be read. Overwrites this process's shadow
// tables.
Words ruleNumbersOf(const Options &options);

} // namespace ifcctl
