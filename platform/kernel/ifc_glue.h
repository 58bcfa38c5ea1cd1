/* SPDX-License-Identifier: MIT OR GPL-2.0 */
/* The C glue behind ifc_platform.h. */
#ifndef IFC_GLUE_H
#define IFC_GLUE_H

#include <linux/types.h>

/* What is mapped of the frame engine's registers, from FE_BASE on. */
#define FE_WINDOW_SIZE 0x1000

/*
 * Where register accesses go. NULL base: the simulated window. Negative revision: the platform's own query
 * (IFC_REVISION_QUERY) is asked for it.
 */
void ifc_glue_setup(void __iomem *base, int revision);

/* Accesses to what is no register of the window: a read gives 0, a write does nothing. */
unsigned int ifc_glue_errors(void);

/*
 * Between begin and end what the calling task prints is kept in text (its length is returned), and as much
 * of it as to_log says goes to the kernel log as well. What any other task or an interrupt prints meanwhile
 * goes to the log and not into text. text is a string at all times. One caller at a time.
 */
enum ifc_glue_to_log {
    IFC_GLUE_LOG_NOTHING, /* for tests */
    IFC_GLUE_LOG_ALL,
    IFC_GLUE_LOG_REPORTS, /* errors and traces: what says where it comes from */
};
void ifc_glue_capture_begin(char *text, size_t size, enum ifc_glue_to_log to_log);
size_t ifc_glue_capture_end(void);
/* How many characters did not find room since begin. */
size_t ifc_glue_capture_lost(void);

/* For tests. */
enum ifc_glue_event_kind {
    IFC_GLUE_READ,
    IFC_GLUE_WRITE,
    IFC_GLUE_LOCK,
    IFC_GLUE_UNLOCK,
    IFC_GLUE_WAIT,
    IFC_GLUE_REVISION,
};
struct ifc_glue_event {
    u8 kind;
    u32 reg;   /* of reads and writes */
    u32 value; /* of them; of a wait its milliseconds */
};
/* Hears of everything that the layer asks of the hardware, in order. NULL: nobody. */
void ifc_glue_watch(void (*watch)(const struct ifc_glue_event *event));
void ifc_glue_set_revision(int revision);
int ifc_glue_revision(void);
bool ifc_glue_simulated(void);

/* Ends a line that was left open. */
void ifc_glue_flush(void);

struct ifc_glue_hold {
    unsigned int accesses; /* register accesses in the longest section with interrupts off */
    u64 nanoseconds;       /* of the longest one */
};
struct ifc_glue_hold ifc_glue_longest_hold(void);

#endif
