// SPDX-License-Identifier: MIT OR GPL-2.0
#include "hardware.h"

#include "ifc/ifc_regs.h"
#include "ifc/records/chip.h"

#include <algorithm>

namespace ifcctl
{

IFC_LUT0_Format readLut0(Session &session, unsigned rule)
{
    IFC_LUT0_Format record{};
    for (int row = 0; row < IFC_LUT0_BODY_ROWS; ++row) {
        const auto data = session.row(IFC_SEL_LUT0, rule, static_cast<unsigned>(row));
        for (int n = 0; n < IFC_ROW_WORDS; ++n)
            record.word[ifc_lut0_row_word(row, n)] = data[static_cast<size_t>(n)];
    }
    record.word[0] = session.row(IFC_SEL_LUT0, rule, IFC_LUT0_HEAD_ROW)[0];
    return record;
}

IFC_LUT1_Format readLut1(Session &session, unsigned entry)
{
    IFC_LUT1_Format record{};
    const auto data = session.row(IFC_SEL_LUT1, entry, 0);
    record.word[1] = data[0];
    record.word[0] = data[1];
    return record;
}

IFC_Action_Format readAction(Session &session, unsigned entry)
{
    IFC_Action_Format record{};
    const auto data = session.row(IFC_SEL_ACTION, entry, 0);
    for (unsigned n = 0; n < IFC_ROW_WORDS; ++n)
        record.word[n] = data[3 - n];
    return record;
}

bool tablesDiffer(Device &device)
{
    const engine::Tables &tables = device.window().tables();
    bool same = true;
    if (ifc::hasWritableLut0(device.revision()))
        for (unsigned n = 0; n < IFC_LUT0_RULES; ++n)
            same = same && std::ranges::equal(tables.lut0[n], IFC_LUT0_Rule[n].word);
    for (unsigned n = 0; n < IFC_LUT1_RULES; ++n)
        same = same && std::ranges::equal(tables.lut1[n], IFC_LUT1_Rule[n].word);
    return !same;
}

} // namespace ifcctl
