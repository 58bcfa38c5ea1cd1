/* SPDX-License-Identifier: MIT OR GPL-2.0 */
/* The C glue that implements ifc_platform.h. */
#ifndef IFC_GLUE_H
#define IFC_GLUE_H

#include <linux/types.h>

/* How many bytes of the frame engine's registers are mapped, from FE_BASE on. */
#define FE_WINDOW_SIZE 0x1000

/*
 * Sets where register accesses go. NULL base: to the simulated window. Negative revision: the platform's own
 * query (IFC_REVISION_QUERY) answers.
 */
void ifc_glue_setup(void __iomem *base, int revision);

/* Accesses outside the registers of the window. There a read gives 0 and a write does nothing. */
unsigned int ifc_glue_errors(void);

/* Transfers that did not report completion. */
unsigned int ifc_glue_timeouts(void);

/*
 * Between begin and end, text receives what the calling task prints. to_log says how much of it goes to the
 * kernel log as well. What another task or an interrupt prints meanwhile goes to the log only. text is always
 * NUL-terminated. end returns its length. One caller at a time.
 */
enum ifc_glue_to_log {
    IFC_GLUE_LOG_NOTHING, /* for tests */
    IFC_GLUE_LOG_ALL,
    IFC_GLUE_LOG_REPORTS, /* errors and traces, which name their source and line */
};
void ifc_glue_capture_begin(char *text, size_t size, enum ifc_glue_to_log to_log);
size_t ifc_glue_capture_end(void);
/* How many characters since begin did not fit into text. */
size_t ifc_glue_capture_lost(void);

/* For tests. */
enum ifc_glue_event_kind {
    IFC_GLUE_READ,
    IFC_GLUE_WRITE,
    IFC_GLUE_LOCK,
    IFC_GLUE_UNLOCK,
    IFC_GLUE_WAIT,
    IFC_GLUE_REVISION,
    IFC_GLUE_PRINTED, /* a piece of text, after it was captured */
};
struct ifc_glue_event {
    u8 kind;
    u32 reg;   /* for reads and writes */
    u32 value; /* for reads and writes; the milliseconds of a wait; the length of a piece */
};
/* Reports an event of the glue's own sources. */
void ifc_glue_tell(enum ifc_glue_event_kind kind, u32 reg, u32 value);
/* Calls watch for each event, in order. NULL: for none. */
void ifc_glue_watch(void (*watch)(const struct ifc_glue_event *event));
void ifc_glue_set_revision(int revision);
int ifc_glue_revision(void);
bool ifc_glue_simulated(void);

/* Ends a line that was left open. */
void ifc_glue_flush(void);

/* The maxima, each on its own, of all times that ifc_spin_lock_irqsave() held the lock. */
struct ifc_glue_hold {
    unsigned int accesses; /* register accesses during one of them */
    u64 nanoseconds;
};
struct ifc_glue_hold ifc_glue_longest_hold(void);

#endif
