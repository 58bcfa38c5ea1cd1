// SPDX-License-Identifier: MIT OR GPL-2.0
#include "hardware.h"

#include "ifc/ifc_regs.h"
#include "ifc/records/chip.h"

#include <algorithm>
#include <array>

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

TableRules differingRules(Session &session)
{
    const engine::Tables &tables = session.device().window().tables();
    const bool hasLut0 = ifc::hasWritableLut0(session.device().revision());
    std::array<IFC_LUT0_Format, IFC_LUT0_RULES> lut0{};
    std::array<IFC_LUT1_Format, IFC_LUT1_RULES> lut1{};
    for (size_t n = 0; n < lut0.size() && hasLut0; ++n)
        std::ranges::copy(tables.lut0[n], lut0[n].word);
    for (size_t n = 0; n < lut1.size(); ++n)
        std::ranges::copy(tables.lut1[n], lut1[n].word);
    const auto same = [&](const PlacedRule &rule) {
        if (rule.lut0)
            return std::ranges::equal(lut0[rule.first].word, IFC_LUT0_Rule[rule.first].word);
        for (unsigned n = rule.first; n <= rule.last; ++n)
            if (!std::ranges::equal(lut1[n].word, IFC_LUT1_Rule[n].word))
                return false;
        return true;
    };
    TableRules differing;
    for (const PlacedRule &rule : placedRulesIn(lut0.data(), lut1.data()))
        if (!same(rule))
            differing.onlyHardware.push_back(rule);
    for (const PlacedRule &rule : placedRules())
        if (!same(rule) && (hasLut0 || !rule.lut0))
            differing.onlyShadow.push_back(rule);
    return differing;
}

} // namespace ifcctl
