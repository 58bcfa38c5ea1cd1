// SPDX-License-Identifier: MIT OR GPL-2.0
// Writes the conditions of a rule in words that readMatch() accepts, and as JSON.
#include "conditions.h"
#include "match_words.h"
#include "rule_words.h"
#include "values.h"

#include "ifc/records/fields.h"

#include <algorithm>
#include <bit>

namespace ifcctl
{

namespace
{

constexpr unsigned kAddressWords = 4; // of an IPv6 address

// How the number under a word is written.
std::string numberText(unsigned field, uint64_t value)
{
    const bool decimal = ifc::isHalf(field) && !ifc::isUdf(field) && field != ETYPE &&
                         field != PPPOE_SESSION && field != IPv4_DSCP && field != IPv6_TRAFFIC_CLASS;
    return decimal ? std::to_string(value) : formatFieldValue(field, value);
}

std::string valueText(const MatchWord &word, uint64_t value)
{
    std::string name = nameOfValue(word, value);
    if (!name.empty())
        return name;
    return word.width < ifc::fieldWidth(word.field) ? std::to_string(value) : numberText(word.field, value);
}

std::string compareText(unsigned compare)
{
    return compare == IFC_COMPARE_EQUAL || compare == IFC_COMPARE_RANGE
               ? " "
               : ' ' + std::string(compareName(compare)) + ' ';
}

// The mask as "/24", "/0xff" or "/255.0.255.0"; "" if all `width` bits count.
std::string maskText(unsigned field, uint64_t mask, unsigned width)
{
    if (mask == ifc::lowBits(width))
        return "";
    const auto ones = static_cast<unsigned>(std::popcount(mask));
    if ((ifc::isMac(field) || ifc::isIpv4Address(field)) && mask == highBits(width, ones))
        return '/' + std::to_string(ones);
    return '/' + formatFieldValue(field, mask);
}

// True: the word covers all bits that the condition compares.
bool holdsAll(const MatchWord &word, const ifc_rule_condition &c)
{
    const uint64_t bits = ifc::lowBits(word.width) << word.lsb;
    if (c.compare == IFC_COMPARE_RANGE) {
        const uint64_t below = ifc::lowBits(word.lsb);
        return bits == (ifc::fieldOnes(c.field) & ~below) && (c.key & below) == 0 &&
               (c.key_last & below) == below;
    }
    return c.mask != 0 && (c.mask & ~bits) == 0;
}

std::string sayWith(const std::string &name, const MatchWord &word, const ifc_rule_condition &c)
{
    const std::string begin = name + compareText(c.compare);
    if (c.compare == IFC_COMPARE_RANGE)
        return begin + valueText(word, c.key >> word.lsb) + '-' + valueText(word, c.key_last >> word.lsb);
    if (c.mask == 0)
        return begin + kAnyWord;
    const uint64_t mask = c.mask >> word.lsb;
    const std::string value = mask == ifc::lowBits(word.width) ? valueText(word, c.key >> word.lsb)
                                                               : numberText(c.field, c.key >> word.lsb);
    return begin + value + maskText(c.field, mask, word.width);
}

std::string sayAsItStands(const ifc_rule_condition &c)
{
    const std::string begin = ifc::fieldName(c.field) + compareText(c.compare);
    if (c.compare == IFC_COMPARE_RANGE)
        return begin + formatHex(c.key) + '-' + formatHex(c.key_last);
    if (c.mask == 0)
        return begin + kAnyWord;
    return begin + formatFieldValue(c.field, c.key) + maskText(c.field, c.mask, ifc::fieldWidth(c.field));
}

// The word of a whole field. "" for those whose word depends on the IP version.
const char *wordOf(unsigned field)
{
    switch (field) {
    case DMAC:
        return "dst_mac";
    case SMAC:
        return "src_mac";
    case SINF:
        return "iface";
    case VPM0:
        return "vlan_vpm";
    case VPM1:
        return "cvlan_vpm";
    case VID0:
        return "vlan_id";
    case VID1:
        return "cvlan_id";
    case ETYPE:
        return "eth_type";
    case GEMPORT:
        return "gem_port";
    case DPORT:
        return "dst_port";
    case SPORT:
        return "src_port";
    case PPPOE_SESSION:
        return "pppoe_sid";
    case DMAC_TYPE:
        return "dst_mac_type";
    case DIPv4:
        return "dst_ip";
    case SIPv4:
        return "src_ip";
    default:
        return "";
    }
}

class MatchWriter
{
public:
    explicit MatchWriter(const ifc_rule &rule) : rule_(rule) {}

    std::string write()
    {
        if (rule_.count == 0)
            return kAnyWord;
        const bool asItStands = contradictory();
        namesIpv6_ = namesIpv6();
        for (unsigned n = 0; n < rule_.count;) {
            if (asItStands) {
                add(sayAsItStands(rule_.condition[n++]));
                continue;
            }
            const unsigned taken = ipv6Address(n);
            if (taken == 0)
                add(say(n));
            n += taken == 0 ? 1 : taken;
        }
        return text_;
    }

private:
    void add(const std::string &words) { text_ += (text_.empty() ? "" : " ") + words; }

    bool contradictory() const
    {
        for (unsigned i = 0; i < rule_.count; ++i)
            for (unsigned k = 0; k < i; ++k)
                if (excludeEachOther(rule_.condition[i], rule_.condition[k]))
                    return true;
        return false;
    }

    // By a word whose field does not depend on the IP version, or by a value.
    bool namesIpv6() const
    {
        for (unsigned n = 0; n < rule_.count; ++n) {
            const ifc_rule_condition &c = rule_.condition[n];
            if (c.field == IPv6_NEXT_HEADER
                    ? c.key == kIcmpv6 && c.mask == ifc::fieldOnes(c.field) && c.compare != IFC_COMPARE_RANGE
                    : c.field != IPv6_TRAFFIC_CLASS && ipVersionOf(c) == 6)
                return true;
        }
        return false;
    }

    // Writes the IPv6 address that begins at condition `from` and returns how many conditions it has. 0: none
    // begins there that can be written as address and prefix.
    unsigned ipv6Address(unsigned from)
    {
        const unsigned field = rule_.condition[from].field;
        if (!ifc::isWord(field) || ifc::isIpv4Address(field) || field == FLOW_LABEL)
            return 0;
        const bool destination = field >= DIPv6_31_0 && field <= DIPv6_127_96;
        const unsigned lowest = destination ? DIPv6_31_0 : SIPv6_31_0;
        Ipv6 address{};
        Ipv6 mask{};
        unsigned count = 0;
        for (; from + count < rule_.count; ++count) {
            const ifc_rule_condition &c = rule_.condition[from + count];
            const unsigned word = lowest + 3 - c.field; // 0: bits 127 to 96
            if (word >= kAddressWords || c.compare != IFC_COMPARE_EQUAL || c.mask == 0 || mask[word] != 0)
                break;
            mask[word] = static_cast<uint32_t>(c.mask);
            address[word] = static_cast<uint32_t>(c.key);
        }
        unsigned length = 0;
        for (const uint32_t word : mask)
            length += static_cast<unsigned>(std::popcount(word));
        if (count == 0 || mask != ipv6PrefixMask(length))
            return 0;
        add((destination ? "dst_ip " : "src_ip ") + formatIpv6(address) +
            (length == 128 ? "" : '/' + std::to_string(length)));
        return count;
    }

    // True: readMatch() would merge these words with those of an earlier condition.
    bool wouldMerge(unsigned at) const
    {
        const ifc_rule_condition &c = rule_.condition[at];
        const bool hasParts =
            c.field == PBIT0 || c.field == PBIT1 || c.field == IPv4_DSCP || c.field == IPv6_TRAFFIC_CLASS;
        const auto merges = [&c](const ifc_rule_condition &before) {
            return before.field == c.field && before.compare == IFC_COMPARE_EQUAL;
        };
        return hasParts && merges(c) && std::any_of(rule_.condition, rule_.condition + at, merges);
    }

    std::string say(unsigned at)
    {
        const ifc_rule_condition &c = rule_.condition[at];
        if (wouldMerge(at))
            return named(lowerName(c.field), c);
        switch (c.field) {
        case IPv4_PROTOCOL:
        case IPv4_DSCP:
            return versioned(c, !namesIpv6_);
        case IPv6_NEXT_HEADER:
        case IPv6_TRAFFIC_CLASS: {
            // The field's own name names IPv6 for the whole rule.
            const bool known = namesIpv6_;
            namesIpv6_ = true;
            return versioned(c, known);
        }
        default:
            return conditionText(c);
        }
    }

    static std::string versioned(const ifc_rule_condition &c, bool known)
    {
        if (!known || c.mask == 0)
            return named(lowerName(c.field), c);
        if (c.field == IPv4_PROTOCOL || c.field == IPv6_NEXT_HEADER) {
            // The name would mean IPv6.
            if (c.field == IPv4_PROTOCOL && c.key == kIcmpv6)
                return "ip_proto" + compareText(c.compare) + rest(c);
            return named("ip_proto", c);
        }
        for (const char *word : {"dscp", "ip_ecn"})
            if (holdsAll(*findMatchWord(word), c))
                return named(word, c);
        return named("ip_tos", c);
    }

    static std::string rest(const ifc_rule_condition &c)
    {
        if (c.compare == IFC_COMPARE_RANGE)
            return std::to_string(c.key) + '-' + std::to_string(c.key_last);
        return std::to_string(c.key) + maskText(c.field, c.mask, ifc::fieldWidth(c.field));
    }

    friend std::string ifcctl::conditionText(const ifc_rule_condition &condition);

    static std::string named(const std::string &name, const ifc_rule_condition &c)
    {
        return sayWith(name, *findMatchWord(name), c);
    }

    static std::string lowerName(unsigned field)
    {
        std::string name = ifc::fieldName(field);
        for (char &letter : name)
            if (letter >= 'A' && letter <= 'Z')
                letter = static_cast<char>(letter - 'A' + 'a');
        return name;
    }

    const ifc_rule &rule_;
    std::string text_;
    bool namesIpv6_ = false;
};

} // namespace

std::string conditionText(const ifc_rule_condition &c)
{
    using W = MatchWriter;
    const std::string name = wordOf(c.field);
    if (c.mask == 0 && ifc::isIpv4Address(c.field))
        return W::named(W::lowerName(c.field), c);
    if (ifc::isIpv4Address(c.field))
        return name + compareText(c.compare) + formatIpv4(static_cast<uint32_t>(c.key)) +
               maskText(c.field, c.mask, ifc::fieldWidth(c.field));
    if (c.field != PBIT0 && c.field != PBIT1)
        return W::named(name.empty() ? W::lowerName(c.field) : name, c);
    const std::string tag = c.field == PBIT0 ? "vlan" : "cvlan";
    const std::string prio = tag + "_prio";
    const std::string dei = tag + "_dei";
    for (const std::string &word : {prio, dei})
        if (holdsAll(*findMatchWord(word), c))
            return W::named(word, c);
    const uint64_t both = c.mask & 1 ? c.mask & ~uint64_t{1} : 0;
    if (c.compare != IFC_COMPARE_EQUAL || both == 0)
        return W::named(W::lowerName(c.field), c);
    return W::named(prio, makeCondition(c.field, c.compare, both, c.key & both)) + ' ' +
           W::named(dei, makeCondition(c.field, c.compare, 1, c.key & 1));
}

std::string matchText(const ifc_rule &rule)
{
    return MatchWriter(rule).write();
}

nlohmann::ordered_json matchJson(const ifc_rule &rule)
{
    auto list = nlohmann::ordered_json::array();
    for (unsigned n = 0; n < rule.count; ++n) {
        const ifc_rule_condition &c = rule.condition[n];
        nlohmann::ordered_json json = {{"field", ifc::fieldName(c.field)},
                                       {"id", c.field},
                                       {"command", compareName(c.compare)},
                                       {"key", fieldJson(c.field, c.key)}};
        if (c.compare == IFC_COMPARE_RANGE)
            json["last"] = c.key_last;
        json["mask"] = fieldJson(c.field, c.mask);
        list.push_back(json);
    }
    return list;
}

} // namespace ifcctl
