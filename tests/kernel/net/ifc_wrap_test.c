// SPDX-License-Identifier: MIT OR GPL-2.0
// Loading it writes one counter row, without the knowledge of the tables' owner. It never stays loaded.
#include <linux/module.h>
#include <linux/spinlock.h>

#include "ifc/ifc_regs.h"
#include "ifc/ifc_util.h"

static uint entry;
module_param(entry, uint, 0);
MODULE_PARM_DESC(entry, "counter entry, 0 to 39");
static unsigned long long bytes;
module_param(bytes, ullong, 0);
static unsigned long long packets;
module_param(packets, ullong, 0);

static int __init ifc_wrap_init(void)
{
    unsigned long flags;
    int result;

    if (entry >= IFC_COUNTERS)
        return -EINVAL;
    spin_lock_irqsave(&gpIfcPriv->lock, flags);
    set_frame_engine_data(IFC_DATA0, (u32)bytes);
    set_frame_engine_data(IFC_DATA1, (u32)(bytes >> 32));
    set_frame_engine_data(IFC_DATA2, (u32)packets);
    set_frame_engine_data(IFC_DATA3, (u32)(packets >> 32));
    result = ifcSetRuleConfig((uint8_t)entry, 0, IFC_SEL_COUNTER, IFC_TYPE_WRITE);
    spin_unlock_irqrestore(&gpIfcPriv->lock, flags);
    return result ? -EIO : -EAGAIN;
}

module_init(ifc_wrap_init);
MODULE_LICENSE("Dual MIT/GPL");
MODULE_DESCRIPTION("Sets a counter of the IFC packet classifier near its end");
