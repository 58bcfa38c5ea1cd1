/* SPDX-License-Identifier: MIT OR GPL-2.0 */
/*
 * Who owns the rule tables. While somebody does, the operator's files refuse what changes them. All calls
 * under ifc_callers_lock(). Exported.
 */
#ifndef IFC_OWNER_H
#define IFC_OWNER_H

#include <linux/types.h>

/*
 * `who` identifies the owner: any address of its own. `name` must stay valid until it gives the tables back.
 * True also if it owns them already; false: somebody else does.
 */
bool ifc_owner_take(const void *who, const char *name);
/* Gives the tables back. No effect for anybody but the owner. */
void ifc_owner_give(const void *who);

/* The owner's name. NULL: nobody owns the tables. */
const char *ifc_owner_name(void);

#endif
