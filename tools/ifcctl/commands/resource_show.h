// SPDX-License-Identifier: MIT OR GPL-2.0
// resource show: free space, and what fits into it.
#pragma once

#include "commands.h"

#include "tools/ifcctl/device/capacity.h"

namespace ifcctl
{

nlohmann::ordered_json capacityJson(const std::vector<Capacity> &list);

// Handler of the table in table_commands.cpp.
void resourceShow(Session &session, WordReader &words);

} // namespace ifcctl
