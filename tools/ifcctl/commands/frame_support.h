// SPDX-License-Identifier: MIT OR GPL-2.0
// What the commands on frames have in common.
#pragma once

#include "tools/ifcctl/device/session.h"

#include "ifc/ifc_regs.h"

namespace ifcctl
{

// The last line of an output that depends on the model.
inline constexpr const char *kModelNote = "model: docs/hardware-model.md\n";

inline bool classifierOn(Session &session)
{
    return (session.device().window().globalConfig() & IFC_GLB_CFG_ENABLE) != 0;
}

} // namespace ifcctl
