// SPDX-License-Identifier: MIT OR GPL-2.0
#include "ifc_callers.h"

#include <linux/export.h>
#include <linux/mutex.h>

#include "ifc_compat.h"

static DEFINE_MUTEX(callers);

char *ifc_callers_text;

int ifc_callers_init(void)
{
    ifc_callers_text = kvzalloc(IFC_CALLERS_TEXT_SIZE, GFP_KERNEL);
    return ifc_callers_text ? 0 : -ENOMEM;
}

void ifc_callers_exit(void)
{
    kvfree(ifc_callers_text);
}

void ifc_callers_lock(void)
{
    mutex_lock(&callers);
}
EXPORT_SYMBOL_GPL(ifc_callers_lock);

int ifc_callers_lock_interruptible(void)
{
    return mutex_lock_interruptible(&callers);
}

void ifc_callers_unlock(void)
{
    mutex_unlock(&callers);
}
EXPORT_SYMBOL_GPL(ifc_callers_unlock);
