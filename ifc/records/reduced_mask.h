// SPDX-License-Identifier: MIT OR GPL-2.0
// Masks as LUT1 stores them: a run of ones from one end of the field.
#pragma once

#include "ifc/records/condition.h"

namespace ifc
{

// Why a mask cannot be reduced.
enum class MaskFault : uint8_t {
    None,
    NoEnd,     // no end of the low word is covered: a 32-bit mask of 0, or ones inside the low word only
    NotOneRun, // not one run of ones from one end of the mask's width (also: a 48-bit mask of 0)
};

// A run of ones from one end, as LUT1 stores it: bit 31 the direction, bits 5..0 the number of ones.
struct ReducedMask {
    uint word; // kReduceFailed unless fault is None
    MaskFault fault;
};

namespace
{

// The word of a reduced mask.
constexpr uint kReduceFailed = 0xFFFFFFFFu;
constexpr uint kReducedFromBottom = 0x80000000u; // else the ones start at the most significant bit
constexpr uint kReducedCount = 0x3Fu;

// The 32-bit mask of a run of `length` ones, 0 to 31; 0 means 32.
constexpr uint wordMask(uint direction, uint length)
{
    if (length == 0)
        return 0xFFFFFFFFu;
    return direction == IFC_LUT1_FROM_TOP ? 0xFFFFFFFFu << (32 - length) : 0xFFFFFFFFu >> (32 - length);
}

// Ones from bit 0 upwards and nothing else (also no ones at all).
constexpr bool isLowRun(uint value)
{
    return (value & (value + 1)) == 0;
}

// Their number, 0 to 31.
constexpr uint lowRunLength(uint value)
{
    return static_cast<uint>(__builtin_ctz(value + 1));
}

// Reduces a mask of `width` bits: 48 with bits 47..32 in `high`, or 32, where `high` does not count. Other
// widths reduce like 32, but for a low word of 0.
constexpr ReducedMask reduceMask(uint high, uint low, int width)
{
    constexpr ReducedMask notOneRun = {kReduceFailed, MaskFault::NotOneRun};
    const bool mac = width == 48;
    const bool top = (low & 0x80000000u) != 0;
    const bool bottom = (low & 1) != 0;

    if (!top && !bottom) {
        if (width == 32 || low != 0)
            return {kReduceFailed, MaskFault::NoEnd};
        // Ones in the high word only. They must start at bit 47, so the zeros below them are a low run. The
        // whole word is compared: bits above 15 become part of that run and make it too long.
        const uint zeros = high ^ 0xFFFF;
        if (!mac || (high & 0x8000) == 0 || !isLowRun(zeros))
            return notOneRun;
        return {16 - lowRunLength(zeros), MaskFault::None};
    }

    if (top && bottom) {
        if (low != 0xFFFFFFFFu)
            return notOneRun;
        if (!mac || high == 0xFFFF)
            return {mac ? 48u : 32u, MaskFault::None};
        if (high == 0)
            return {kReducedFromBottom + 32, MaskFault::None};
        // Known: 1 to 15 ones above the low word reduce to 47 bits, whatever their number.
        if ((high & 0x8000) == 0 && isLowRun(high))
            return {kReducedFromBottom + 47, MaskFault::None};
        return notOneRun;
    }

    if (bottom) {
        if ((mac && high != 0) || !isLowRun(low))
            return notOneRun;
        return {kReducedFromBottom + lowRunLength(low), MaskFault::None};
    }

    if ((mac && high != 0xFFFF) || !isLowRun(~low))
        return notOneRun;
    return {(mac ? 16 : 0) + 32 - lowRunLength(~low), MaskFault::None};
}

// The same for a field from 1 to 13, with the mask in one number. The automatic placement reduces it so.
constexpr ReducedMask reduceFieldMask(uint field, uint64_t mask)
{
    return isMac(field) ? reduceMask(highWord(mask), lowWord(mask), 48) : reduceMask(0, lowWord(mask), 32);
}

// A reduced MAC mask, split over the two halves of an address.
struct MacMask {
    uint high;      // 16-bit mask of address bits 47..32; 0: no type 0 entry
    uint lowLength; // number of masked bits among address bits 31..0, 0 to 32; 0: no type 1 entry
    uint direction;
};

constexpr MacMask splitMacMask(uint reduced)
{
    const uint direction = reduced >> 31;
    const uint count = reduced & kReducedCount;
    if (count == 0 || count > 47)
        return {0xFFFF, 32, direction};
    if (direction == IFC_LUT1_FROM_TOP) {
        const uint high = count < 16 ? count : 16;
        return {0xFFFFu << (16 - high) & 0xFFFF, count - high, direction};
    }
    const uint low = count < 32 ? count : 32;
    return {(1u << (count - low)) - 1, low, direction};
}

// The mask that the entries of a field compare, from the mask argument of ifc_set_lut1_rules(): for the
// fields 1 to 13 a reduced mask, which may be any word since it is not checked, else the 16-bit mask.
constexpr uint64_t expandMask(uint field, uint mask)
{
    if (isMac(field)) {
        const MacMask mac = splitMacMask(mask);
        const uint low = mac.lowLength != 0 ? wordMask(mac.direction, mac.lowLength & 0x1F) : 0;
        return joinWords(mac.high, low);
    }
    return isWord(field) ? wordMask(mask >> 31, mask & 0x1F) : mask & 0xFFFF;
}

} // namespace
} // namespace ifc
