// SPDX-License-Identifier: MIT OR GPL-2.0
// The peer of the matching bench: rte_acl of DPDK, when it is installed.
#pragma once

#include <cstdint>
#include <vector>

struct FiveTuple {
    uint32_t source, destination;
    uint16_t sourcePort, destinationPort;
    uint8_t protocol;
};

struct FiveTupleRule {
    FiveTuple key;
    unsigned sourceBits, destinationBits; // prefix lengths
    bool anySourcePort, anyDestinationPort;
};

// Prepares rules and keys. False: it could not be started here.
bool aclPrepare(const std::vector<FiveTupleRule> &rules, const std::vector<FiveTuple> &keys);

// All keys in batches of 32; the number of the first rule that matches, 1 for the first, 0 for none, each.
void aclClassify(std::vector<uint32_t> &results);
