// SPDX-License-Identifier: MIT OR GPL-2.0
#include "ruleset/place.h"

namespace ruleset
{

unsigned placeNumber(Place place)
{
    return place.table == kWide ? place.first : IFC_LUT0_RULES + place.first + place.entries - 1;
}

uint64_t cellsOf(Place place)
{
    const uint64_t cells = narrowBits(place);
    return place.table == kWide ? cells : cells << IFC_LUT0_RULES;
}

bool placeExists(Place place)
{
    if (place.table == kWide)
        return place.first < IFC_LUT0_RULES && place.entries == 1;
    return place.table == kNarrow && place.entries >= 1 && place.first < IFC_LUT1_RULES &&
           place.first % IFC_LUT1_SUB_TABLE + place.entries <= IFC_LUT1_SUB_TABLE;
}

} // namespace ruleset
