// SPDX-License-Identifier: MIT OR GPL-2.0
// Groups frames by their shape: tags, EtherType, protocol.
#pragma once

#include "engine/field_image.h"

#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

namespace ifcctl
{

struct ShapeGroup {
    std::string shape; // "1 tag, eth_type ipv4 ip_proto udp"
    uint64_t frames;
    uint64_t bytes;
    size_t capture;       // of the first frame: which capture,
    uint64_t firstNumber; // and its number there, from 1
};

class FrameShapes
{
public:
    void count(const engine::FieldImage &fields, uint32_t length, size_t capture, uint64_t number);
    // Most frames first; groups of as many frames in the order of their first frame.
    std::vector<ShapeGroup> groups() const;

private:
    std::unordered_map<uint64_t, ShapeGroup> groups_;
};

} // namespace ifcctl
