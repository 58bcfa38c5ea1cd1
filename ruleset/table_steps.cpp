// SPDX-License-Identifier: MIT OR GPL-2.0
// The steps of an update that write the rule tables.
#include "ruleset/update_steps.h"

namespace ruleset
{

namespace
{

constexpr IFC_LUT1_Format kNothing = {};

// The words of a LUT0 row are consecutive in the record; IFC_DATA0 is the last one.
struct WideRow {
    unsigned first;
    unsigned words;
};

WideRow wideRow(unsigned row)
{
    const unsigned words = row == IFC_LUT0_HEAD_ROW ? 1 : IFC_ROW_WORDS;
    const int last = ifc_lut0_row_word(static_cast<int>(row), 0);
    return {static_cast<unsigned>(last) + 1 - words, words};
}

// `to`: the first word of the row in record order.
bool putWide(Update &u, unsigned rule, unsigned row, const uint32_t *to)
{
    if (u.port.silent)
        return false;
    const WideRow at = wideRow(row);
    uint32_t data[IFC_ROW_WORDS];
    for (unsigned n = 0; n < at.words; ++n)
        data[n] = to[at.words - 1 - n];
    const auto bit = static_cast<uint16_t>(1u << row);
    u.unsureWide[rule] |= bit;
    if (!put(u, {IFC_SEL_LUT0, static_cast<uint8_t>(rule), static_cast<uint8_t>(row)}, data, at.words))
        return false;
    __builtin_memcpy(&u.held.lut0[rule].word[at.first], to, at.words * sizeof *to);
    u.unsureWide[rule] &= static_cast<uint16_t>(~bit);
    return true;
}

bool putNarrow(Update &u, unsigned entry, const IFC_LUT1_Format &to)
{
    if (u.port.silent)
        return false;
    const uint32_t data[] = {to.word[1], to.word[0]};
    u.unsureNarrow |= 1u << entry;
    if (!put(u, {IFC_SEL_LUT1, static_cast<uint8_t>(entry), 0}, data, 2))
        return false;
    u.held.lut1[entry] = to;
    u.unsureNarrow &= ~(1u << entry);
    return true;
}

// This rule's head or end could not be made invalid, so it may live. Nothing that may be part of it is
// written.
void freeze(Update &u, unsigned number)
{
    if (number < IFC_LUT0_RULES) {
        u.frozenWide |= static_cast<uint8_t>(1u << number);
        return;
    }
    const unsigned end = number - IFC_LUT0_RULES;
    for (unsigned entry = runStart(u.held.lut1, end); entry <= end; ++entry)
        u.frozenNarrow |= 1u << entry;
}

// True: the entry is not frozen and would not become part of a frozen run.
bool mayFill(const Update &u, unsigned entry, const IFC_LUT1_Format &wanted)
{
    return (u.frozenNarrow >> entry & (goesOn(wanted) ? 3 : 1)) == 0;
}

// Writes the head or the end. Off: if the wanted row is not valid, it is written at once.
[[gnu::noinline]] bool putHead(Update &u, const Tables &to, unsigned number, bool off)
{
    if (number < IFC_LUT0_RULES)
        return putWide(u, number, IFC_LUT0_HEAD_ROW,
                       off && to.lut0[number].bits.valid ? kNothing.word : to.lut0[number].word);
    const unsigned end = number - IFC_LUT0_RULES;
    return putNarrow(u, end, off && to.lut1[end].type0.valid ? kNothing : to.lut1[end]);
}

// True: the rule's action and all its rows except the head or end are written (fill() writes rows that are
// neither unsure nor frozen), and no run before it would become part of it.
bool mayLive(const Update &u, const Tables &to, unsigned number)
{
    if (has(u, number, kChanged))
        return false;
    if (number < IFC_LUT0_RULES)
        return u.unsureWide[number] == 0;
    const Place place = livingPlace(to, number);
    const uint32_t rows = narrowBits(place);
    if ((u.unsureNarrow | u.frozenNarrow) & rows)
        return false;
    const unsigned before = place.first - 1u;
    return place.first % IFC_LUT1_SUB_TABLE == 0 ||
           ((u.unsureNarrow >> before & 1) == 0 && !goesOn(u.held.lut1[before]));
}

} // namespace

bool headUnsure(const Update &u, unsigned number)
{
    return number < IFC_LUT0_RULES ? u.unsureWide[number] >> IFC_LUT0_HEAD_ROW & 1
                                   : u.unsureNarrow >> (number - IFC_LUT0_RULES) & 1;
}

bool put(Update &u, Row row, const uint32_t *data, unsigned words)
{
    for (unsigned tries = triesOf(u); tries != 0; --tries)
        if (writeRow(u.port, row, data, words))
            return true;
    return false;
}

bool wideRowDiffers(const IFC_LUT0_Format &a, const IFC_LUT0_Format &b, unsigned row)
{
    const WideRow at = wideRow(row);
    return __builtin_memcmp(&a.word[at.first], &b.word[at.first], at.words * sizeof *a.word) != 0;
}

bool retire(Update &u, const Tables &to)
{
    const Tables &held = u.held;
    for (unsigned number = 0; number < kMaxRules; ++number) {
        const bool stays = sameRule(held, to, number) && !has(u, number, kReborn);
        if (!headUnsure(u, number) && (stays || !ruleLives(held, number)))
            continue;
        if (putHead(u, to, number, true))
            continue;
        if (!u.undoing)
            return false;
        freeze(u, number);
    }
    return true;
}

bool fill(Update &u, const Tables &to)
{
    for (unsigned rule = 0; rule < IFC_LUT0_RULES; ++rule) {
        if (u.frozenWide >> rule & 1)
            continue;
        const unsigned rows = to.lut0[rule].bits.valid ? IFC_LUT0_BODY_ROWS : IFC_LUT0_BODY_ROWS + 1;
        for (unsigned row = 0; row < rows; ++row)
            if ((u.unsureWide[rule] >> row & 1 || wideRowDiffers(u.held.lut0[rule], to.lut0[rule], row)) &&
                !putWide(u, rule, row, &to.lut0[rule].word[wideRow(row).first]) && !u.undoing)
                return false;
    }
    for (unsigned entry = 0; entry < IFC_LUT1_RULES; ++entry) {
        const IFC_LUT1_Format &wanted = to.lut1[entry];
        const bool differs = __builtin_memcmp(&u.held.lut1[entry], &wanted, sizeof wanted) != 0;
        if (!isEnd(wanted) && differs && mayFill(u, entry, wanted) && !putNarrow(u, entry, wanted) &&
            !u.undoing)
            return false;
    }
    return true;
}

bool enliven(Update &u, const Tables &to)
{
    for (unsigned number = 0; number < kMaxRules; ++number) {
        if (!ruleLives(to, number) || sameRule(u.held, to, number) || (u.undoing && !mayLive(u, to, number)))
            continue;
        if (!putHead(u, to, number, false) && !u.undoing)
            return false;
    }
    return true;
}

} // namespace ruleset
