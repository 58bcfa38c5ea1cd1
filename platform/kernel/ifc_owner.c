// SPDX-License-Identifier: MIT OR GPL-2.0
#include "ifc_owner.h"

#include <linux/export.h>

static const void *owner;
static const char *owner_name;

bool ifc_owner_take(const void *who, const char *name)
{
    if (owner && owner != who)
        return false;
    owner = who;
    owner_name = name;
    return true;
}
EXPORT_SYMBOL_GPL(ifc_owner_take);

void ifc_owner_give(const void *who)
{
    if (owner != who)
        return;
    owner = NULL;
    owner_name = NULL;
}
EXPORT_SYMBOL_GPL(ifc_owner_give);

const char *ifc_owner_name(void)
{
    return owner_name;
}
EXPORT_SYMBOL_GPL(ifc_owner_name);
