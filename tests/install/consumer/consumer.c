/* SPDX-License-Identifier: MIT OR GPL-2.0 */
/*
 * Another project's driver. It provides the services, calls one operation and brings one ordered rule to the
 * chip. Every transfer completes.
 */
#include "ifc/ifc_regs.h"
#include "ifc/ifc_util.h"
#include "ruleset/ruleset.h"

#include <stdarg.h>
#include <stdio.h>

static IFC_Private_T driver;
IFC_Private_T *gpIfcPriv = &driver;
IFC_LUT0_Format IFC_LUT0_Rule[IFC_LUT0_RULES];
IFC_LUT1_Format IFC_LUT1_Rule[IFC_LUT1_RULES];
uint8 ifc_field_name[32][IFC_FIELD_NAME_BYTES];
uint32_t ifcSendToPpe;

static unsigned reads, writes;

uint32_t get_frame_engine_data(uint32_t reg)
{
    ++reads;
    return reg == IFC_RULE_CFG ? IFC_RULE_CFG_DONE : 0;
}

void set_frame_engine_data(uint32_t reg, uint32_t value)
{
    (void)reg;
    (void)value;
    ++writes;
}

int GET_HIR(void)
{
    return 0;
}

int printk(const char *fmt, ...)
{
    va_list arguments;
    va_start(arguments, fmt);
    const int length = vprintf(fmt, arguments);
    va_end(arguments);
    return length;
}

void mdelay(unsigned long msecs)
{
    (void)msecs;
}

unsigned long ifc_spin_lock_irqsave(spinlock_t *lock)
{
    lock->locked = 1;
    return 0;
}

void ifc_spin_unlock_irqrestore(spinlock_t *lock, unsigned long flags)
{
    (void)flags;
    lock->locked = 0;
}

int main(void)
{
    if (write_all_ifc_rule_to_hw() != 0 || driver.lock.locked != 0)
        return 1;
    printf("%u writes, %u reads\n", writes, reads);

    static struct ifc_ruleset set;
    static struct ifc_rule rule = {.count = 1, .condition = {{.field = DPORT, .mask = 0xFFFF, .key = 53}}};
    ifc_ruleset_init(&set);
    if (ifc_ruleset_insert(&set, IFC_RULESET_LAST, &rule, NULL) != IFC_RULESET_OK ||
        ifc_ruleset_apply(&set, 0, NULL) != IFC_RULESET_OK)
        return 1;
    printf("the rule has number %d\n", ifc_ruleset_number(ifc_ruleset_place_of(&set, 0)));
    return 0;
}
