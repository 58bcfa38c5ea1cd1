// SPDX-License-Identifier: MIT OR GPL-2.0
// The kernel's services for the rule layer: log lines, lock, delay, register access.
#include <linux/delay.h>
#include <linux/export.h>
#include <linux/io.h>
#include <linux/kernel.h>
#include <linux/ktime.h>
#include <linux/nmi.h>
#include <linux/printk.h>
#include <linux/string.h>

#include "ifc/ifc_glb.h"
#include "ifc/ifc_regs.h"
#include "ifc_glue.h"
#include "ifc_sim.h"

static void __iomem *fe_base;
static int chip_revision;

static unsigned int accesses;
static unsigned int errors;
static unsigned int held_from;
static ktime_t held_since;
static struct ifc_glue_hold longest;
static void (*watcher)(const struct ifc_glue_event *event);

/*
 * Lines arrive in pieces, but each call of the kernel's print begins a new record. Pieces are put together
 * here, and a record is written when its line ends or the room is used up.
 */
static DEFINE_SPINLOCK(line_lock);
static char line[256];
static size_t line_used;
static bool line_broken; /* the room was used up, and the line has not ended */

static char *capture;
static size_t capture_size;
static size_t capture_used;
static size_t capture_lost;
static bool capture_to_log = true;

void ifc_glue_setup(void __iomem *base, int revision)
{
    fe_base = base;
    chip_revision = revision;
    accesses = 0;
    errors = 0;
    memset(&longest, 0, sizeof(longest));
}

static void tell(enum ifc_glue_event_kind kind, u32 reg, u32 value)
{
    struct ifc_glue_event event = {kind, reg, value};
    void (*watch)(const struct ifc_glue_event *event) = READ_ONCE(watcher);

    if (watch)
        watch(&event);
}

static void write_record(void)
{
    line[line_used] = '\0';
    pr_info("%s\n", line);
    line_used = 0;
}

static void put_char(char c)
{
    if (capture && capture_used + 1 < capture_size) {
        capture[capture_used++] = c;
        capture[capture_used] = '\0';
    } else if (capture) {
        capture_lost++;
    }
    if (!capture_to_log)
        return;
    if (c == '\n') {
        if (line_used || !line_broken)
            write_record();
        line_broken = false;
        return;
    }
    line[line_used++] = c;
    if (line_used == sizeof(line) - 1) {
        write_record();
        line_broken = true;
    }
}

int ifc_kernel_printk(const char *fmt, ...)
{
    static char piece[256];
    unsigned long flags;
    va_list args;
    int length;
    int n;

    spin_lock_irqsave(&line_lock, flags);
    va_start(args, fmt);
    length = vscnprintf(piece, sizeof(piece), fmt, args);
    va_end(args);
    for (n = 0; n < length; n++)
        put_char(piece[n]);
    spin_unlock_irqrestore(&line_lock, flags);
    tell(IFC_GLUE_PRINTED, 0, length);
    return length;
}

void ifc_glue_flush(void)
{
    unsigned long flags;

    spin_lock_irqsave(&line_lock, flags);
    if (line_used)
        write_record();
    spin_unlock_irqrestore(&line_lock, flags);
}

void ifc_glue_capture_begin(char *text, size_t size, bool to_log)
{
    unsigned long flags;

    spin_lock_irqsave(&line_lock, flags);
    capture = text;
    capture[0] = '\0';
    capture_size = size;
    capture_used = 0;
    capture_lost = 0;
    capture_to_log = to_log;
    spin_unlock_irqrestore(&line_lock, flags);
}
EXPORT_SYMBOL_GPL(ifc_glue_capture_begin);

size_t ifc_glue_capture_end(void)
{
    unsigned long flags;
    size_t used;

    spin_lock_irqsave(&line_lock, flags);
    used = capture_used;
    capture = NULL;
    capture_to_log = true;
    spin_unlock_irqrestore(&line_lock, flags);
    return used;
}
EXPORT_SYMBOL_GPL(ifc_glue_capture_end);

size_t ifc_glue_capture_lost(void)
{
    return capture_lost;
}

unsigned long ifc_spin_lock_irqsave(spinlock_t *lock)
{
    unsigned long flags;

    spin_lock_irqsave(lock, flags);
    tell(IFC_GLUE_LOCK, 0, 0);
    held_from = accesses;
    held_since = ktime_get();
    return flags;
}

void ifc_spin_unlock_irqrestore(spinlock_t *lock, unsigned long flags)
{
    u64 held = ktime_to_ns(ktime_sub(ktime_get(), held_since));

    if (held > longest.nanoseconds)
        longest.nanoseconds = held;
    if (accesses - held_from > longest.accesses)
        longest.accesses = accesses - held_from;
    tell(IFC_GLUE_UNLOCK, 0, 0);
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

/* The window of the registers is all that is mapped; what lies beside it is nobody's. */
static bool known(uint32_t reg)
{
    if (reg - FE_BASE < FE_WINDOW_SIZE && reg % 4 == 0)
        return true;
    errors++;
    return false;
}

void ifc_kernel_mdelay(unsigned long msecs)
{
    tell(IFC_GLUE_WAIT, 0, msecs);
    mdelay(msecs);
    touch_softlockup_watchdog(); /* a chip that never answers is no reason to suspect this processor */
}

uint32_t get_frame_engine_data(uint32_t reg)
{
    u32 value;

    accesses++;
    if (!fe_base)
        value = ifc_sim_read(reg);
    else
        value = known(reg) ? readl(fe_base + (reg - FE_BASE)) : 0;
    tell(IFC_GLUE_READ, reg, value);
    return value;
}

void set_frame_engine_data(uint32_t reg, uint32_t value)
{
    accesses++;
    tell(IFC_GLUE_WRITE, reg, value);
    if (!fe_base)
        ifc_sim_write(reg, value);
    else if (known(reg))
        writel(value, fe_base + (reg - FE_BASE));
}

int GET_HIR(void)
{
    tell(IFC_GLUE_REVISION, 0, 0);
    return chip_revision;
}
