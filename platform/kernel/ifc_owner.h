/* SPDX-License-Identifier: MIT OR GPL-2.0 */
/*
 * Who owns the rule tables. While somebody does, the operator's files refuse what changes them. All calls
 * under ifc_callers_lock(). Exported.
 */
#ifndef IFC_OWNER_H
#define IFC_OWNER_H

#include <linux/types.h>

/*
 * `who` is any address of the new owner's, `name` stays valid until it gives the tables back. False: taken.
 */
bool ifc_owner_take(const void *who, const char *name);
void ifc_owner_give(const void *who);

/* NULL: nobody. */
const char *ifc_owner_name(void);

#endif
