// SPDX-License-Identifier: MIT OR GPL-2.0
// What the sources of the set commands share.
#pragma once

#include "commands.h"

#include "tools/ifcctl/device/set_plan.h"

namespace ifcctl
{

// The differences between the rules and switches of the device and those of a file, one on each line.
struct Difference {
    std::string text; // "": none
    nlohmann::ordered_json json = nlohmann::ordered_json::array();
};
Difference differenceOf(Session &session, const SetFile &file, const SetPlan &plan);

// Handler of the table in set_commands.cpp.
void setVerify(Session &session, WordReader &words);

} // namespace ifcctl
