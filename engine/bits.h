// SPDX-License-Identifier: MIT OR GPL-2.0
// Searching 64-bit words for bits.
#pragma once

#include <stdint.h>

namespace engine
{

// The number of the lowest set bit. `bits` is not 0.
//
// A 32-bit processor searches in two halves. gcc makes a 64-bit search there into a call of __ctzdi2, and the
// kernel's own __ctzdi2 takes a long in 5.4: it never sees the high half.
constexpr unsigned lowestBit(uint64_t bits)
{
    if constexpr (sizeof(long) == sizeof bits)
        return static_cast<unsigned>(__builtin_ctzll(bits));
    const auto low = static_cast<uint32_t>(bits);
    return static_cast<unsigned>(low != 0 ? __builtin_ctz(low)
                                          : 32 + __builtin_ctz(static_cast<uint32_t>(bits >> 32)));
}

} // namespace engine
