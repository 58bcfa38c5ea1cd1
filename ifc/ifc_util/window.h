// SPDX-License-Identifier: MIT OR GPL-2.0
// The register window from the driver's side: the lock and the rows.
#pragma once

#include "ifc/ifc_glb.h"
#include "ifc/ifc_regs.h"
#include "ifc/ifc_util.h"

namespace ifc
{
namespace // internal linkage: exports nothing
{

// Holds the driver's lock with interrupts disabled.
class WindowLock
{
public:
    WindowLock() : flags_(ifc_spin_lock_irqsave(&gpIfcPriv->lock)) {}
    ~WindowLock() { ifc_spin_unlock_irqrestore(&gpIfcPriv->lock, flags_); }
    WindowLock(const WindowLock &) = delete;
    WindowLock &operator=(const WindowLock &) = delete;

private:
    unsigned long flags_;
};

constexpr uint32_t dataRegister(uint n)
{
    return IFC_DATA0 + 4 * n;
}
static_assert(dataRegister(3) == IFC_DATA3);

// One entry of the action or the counter table: a single row, accessed from IFC_DATA3 down to IFC_DATA0.
inline void writeZeroRow(uint index, int sel)
{
    for (uint n = IFC_ROW_WORDS; n-- > 0;)
        set_frame_engine_data(dataRegister(n), 0);
    (void)ifcSetRuleConfig(static_cast<uint8_t>(index), 0, sel, IFC_TYPE_WRITE);
}

inline void readAction(uint index, IFC_Action_Format &action)
{
    (void)ifcSetRuleConfig(static_cast<uint8_t>(index), 0, IFC_SEL_ACTION, IFC_TYPE_READ);
    for (uint n = 0; n < IFC_ROW_WORDS; ++n)
        action.word[n] = get_frame_engine_data(dataRegister(3 - n));
}

inline void writeAction(uint index, const IFC_Action_Format &action)
{
    for (uint n = 0; n < IFC_ROW_WORDS; ++n)
        set_frame_engine_data(dataRegister(3 - n), action.word[n]);
    (void)ifcSetRuleConfig(static_cast<uint8_t>(index), 0, IFC_SEL_ACTION, IFC_TYPE_WRITE);
}

} // namespace
} // namespace ifc
