// SPDX-License-Identifier: MIT OR GPL-2.0
// Numbers in network byte order, and the header constants that parser and actions share.
#pragma once

#include <stdint.h>

namespace engine
{

inline uint32_t be16(const uint8_t *p)
{
    uint16_t word;
    __builtin_memcpy(&word, p, sizeof word);
    return __builtin_bswap16(word);
}

inline uint32_t be32(const uint8_t *p)
{
    uint32_t word;
    __builtin_memcpy(&word, p, sizeof word);
    return __builtin_bswap32(word);
}

inline uint64_t be64(const uint8_t *p)
{
    uint64_t word;
    __builtin_memcpy(&word, p, sizeof word);
    return __builtin_bswap64(word);
}

inline void putBe16(uint8_t *p, uint32_t value)
{
    p[0] = static_cast<uint8_t>(value >> 8);
    p[1] = static_cast<uint8_t>(value);
}

constexpr uint32_t kMacBytes = 6;
constexpr uint32_t kTypeOffset = 12; // of the first length/type word
constexpr uint32_t kTagBytes = 4;
constexpr uint32_t kMaxTags = 2;

constexpr uint32_t kTypePppoeDiscovery = 0x8863;
constexpr uint32_t kTypePppoeSession = 0x8864;
constexpr uint32_t kTypeIpv4 = 0x0800;
constexpr uint32_t kTypeIpv6 = 0x86DD;
constexpr uint32_t kPppIpv4 = 0x0021;
constexpr uint32_t kPppIpv6 = 0x0057;
constexpr uint32_t kLastLength = 0x05DC; // IEEE 802.3: the largest length,
constexpr uint32_t kFirstType = 0x0600;  // the smallest type

constexpr uint32_t kIpv4Bytes = 20;
constexpr uint32_t kIpv6Bytes = 40;

} // namespace engine
