// SPDX-License-Identifier: MIT OR GPL-2.0
#include "hardware.h"

#include "ifc/ifc_regs.h"
#include "ifc/ifc_util.h"

namespace ifcctl
{

namespace
{

uint32_t data(unsigned n)
{
    return get_frame_engine_data(IFC_DATA0 + 4 * n);
}

void fetch(unsigned index, unsigned row, int sel)
{
    (void)ifcSetRuleConfig(static_cast<uint8_t>(index), static_cast<uint8_t>(row), sel, IFC_TYPE_READ);
}

} // namespace

IFC_LUT0_Format readLut0(unsigned rule)
{
    IFC_LUT0_Format record{};
    for (int row = 0; row < IFC_LUT0_BODY_ROWS; ++row) {
        fetch(rule, static_cast<unsigned>(row), IFC_SEL_LUT0);
        for (int n = 0; n < IFC_ROW_WORDS; ++n)
            record.word[ifc_lut0_row_word(row, n)] = data(static_cast<unsigned>(n));
    }
    fetch(rule, IFC_LUT0_HEAD_ROW, IFC_SEL_LUT0);
    record.word[0] = data(0);
    return record;
}

IFC_LUT1_Format readLut1(unsigned entry)
{
    IFC_LUT1_Format record{};
    fetch(entry, 0, IFC_SEL_LUT1);
    record.word[1] = data(0);
    record.word[0] = data(1);
    return record;
}

IFC_Action_Format readAction(unsigned entry)
{
    IFC_Action_Format record{};
    fetch(entry, 0, IFC_SEL_ACTION);
    for (unsigned n = 0; n < IFC_ROW_WORDS; ++n)
        record.word[n] = data(3 - n);
    return record;
}

} // namespace ifcctl
