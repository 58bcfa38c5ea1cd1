// SPDX-License-Identifier: MIT OR GPL-2.0
// The register accesses of layer_bench: an array, external to the layer and to its floor.
#include "ifc/ifc_regs.h"

namespace
{

volatile uint32_t registers[256];

} // namespace

extern "C" {
uint32_t get_frame_engine_data(uint32_t reg)
{
    return registers[(reg - FE_BASE) / 4 % 256] | IFC_RULE_CFG_DONE;
}
void set_frame_engine_data(uint32_t reg, uint32_t value)
{
    registers[(reg - FE_BASE) / 4 % 256] = value;
}
unsigned long ifc_spin_lock_irqsave(spinlock_t *)
{
    return 0;
}
void ifc_spin_unlock_irqrestore(spinlock_t *, unsigned long) {}
}
