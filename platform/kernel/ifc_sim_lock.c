// SPDX-License-Identifier: MIT OR GPL-2.0
// The lock of the simulated frame engine: what makes one register access, or one frame, happen at a time.
#include <linux/spinlock.h>

#include "ifc_sim.h"

static DEFINE_SPINLOCK(engine_lock);

unsigned long ifc_sim_lock(void) __acquires(&engine_lock)
{
    unsigned long flags;

    spin_lock_irqsave(&engine_lock, flags);
    return flags;
}

void ifc_sim_unlock(unsigned long flags) __releases(&engine_lock)
{
    spin_unlock_irqrestore(&engine_lock, flags);
}
