// SPDX-License-Identifier: MIT OR GPL-2.0
// The parser's layers from the network header on: IPv4, IPv6 with its extension headers, ports.
#pragma once

#include "engine/parser_layers.h"

namespace engine
{
namespace // internal linkage: each user compiles its own copy
{

constexpr uint32_t kPortBytes = 4;

enum : uint32_t {
    kHopByHop = 0,
    kTcp = 6,
    kUdp = 17,
    kDccp = 33,
    kRouting = 43,
    kFragment = 44,
    kAuthentication = 51,
    kDestinationOptions = 60,
    kSctp = 132,
    kUdpLite = 136,
};

struct NetworkLayers : ParserLayers {
    [[gnu::always_inline]] void transportHeader(uint32_t protocol, const Rest &rest)
    {
        transport = offset(rest);
        switch (protocol) {
        case kTcp:
        case kUdp:
        case kDccp:
        case kSctp:
        case kUdpLite:
            break;
        default:
            return;
        }
        if (rest.left < kPortBytes)
            return;
        static_assert(wordOf(SPORT) == wordOf(DPORT) && shiftOf(SPORT) == 16 && shiftOf(DPORT) == 0);
        fields.word[wordOf(SPORT)] = be32(rest.at);
        ports = fieldBit(SPORT) | fieldBit(DPORT);
    }

    [[gnu::always_inline]] void ipv4(Rest rest)
    {
        if (rest.left < kIpv4Bytes)
            return;
        const uint8_t *header = rest.at;
        const uint32_t headerBytes = (header[0] & 0xFu) * 4;
        if (header[0] >> 4 != 4 || headerBytes < kIpv4Bytes)
            return;
        const uint32_t protocol = header[9];
        const uint32_t octet = header[1]; // Model: the whole octet, code point and ECN (RFC 2474, RFC 3168)
        fields.word[wordOf(IPv4_DSCP)] = octet << shiftOf(IPv4_DSCP) | protocol << shiftOf(IPv4_PROTOCOL);
        static_assert(wordOf(SIPv4) == wordOf(DIPv4) + 1);
        putPair(fields, wordOf(DIPv4), be64(header + 12));
        addresses = fieldBit(IPv4_DSCP) | fieldBit(IPv4_PROTOCOL) | fieldBit(SIPv4) | fieldBit(DIPv4);
        ipVersion = 4;
        rest = rest.upTo(be16(header + 2));
        const uint32_t fragmentOffset = be16(header + 6) & 0x1FFF;
        // Model: no header is skipped here, not even an authentication header.
        if (fragmentOffset == 0 && rest.left >= headerBytes)
            transportHeader(protocol, rest.after(headerBytes));
    }

    [[gnu::always_inline]] void ipv6(Rest rest)
    {
        if (rest.left < kIpv6Bytes)
            return;
        const uint8_t *header = rest.at;
        if (header[0] >> 4 != 6)
            return;
        const uint32_t first = be32(header);
        put<FLOW_LABEL>(fields, first & 0xFFFFF);
        putPair(fields, wordOf(SIPv6_95_64), be64(header + 8));
        putPair(fields, wordOf(SIPv6_31_0), be64(header + 16));
        putPair(fields, wordOf(DIPv6_95_64), be64(header + 24));
        putPair(fields, wordOf(DIPv6_31_0), be64(header + 32));
        ipVersion = 6;
        rest = rest.after(kIpv6Bytes).upTo(be16(header + 4));

        uint32_t upper = header[6];
        const bool firstFragment = !isExtension(upper) || extensions(upper, rest);
        fields.word[wordOf(IPv6_TRAFFIC_CLASS)] =
            (first >> 20 & 0xFF) << shiftOf(IPv6_TRAFFIC_CLASS) | upper << shiftOf(IPv6_NEXT_HEADER);
        addresses =
            fieldBits(DIPv6_31_0, FLOW_LABEL) | fieldBit(IPv6_TRAFFIC_CLASS) | fieldBit(IPv6_NEXT_HEADER);
        if (firstFragment)
            transportHeader(upper, rest);
    }

    static bool isExtension(uint32_t next)
    {
        return next == kHopByHop || next == kRouting || next == kFragment || next == kDestinationOptions ||
               next == kAuthentication;
    }

    // Walks the extension headers after the base header. False: no transport header starts here, because a
    // header is cut off or the packet is a later fragment.
    static bool extensions(uint32_t &next, Rest &rest)
    {
        while (isExtension(next)) {
            if (rest.left < 8)
                return false;
            const uint8_t *header = rest.at;
            uint32_t bytes = 8;
            if (next == kAuthentication)
                bytes = (header[1] + 2u) * 4;
            else if (next != kFragment)
                bytes = (header[1] + 1u) * 8;
            if (rest.left < bytes)
                return false;
            const bool later = next == kFragment && (be16(header + 2) & 0xFFF8) != 0;
            next = header[0];
            rest = rest.after(bytes);
            // Model: no header follows the header of a later fragment, so its number is not followed.
            if (later)
                return false;
        }
        return true;
    }
};

} // namespace
} // namespace engine
