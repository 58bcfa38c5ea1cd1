// SPDX-License-Identifier: MIT OR GPL-2.0
// Frames for tests, built header by header.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "engine/frame_parser.h"

namespace frames
{

using Bytes = std::vector<uint8_t>;

inline Bytes operator+(Bytes left, const Bytes &right)
{
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

// Hex digits in lower case; everything else is skipped.
inline Bytes hex(std::string_view text)
{
    Bytes bytes;
    int high = -1;
    for (const char c : text) {
        int digit = -1;
        if (c >= '0' && c <= '9')
            digit = c - '0';
        else if (c >= 'a' && c <= 'f')
            digit = c - 'a' + 10;
        if (digit < 0)
            continue;
        if (high < 0) {
            high = digit;
        } else {
            bytes.push_back(static_cast<uint8_t>(high << 4 | digit));
            high = -1;
        }
    }
    return bytes;
}

inline Bytes word16(unsigned value)
{
    return {static_cast<uint8_t>(value >> 8), static_cast<uint8_t>(value)};
}

inline Bytes fill(size_t count, uint8_t value = 0)
{
    return Bytes(count, value);
}

inline Bytes macs(std::string_view destination = "02:11:22:33:44:55",
                  std::string_view source = "0a:66:77:88:99:aa")
{
    return hex(destination) + hex(source);
}

inline uint16_t checksum(const uint8_t *data, size_t bytes)
{
    uint32_t sum = 0;
    for (size_t n = 0; n + 1 < bytes; n += 2)
        sum += static_cast<uint32_t>(data[n] << 8 | data[n + 1]);
    while (sum >> 16 != 0)
        sum = (sum & 0xFFFF) + (sum >> 16);
    return static_cast<uint16_t>(~sum);
}

struct Ipv4 {
    unsigned tos = 0xB9;   // DSCP 46 and a congestion bit
    unsigned fragment = 0; // flags and offset word
    unsigned protocol = 6;
    uint32_t source = 0xC0A80102;
    uint32_t destination = 0x0A000001;
    size_t optionBytes = 0;
};

inline Bytes ipv4(const Ipv4 &header, const Bytes &payload)
{
    const size_t headerBytes = 20 + header.optionBytes;
    Bytes bytes = {static_cast<uint8_t>(0x40 | headerBytes / 4), static_cast<uint8_t>(header.tos)};
    bytes = bytes + word16(static_cast<unsigned>(headerBytes + payload.size())) + word16(0x1234) +
            word16(header.fragment) + Bytes{64, static_cast<uint8_t>(header.protocol)} + word16(0) +
            word16(header.source >> 16) + word16(header.source) + word16(header.destination >> 16) +
            word16(header.destination) + fill(header.optionBytes, 1);
    const uint16_t sum = checksum(bytes.data(), bytes.size());
    bytes[10] = static_cast<uint8_t>(sum >> 8);
    bytes[11] = static_cast<uint8_t>(sum);
    return bytes + payload;
}

struct Ipv6 {
    unsigned trafficClass = 0xA5;
    uint32_t flowLabel = 0x54321;
    unsigned next = 17;
};

// Source 2001:db8::1:2:3:4, destination fd00::a:b:c:d.
inline Bytes ipv6(const Ipv6 &header, const Bytes &payload)
{
    const uint32_t first = 6u << 28 | header.trafficClass << 20 | header.flowLabel;
    return word16(first >> 16) + word16(first) + word16(static_cast<unsigned>(payload.size())) +
           Bytes{static_cast<uint8_t>(header.next), 64} +
           hex("20010db8 00000000 00010002 00030004 fd000000 00000000 000a000b 000c000d") + payload;
}

inline Bytes ports(unsigned source = 0x1F90, unsigned destination = 443, size_t more = 16)
{
    return word16(source) + word16(destination) + fill(more, 0x5A);
}

inline Bytes tag(unsigned tpid, unsigned tci)
{
    return word16(tpid) + word16(tci);
}

inline Bytes pppoe(unsigned code, unsigned session, const Bytes &payload)
{
    return Bytes{0x11, static_cast<uint8_t>(code)} + word16(session) +
           word16(static_cast<unsigned>(payload.size())) + payload;
}

inline engine::ParserSettings settings(uint16_t userTpid = 0)
{
    engine::ParserSettings result;
    engine::defaultUdfs(result);
    result.userTpid = userTpid;
    return result;
}

inline engine::ParsedFrame parse(const Bytes &frame, uint16_t userTpid = 0)
{
    engine::ParsedFrame parsed;
    // An exact copy on the heap, so that the address sanitizer detects a read past the frame.
    const Bytes exact(frame);
    engine::parseFrame(exact.data(), exact.size(), {}, settings(userTpid), parsed);
    return parsed;
}

} // namespace frames
