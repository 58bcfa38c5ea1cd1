// SPDX-License-Identifier: MIT OR GPL-2.0
// What the rule layer knows of fields: their classes, their places in a LUT0 rule, their values in the
// arrays.
#pragma once

#include "ifc/ifc_glb.h"

namespace ifc
{
namespace // nothing of it is exported
{

constexpr bool isMac(uint field)
{
    return field == DMAC || field == SMAC;
}

// A field that fills a 32-bit LUT1 entry under a reduced mask.
constexpr bool isWord(uint field)
{
    return field > IFC_LAST_MAC_FIELD && field <= IFC_LAST_WORD_FIELD;
}

// The 2-bit command is one bit wide in effect for the fields 1 to 13.
constexpr bool commandRefused(uint field, uint command)
{
    return field <= IFC_LAST_WORD_FIELD && command > 1;
}

// The 2-bit command of a field of a LUT0 rule: 16 fields in word 2, the rest in word 1.
constexpr uint kFieldsPerCommandWord = 16;

inline uint lut0Command(const IFC_LUT0_Format &rule, uint field)
{
    const uint slot = (field - 1) % kFieldsPerCommandWord;
    const uint word = field <= kFieldsPerCommandWord ? rule.word[2] : rule.word[1];
    return word >> 2 * slot & 3;
}

inline bool lut0Enabled(const IFC_LUT0_Format &rule, uint field)
{
    return (rule.bits.enable >> (field - 1) & 1) != 0;
}

// A value of up to 48 bits: high = bits 47..32, low = bits 31..0.
struct Wide {
    uint high;
    uint low;
};

// The value of a field in the arrays: words 0 to 2 hold DMAC and SMAC as one 96-bit number.
inline Wide arrayValue(const uint *array, uint field)
{
    if (field == DMAC)
        return {array[1] & 0xFFFF, array[0]};
    if (field == SMAC)
        return {array[2] >> 16, array[2] << 16 | array[1] >> 16};
    return {0, array[field]};
}

// Its inverse. The other MAC's half of word 1 stays.
inline void setArrayValue(uint *array, uint field, Wide value)
{
    if (field == DMAC) {
        array[0] = value.low;
        array[1] = (array[1] & 0xFFFF0000) | (value.high & 0xFFFF);
    } else if (field == SMAC) {
        array[1] = (array[1] & 0xFFFF) | value.low << 16;
        array[2] = value.high << 16 | value.low >> 16;
    } else {
        array[field] = value.low;
    }
}

} // namespace
} // namespace ifc
