// SPDX-License-Identifier: MIT OR GPL-2.0
// Prints wide rules field by field, from the hardware or from the shadow table.
#include "ifc/ifc_util.h"

#include "ifc/records/wide_record.h"

#include "field_arrays.h"
#include "report.h"
#include "window.h"

int ifc_parser_lut0_rule(IFC_LUT0_Format *p_LUT0_Rule, int ruleId)
{
    if (!ifc::wideValid(p_LUT0_Rule->word)) {
        (void)printk("LUT0-%2d : Disable.\n", ruleId);
        return 0;
    }
    const uint32_t *rule = p_LUT0_Rule->word;
    uint masks[ifc::kArrayWords];
    uint keys[ifc::kArrayWords];
    set_lut0_mask_key_to_array(p_LUT0_Rule, masks, keys);
    for (uint field = 1; field <= IFC_LUT0_FIELDS; ++field) {
        if (ifc::wideEnables(rule, field)) {
            (void)printk("LUT0-%2d field:%2d %s, Enable, ", ruleId, field, ifc_field_name[field]);
            (void)printk("CMD:%d, ", ifc::wideCommand(rule, field));
            const uint64_t mask = ifc::arrayValue(masks, field);
            const uint64_t key = ifc::arrayValue(keys, field);
            if (ifc::isMac(field))
                (void)printk("Mask:%x_%x, Key:%x_%x\n", ifc::highWord(mask), ifc::lowWord(mask),
                             ifc::highWord(key), ifc::lowWord(key));
            else
                (void)printk("Mask:%x, Key:%x\n", ifc::lowWord(mask), ifc::lowWord(key));
        } else if (ifc::traces(DBG_ST)) {
            IFC_REPORT("LUT0-%2d field:%2d %s; Disable.\n", ruleId, field, ifc_field_name[field]);
        }
    }
    return 0;
}

int ifc_get_rule_from_reg(int lut0Idx)
{
    if (lut0Idx < 0 || lut0Idx >= static_cast<int>(IFC_LUT0_RULES)) {
        (void)printk("ERROR:Lut0Idx should be between 0 and %d.\n", IFC_LUT0_RULES); // Known: 8 is refused
        return -1;
    }
    const uint8_t index = static_cast<uint8_t>(lut0Idx);
    IFC_LUT0_Format record; // every word of it is read
    for (int row = 0; row < IFC_LUT0_BODY_ROWS; ++row) {
        (void)ifcSetRuleConfig(index, static_cast<uint8_t>(row), IFC_SEL_LUT0, IFC_TYPE_READ);
        for (int n = 0; n < IFC_ROW_WORDS; ++n)
            record.word[ifc_lut0_row_word(row, n)] =
                get_frame_engine_data(ifc::dataRegister(static_cast<uint>(n)));
    }
    (void)ifcSetRuleConfig(index, IFC_LUT0_HEAD_ROW, IFC_SEL_LUT0, IFC_TYPE_READ);
    record.word[0] = get_frame_engine_data(IFC_DATA0);
    return ifc_parser_lut0_rule(&record, lut0Idx);
}

int ifc_get_rule_from_hw(int ruleId)
{
    const int all = static_cast<int>(IFC_LUT0_RULES);
    if (ruleId < 0 || ruleId > all) {
        // Known: prints the function's name instead of the file's, and no brackets.
        (void)printk("%s %d : lut0Id should be less than %d\n", __func__, __LINE__, all);
        return -1;
    }
    const int first = ruleId == all ? 0 : ruleId;
    const int last = ruleId == all ? all - 1 : ruleId;
    for (int rule = first; rule <= last; ++rule)
        (void)ifc_parser_lut0_rule(&IFC_LUT0_Rule[rule], rule);
    return 0;
}
