// SPDX-License-Identifier: MIT OR GPL-2.0
// The rules of a home gateway for the frames of the engine's bench. They use prefixes, MAC addresses, IPv6
// address words, user-defined fields and all four comparisons. The rule layer places them: nine entries or
// more make a wide rule, fewer make a chain of narrow entries.
#pragma once

#include <vector>

#include "engine/condition.h"

namespace gateway
{

struct Term {
    unsigned field;
    engine::Command command;
    uint64_t key;
    uint64_t mask;
};
using Rule = std::vector<Term>;

inline Term is(unsigned field, uint64_t key, uint64_t mask)
{
    return {field, engine::Command::Equal, key, mask};
}

inline Term is(unsigned field, uint64_t key)
{
    return is(field, key, engine::fieldOnes(field));
}

inline Term isNot(unsigned field, uint64_t key)
{
    return {field, engine::Command::NotEqual, key, engine::fieldOnes(field)};
}

inline Term atLeast(unsigned field, uint64_t key)
{
    return {field, engine::Command::GreaterOrEqual, key, engine::fieldOnes(field)};
}

inline Term atMost(unsigned field, uint64_t key)
{
    return {field, engine::Command::LessOrEqual, key, engine::fieldOnes(field)};
}

constexpr uint64_t prefix(unsigned ones)
{
    return 0xFFFFFFFFu << (32 - ones) & 0xFFFFFFFFu;
}

constexpr uint64_t kGateway = 0x021122334455;
constexpr uint64_t kHouse = 0x0A66778899AA;
constexpr uint64_t kGuest = 0x0A66778899BB;
constexpr uint64_t kLan = 0xC0A80100;
constexpr uint64_t kServers = 0xCB007100;
constexpr unsigned kUdf1 = UDF0 + 1; // the total length of IPv4
constexpr unsigned kUdf4 = UDF0 + 4; // time to live and protocol of IPv4

// Eight rules of nine entries or more, and chains that fill the 32 narrow entries.
inline std::vector<Rule> rules()
{
    return {
        // The house's web traffic, untagged.
        {is(DMAC, kGateway), is(SMAC, kHouse), is(FRAME_TYPE, 0), is(VPM0, 0), is(ETYPE, 0x0800),
         is(SIPv4, kLan, prefix(26)), is(IPv4_PROTOCOL, 6), atLeast(SPORT, 1024), atMost(DPORT, 5039)},
        // Voice traffic, but not from guests.
        {isNot(SMAC, kGuest), is(VPM0, 0), is(ETYPE, 0x0800), is(SIPv4, kLan, prefix(26)),
         is(DIPv4, kServers, prefix(27)), atLeast(IPv4_DSCP, 4 << 2), is(IPv4_PROTOCOL, 17),
         atLeast(SPORT, 1040)},
        // The lower service VLANs with priority.
        {is(VPM0, 1), atMost(VID0, 5), atLeast(PBIT0, 2), is(VPM1, 0), is(ETYPE, 0x0800),
         is(SIPv4, kLan, prefix(24)), is(DIPv4, kServers, prefix(26)), is(IPv4_PROTOCOL, 6),
         atMost(DPORT, 5047)},
        // A leased line, by both tags.
        {is(VPM0, 2), is(VID0, 7), is(VPM1, 1), atLeast(VID1, 4), is(PBIT1, 0), is(ETYPE, 0x0800),
         is(IPv4_PROTOCOL, 17), atMost(IPv4_DSCP, 8 << 2 | 3), atLeast(DPORT, 5010)},
        // The internet session.
        {is(FRAME_TYPE, 4), is(VID0, 7), is(PBIT0, 0), is(PPPOE_SESSION, 0x1C2A), is(SIPv4, kLan, prefix(26)),
         is(DIPv4, kServers, prefix(24)), isNot(IPv4_PROTOCOL, 17), atLeast(SPORT, 1024),
         atMost(DPORT, 5047)},
        // One IPv6 network to one host.
        {is(ETYPE, 0x86DD), is(SIPv6_127_96, 0x20010DB8), is(SIPv6_95_64, 0), is(DIPv6_127_96, 0xFD000000),
         is(DIPv6_95_64, 0), is(DIPv6_63_32, 0x000A000B), is(DIPv6_31_0, 0x000C000D), isNot(FLOW_LABEL, 0),
         atMost(DPORT, 5023)},
        // One IPv6 host to one network.
        {is(ETYPE, 0x86DD), is(SIPv6_127_96, 0x20010DB8), is(SIPv6_95_64, 0), is(SIPv6_63_32, 0x00010002),
         is(SIPv6_31_0, 0x00030001), is(DIPv6_127_96, 0xFD000000), is(DIPv6_95_64, 0),
         is(IPv6_NEXT_HEADER, 17), atLeast(SPORT, 1032)},
        // Television.
        {is(DMAC, 0x01005E000000, 0xFFFFFF800000), is(DMAC_TYPE, 1), is(VPM0, 1), is(ETYPE, 0x0800),
         isNot(SIPv4, kLan + 1), is(DIPv4, kServers, prefix(24)), isNot(IPv4_PROTOCOL, 17),
         atMost(DPORT, 5031)},

        // Sub-table 0: address resolution of guests, a port range, ...
        {is(SMAC, kGuest), is(ETYPE, 0x0806)},
        {is(IPv4_PROTOCOL, 6), atLeast(DPORT, 5010), atMost(DPORT, 5015)},
        {is(VID0, 2), atLeast(PBIT0, 2), isNot(IPv4_PROTOCOL, 17)},
        {is(SIPv4, kLan, prefix(29)), is(DIPv4, kServers, prefix(28))},
        {is(SIPv6_127_96, 0x20010DB8), is(SIPv6_95_64, 0), atLeast(DPORT, 5056)},
        {is(kUdf4, 0x4011), is(DPORT, 5007)},
        // Sub-table 1.
        {is(DMAC, kGateway), atMost(VID1, 2), atLeast(IPv4_DSCP, 8 << 2)},
        {atLeast(PPPOE_SESSION, 0x1C2B), atMost(DPORT, 5007)},
        {is(SIPv6_127_96, 0x20010DB8), is(DIPv6_127_96, 0xFD000000), is(IPv6_NEXT_HEADER, 6)},
        {is(VPM0, 0), atLeast(kUdf1, 0x0100), is(SIPv4, kLan + 32, prefix(27))},
        {isNot(ETYPE, 0x0800), is(DMAC, 0x01005E000005), atMost(SPORT, 1030)},
    };
}

// The rule as automatic placement takes it.
inline orva_ifc_param requestOf(const Rule &rule)
{
    orva_ifc_param request{};
    unsigned n = 0;
    for (const Term &term : rule) {
        request.fieldIdx[n] = term.field;
        request.command[n] = static_cast<uint32_t>(term.command);
        request.mask_low[n] = static_cast<uint32_t>(term.mask);
        request.mask_high[n] = static_cast<uint32_t>(term.mask >> 32);
        request.key_low[n] = static_cast<uint32_t>(term.key);
        request.key_high[n++] = static_cast<uint32_t>(term.key >> 32);
    }
    return request;
}

} // namespace gateway
