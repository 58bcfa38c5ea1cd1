// SPDX-License-Identifier: MIT OR GPL-2.0
// What the rule layer prints: lines for the kernel's log, and text for a reader.
#include <linux/export.h>
#include <linux/kernel.h>
#include <linux/preempt.h>
#include <linux/printk.h>
#include <linux/sched.h>
#include <linux/spinlock.h>
#include <linux/string.h>

#include "ifc/ifc_glb.h"
#include "ifc_glue.h"

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
        ifc_glue_tell(IFC_GLUE_PRINTED, 0, (u32)length);
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
