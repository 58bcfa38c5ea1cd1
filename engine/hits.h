// SPDX-License-Identifier: MIT OR GPL-2.0
// What the classifier found out about one frame.
#pragma once

#include "engine/bits.h"
#include "ifc/ifc_glb.h"

namespace engine
{

constexpr int kNoEntry = -1;

// Model: every hit shows. A chain shows at its end entry, whose number its action has too.
struct Hits {
    uint32_t lut0;
    uint32_t lut1[2]; // entries 0 to 31, 32 to 63; this chip has no entry above 31
};

// The same in one word, by action number: bits 0 to 7 the LUT0 rules, bit 8 + k LUT1 entry k.
using HitBits = uint64_t;

inline Hits hitsOf(HitBits bits)
{
    return {static_cast<uint32_t>(bits & ((1u << IFC_LUT0_RULES) - 1)),
            {static_cast<uint32_t>(bits >> IFC_LUT0_RULES), 0}};
}

inline HitBits hitBitsOf(const Hits &hits)
{
    return HitBits{hits.lut1[0]} << IFC_LUT0_RULES | hits.lut0;
}

// Model: the lowest-numbered hit decides, LUT0 before LUT1. The number of its action and counter, or
// kNoEntry.
inline int decidingEntry(HitBits bits)
{
    return bits != 0 ? static_cast<int>(lowestBit(bits)) : kNoEntry;
}

// Hands the hit bitmaps to the driver, where checkIFCResult() looks for them.
inline void reportHits(const Hits &hits, IFC_Private_T &driver)
{
    driver.lut0HitMap = hits.lut0;
    driver.lut1HitMap0 = hits.lut1[0];
    driver.lut1HitMap1 = hits.lut1[1];
}

} // namespace engine
