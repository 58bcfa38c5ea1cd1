// SPDX-License-Identifier: MIT OR GPL-2.0
// Reduces contiguous masks to the direction and length that LUT1 entries store.
#include "ifc/ifc_util.h"

namespace
{

constexpr uint kFromBottom = 0x80000000u;
constexpr uint kFailed = 0xFFFFFFFFu;

// Ones from bit 0 upwards and nothing else (also none at all).
constexpr bool isLowRun(uint value)
{
    return (value & (value + 1)) == 0;
}

// Their number, for less than 32.
uint lowRunLength(uint value)
{
    return _getLowestBit(value + 1) - 1;
}

uint reduce(uint high, uint low, int width)
{
    const bool mac = width == 48;
    const bool top = (low & 0x80000000u) != 0;
    const bool bottom = (low & 1) != 0;

    if (!top && !bottom) {
        if (width == 32 || low != 0) {
            (void)printk("mask should not be 0!\n");
            return kFailed;
        }
        // Ones in the high word only: they must begin at bit 47, so the zeros below them are a low run. The
        // whole word is compared; bits above 15 show up as part of that run and make it too long.
        const uint zeros = high ^ 0xFFFF;
        if (!mac || (high & 0x8000) == 0 || !isLowRun(zeros))
            return kFailed;
        return 16 - lowRunLength(zeros);
    }

    if (top && bottom) {
        if (low != 0xFFFFFFFFu)
            return kFailed;
        if (!mac || high == 0xFFFF)
            return mac ? 48 : 32;
        if (high == 0)
            return kFromBottom + 32;
        // Known: any 1 to 15 ones above the low word reduce to 47 bits, whatever their number.
        if ((high & 0x8000) == 0 && isLowRun(high))
            return kFromBottom + 47;
        return kFailed;
    }

    if (bottom) {
        if ((mac && high != 0) || !isLowRun(low))
            return kFailed;
        return kFromBottom + lowRunLength(low);
    }

    if ((mac && high != 0xFFFF) || !isLowRun(~low))
        return kFailed;
    return (mac ? 16 : 0) + 32 - lowRunLength(~low);
}

} // namespace

uint change_mask_from_48_to_32(uint mask_high, uint mask_low, int mask_bit)
{
    const uint reduced = reduce(mask_high, mask_low, mask_bit);
    if (reduced == kFailed) {
        if (mask_bit == 48)
            (void)printk("mask should be left->right or right->left, but mask:%04x%8x\n", mask_high,
                         mask_low);
        else
            (void)printk("mask should be left->right or right->left, but mask:%8x\n", mask_low);
    }
    return reduced;
}
