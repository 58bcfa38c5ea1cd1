// SPDX-License-Identifier: MIT OR GPL-2.0
// The plain pcap format: a file header of 24 bytes, then frames, each with a header of 16 bytes.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace capture
{

constexpr uint32_t kMagicMicroseconds = 0xA1B2C3D4;
constexpr uint32_t kMagicNanoseconds = 0xA1B23C4D;
constexpr std::array<uint16_t, 2> kVersion = {2, 4}; // major, minor
constexpr size_t kFileHeaderBytes = 24;
constexpr size_t kFrameHeaderBytes = 16;
constexpr uint32_t kLinkTypeEthernet = 1;

} // namespace capture
