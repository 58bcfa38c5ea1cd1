// SPDX-License-Identifier: MIT OR GPL-2.0
// Values as operators write them: numbers, addresses, masks.
#pragma once

#include "ifc/records/fields.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string>

namespace ifcctl
{

// Decimal, or hexadecimal with 0x; nothing else in the text.
std::optional<uint64_t> parseNumber(const std::string &text);

using Ipv6 = std::array<uint32_t, 4>; // most significant word first

std::optional<uint64_t> parseMac(const std::string &text);
std::optional<uint32_t> parseIpv4(const std::string &text);
std::optional<Ipv6> parseIpv6(const std::string &text);

std::string formatMac(uint64_t mac);
std::string formatIpv4(uint32_t address);
std::string formatHex(uint64_t value);

// The highest `count` of `width` bits.
constexpr uint64_t highBits(unsigned width, unsigned count)
{
    return ifc::lowBits(width) & ~ifc::lowBits(width - count);
}

// The text with each control character as \xNN: a terminal would act on it.
std::string printable(const std::string &text);

} // namespace ifcctl
