// SPDX-License-Identifier: MIT OR GPL-2.0
// Masks and keys in the arrays of the codec: one word per field, except for the MAC addresses.
#pragma once

#include "ifc/records/fields.h"

namespace ifc
{
namespace // internal linkage: exports nothing
{

constexpr uint kArrayWords = 32;

// Words 0 to 2 hold DMAC and SMAC as one 96-bit number.
inline uint64_t arrayValue(const uint *array, uint field)
{
    if (field == DMAC)
        return joinWords(array[1] & 0xFFFF, array[0]);
    if (field == SMAC)
        return joinWords(array[2] >> 16, array[2] << 16 | array[1] >> 16);
    return array[field];
}

// The inverse. The half of word 1 that belongs to the other MAC address is kept.
inline void setArrayValue(uint *array, uint field, uint high, uint low)
{
    if (field == DMAC) {
        array[0] = low;
        array[1] = (array[1] & 0xFFFF0000) | (high & 0xFFFF);
    } else if (field == SMAC) {
        array[1] = (array[1] & 0xFFFF) | low << 16;
        array[2] = high << 16 | low >> 16;
    } else {
        array[field] = low;
    }
}

} // namespace
} // namespace ifc
