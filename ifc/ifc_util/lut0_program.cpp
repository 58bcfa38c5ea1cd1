// SPDX-License-Identifier: MIT OR GPL-2.0
// Manual programming of wide rules.
#include "ifc/ifc_util.h"

#include "fields.h"
#include "report.h"

namespace
{

// Known: the new command is not cut to two bits, so a wider one spills into the fields above. It ends with
// the word in word 2 and with the 30 command bits in word 1.
void setCommand(IFC_LUT0_Format &rule, uint field, uint command)
{
    const uint lsb = 2 * ((field - 1) % ifc::kFieldsPerCommandWord);
    if (field <= ifc::kFieldsPerCommandWord)
        rule.bits.command_1_16 = (rule.bits.command_1_16 & ~(3u << lsb)) | command << lsb;
    else
        rule.bits.command_17_31 = ((rule.bits.command_17_31 & ~(3u << lsb)) | command << lsb) & 0x3FFFFFFFu;
}

} // namespace

int ifc_set_lut0_rules(uint ifcIndex, IFC_Mode_t enMode, uint fieldIdx, uint command, uint mask_high,
                       uint mask_low, uint key_high, uint key_low)
{
    if (ifcIndex >= IFC_LUT0_RULES) {
        IFC_REPORT("Error: Lut0 Index is %d, which should less than %d\n", ifcIndex, IFC_LUT0_RULES);
        return -1;
    }
    if (fieldIdx == 0 || fieldIdx > IFC_LUT0_FIELDS) {
        IFC_REPORT("Error: lut0 Field Index should between 1 and 31\n");
        return -1;
    }
    if (ifc::commandRefused(fieldIdx, command)) {
        IFC_REPORT_COMMAND(fieldIdx);
        return -1;
    }

    IFC_LUT0_Format &rule = IFC_LUT0_Rule[ifcIndex];
    if (enMode == IFC_DISABLE) {
        rule.word[0] = 0; // Known: the whole rule goes off, with all its enable bits
    } else {
        rule.bits.valid = 1;
        rule.word[0] |= 1u << (fieldIdx - 1);
        setCommand(rule, fieldIdx, command);

        uint masks[32];
        uint keys[32];
        get_lut0_mask_key(static_cast<int>(ifcIndex), masks, keys);
        ifc::setArrayValue(masks, fieldIdx, {mask_high, mask_low});
        ifc::setArrayValue(keys, fieldIdx, {key_high, key_low});
        set_lut0_mask_key(static_cast<int>(ifcIndex), masks, keys);
    }
    (void)write_all_ifc_rule_to_hw();
    return 0;
}

void ifc_delete_lut0(int idx)
{
    __builtin_memset(&IFC_LUT0_Rule[idx], 0, sizeof IFC_LUT0_Rule[idx]);
}
