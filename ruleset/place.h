// SPDX-License-Identifier: MIT OR GPL-2.0
// Places of rules in the two tables, and the number that decides between them.
#pragma once

#include "ifc/ifc_glb.h"

#include <stdint.h>

namespace ruleset
{

constexpr unsigned kMaxRules = IFC_LUT0_RULES + IFC_LUT1_RULES;
static_assert(kMaxRules == IFC_ACTIONS && kMaxRules <= 64); // sets of rules are 64-bit words

enum Table : uint8_t {
    kNowhere, // not in a table
    kWide,    // LUT0
    kNarrow,  // LUT1
};

// Where one rule stands. The default is nowhere.
struct Place {
    uint8_t table = kNowhere;
    uint8_t first = 0;   // wide: the place, 0..7; narrow: the chain's first entry, 0..31
    uint8_t entries = 0; // wide: 1; narrow: the chain's length, 1..16, inside one sub-table
    friend constexpr bool operator==(const Place &, const Place &) = default;
};

constexpr bool placed(Place place)
{
    return place.table != kNowhere;
}

constexpr Place widePlace(unsigned place)
{
    return {kWide, static_cast<uint8_t>(place), 1};
}

constexpr Place narrowPlace(unsigned first, unsigned entries)
{
    return {kNarrow, static_cast<uint8_t>(first), static_cast<uint8_t>(entries)};
}

// The number of a placed rule: its action entry. Of all rules that a frame hits, the lowest number decides.
constexpr unsigned placeNumber(Place place)
{
    return place.table == kWide ? place.first : IFC_LUT0_RULES + place.first + place.entries - 1;
}

// The LUT1 entries of a chain as a bitmap. Only for a narrow place that is in the table.
constexpr uint32_t narrowBits(Place place)
{
    return ((uint32_t{1} << place.entries) - 1) << place.first;
}

// True for a place that the tables have: in range, and no chain across the sub-tables.
constexpr bool placeExists(Place place)
{
    if (place.table == kWide)
        return place.first < IFC_LUT0_RULES && place.entries == 1;
    return place.table == kNarrow && place.entries >= 1 && place.first < IFC_LUT1_RULES &&
           place.first % IFC_LUT1_SUB_TABLE + place.entries <= IFC_LUT1_SUB_TABLE;
}

} // namespace ruleset
