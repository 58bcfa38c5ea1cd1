// SPDX-License-Identifier: MIT OR GPL-2.0
#include "ruleset/image.h"

namespace ruleset
{

void copyShadow(Tables &to)
{
    __builtin_memcpy(to.lut0, IFC_LUT0_Rule, sizeof to.lut0);
    __builtin_memcpy(to.lut1, IFC_LUT1_Rule, sizeof to.lut1);
}

void setShadow(const Tables &from)
{
    __builtin_memcpy(IFC_LUT0_Rule, from.lut0, sizeof from.lut0);
    __builtin_memcpy(IFC_LUT1_Rule, from.lut1, sizeof from.lut1);
}

bool equalsShadow(const Tables &tables)
{
    return __builtin_memcmp(tables.lut0, IFC_LUT0_Rule, sizeof tables.lut0) == 0 &&
           __builtin_memcmp(tables.lut1, IFC_LUT1_Rule, sizeof tables.lut1) == 0;
}

unsigned runStart(const IFC_LUT1_Format *lut1, unsigned last)
{
    unsigned first = last;
    while (first % IFC_LUT1_SUB_TABLE != 0 && goesOn(lut1[first - 1]))
        --first;
    return first;
}

bool ruleLives(const Tables &tables, unsigned number)
{
    return number < IFC_LUT0_RULES ? tables.lut0[number].bits.valid
                                   : isEnd(tables.lut1[number - IFC_LUT0_RULES]);
}

Place livingPlace(const Tables &tables, unsigned number)
{
    if (!ruleLives(tables, number))
        return {};
    if (number < IFC_LUT0_RULES)
        return widePlace(number);
    const unsigned end = number - IFC_LUT0_RULES;
    const unsigned first = runStart(tables.lut1, end);
    return narrowPlace(first, end - first + 1);
}

bool sameRule(const Tables &a, const Tables &b, unsigned number)
{
    const Place place = livingPlace(a, number);
    if (!placed(place) || !(place == livingPlace(b, number)))
        return false;
    if (place.table == kWide)
        return __builtin_memcmp(&a.lut0[number], &b.lut0[number], sizeof *a.lut0) == 0;
    return __builtin_memcmp(&a.lut1[place.first], &b.lut1[place.first], place.entries * sizeof *a.lut1) == 0;
}

} // namespace ruleset
