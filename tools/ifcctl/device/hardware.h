// SPDX-License-Identifier: MIT OR GPL-2.0
// Reads tables of the hardware through the register window.
#pragma once

#include "session.h"

#include "tools/ifcctl/core/rules.h"

#include "ifc/ifc_glb.h"

#include <vector>

namespace ifcctl
{

IFC_LUT0_Format readLut0(Session &session, unsigned rule);
IFC_LUT1_Format readLut1(Session &session, unsigned entry);
IFC_Action_Format readAction(Session &session, unsigned entry);

// Rules in the hardware's tables are not those of the shadow. LUT0 counts only if the chip uses it.
bool tablesDiffer(Device &device);

// Rules in the tables of the hardware that the shadow does not hold so, and the other way round. Known: on
// chips whose LUT0 is not written, its shadow may hold anything. It is not compared.
struct TableRules {
    std::vector<PlacedRule> onlyHardware;
    std::vector<PlacedRule> onlyShadow;
};
TableRules differingRules(Session &session);

} // namespace ifcctl
