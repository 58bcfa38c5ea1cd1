/* SPDX-License-Identifier: MIT OR GPL-2.0 */
/*
 * The lock that serialises the callers of the rule layer, and the text that their operations print. The
 * operator's files are such callers, and so are other modules.
 */
#ifndef IFC_CALLERS_H
#define IFC_CALLERS_H

#include <linux/compiler.h>

/* Allocates the text. Returns 0 or -ENOMEM. */
int ifc_callers_init(void);
void ifc_callers_exit(void);

/* Callers of operations hold this lock. Exported to other modules. May sleep. */
void ifc_callers_lock(void);
void ifc_callers_unlock(void);
/* Like ifc_callers_lock(), but a signal ends the wait: then the result is not 0. Not exported. */
int __must_check ifc_callers_lock_interruptible(void);

/* Full tables print 60 KiB; the rest is for traces. Text that does not fit is counted. */
#define IFC_CALLERS_TEXT_SIZE (512 * 1024)
/* The text of the present operation. Guarded by the lock. */
extern char *ifc_callers_text;

#endif
