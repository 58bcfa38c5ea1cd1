// SPDX-License-Identifier: MIT OR GPL-2.0
// Prints the shadow tables for an operator.
#include "ifc/ifc_util.h"

#include "ifc/records/chip.h"
#include "ifc/records/narrow_record.h"
#include "ifc/records/wide_record.h"

#include "field_arrays.h"

namespace
{

void dumpLut0Fields(uint index)
{
    const uint32_t *rule = IFC_LUT0_Rule[index].word;
    uint masks[ifc::kArrayWords];
    uint keys[ifc::kArrayWords];
    get_lut0_mask_key(static_cast<int>(index), masks, keys);
    for (uint field = ifc::nextWideField(rule, 0); field != 0; field = ifc::nextWideField(rule, field)) {
        const uint command = ifc::wideCommand(rule, field);
        const uint64_t mask = ifc::arrayValue(masks, field);
        const uint64_t key = ifc::arrayValue(keys, field);
        if (ifc::isMac(field))
            (void)printk(">>>>Field-%d:%s, Command:%d, Mask:%x_%x, Key:%x_%x\n", field, ifc_field_name[field],
                         command, ifc::highWord(mask), ifc::lowWord(mask), ifc::highWord(key),
                         ifc::lowWord(key));
        else
            (void)printk(">>>>Field-%d:%s, Command:%d, Mask:%x, Key:%x\n", field, ifc_field_name[field],
                         command, ifc::lowWord(mask), ifc::lowWord(key));
    }
}

void formatFieldName(char *name, uint field)
{
    if (field < UDF0)
        (void)snprintf(name, IFC_FIELD_NAME_BYTES, "%s", ifc_field_name[field]);
    else
        (void)snprintf(name, IFC_FIELD_NAME_BYTES, "UDF_%d", field - UDF0);
}

} // namespace

int ifc_dump_lut0_rules(void)
{
    for (uint index = 0; index < IFC_LUT0_RULES; ++index) {
        const IFC_LUT0_Format &rule = IFC_LUT0_Rule[index];
        if (!ifc::wideValid(rule.word)) {
            (void)printk("\nLUT0-%d: valid:0\n", index);
            continue;
        }
        (void)printk("\nLUT0-%d: valid:1, enable:%x\n", index, ifc::wideEnabled(rule.word));
        dumpLut0Fields(index);
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
                         ifc::narrowMask(entry.word), entry.type1.key);
        // Known: each entry prints its action. In a chain only the action of the last entry applies.
        (void)ifc_dump_action(static_cast<int>(ifc::actionOfEntry(index)));
    }
    return 0;
}

int ifc_dump_all_rules(void)
{
    (void)ifc_dump_lut0_rules();
    (void)ifc_dump_lut1_rules();
    return 0;
}
