// SPDX-License-Identifier: MIT OR GPL-2.0
// A checksum as a plain loop over 16-bit words, folded and complemented.
#include <cstdint>

uint32_t plainWordLoop(const unsigned char *p, unsigned bytes)
{
    uint32_t sum = 0;
    for (unsigned n = 0; n + 1 < bytes; n += 2)
        sum += static_cast<uint32_t>(p[n]) << 8 | p[n + 1];
    if (bytes & 1)
        sum += static_cast<uint32_t>(p[bytes - 1]) << 8;
    sum = (sum & 0xFFFF) + (sum >> 16);
    sum = (sum & 0xFFFF) + (sum >> 16);
    return ~sum & 0xFFFF;
}
