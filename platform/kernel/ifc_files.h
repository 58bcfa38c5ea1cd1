/* SPDX-License-Identifier: MIT OR GPL-2.0 */
/* The operator's files under debugfs, and the mutex that serialises the rule layer's callers. */
#ifndef IFC_FILES_H
#define IFC_FILES_H

#include <linux/types.h>

struct file_operations;

int ifc_files_init(const char *backend, bool simulated);
void ifc_files_exit(void);

/* Callers of operations hold this lock, as the files do. Exported to other modules. May sleep. */
void ifc_callers_lock(void);
void ifc_callers_unlock(void);

/* The file `ruleset`, see ruleset/edits.h. */
extern const struct file_operations ifc_set_fops;

#endif
