// SPDX-License-Identifier: MIT OR GPL-2.0
// What the classifier found out about one frame.
#pragma once

#include "ifc/ifc_glb.h"

namespace engine
{

constexpr int kNoEntry = -1;

// Model: every hit shows. A chain shows at its end entry, whose number its action has too.
struct Hits {
    uint32_t lut0;
    uint32_t lut1[2]; // entries 0 to 31, 32 to 63; this chip has no entry above 31
};

// Model: the lowest-numbered hit decides, LUT0 before LUT1. The number of its action and counter, or
// kNoEntry.
inline int decidingEntry(const Hits &hits)
{
    if (hits.lut0 != 0)
        return __builtin_ctz(hits.lut0);
    if (hits.lut1[0] != 0)
        return static_cast<int>(IFC_LUT0_RULES) + __builtin_ctz(hits.lut1[0]);
    return kNoEntry;
}

// Hands the hit bitmaps to the driver, where checkIFCResult() looks for them.
inline void reportHits(const Hits &hits, IFC_Private_T &driver)
{
    driver.lut0HitMap = hits.lut0;
    driver.lut1HitMap0 = hits.lut1[0];
    driver.lut1HitMap1 = hits.lut1[1];
}

} // namespace engine
