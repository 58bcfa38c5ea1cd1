// SPDX-License-Identifier: MIT OR GPL-2.0
#include "values.h"

#include "errors.h"

#include <arpa/inet.h>

#include <charconv>
#include <cstdio>
#include <cstring>

namespace ifcctl
{

std::optional<uint64_t> parseNumber(const std::string &text)
{
    const bool hex = text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
    const char *first = text.data() + (hex ? 2 : 0);
    const char *last = text.data() + text.size();
    uint64_t value = 0;
    const auto [end, error] = std::from_chars(first, last, value, hex ? 16 : 10);
    if (error != std::errc{} || end != last)
        return std::nullopt;
    return value;
}

uint64_t numberFor(const std::string &field, const std::string &text, uint64_t least, uint64_t most)
{
    const auto value = parseNumber(text);
    if (!value || *value < least || *value > most)
        throw usage(field, text, "a number from " + std::to_string(least) + " to " + std::to_string(most));
    return *value;
}

std::optional<uint64_t> parseMac(const std::string &text)
{
    // Six groups of two digits: nothing shorter, nothing behind.
    if (text.size() != 17)
        return std::nullopt;
    uint64_t mac = 0;
    for (size_t group = 0; group < 6; ++group) {
        unsigned byte = 0;
        const char *first = text.data() + 3 * group;
        const auto [end, error] = std::from_chars(first, first + 2, byte, 16);
        if (error != std::errc{} || end != first + 2 || (group < 5 && *end != ':'))
            return std::nullopt;
        mac = mac << 8 | byte;
    }
    return mac;
}

std::optional<uint32_t> parseIpv4(const std::string &text)
{
    in_addr address{};
    if (inet_pton(AF_INET, text.c_str(), &address) != 1)
        return std::nullopt;
    return ntohl(address.s_addr);
}

std::optional<Ipv6> parseIpv6(const std::string &text)
{
    in6_addr address{};
    if (inet_pton(AF_INET6, text.c_str(), &address) != 1)
        return std::nullopt;
    Ipv6 words{};
    for (size_t n = 0; n < words.size(); ++n) {
        uint32_t word = 0;
        std::memcpy(&word, address.s6_addr + 4 * n, sizeof word);
        words[n] = ntohl(word);
    }
    return words;
}

std::string formatMac(uint64_t mac)
{
    char text[18];
    const auto byte = [mac](unsigned n) { return static_cast<unsigned>(mac >> 8 * (5 - n) & 0xFF); };
    (void)std::snprintf(text, sizeof text, "%02x:%02x:%02x:%02x:%02x:%02x", byte(0), byte(1), byte(2),
                        byte(3), byte(4), byte(5));
    return text;
}

std::string formatIpv4(uint32_t address)
{
    return std::to_string(address >> 24) + '.' + std::to_string(address >> 16 & 0xFF) + '.' +
           std::to_string(address >> 8 & 0xFF) + '.' + std::to_string(address & 0xFF);
}

std::string formatHex(uint64_t value)
{
    char text[24];
    (void)std::snprintf(text, sizeof text, "0x%llx", static_cast<unsigned long long>(value));
    return text;
}

} // namespace ifcctl
