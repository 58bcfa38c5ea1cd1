// SPDX-License-Identifier: MIT OR GPL-2.0
// The kernel's services for the rule layer: lock, delay, register access.
#include <linux/delay.h>
#include <linux/export.h>
#include <linux/io.h>
#include <linux/kernel.h>
#include <linux/ktime.h>
#include <linux/nmi.h>
#include <linux/string.h>

#include "ifc/ifc_glb.h"
#include "ifc/ifc_regs.h"
#include "ifc_glue.h"
#include "ifc_sim.h"

static void __iomem *fe_base;
static int chip_revision;

static unsigned int accesses;
static unsigned int errors;
static unsigned int polls; /* reads since the last command that did not show the done bit */
static unsigned int timeouts;
static unsigned int held_from;
static ktime_t held_since;
static struct ifc_glue_hold longest;
static void (*watcher)(const struct ifc_glue_event *event);

void ifc_glue_setup(void __iomem *base, int revision)
{
    fe_base = base;
    chip_revision = revision;
    accesses = 0;
    errors = 0;
    timeouts = 0;
    memset(&longest, 0, sizeof(longest));
}

void ifc_glue_tell(enum ifc_glue_event_kind kind, u32 reg, u32 value)
{
    struct ifc_glue_event event = {kind, reg, value};
    void (*watch)(const struct ifc_glue_event *event) = READ_ONCE(watcher);

    if (watch)
        watch(&event);
}

unsigned long ifc_spin_lock_irqsave(spinlock_t *lock) __acquires(lock)
{
    unsigned long flags;

    spin_lock_irqsave(lock, flags);
    ifc_glue_tell(IFC_GLUE_LOCK, 0, 0);
    held_from = accesses;
    held_since = ktime_get();
    return flags;
}

void ifc_spin_unlock_irqrestore(spinlock_t *lock, unsigned long flags) __releases(lock)
{
    u64 held = (u64)ktime_to_ns(ktime_sub(ktime_get(), held_since));

    if (held > longest.nanoseconds)
        longest.nanoseconds = held;
    if (accesses - held_from > longest.accesses)
        longest.accesses = accesses - held_from;
    ifc_glue_tell(IFC_GLUE_UNLOCK, 0, 0);
    spin_unlock_irqrestore(lock, flags);
}

void ifc_glue_watch(void (*watch)(const struct ifc_glue_event *event))
{
    WRITE_ONCE(watcher, watch);
}
EXPORT_SYMBOL_GPL(ifc_glue_watch);

bool ifc_glue_simulated(void)
{
    return !fe_base;
}
EXPORT_SYMBOL_GPL(ifc_glue_simulated);

void ifc_glue_set_revision(int revision)
{
    chip_revision = revision;
}
EXPORT_SYMBOL_GPL(ifc_glue_set_revision);

int ifc_glue_revision(void)
{
#ifdef IFC_REVISION_QUERY
    if (chip_revision < 0)
        return IFC_REVISION_QUERY();
#endif
    return chip_revision;
}
EXPORT_SYMBOL_GPL(ifc_glue_revision);

struct ifc_glue_hold ifc_glue_longest_hold(void)
{
    struct ifc_glue_hold hold;
    unsigned long flags;

    spin_lock_irqsave(&gpIfcPriv->lock, flags);
    hold = longest;
    spin_unlock_irqrestore(&gpIfcPriv->lock, flags);
    return hold;
}

unsigned int ifc_glue_errors(void)
{
    return fe_base ? errors : ifc_sim_errors();
}

unsigned int ifc_glue_timeouts(void)
{
    return READ_ONCE(timeouts);
}

/* Only the register window is mapped. Other addresses are not accessed. */
static bool known(uint32_t reg)
{
    if (reg - FE_BASE < FE_WINDOW_SIZE && reg % 4 == 0)
        return true;
    errors++;
    return false;
}

void ifc_kernel_mdelay(unsigned long msecs)
{
    ifc_glue_tell(IFC_GLUE_WAIT, 0, msecs);
    mdelay(msecs);
    touch_softlockup_watchdog(); /* a chip that never answers is no lockup of this processor */
}

uint32_t get_frame_engine_data(uint32_t reg)
{
    u32 value;

    accesses++;
    if (!fe_base)
        value = ifc_sim_read(reg);
    else
        value = known(reg) ? readl(fe_base + (reg - FE_BASE)) : 0;
    if (reg == IFC_RULE_CFG && !(value & IFC_RULE_CFG_DONE) && ++polls == 3)
        timeouts++; /* ifcChecConfigDone() stops after three reads */
    ifc_glue_tell(IFC_GLUE_READ, reg, value);
    return value;
}

void set_frame_engine_data(uint32_t reg, uint32_t value)
{
    accesses++;
    if (reg == IFC_RULE_CFG)
        polls = 0;
    ifc_glue_tell(IFC_GLUE_WRITE, reg, value);
    if (!fe_base)
        ifc_sim_write(reg, value);
    else if (known(reg))
        writel(value, fe_base + (reg - FE_BASE));
}

int GET_HIR(void)
{
    ifc_glue_tell(IFC_GLUE_REVISION, 0, 0);
    return ifc_glue_revision();
}
