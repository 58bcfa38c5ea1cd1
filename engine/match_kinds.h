// SPDX-License-Identifier: MIT OR GPL-2.0
// The kinds of frames that the parser makes, and the lanes that serve a rule, as the compiler of the match
// programs and the match itself share them.
#pragma once

#include "engine/field_image.h"
#include "engine/hits.h"

namespace engine
{
namespace // internal linkage: exports nothing
{

// Sets of fields that a frame has all or none of. So frames are of few kinds.
constexpr uint64_t kBaseFields = fieldBit(DMAC) | fieldBit(SMAC) | fieldBit(DMAC_TYPE) |
                                 fieldBit(FRAME_TYPE) | fieldBit(VPM0) | fieldBit(VPM1);
constexpr uint64_t kOuterFields = fieldBit(VID0) | fieldBit(PBIT0);
constexpr uint64_t kInnerFields = fieldBit(VID1) | fieldBit(PBIT1);
constexpr uint64_t kIpv4Fields =
    fieldBit(DIPv4) | fieldBit(SIPv4) | fieldBit(IPv4_PROTOCOL) | fieldBit(IPv4_DSCP);
constexpr uint64_t kIpv6Fields = ((fieldBit(FLOW_LABEL) << 1) - fieldBit(DIPv6_31_0)) |
                                 fieldBit(IPv6_NEXT_HEADER) | fieldBit(IPv6_TRAFFIC_CLASS);
constexpr uint64_t kPortFields = fieldBit(SPORT) | fieldBit(DPORT);
constexpr uint64_t kSessionFields = fieldBit(PPPOE_SESSION);
constexpr uint64_t kKnownFields =
    kBaseFields | kOuterFields | kInnerFields | kIpv4Fields | kIpv6Fields | kPortFields | kSessionFields;

// Tells the kinds apart by one field of each set: a number below 128, from seven bits side by side.
constexpr unsigned kindOf(uint64_t present)
{
    constexpr auto kTellers =
        static_cast<uint32_t>(fieldBit(VID0) | fieldBit(VID1) | fieldBit(IPv4_PROTOCOL) |
                              fieldBit(IPv6_NEXT_HEADER) | fieldBit(SPORT) | fieldBit(PPPOE_SESSION));
    static_assert(IPv4_PROTOCOL == 24 && IPv6_NEXT_HEADER == 25 && VID0 + 8 == 26 && VID1 + 8 == 28 &&
                  SPORT == 29 && PPPOE_SESSION == 30);
    const uint32_t tellers = static_cast<uint32_t>(present) & kTellers;
    return (tellers | tellers << 8) >> 24;
}

constexpr HitBits ruleBit(unsigned rule)
{
    return HitBits{1} << rule;
}

// The half of the lanes that serves a rule, and its bit there.
constexpr unsigned halfOf(unsigned rule)
{
    return rule < IFC_LUT0_RULES ? rule / (IFC_LUT0_RULES / 2) : (rule - IFC_LUT0_RULES) / IFC_LUT1_SUB_TABLE;
}

constexpr uint32_t laneBit(unsigned rule)
{
    return rule < IFC_LUT0_RULES ? 1u << rule
                                 : 1u << (IFC_LUT0_RULES + (rule - IFC_LUT0_RULES) % IFC_LUT1_SUB_TABLE);
}

// The inverse of both functions.
constexpr HitBits hitBits(uint32_t half0, uint32_t half1)
{
    constexpr uint32_t kWide = (1u << IFC_LUT0_RULES) - 1;
    return half0 | (half1 & kWide) | HitBits{half1 & ~kWide} << IFC_LUT1_SUB_TABLE;
}

} // namespace
} // namespace engine
