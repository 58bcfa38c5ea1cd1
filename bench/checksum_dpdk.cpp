// SPDX-License-Identifier: MIT OR GPL-2.0
// DPDK's checksum, folded and complemented, if its headers are installed.
#include <cstdint>
#include <rte_ip.h>

uint32_t dpdkRawChecksum(const unsigned char *p, unsigned bytes)
{
    return static_cast<uint16_t>(~rte_raw_cksum(p, bytes));
}
