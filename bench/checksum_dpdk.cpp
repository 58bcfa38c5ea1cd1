// SPDX-License-Identifier: MIT OR GPL-2.0
// DPDK's raw checksum, if its headers are installed.
#include <cstdint>
#include <rte_ip.h>

uint32_t dpdkRawChecksum(const unsigned char *p, unsigned bytes)
{
    return rte_raw_cksum(p, bytes);
}
