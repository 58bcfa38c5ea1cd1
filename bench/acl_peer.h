// SPDX-License-Identifier: MIT OR GPL-2.0
// rte_acl of DPDK, if installed, for comparison with the engine's matching.
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

// Prepares rules and keys. False: rte_acl does not start on this machine.
bool aclPrepare(const std::vector<FiveTupleRule> &rules, const std::vector<FiveTuple> &keys);

// Classifies all keys in batches of 32. Each result is the number of the first rule that matches, from 1 on;
// 0: none matches.
void aclClassify(std::vector<uint32_t> &results);
