/* SPDX-License-Identifier: MIT OR GPL-2.0 */
/* The operator's files under debugfs. */
#ifndef IFC_FILES_H
#define IFC_FILES_H

#include <linux/types.h>

#include "ifc_callers.h"

struct file_operations;

int ifc_files_init(const char *backend, bool simulated);
void ifc_files_exit(void);

/* The file `ruleset`, see ruleset/edits.h. */
extern const struct file_operations ifc_set_fops;

#endif
