// SPDX-License-Identifier: MIT OR GPL-2.0
#include "flow_values.h"

#include "tools/ifcctl/core/errors.h"
#include "tools/ifcctl/core/match_words.h"
#include "tools/ifcctl/core/values.h"

#include <optional>

namespace ifcctl
{

namespace
{

std::optional<uint64_t> numberOf(const MatchWord &word, const std::string &text)
{
    if (ifc::isMac(word.field))
        return parseMac(text);
    if (ifc::isIpv4Address(word.field))
        return parseIpv4(text);
    return parseNumber(text);
}

std::string textOf(const MatchWord &word, uint64_t value)
{
    return ifc::isMac(word.field)           ? formatMac(value)
           : ifc::isIpv4Address(word.field) ? formatIpv4(static_cast<uint32_t>(value))
                                            : formatHex(value);
}

unsigned prefixLength(const std::string &key, const std::string &text, unsigned width)
{
    const auto length = parseNumber(text);
    if (!length || *length == 0 || *length > width)
        throw usage(key + " prefix", text, "a number from 1 to " + std::to_string(width));
    return static_cast<unsigned>(*length);
}

} // namespace

std::string maskedValue(const std::string &key, const std::string &word, const std::string &value,
                        const std::string &mask, bool isPrefix)
{
    constexpr unsigned kIpv6Bits = 128;
    std::string plain = value + '/' + mask;
    const MatchWord meaning = findMatchWord(word).value();
    if (auto address = parseIpv6(value)) {
        const auto bits = isPrefix ? std::optional<Ipv6>(ipv6PrefixMask(prefixLength(key, mask, kIpv6Bits)))
                                   : parseIpv6(mask);
        if (!bits)
            return plain;
        for (unsigned n = 0; n < address->size(); ++n)
            (*address)[n] &= (*bits)[n];
        return formatIpv6(*address) + '/' + formatIpv6(*bits);
    }
    const unsigned width = meaning.width;
    const auto number = numberOf(meaning, value);
    const auto bits = isPrefix ? std::optional<uint64_t>(highBits(width, prefixLength(key, mask, width)))
                               : numberOf(meaning, mask);
    if (!number || !bits || *number > ifc::lowBits(width))
        return isPrefix && bits ? value + '/' + textOf(meaning, *bits) : plain;
    return textOf(meaning, *number & *bits) + '/' + textOf(meaning, *bits);
}

} // namespace ifcctl
