// SPDX-License-Identifier: MIT OR GPL-2.0
// What the deciding rule's action does with a frame: the decoded entry, and the bytes that leave the engine.
#pragma once

#include "engine/frame_parser.h"

namespace engine
{

// Model: the tag codes vo0 and vo1. They speak of the tags with which the frame arrived: vo0 of the outer,
// vo1 of the inner one.
enum class TagCode : uint8_t {
    Keep = 0,
    Insert = 1,  // a new tag in front of that place
    Remove = 2,  // nothing happens to a frame that lacks the tag
    Replace = 3, // alike
};

// An action entry, cut into its fields. `on` tells by sub-action number (IFC_ACT_*) which are switched on.
struct Action {
    uint32_t on;
    uint8_t channel, queue, fport, nbq, cnt0, cnt1, meter, ipv4Dscp, ipv6TrafficClass;
    uint16_t spTag;
    uint8_t vpm0;
    TagCode vo[2];
    uint16_t vid[2]; // priority and drop bit in 15..12, VLAN ID in 11..0
    bool fqos, fast, mc, keepPcp, cpu, owf, dpi;
};

// Chip revision 12 has one enable bit less: sub-actions 4 to 13 stand one lower.
constexpr int kRevisionSharedEnable = 12;

// `words` in record order. Sub-actions 14 and 15 have no enable bit: they are on when their flag is.
Action decodeAction(const uint32_t *words, int revision);

constexpr size_t kMaxGrowth = 8; // two tags

// Writes the frame with the action's edits to `out` and returns its length; 0: `capacity` is less than
// length + kMaxGrowth. `parsed` is what parseFrame() made of the frame, `userTpid` what it was told.
size_t applyAction(const Action &action, const ParsedFrame &parsed, uint16_t userTpid, const uint8_t *data,
                   size_t length, uint8_t *out, size_t capacity);

} // namespace engine
