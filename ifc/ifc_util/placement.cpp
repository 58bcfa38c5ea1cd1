// SPDX-License-Identifier: MIT OR GPL-2.0
// Places whole requests.
#include "ifc/ifc_util.h"

#include "fields.h"
#include "report.h"

namespace
{

// Known: a request is counted, and put into LUT0, up to 31 conditions; the LUT1 loop goes on to 48.
constexpr uint kCountedConditions = 31;
constexpr uint kLut1LargestCount = 8; // a larger request goes to LUT0 while that has room

uint countEntries(const orva_ifc_param &request)
{
    uint count = 0;
    for (uint i = 0; i < kCountedConditions && request.fieldIdx[i] != 0; ++i)
        count += ifc::isMac(request.fieldIdx[i]) ? 2 : 1;
    return count;
}

int firstFreeLut0()
{
    for (uint rule = 0; rule < IFC_LUT0_RULES; ++rule)
        if (!IFC_LUT0_Rule[rule].bits.valid)
            return static_cast<int>(rule);
    return -1;
}

bool lut1InUse(uint entry)
{
    return IFC_LUT1_Rule[entry].type0.valid != 0;
}

// Both return the action index, or -1 with what was written left in place.
int placeInLut0(const orva_ifc_param &request, uint rule)
{
    for (uint i = 0; i < kCountedConditions && request.fieldIdx[i] != 0; ++i) {
        if (ifc_set_lut0_rules(rule, IFC_ENABLE, request.fieldIdx[i], request.command[i],
                               request.mask_high[i], request.mask_low[i], request.key_high[i],
                               request.key_low[i]) != 0) {
            IFC_REPORT("lut0 configure fail!\n");
            return -1;
        }
    }
    return static_cast<int>(rule);
}

int placeInLut1(const orva_ifc_param &request, uint count)
{
    int place = lut1_has_free_rule(count);
    if (place == -1) {
        IFC_REPORT("lut1 has no space yet, set rule fail!\n");
        return -1;
    }
    for (uint i = 0; i < IFC_PARAM_CONDITIONS && request.fieldIdx[i] != 0; ++i) {
        const uint field = request.fieldIdx[i];
        const bool last = i == IFC_PARAM_CONDITIONS - 1 || request.fieldIdx[i + 1] == 0;
        const bool mac = ifc::isMac(field);
        uint mask = request.mask_low[i];
        if (mac || ifc::isWord(field)) {
            mask = change_mask_from_48_to_32(mac ? request.mask_high[i] : 0, mask, mac ? 48 : 32);
            if (mask == 0xFFFFFFFFu) {
                IFC_REPORT("mask error, configure fail!\n");
                return -1;
            }
        }
        place = ifc_set_lut1_rules(static_cast<uint>(place), IFC_ENABLE, last, field, request.command[i],
                                   mask, mac ? request.key_high[i] : 0, request.key_low[i]);
        if (place == -1) {
            IFC_REPORT("lut1 configure fail!\n");
            return -1;
        }
    }
    return place - 1 + static_cast<int>(IFC_LUT0_RULES);
}

} // namespace

int lut1_has_free_rule(uint field_num)
{
    int best = -1;
    uint bestLength = IFC_LUT1_SUB_TABLE + 1;
    uint length = 0;
    for (uint entry = 0; entry < IFC_LUT1_RULES; ++entry) {
        const uint inSubTable = entry % IFC_LUT1_SUB_TABLE;
        if (inSubTable == 0)
            length = 0;
        length = lut1InUse(entry) ? 0 : length + 1;
        const bool ends = inSubTable == IFC_LUT1_SUB_TABLE - 1 || lut1InUse(entry + 1);
        if (length != 0 && ends && length >= field_num && length < bestLength) {
            best = static_cast<int>(entry + 1 - length);
            bestLength = length;
        }
    }
    return best;
}

int ifc_set_lut_rules_auto(struct orva_ifc_param *ifc_param_ptr)
{
    const uint count = countEntries(*ifc_param_ptr);
    if (count == 0) {
        IFC_REPORT("Parameters should not be NULL!\n");
        return -1;
    }
    const int rule = firstFreeLut0();
    const int action = count <= kLut1LargestCount || rule == -1
                           ? placeInLut1(*ifc_param_ptr, count)
                           : placeInLut0(*ifc_param_ptr, static_cast<uint>(rule));
    if (action == -1)
        return -1;
    (void)write_all_ifc_rule_to_hw();
    IFC_REPORT("action index is %d\n", action);
    return action;
}
