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

} // namespace ruleset
