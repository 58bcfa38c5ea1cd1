// SPDX-License-Identifier: MIT OR GPL-2.0
// The kernel's services for the rule layer: log lines, lock, delay, register access.
#include <linux/delay.h>
#include <linux/export.h>
#include <linux/io.h>
#include <linux/kernel.h>
#include <linux/ktime.h>
#include <linux/nmi.h>
#include <linux/preempt.h>
#include <linux/printk.h>
#include <linux/sched.h>
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

/*
 * The layer prints lines in pieces, but each call of the kernel's printk begins a new record. So pieces are
 * joined here. A record is written when its line ends or the buffer is full.
 */
struct open_line {
    char text[256];
    size_t used;
    bool broken; /* the buffer was full, and the line has not ended */
};
static DEFINE_SPINLOCK(line_lock);
static struct open_line captured_line; /* of the operation whose text is captured */
static struct open_line line;          /* of all other callers */

static struct task_struct *capture_task;
static char *capture;
static size_t capture_size;
static size_t capture_used;
static size_t capture_lost;
static enum ifc_glue_to_log capture_to_log;

void ifc_glue_setup(void __iomem *base, int revision)
{
    fe_base = base;
    chip_revision = revision;
    accesses = 0;
    errors = 0;
    timeouts = 0;
    memset(&longest, 0, sizeof(longest));
}

static void tell(enum ifc_glue_event_kind kind, u32 reg, u32 value)
{
    struct ifc_glue_event event = {kind, reg, value};
    void (*watch)(const struct ifc_glue_event *event) = READ_ONCE(watcher);

    if (watch)
        watch(&event);
}

static void write_record(struct open_line *to)
{
    to->text[to->used] = '\0';
    pr_info("%s\n", to->text);
    to->used = 0;
}

static void log_char(struct open_line *to, char c)
{
    if (c == '\n') {
        if (to->used || !to->broken)
            write_record(to);
        to->broken = false;
        return;
    }
    to->text[to->used++] = c;
    if (to->used == sizeof(to->text) - 1) {
        write_record(to);
        to->broken = true;
    }
}

static void capture_char(char c)
{
    if (capture_used + 1 < capture_size) {
        capture[capture_used++] = c;
        capture[capture_used] = '\0';
    } else {
        capture_lost++;
    }
}

/* Whether the captured task prints this itself, and not an interrupt during it. */
static bool is_captured(void)
{
    return capture && current == capture_task && in_task();
}

/* Errors and traces name their source and line. What an operation prints on request does not. */
static bool is_report(const char *fmt)
{
    static const char place[] = "%s [%d]: ";

    return !strncmp(fmt, place, sizeof(place) - 1);
}

int ifc_kernel_printk(const char *fmt, ...)
{
    static char piece[256];
    struct open_line *to;
    unsigned long flags;
    bool captured;
    bool logged;
    va_list args;
    int length;
    int n;

    spin_lock_irqsave(&line_lock, flags);
    captured = is_captured();
    logged = !captured || capture_to_log == IFC_GLUE_LOG_ALL ||
             (capture_to_log == IFC_GLUE_LOG_REPORTS && is_report(fmt));
    to = captured ? &captured_line : &line;
    va_start(args, fmt);
    length = vscnprintf(piece, sizeof(piece), fmt, args);
    va_end(args);
    for (n = 0; n < length; n++) {
        if (captured)
            capture_char(piece[n]);
        if (logged)
            log_char(to, piece[n]);
    }
    spin_unlock_irqrestore(&line_lock, flags);
    if (captured)
        tell(IFC_GLUE_PRINTED, 0, length);
    return length;
}

void ifc_glue_flush(void)
{
    unsigned long flags;

    spin_lock_irqsave(&line_lock, flags);
    if (line.used)
        write_record(&line);
    spin_unlock_irqrestore(&line_lock, flags);
}

void ifc_glue_capture_begin(char *text, size_t size, enum ifc_glue_to_log to_log)
{
    unsigned long flags;

    spin_lock_irqsave(&line_lock, flags);
    capture_task = current;
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
    if (captured_line.used)
        write_record(&captured_line);
    captured_line.broken = false;
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
    tell(IFC_GLUE_WAIT, 0, msecs);
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
    tell(IFC_GLUE_READ, reg, value);
    return value;
}

void set_frame_engine_data(uint32_t reg, uint32_t value)
{
    accesses++;
    if (reg == IFC_RULE_CFG)
        polls = 0;
    tell(IFC_GLUE_WRITE, reg, value);
    if (!fe_base)
        ifc_sim_write(reg, value);
    else if (known(reg))
        writel(value, fe_base + (reg - FE_BASE));
}

int GET_HIR(void)
{
    tell(IFC_GLUE_REVISION, 0, 0);
    return ifc_glue_revision();
}
