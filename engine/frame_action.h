// SPDX-License-Identifier: MIT OR GPL-2.0
// The action of the deciding rule: the decoded entry, and the frame as it leaves the engine.
#pragma once

#include "engine/frame_parser.h"

namespace engine
{

// Model: the tag codes vo0 and vo1. vo0 edits the outer tag of the frame as it arrived, vo1 the inner tag.
enum class TagCode : uint8_t {
    Keep = 0,
    Insert = 1,  // a new tag before that place
    Remove = 2,  // a frame without the tag is not changed
    Replace = 3, // likewise
};

// An action entry, decoded. Bit n of `on`: sub-action n (IFC_ACT_*) is switched on.
struct Action {
    uint32_t on;
    uint8_t channel, queue, fport, nbq, cnt0, cnt1, meter, ipv4Dscp, ipv6TrafficClass;
    uint16_t spTag;
    uint8_t vpm0;
    TagCode vo[2];
    uint16_t vid[2]; // tag control information: PCP and DEI in 15..12, VLAN ID in 11..0
    bool fqos, fast, mc, keepPcp, cpu, owf, dpi;
};

// `words` in record order. Sub-actions 14 and 15 have no enable bit: their flag switches them on.
Action decodeAction(const uint32_t *words, int revision);

constexpr size_t kMaxGrowth = 8; // two tags

// Writes the frame with the action's edits to `out` and returns its length; 0: `capacity` is less than
// length + kMaxGrowth. `parsed` is the result of parseFrame() for this frame with the same `userTpid`.
size_t applyAction(const Action &action, const ParsedFrame &parsed, uint16_t userTpid, const uint8_t *data,
                   size_t length, uint8_t *out, size_t capacity);

} // namespace engine
