// SPDX-License-Identifier: MIT OR GPL-2.0
// The places of the fields in a wide rule, independent of the driver's own tables.
#pragma once

#include "layer.h"

namespace support
{

struct Place {
    const char *name;
    unsigned lsb; // within an area
    unsigned width;
};

// In the order of the hardware.
constexpr Place kPlaces[32] = {
    {"", 0, 0},
    {"DMAC", 0, 48},
    {"SMAC", 48, 48},
    {"DIPv4", 96, 32},
    {"SIPv4", 128, 32},
    {"DIPv6_31_0", 160, 32},
    {"DIPv6_63_32", 192, 32},
    {"DIPv6_95_64", 224, 32},
    {"DIPv6_127_96", 256, 32},
    {"SIPv6_31_0", 288, 32},
    {"SIPv6_63_32", 320, 32},
    {"SIPv6_95_64", 352, 32},
    {"SIPv6_127_96", 384, 32},
    {"FLOW_LABEL", 416, 20},
    {"SINF", 436, 5},
    {"FRAME_TYPE", 441, 3},
    {"VPM0", 444, 2},
    {"VPM1", 446, 2},
    {"VID0", 448, 12},
    {"PBIT0", 460, 4},
    {"VID1", 464, 12},
    {"PBIT1", 476, 4},
    {"ETYPE", 480, 16},
    {"GEMPORT", 496, 16},
    {"IPv4_PROTOCOL", 512, 8},
    {"IPv6_NEXT_HEADER", 520, 8},
    {"IPv4_DSCP", 528, 8},
    {"IPv6_TRAFFIC_CLASS", 536, 8},
    {"DPORT", 544, 16},
    {"SPORT", 560, 16},
    {"PPPOE_SESSION", 576, 16},
    {"DMAC_TYPE", 592, 2},
};

// Bit n of a 1312-bit rule whose word 40 is the least significant.
inline bool bitOf(const IFC_LUT0_Format &rule, unsigned n)
{
    return (rule.word[40 - n / 32] >> n % 32 & 1) != 0;
}

constexpr unsigned kKeyArea = 0;
constexpr unsigned kMaskArea = 608;

// Where a slot of the codec's arrays begins in an area. The first three slots are the words of the two MACs.
constexpr unsigned slotLsb(unsigned slot)
{
    return slot < 3 ? 32 * slot : kPlaces[slot].lsb;
}

constexpr unsigned slotWidth(unsigned slot)
{
    return slot < 3 ? 32 : kPlaces[slot].width;
}

// The word that the codec's arrays have of this slot.
inline uint32_t arrayWord(const IFC_LUT0_Format &rule, unsigned area, unsigned slot)
{
    uint32_t value = 0;
    for (unsigned n = 0; n < slotWidth(slot); ++n)
        value |= static_cast<uint32_t>(bitOf(rule, area + slotLsb(slot) + n)) << n;
    return value;
}

// The value of a field, a MAC as 48 bits.
inline uint64_t valueAt(const IFC_LUT0_Format &rule, unsigned area, unsigned field)
{
    uint64_t value = 0;
    for (unsigned n = 0; n < kPlaces[field].width; ++n)
        value |= static_cast<uint64_t>(bitOf(rule, area + kPlaces[field].lsb + n)) << n;
    return value;
}

// A mask or a key as the layer prints it: a MAC in two halves.
inline const char *shownAt(const IFC_LUT0_Format &rule, unsigned area, unsigned field)
{
    const uint64_t value = valueAt(rule, area, field);
    const auto low = static_cast<uint32_t>(value);
    return field < 3 ? format("%x_%x", static_cast<uint32_t>(value >> 32), low) : format("%x", low);
}

inline unsigned commandAt(const IFC_LUT0_Format &rule, unsigned field)
{
    const unsigned lsb = 1216 + 2 * (field - 1);
    return (bitOf(rule, lsb + 1) ? 2 : 0) + (bitOf(rule, lsb) ? 1 : 0);
}

} // namespace support
