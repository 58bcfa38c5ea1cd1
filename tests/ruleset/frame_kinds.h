// SPDX-License-Identifier: MIT OR GPL-2.0
// Makes frames of every kind that the engine's parser distinguishes, from the values of their fields, and
// rules on such values.
#pragma once

#include "rule_support.h"
#include "tests/engine/frames.h"

#include <algorithm>

namespace kinds
{

using frames::Bytes;
using rules::compared;
using rules::randomMask;
using rules::range;

enum class Framing {
    EthernetII,
    Llc,
    Snap,
    PppoeDiscovery,
    PppoeSession,
    SnapPppoe,
    SnapDiscovery,
    Undefined
};
inline constexpr Framing kFramings[] = {Framing::EthernetII,     Framing::Llc,          Framing::Snap,
                                        Framing::PppoeDiscovery, Framing::PppoeSession, Framing::SnapPppoe,
                                        Framing::SnapDiscovery,  Framing::Undefined};

// Makes a frame with these field values. A value that the kind of frame fixes is ignored.
struct Wanted {
    Framing framing = Framing::EthernetII;
    unsigned tags = 0;
    unsigned ip = 0;
    uint64_t value[IFC_LUT0_FIELDS + 1] = {};
};

constexpr uint16_t kUserTpid = 0x9100;
constexpr uint64_t kGroupBit = uint64_t{1} << 40;

inline unsigned tpidOf(uint64_t vpm)
{
    return vpm == 3 ? kUserTpid : vpm == 2 ? 0x88A8 : 0x8100;
}

inline Bytes number(uint64_t value, unsigned bytes)
{
    Bytes made;
    while (bytes-- != 0)
        made.push_back(static_cast<uint8_t>(value >> 8 * bytes));
    return made;
}

inline Bytes packet(const Wanted &w)
{
    const auto at = [&w](unsigned field) { return static_cast<unsigned>(w.value[field]); };
    const Bytes payload = frames::ports(at(SPORT), at(DPORT), 16);
    if (w.ip == 4) {
        frames::Ipv4 header;
        header.tos = at(IPv4_DSCP);
        header.protocol = at(IPv4_PROTOCOL);
        header.source = at(SIPv4);
        header.destination = at(DIPv4);
        return frames::ipv4(header, payload);
    }
    if (w.ip == 6) {
        frames::Ipv6 header;
        header.trafficClass = at(IPv6_TRAFFIC_CLASS);
        header.flowLabel = at(FLOW_LABEL);
        header.next = at(IPv6_NEXT_HEADER);
        // The number of an extension header shows where that header is cut off.
        const bool extension = header.next == 0 || header.next == 43 || header.next == 44 ||
                               header.next == 51 || header.next == 60;
        Bytes bytes = frames::ipv6(header, extension ? Bytes{} : payload);
        Bytes addresses;
        for (const unsigned first : {SIPv6_127_96, DIPv6_127_96})
            for (unsigned n = 0; n < 4; ++n)
                addresses = frames::operator+(addresses, number(w.value[first - n], 4));
        std::copy(addresses.begin(), addresses.end(), bytes.begin() + 8);
        return bytes;
    }
    return frames::fill(40, 0xEE);
}

inline Bytes frameOf(const Wanted &w)
{
    using frames::operator+;
    const auto at = [&w](unsigned field) { return static_cast<unsigned>(w.value[field]); };
    Bytes bytes = number(w.value[DMAC], 6) + number(w.value[SMAC], 6);
    if (w.tags >= 1)
        bytes = bytes + frames::tag(tpidOf(w.value[VPM0]), at(PBIT0) << 12 | at(VID0));
    if (w.tags == 2)
        bytes = bytes + frames::tag(tpidOf(w.value[VPM1]), at(PBIT1) << 12 | at(VID1));
    const Bytes inner = packet(w);
    const Bytes session =
        frames::pppoe(0, at(PPPOE_SESSION), frames::word16(w.ip == 6 ? 0x0057 : 0x0021) + inner);
    const unsigned type = w.ip == 4 ? 0x0800 : w.ip == 6 ? 0x86DD : at(ETYPE);
    const auto snap = [](unsigned protocol, const Bytes &data) {
        return frames::word16(static_cast<unsigned>(8 + data.size())) + frames::hex("aaaa03 000000") +
               frames::word16(protocol) + data;
    };
    switch (w.framing) {
    case Framing::EthernetII:
        return bytes + frames::word16(type) + inner;
    case Framing::Llc:
        return bytes + frames::word16(40) + frames::hex("424203") + frames::fill(37);
    case Framing::Snap:
        return bytes + snap(type, inner);
    case Framing::PppoeDiscovery:
        return bytes + frames::word16(0x8863) + frames::pppoe(9, at(PPPOE_SESSION), {});
    case Framing::PppoeSession:
        return bytes + frames::word16(0x8864) + session;
    case Framing::SnapPppoe:
        return bytes + snap(0x8864, session);
    case Framing::SnapDiscovery:
        return bytes + snap(0x8863, frames::pppoe(9, at(PPPOE_SESSION), {}));
    default:
        return bytes + frames::word16(0x05E0) + inner;
    }
}

inline void parse(const Bytes &frame, const engine::SideData &side, engine::ParsedFrame &parsed)
{
    engine::parseFrame(frame.data(), frame.size(), side, frames::settings(kUserTpid), parsed);
}

// Values with a meaning for some kind of frame.
inline uint64_t structuralValue(Random &random, unsigned field)
{
    static const unsigned types[] = {0x0800, 0x86DD, 0x8863, 0x8864, 0x0806, 0x8100, 0x05DC, 0x0600, 0x0101};
    static const unsigned protocols[] = {1, 6, 17, 33, 58, 132, 136, 44, 0, 50};
    static const uint64_t addresses[] = {0xFFFFFFFFFFFF, 0x01005E000001, 0x021122334455, 0xFEFFFFFFFFFF};
    switch (field) {
    case ETYPE:
        return types[random.below(9)];
    case IPv4_PROTOCOL:
    case IPv6_NEXT_HEADER:
        return protocols[random.below(10)];
    case DMAC:
    case SMAC:
        return addresses[random.below(4)];
    case FRAME_TYPE:
        return random.below(7);
    case VID0:
    case VID1:
    case DPORT:
    case SPORT:
    case PPPOE_SESSION:
        return 100 + random.below(4);
    default:
        return random.below(4);
    }
}

inline ifc_rule structuralRule(Random &random)
{
    // One field of most kinds.
    static const unsigned fields[] = {
        DMAC,       DMAC_TYPE, FRAME_TYPE, ETYPE,         VPM0,       VPM1,          VID0,
        VID1,       PBIT0,     PBIT1,      DIPv4,         SIPv6_31_0, IPv4_PROTOCOL, IPv6_NEXT_HEADER,
        FLOW_LABEL, DPORT,     SPORT,      PPPOE_SESSION, SMAC,       SINF,          ETYPE,
        VPM0,       DPORT,     FRAME_TYPE};
    ifc_rule made = {};
    made.count = 1 + random.below(3);
    for (unsigned n = 0; n < made.count; ++n) {
        const unsigned field = fields[random.below(24)];
        const uint64_t ones = ifc::fieldOnes(field);
        const uint64_t mask = random.oneIn(4) ? randomMask(random, field) : ones;
        const uint64_t key = structuralValue(random, field) & mask;
        unsigned compare = random.oneIn(2) ? 0 : random.below(field > IFC_LAST_WORD_FIELD ? 5 : 2);
        if (compare == IFC_COMPARE_RANGE)
            made.condition[n] = range(field, static_cast<unsigned>(key & ones),
                                      static_cast<unsigned>((key | random.below(8)) & ones));
        else
            made.condition[n] = compared(field, static_cast<ifc_compare>(compare), key, mask);
    }
    return made;
}

inline Wanted randomWanted(Random &random)
{
    Wanted w;
    w.framing = kFramings[random.below(8)];
    w.tags = random.below(3);
    w.ip = random.oneIn(4) ? 0 : random.oneIn(2) ? 4 : 6;
    for (unsigned field = 1; field <= IFC_LUT0_FIELDS; ++field)
        w.value[field] = structuralValue(random, field) & ifc::fieldOnes(field);
    w.value[VPM0] |= 1;
    w.value[VPM1] |= 1;
    return w;
}

} // namespace kinds
