// SPDX-License-Identifier: MIT OR GPL-2.0
// Places whole requests.
#include "ifc/ifc_util.h"

#include "ifc/records/chip.h"
#include "ifc/records/narrow_runs.h"
#include "ifc/records/wide_record.h"

#include "report.h"

namespace
{

uint countEntries(const orva_ifc_param &request)
{
    uint count = 0;
    for (uint i = 0; i < ifc::kCountedConditions && request.fieldIdx[i] != 0; ++i)
        count += ifc::countedEntries(request.fieldIdx[i]);
    return count;
}

int firstFreeLut0()
{
    for (uint rule = 0; rule < IFC_LUT0_RULES; ++rule)
        if (!ifc::wideValid(IFC_LUT0_Rule[rule].word))
            return static_cast<int>(rule);
    return -1;
}

// Both return the action index, or -1. After a failure the conditions written so far stay in place.
int placeInLut0(const orva_ifc_param &request, uint rule)
{
    for (uint i = 0; i < ifc::kCountedConditions && request.fieldIdx[i] != 0; ++i) {
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
            if (mask == ifc::kReduceFailed) {
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
    return static_cast<int>(ifc::actionOfEntry(static_cast<uint>(place) - 1));
}

} // namespace

int lut1_has_free_rule(uint field_num)
{
    int best = -1;
    uint bestLength = IFC_LUT1_SUB_TABLE + 1;
    ifc::FreeRun run;
    for (uint from = 0; ifc::nextFreeRun(IFC_LUT1_Rule, from, run); from = run.first + run.length) {
        if (run.length >= field_num && run.length < bestLength) {
            best = static_cast<int>(run.first);
            bestLength = run.length;
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
    const int action = count < ifc::kWideFromCount || rule == -1
                           ? placeInLut1(*ifc_param_ptr, count)
                           : placeInLut0(*ifc_param_ptr, static_cast<uint>(rule));
    if (action == -1)
        return -1;
    (void)write_all_ifc_rule_to_hw();
    IFC_REPORT("action index is %d\n", action);
    return action;
}
