/* SPDX-License-Identifier: MIT OR GPL-2.0 */
/* The files that take a line and answer it. */
#ifndef IFC_LINE_FILES_H
#define IFC_LINE_FILES_H

#include <linux/types.h>

struct dentry;

void ifc_line_files_create(struct dentry *folder, bool simulated);
/* After the files are removed. */
void ifc_line_files_free(void);

#endif
