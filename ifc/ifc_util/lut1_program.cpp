// SPDX-License-Identifier: MIT OR GPL-2.0
// Manual programming of narrow entries.
#include "ifc/ifc_util.h"

#include "ifc/records/narrow_runs.h"

#include "report.h"

int ifc_set_lut1_rules(uint ifcIndex, IFC_Mode_t enMode, uint endFlag, uint fieldIdx, uint command, uint mask,
                       uint key_high, uint key_low)
{
    if (ifcIndex >= IFC_LUT1_RULES) {
        IFC_REPORT("Error: Lut1 Index is %d, which should less than %d\n", ifcIndex, IFC_LUT1_RULES);
        return -1;
    }
    if (!ifc::isNarrowField(fieldIdx)) {
        IFC_REPORT_FIELD_INDEX(fieldIdx);
        return -1;
    }
    if (ifc::isCommandRefused(fieldIdx, command)) {
        IFC_REPORT_COMMAND(fieldIdx);
        return -1;
    }
    if (ifc::isMac(fieldIdx) && ifc::isLastOfSubTable(ifcIndex)) {
        IFC_REPORT("Error: fieldIdx:%s, ifcIndex:%d, forbidden cross sub-table!\n", ifc_field_name[fieldIdx],
                   ifcIndex);
        return -1;
    }

    uint entries = 1;
    if (enMode == IFC_DISABLE) {
        IFC_LUT1_Rule[ifcIndex].type0.valid = 0; // Known: the second entry of a MAC condition stays valid
    } else {
        // Known: never true, since the check of the sub-table has refused entry 31. The interface keeps it.
        if (ifcIndex >= IFC_LUT1_RULES - 1 && ifc::narrowEntries(fieldIdx, mask) > 1) {
            IFC_REPORT("Error: Lut1 Index is %d, and filed id MAC, which should less than %d\n", ifcIndex,
                       IFC_LUT1_RULES - 1);
            return -1;
        }
        entries =
            ifc::writeNarrow(&IFC_LUT1_Rule[ifcIndex], fieldIdx, command, endFlag, mask, key_high, key_low);
    }
    (void)write_all_ifc_rule_to_hw();
    return static_cast<int>(ifcIndex + entries);
}

void ifc_delete_lut1(int idx)
{
    __builtin_memset(&IFC_LUT1_Rule[idx], 0, sizeof IFC_LUT1_Rule[idx]);
}
