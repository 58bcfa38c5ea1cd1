// SPDX-License-Identifier: MIT OR GPL-2.0
// Manual programming of wide rules.
#include "ifc/ifc_util.h"

#include "ifc/records/wide_record.h"

#include "field_arrays.h"
#include "report.h"

int ifc_set_lut0_rules(uint ifcIndex, IFC_Mode_t enMode, uint fieldIdx, uint command, uint mask_high,
                       uint mask_low, uint key_high, uint key_low)
{
    if (ifcIndex >= IFC_LUT0_RULES) {
        IFC_REPORT("Error: Lut0 Index is %d, which should less than %d\n", ifcIndex, IFC_LUT0_RULES);
        return -1;
    }
    if (!ifc::isWideField(fieldIdx)) {
        IFC_REPORT("Error: lut0 Field Index should between 1 and 31\n");
        return -1;
    }
    if (ifc::isCommandRefused(fieldIdx, command)) {
        IFC_REPORT_COMMAND(fieldIdx);
        return -1;
    }

    IFC_LUT0_Format &rule = IFC_LUT0_Rule[ifcIndex];
    if (enMode == IFC_DISABLE) {
        rule.word[0] = 0; // Known: switches off the whole rule, with all its enable bits
    } else {
        rule.word[0] |= ifc::kWideValid | 1u << (fieldIdx - 1);
        ifc::setWideCommand(rule.word, fieldIdx, command); // Known: not cut to two bits

        uint masks[ifc::kArrayWords];
        uint keys[ifc::kArrayWords];
        get_lut0_mask_key(static_cast<int>(ifcIndex), masks, keys);
        ifc::setArrayValue(masks, fieldIdx, mask_high, mask_low);
        ifc::setArrayValue(keys, fieldIdx, key_high, key_low);
        set_lut0_mask_key(static_cast<int>(ifcIndex), masks, keys);
    }
    (void)write_all_ifc_rule_to_hw();
    return 0;
}

void ifc_delete_lut0(int idx)
{
    __builtin_memset(&IFC_LUT0_Rule[idx], 0, sizeof IFC_LUT0_Rule[idx]);
}
