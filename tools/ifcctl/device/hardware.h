// SPDX-License-Identifier: MIT OR GPL-2.0
// Reads tables of the hardware through the register window.
#pragma once

#include "session.h"

#include "ifc/ifc_glb.h"

namespace ifcctl
{

IFC_LUT0_Format readLut0(Session &session, unsigned rule);
IFC_LUT1_Format readLut1(Session &session, unsigned entry);
IFC_Action_Format readAction(Session &session, unsigned entry);

// Rules in the hardware's tables are not those of the shadow. LUT0 counts only if the chip uses it.
bool tablesDiffer(Device &device);

} // namespace ifcctl
