// SPDX-License-Identifier: MIT OR GPL-2.0
#include "values.h"

#include <arpa/inet.h>

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <sstream>

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

std::optional<uint64_t> parseMac(const std::string &text)
{
    // Six groups of two digits, with a colon between them.
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

Ipv6 ipv6PrefixMask(unsigned length)
{
    Ipv6 mask{};
    for (unsigned n = 0; n < mask.size(); ++n) {
        const unsigned before = 32 * n;
        mask[n] = static_cast<uint32_t>(highBits(32, length <= before ? 0 : std::min(length - before, 32u)));
    }
    return mask;
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

std::string formatIpv6(const Ipv6 &address)
{
    in6_addr bytes{};
    for (size_t n = 0; n < address.size(); ++n) {
        const uint32_t word = htonl(address[n]);
        std::memcpy(bytes.s6_addr + 4 * n, &word, sizeof word);
    }
    char text[INET6_ADDRSTRLEN];
    return inet_ntop(AF_INET6, &bytes, text, sizeof text);
}

std::string formatHex(uint64_t value)
{
    char text[24];
    (void)std::snprintf(text, sizeof text, "0x%llx", static_cast<unsigned long long>(value));
    return text;
}

std::string formatFieldValue(unsigned field, uint64_t value)
{
    if (ifc::isMac(field))
        return formatMac(value);
    if (ifc::isIpv4Address(field))
        return formatIpv4(static_cast<uint32_t>(value));
    return formatHex(value);
}

nlohmann::ordered_json fieldJson(unsigned field, uint64_t value)
{
    if (ifc::isMac(field) || ifc::isIpv4Address(field))
        return formatFieldValue(field, value);
    return value;
}

const char *compareName(unsigned compare)
{
    static const char *const names[] = {"eq", "ne", "ge", "le", "range"};
    return names[compare < std::size(names) ? compare : 0];
}

std::vector<std::string> wordsOf(const std::string &text)
{
    std::vector<std::string> words;
    std::istringstream stream(text);
    for (std::string word; stream >> word;)
        words.push_back(word);
    return words;
}

namespace
{

// The length of the UTF-8 character that begins there; 0: the bytes are none. RFC 3629.
size_t characterLength(const std::string &text, size_t at)
{
    const auto byte = [&](size_t n) {
        return at + n < text.size() ? static_cast<unsigned char>(text[at + n]) : 0u;
    };
    const unsigned lead = byte(0);
    const size_t length = lead < 0x80                   ? 1
                          : lead >= 0xC2 && lead < 0xE0 ? 2
                          : lead >= 0xE0 && lead < 0xF0 ? 3
                          : lead >= 0xF0 && lead < 0xF5 ? 4
                                                        : 0;
    for (size_t n = 1; n < length; ++n)
        if ((byte(n) & 0xC0) != 0x80)
            return 0;
    const bool tooLong = (lead == 0xE0 && byte(1) < 0xA0) || (lead == 0xF0 && byte(1) < 0x90);
    const bool surrogate = lead == 0xED && byte(1) >= 0xA0;
    const bool beyond = lead == 0xF4 && byte(1) >= 0x90;
    return tooLong || surrogate || beyond ? 0 : length;
}

} // namespace

std::string printable(const std::string &text)
{
    std::string out;
    for (size_t n = 0; n < text.size();) {
        const auto byte = static_cast<unsigned char>(text[n]);
        const size_t length = characterLength(text, n);
        // In UTF-8 the control characters U+0080 to U+009F begin with 0xC2.
        const bool longControl =
            length == 2 && byte == 0xC2 && static_cast<unsigned char>(text[n + 1]) < 0xA0;
        if (length != 0 && byte >= 0x20 && byte != 0x7F && !longControl) {
            out.append(text, n, length);
            n += length;
            continue;
        }
        n += longControl;
        char escape[8];
        (void)std::snprintf(escape, sizeof escape, "\\x%02x",
                            static_cast<unsigned>(static_cast<unsigned char>(text[n])));
        out += escape;
        ++n;
    }
    return out;
}

} // namespace ifcctl
