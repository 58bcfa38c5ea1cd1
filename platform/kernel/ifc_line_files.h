/* SPDX-License-Identifier: MIT OR GPL-2.0 */
/* The files that take a line and answer it (ifc_line_files.c), and what they share with the other files. */
#ifndef IFC_LINE_FILES_H
#define IFC_LINE_FILES_H

#include <linux/types.h>

struct dentry;

void ifc_line_files_create(struct dentry *folder, bool simulated);
/* After the files are removed. */
void ifc_line_files_free(void);

/* Full tables print 60 KiB; the rest is for traces. Text that does not fit is counted. */
#define IFC_FILES_TEXT_SIZE (512 * 1024)
/* The text of the present operation. Guarded by the callers' lock. */
extern char *ifc_files_text;

/* Like ifc_callers_lock(), but a signal ends the wait: then the result is not 0. */
int __must_check ifc_callers_lock_interruptible(void);

#endif
