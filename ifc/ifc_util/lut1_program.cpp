// SPDX-License-Identifier: MIT OR GPL-2.0
// Manual programming of narrow entries.
#include "ifc/ifc_util.h"

#include "fields.h"
#include "report.h"

namespace
{

// A 32-bit comparison under a mask of `length` bits from one end; 32 is stored as 0.
void setWordEntry(IFC_LUT1_Format &entry, uint field, uint command, uint end, uint direction, uint length,
                  uint key)
{
    entry.type1.valid = 1;
    entry.type1.end = end & 1;
    entry.type1.type = 1;
    entry.type1.direction = direction & 1;
    entry.type1.command = command & 1;
    entry.type1.field = field & 0x3F;
    entry.type1.length = length & 0x1F;
    entry.word[1] = key;
}

// A 16-bit comparison. Known: bits 10 to 12 keep what a former 32-bit entry left there.
void setHalfEntry(IFC_LUT1_Format &entry, uint field, uint command, uint end, uint sel, uint mask, uint key)
{
    entry.type0.valid = 1;
    entry.type0.end = end & 1;
    entry.type0.type = 0;
    entry.type0.sel = sel & 3;
    entry.type0.command = command & 3;
    entry.type0.field = field & 0x3F;
    entry.word[1] = mask << 16 | (key & 0xFFFF);
}

// A reduced 48-bit mask, split into the two halves of an address.
struct MacMask {
    uint high;      // 16-bit mask of address bits 47..32
    uint lowLength; // number of masked bits among address bits 31..0
    uint direction;
};

MacMask splitMacMask(uint reduced)
{
    const uint direction = reduced >> 31;
    const uint count = reduced & 0x3F;
    if (count == 0 || count > 47)
        return {0xFFFF, 32, direction};
    if (direction == IFC_LUT1_FROM_TOP) {
        const uint high = count < 16 ? count : 16;
        return {0xFFFFu << (16 - high) & 0xFFFF, count - high, direction};
    }
    const uint low = count < 32 ? count : 32;
    return {(1u << (count - low)) - 1, low, direction};
}

} // namespace

int ifc_set_lut1_rules(uint ifcIndex, IFC_Mode_t enMode, uint endFlag, uint fieldIdx, uint command, uint mask,
                       uint key_high, uint key_low)
{
    if (ifcIndex >= IFC_LUT1_RULES) {
        IFC_REPORT("Error: Lut1 Index is %d, which should less than %d\n", ifcIndex, IFC_LUT1_RULES);
        return -1;
    }
    if (fieldIdx == 0 || fieldIdx > IFC_LUT1_FIELDS) {
        IFC_REPORT_FIELD_INDEX(fieldIdx);
        return -1;
    }
    if (ifc::commandRefused(fieldIdx, command)) {
        IFC_REPORT_COMMAND(fieldIdx);
        return -1;
    }
    if (ifc::isMac(fieldIdx) && ifcIndex % IFC_LUT1_SUB_TABLE == IFC_LUT1_SUB_TABLE - 1) {
        IFC_REPORT("Error: fieldIdx:%s, ifcIndex:%d, forbidden cross sub-table!\n", ifc_field_name[fieldIdx],
                   ifcIndex);
        return -1;
    }

    if (enMode == IFC_DISABLE) {
        IFC_LUT1_Rule[ifcIndex].type0.valid = 0; // Known: the second entry of a MAC stays
    } else if (ifc::isMac(fieldIdx)) {
        const MacMask mac = splitMacMask(mask);
        const bool both = mac.lowLength != 0 && mac.high != 0;
        // Known: never true, the sub-table check above has refused entry 31 already. The interface keeps it.
        if (ifcIndex >= IFC_LUT1_RULES - 1 && both) {
            IFC_REPORT("Error: Lut1 Index is %d, and filed id MAC, which should less than %d\n", ifcIndex,
                       IFC_LUT1_RULES - 1);
            return -1;
        }
        if (mac.lowLength != 0)
            setWordEntry(IFC_LUT1_Rule[ifcIndex], fieldIdx, command, both ? 0 : endFlag, mac.direction,
                         mac.lowLength, key_low);
        if (both)
            ++ifcIndex;
        if (mac.high != 0)
            setHalfEntry(IFC_LUT1_Rule[ifcIndex], fieldIdx, command, endFlag, IFC_LUT1_SEL_MAC_HIGH, mac.high,
                         key_high);
    } else if (ifc::isWord(fieldIdx)) {
        setWordEntry(IFC_LUT1_Rule[ifcIndex], fieldIdx, command, endFlag, mask >> 31, mask, key_low);
    } else {
        setHalfEntry(IFC_LUT1_Rule[ifcIndex], fieldIdx, command, endFlag, IFC_LUT1_SEL_FIELD, mask, key_low);
    }
    (void)write_all_ifc_rule_to_hw();
    return static_cast<int>(ifcIndex) + 1;
}

void ifc_delete_lut1(int idx)
{
    __builtin_memset(&IFC_LUT1_Rule[idx], 0, sizeof IFC_LUT1_Rule[idx]);
}
