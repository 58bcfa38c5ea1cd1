// SPDX-License-Identifier: MIT OR GPL-2.0
// Prints the shadow tables for an operator.
#include "ifc/ifc_util.h"

#include "fields.h"

namespace
{

void dumpLut0Fields(uint index, const IFC_LUT0_Format &rule)
{
    uint masks[32];
    uint keys[32];
    get_lut0_mask_key(static_cast<int>(index), masks, keys);
    for (uint field = 1; field <= IFC_LUT0_FIELDS; ++field) {
        if (!ifc::lut0Enabled(rule, field))
            continue;
        const uint command = ifc::lut0Command(rule, field);
        const ifc::Wide mask = ifc::arrayValue(masks, field);
        const ifc::Wide key = ifc::arrayValue(keys, field);
        if (ifc::isMac(field))
            (void)printk(">>>>Field-%d:%s, Command:%d, Mask:%x_%x, Key:%x_%x\n", field, ifc_field_name[field],
                         command, mask.high, mask.low, key.high, key.low);
        else
            (void)printk(">>>>Field-%d:%s, Command:%d, Mask:%x, Key:%x\n", field, ifc_field_name[field],
                         command, mask.low, key.low);
    }
}

void formatFieldName(char *name, uint field)
{
    if (field < UDF0)
        (void)snprintf(name, IFC_FIELD_NAME_BYTES, "%s", ifc_field_name[field]);
    else
        (void)snprintf(name, IFC_FIELD_NAME_BYTES, "UDF_%d", field - UDF0);
}

uint wordEntryMask(const IFC_LUT1_Format &entry)
{
    const uint length = entry.type1.length;
    if (length == 0)
        return 0xFFFFFFFF;
    return entry.type1.direction == IFC_LUT1_FROM_TOP ? 0xFFFFFFFFu << (32 - length) : (1u << length) - 1;
}

} // namespace

int ifc_dump_lut0_rules(void)
{
    for (uint index = 0; index < IFC_LUT0_RULES; ++index) {
        const IFC_LUT0_Format &rule = IFC_LUT0_Rule[index];
        if (!rule.bits.valid) {
            (void)printk("\nLUT0-%d: valid:0\n", index);
            continue;
        }
        (void)printk("\nLUT0-%d: valid:1, enable:%x\n", index, rule.bits.enable);
        dumpLut0Fields(index, rule);
        (void)ifc_dump_action(static_cast<int>(index));
    }
    return 0;
}

int ifc_dump_lut1_rules(void)
{
    for (uint index = 0; index < IFC_LUT1_RULES; ++index) {
        const IFC_LUT1_Format &entry = IFC_LUT1_Rule[index];
        if (!entry.type0.valid) {
            (void)printk("\nLUT1-%d: valid:0\n", index);
            continue;
        }
        char name[IFC_FIELD_NAME_BYTES];
        formatFieldName(name, entry.type0.field);
        if (entry.type0.type == 0)
            (void)printk(
                "\nLUT1-%d: valid:1, end:%d, Type:0, Sel:%d, Command:%d, Field:%s, Mask:%04x, Key:%04x\n",
                index, entry.type0.end, entry.type0.sel, entry.type0.command, name, entry.type0.mask,
                entry.type0.key);
        else
            (void)printk("\nLUT1-%d: valid:1, end:%d, Type:1, Direction:%d, Command:%d, Field:%s, Mask:%08x, "
                         "Key:%08x\n",
                         index, entry.type1.end, entry.type1.direction, entry.type1.command, name,
                         wordEntryMask(entry), entry.type1.key);
        // Each entry's own action slot, also inside a chain.
        (void)ifc_dump_action(static_cast<int>(index + IFC_LUT0_RULES));
    }
    return 0;
}

int ifc_dump_all_rules(void)
{
    (void)ifc_dump_lut0_rules();
    (void)ifc_dump_lut1_rules();
    return 0;
}
