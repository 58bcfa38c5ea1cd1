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

// The place of one rule. The default is nowhere. It is one word, so it is copied and compared at once.
struct alignas(4) Place {
    uint8_t table = kNowhere;
    uint8_t first = 0;   // wide: the place, 0..7; narrow: the chain's first entry, 0..31
    uint8_t entries = 0; // wide: 1; narrow: the chain's length, 1..16, inside one sub-table
    uint8_t unused = 0;
    friend constexpr bool operator==(const Place &a, const Place &b)
    {
        return __builtin_bit_cast(uint32_t, a) == __builtin_bit_cast(uint32_t, b);
    }
};

constexpr bool placed(Place place)
{
    return place.table != kNowhere;
}

constexpr Place widePlace(unsigned place)
{
    return {kWide, static_cast<uint8_t>(place), 1, 0};
}

constexpr Place narrowPlace(unsigned first, unsigned entries)
{
    return {kNarrow, static_cast<uint8_t>(first), static_cast<uint8_t>(entries), 0};
}

// The number of a placed rule: its action entry. Of all rules that a frame hits, the lowest number decides.
unsigned placeNumber(Place place);

// The cells of a place as a bitmap: wide place n is bit n, LUT1 entry n is bit 8 + n. Not for nowhere.
uint64_t cellsOf(Place place);

// The LUT1 entries of a chain as a bitmap.
constexpr uint32_t narrowBits(Place place)
{
    return ((uint32_t{1} << place.entries) - 1) << place.first;
}

} // namespace ruleset
