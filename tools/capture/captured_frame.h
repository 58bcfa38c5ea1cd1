// SPDX-License-Identifier: MIT OR GPL-2.0
#pragma once

#include <cstdint>

namespace capture
{

struct CapturedFrame {
    const uint8_t *data; // valid until the next frame is read
    uint32_t length;     // as captured
    uint32_t wireLength; // as it was on the wire
    uint32_t seconds;
    uint32_t fraction; // of a second, in the unit of the file
};

// A frame longer than this is not an Ethernet frame: the file is damaged.
constexpr uint32_t kMaxFrame = 262144;

} // namespace capture
