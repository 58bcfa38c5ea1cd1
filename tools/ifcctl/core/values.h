// SPDX-License-Identifier: MIT OR GPL-2.0
// Values as operators write them: numbers, addresses, masks.
#pragma once

#include "ifc/records/fields.h"

#include <nlohmann/json.hpp>

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace ifcctl
{

// Decimal, or hexadecimal with 0x; nothing else in the text.
std::optional<uint64_t> parseNumber(const std::string &text);

using Ipv6 = std::array<uint32_t, 4>; // most significant word first

std::optional<uint64_t> parseMac(const std::string &text);
std::optional<uint32_t> parseIpv4(const std::string &text);
std::optional<Ipv6> parseIpv6(const std::string &text);

// The mask of the first `length` bits, 0 to 128.
Ipv6 ipv6PrefixMask(unsigned length);

std::string formatMac(uint64_t mac);
std::string formatIpv4(uint32_t address);
std::string formatIpv6(const Ipv6 &address);
std::string formatHex(uint64_t value);
// The field as it is printed alone: MAC and IPv4 addresses in their notation, others in hexadecimal.
std::string formatFieldValue(unsigned field, uint64_t value);

// The same in JSON: addresses as text, others as numbers.
nlohmann::ordered_json fieldJson(unsigned field, uint64_t value);

// "eq", "ne", "ge", "le", "range": the comparison of a condition (enum ifc_compare).
const char *compareName(unsigned compare);

// The words of a text that are separated by single spaces.
std::vector<std::string> wordsOf(const std::string &text);

// The highest `count` of `width` bits.
constexpr uint64_t highBits(unsigned width, unsigned count)
{
    return ifc::lowBits(width) & ~ifc::lowBits(width - count);
}

// The text with each control character, and each byte that is no UTF-8, as \xNN: a terminal executes neither.
std::string printable(const std::string &text);

} // namespace ifcctl
