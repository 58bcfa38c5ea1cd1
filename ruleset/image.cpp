// SPDX-License-Identifier: MIT OR GPL-2.0
#include "ruleset/image.h"

namespace ruleset
{

unsigned runStart(const IFC_LUT1_Format *lut1, unsigned last)
{
    unsigned first = last;
    while (first % IFC_LUT1_SUB_TABLE != 0 && goesOn(lut1[first - 1]))
        --first;
    return first;
}

bool ruleLives(TablesView tables, unsigned number)
{
    return number < IFC_LUT0_RULES ? tables.lut0[number].bits.valid
                                   : isEnd(tables.lut1[number - IFC_LUT0_RULES]);
}

Place livingPlace(TablesView tables, unsigned number)
{
    if (number < IFC_LUT0_RULES)
        return widePlace(number);
    const unsigned end = number - IFC_LUT0_RULES;
    const unsigned first = runStart(tables.lut1, end);
    return narrowPlace(first, end - first + 1);
}

bool sameRule(TablesView a, TablesView b, unsigned number)
{
    if (!ruleLives(a, number) || !ruleLives(b, number))
        return false;
    const Place place = livingPlace(a, number);
    if (!(place == livingPlace(b, number)))
        return false;
    if (place.table == kWide)
        return __builtin_memcmp(&a.lut0[number], &b.lut0[number], sizeof *a.lut0) == 0;
    return __builtin_memcmp(&a.lut1[place.first], &b.lut1[place.first], place.entries * sizeof *a.lut1) == 0;
}

} // namespace ruleset
