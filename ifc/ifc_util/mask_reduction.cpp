// SPDX-License-Identifier: MIT OR GPL-2.0
// Reduces contiguous masks to the direction and length that LUT1 entries store. Prints why another mask is
// refused.
#include "ifc/ifc_util.h"

#include "ifc/records/reduced_mask.h"

uint change_mask_from_48_to_32(uint mask_high, uint mask_low, int mask_bit)
{
    const ifc::ReducedMask reduced = ifc::reduceMask(mask_high, mask_low, mask_bit);
    if (reduced.fault == ifc::MaskFault::None)
        return reduced.word;
    if (reduced.fault == ifc::MaskFault::NoEnd)
        (void)printk("mask should not be 0!\n");
    if (mask_bit == 48)
        (void)printk("mask should be left->right or right->left, but mask:%04x%8x\n", mask_high, mask_low);
    else
        (void)printk("mask should be left->right or right->left, but mask:%8x\n", mask_low);
    return ifc::kReduceFailed;
}
