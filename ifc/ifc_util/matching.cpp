// SPDX-License-Identifier: MIT OR GPL-2.0
// Finds placed requests again and deletes them.
#include "ifc/ifc_util.h"

#include "ifc/records/chip.h"
#include "ifc/records/wide_record.h"

#include "field_arrays.h"
#include "report.h"

namespace
{

// A condition as requested: any field, command, mask and key, in all their bits.
struct Wanted {
    uint field;
    uint command;
    uint64_t mask;
    uint64_t key;
};

// Past the end of its arrays a request reads as field 0, the same as past the end of its list.
Wanted wantedOf(const orva_ifc_param &request, uint i)
{
    if (i >= IFC_PARAM_CONDITIONS)
        return {};
    return {request.fieldIdx[i], request.command[i],
            ifc::joinWords(request.mask_high[i], request.mask_low[i]),
            ifc::joinWords(request.key_high[i], request.key_low[i])};
}

// The entry after the last one reads as all zero.
IFC_LUT1_Format lut1Entry(uint entry)
{
    return entry < IFC_LUT1_RULES ? IFC_LUT1_Rule[entry] : IFC_LUT1_Format{};
}

// The mask is reduced before anything else is compared. A failed reduction is compared like a reduced mask.
bool matchesWord(const Wanted &c, const IFC_LUT1_Format &entry, int width, uint lengthMask)
{
    const uint reduced =
        change_mask_from_48_to_32(width == 48 ? ifc::highWord(c.mask) : 0, ifc::lowWord(c.mask), width);
    return entry.type1.field == c.field && entry.type1.command == c.command &&
           entry.word[1] == ifc::lowWord(c.key) && entry.type1.direction == reduced >> 31 &&
           entry.type1.length == (reduced & lengthMask);
}

// Known: the type bit is not tested.
bool matchesAddress(const Wanted &c, const IFC_LUT1_Format &entry)
{
    return matchesWord(c, entry, 32, 0x1F);
}

// Known: only 4 of the 5 bits of the length are compared.
bool matchesMacLow(const Wanted &c, const IFC_LUT1_Format &entry)
{
    return matchesWord(c, entry, 48, 0xF);
}

bool matchesHalf(const Wanted &c, const IFC_LUT1_Format &entry, uint mask, uint key)
{
    return entry.type0.field == c.field && entry.type0.command == c.command && entry.type0.mask == mask &&
           entry.type0.key == key;
}

// Known: Sel is not tested. All 32 bits of the request's high words count.
bool matchesMacHigh(const Wanted &c, const IFC_LUT1_Format &entry)
{
    return !entry.type0.type && matchesHalf(c, entry, ifc::highWord(c.mask), ifc::highWord(c.key));
}

bool matchesOther(const Wanted &c, const IFC_LUT1_Format &entry)
{
    return matchesHalf(c, entry, c.mask & 0xFFFF, c.key & 0xFFFF);
}

// How many request indexes the search moves on after this condition. 0: the range does not hold the
// condition.
//
// Known: these indexes count entries, while the request lists conditions. So the search skips the condition
// after a MAC whose high part is found. A low part takes the entry after it too, whatever it holds. At the
// last entry of the range that is an entry past the range: a matching high part there fails the search,
// anything else passes it.
uint findInRange(const Wanted &c, uint first, uint end)
{
    for (uint k = first; k < end; ++k) {
        IFC_LUT1_Format entry = lut1Entry(k);
        if (!ifc::isMac(c.field)) {
            if (ifc::isIpv4Address(c.field) ? matchesAddress(c, entry) : matchesOther(c, entry))
                return 1;
            continue;
        }
        const bool low = entry.type1.type != 0;
        if (low) {
            if (!matchesMacLow(c, entry))
                continue;
            entry = lut1Entry(++k);
        }
        const bool pastRange = k == end;
        if (matchesMacHigh(c, entry))
            return pastRange ? 0 : 2;
        if (pastRange)
            return 1;
    }
    return 0;
}

bool deleteFromLut0(orva_ifc_param *request, uint conditions)
{
    bool found = false;
    for (uint rule = 0; rule < IFC_LUT0_RULES; ++rule) {
        if (!ifc_match_rule_lut0(request, conditions, rule))
            continue;
        ifc_delete_lut0(static_cast<int>(rule));
        (void)ifc_clear_action(rule);
        found = true;
    }
    return found;
}

// Known: valid entries without end flag before a chain count as its own. This hides the chain, unless the
// request has as many entries as are counted.
bool deleteFromLut1(orva_ifc_param *request, uint entries)
{
    bool found = false;
    uint chain = 1;
    for (uint last = 0; last < IFC_LUT1_RULES; ++last) {
        if (!IFC_LUT1_Rule[last].type0.valid)
            continue;
        if (!IFC_LUT1_Rule[last].type0.end) {
            ++chain;
            continue;
        }
        const uint first = last - entries + 1;
        if (chain == entries && ifc_match_rule_lut1(request, entries, first)) {
            for (uint entry = first; entry <= last; ++entry) {
                ifc_delete_lut1(static_cast<int>(entry));
                (void)ifc_clear_action(ifc::actionOfEntry(entry));
                IFC_REPORT("del ifc rule index %d\n", ifc::actionOfEntry(entry));
            }
            found = true;
        }
        chain = 1;
    }
    return found;
}

} // namespace

int ifc_match_rule_lut0(struct orva_ifc_param *ifc_param_ptr, uint field_num, uint ifc_idx)
{
    const uint32_t *rule = IFC_LUT0_Rule[ifc_idx].word;
    if (!ifc::wideValid(rule))
        return 0;
    uint enabled = 0;
    for (uint field = ifc::nextWideField(rule, 0); field != 0; field = ifc::nextWideField(rule, field))
        ++enabled;
    if (enabled != field_num)
        return 0;

    uint masks[ifc::kArrayWords];
    uint keys[ifc::kArrayWords];
    get_lut0_mask_key(static_cast<int>(ifc_idx), masks, keys);
    uint passed = 0;
    for (; passed < ifc::kCountedConditions; ++passed) {
        const Wanted c = wantedOf(*ifc_param_ptr, passed);
        if (!ifc::isWideField(c.field) || !ifc::wideEnables(rule, c.field) ||
            ifc::wideCommand(rule, c.field) != c.command)
            break;
        // The high words are compared for MAC fields only.
        const uint64_t differences =
            (ifc::arrayValue(masks, c.field) ^ c.mask) | (ifc::arrayValue(keys, c.field) ^ c.key);
        if (ifc::lowWord(differences) != 0 || (ifc::isMac(c.field) && ifc::highWord(differences) != 0))
            break;
    }
    return passed >= field_num;
}

int ifc_match_rule_lut1(struct orva_ifc_param *ifc_param_ptr, uint field_num, uint ifc_idx_start)
{
    for (uint i = 0; i < field_num;) {
        const uint step = findInRange(wantedOf(*ifc_param_ptr, i), ifc_idx_start, ifc_idx_start + field_num);
        if (step == 0)
            return 0;
        i += step;
    }
    return 1;
}

int ifc_match_lut1(ifc_field_param param)
{
    const Wanted c = {param.fieldIdx, param.command, ifc::joinWords(param.mask_high, param.mask),
                      ifc::joinWords(param.key_high, param.key)};
    for (uint k = 0; k < IFC_LUT1_RULES; ++k) {
        const IFC_LUT1_Format &entry = IFC_LUT1_Rule[k];
        bool found;
        if (ifc::isMac(c.field))
            found = entry.type1.type ? matchesMacLow(c, entry) : matchesMacHigh(c, entry);
        else if (ifc::isIpv4Address(c.field))
            found = matchesAddress(c, entry);
        else
            found = entry.type0.valid && matchesOther(c, entry);
        if (found)
            return static_cast<int>(k);
    }
    return -1;
}

int ifc_del_lut_rules_auto(struct orva_ifc_param *ifc_param_ptr)
{
    uint conditions = 0;
    uint macs = 0;
    for (; conditions < ifc::kCountedConditions && ifc_param_ptr->fieldIdx[conditions] != 0; ++conditions) {
        const uint field = ifc_param_ptr->fieldIdx[conditions];
        if (!ifc::isFieldDeletable(field)) {
            IFC_REPORT("del fieldIdx %d not support\n", field);
            return -1;
        }
        macs += ifc::isMac(field);
    }

    const bool fromLut0 = deleteFromLut0(ifc_param_ptr, conditions);
    if (!fromLut0)
        IFC_REPORT("del ifc lut0 rule not find\n");
    const bool fromLut1 = deleteFromLut1(ifc_param_ptr, conditions + macs);
    if (!fromLut1)
        IFC_REPORT("del ifc lut1 rule not find\n");
    if (!fromLut0 && !fromLut1)
        return -1;
    (void)write_all_ifc_rule_to_hw();
    return 0;
}
