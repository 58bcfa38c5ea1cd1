// SPDX-License-Identifier: MIT OR GPL-2.0
#include "match.h"

#include "errors.h"
#include "values.h"

#include "ifc/ifc_util.h"
#include "platform/host/host_platform.h"

#include <algorithm>
#include <iterator>
#include <map>
#include <optional>

namespace ifcctl
{

namespace
{

struct FieldEntry {
    unsigned id;
    const char *name;
    unsigned width;
};

constexpr FieldEntry kFields[] = {
#define IFC_FIELD_ENTRY(id, name, width) {id, #name, width},
    IFC_LUT0_FIELD_LIST(IFC_FIELD_ENTRY)
#undef IFC_FIELD_ENTRY
};

// Words that stand for one field.
const std::map<std::string, unsigned> &fieldWords()
{
    static const std::map<std::string, unsigned> words = [] {
        std::map<std::string, unsigned> table = {
            {"dst_mac", DMAC},           {"src_mac", SMAC},
            {"flow_label", FLOW_LABEL},  {"iface", SINF},
            {"frame_type", FRAME_TYPE},  {"vlan_vpm", VPM0},
            {"cvlan_vpm", VPM1},         {"vlan_id", VID0},
            {"vlan_prio", PBIT0},        {"cvlan_id", VID1},
            {"cvlan_prio", PBIT1},       {"eth_type", ETYPE},
            {"gem_port", GEMPORT},       {"dst_port", DPORT},
            {"src_port", SPORT},         {"pppoe_sid", PPPOE_SESSION},
            {"dst_mac_type", DMAC_TYPE},
        };
        for (unsigned field = 1; field <= IFC_LUT1_FIELDS; ++field) {
            std::string name = fieldName(field);
            std::transform(name.begin(), name.end(), name.begin(),
                           [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
            table.emplace(name, field);
        }
        return table;
    }();
    return words;
}

// Words whose field depends on the IP version of the rule: the version 4 field, the version 6 field.
const std::map<std::string, std::pair<unsigned, unsigned>> &versionedWords()
{
    static const std::map<std::string, std::pair<unsigned, unsigned>> words = {
        {"ip_proto", {IPv4_PROTOCOL, IPv6_NEXT_HEADER}},
        {"ip_tos", {IPv4_DSCP, IPv6_TRAFFIC_CLASS}},
    };
    return words;
}

struct Address {
    unsigned ipv4;
    unsigned ipv6Low; // the word with bits 31..0; the three above follow
};

const std::map<std::string, Address> &addressWords()
{
    static const std::map<std::string, Address> words = {
        {"dst_ip", {DIPv4, DIPv6_31_0}},
        {"src_ip", {SIPv4, SIPv6_31_0}},
    };
    return words;
}

// Values with names, by field. Ethertypes: IEEE 802 numbers; protocols: IANA.
const std::map<std::string, uint64_t> &namedValues(unsigned field)
{
    static const std::map<std::string, uint64_t> none;
    static const std::map<std::string, uint64_t> ethertypes = {
        {"ipv4", 0x0800},  {"arp", 0x0806},        {"ipv6", 0x86DD},
        {"pppoe", 0x8864}, {"pppoe_disc", 0x8863}, {"lldp", 0x88CC},
    };
    static const std::map<std::string, uint64_t> protocols = {
        {"icmp", 1}, {"igmp", 2}, {"tcp", 6},     {"udp", 17},
        {"gre", 47}, {"esp", 50}, {"icmpv6", 58}, {"sctp", 132},
    };
    if (field == ETYPE)
        return ethertypes;
    if (field == IPv4_PROTOCOL || field == IPv6_NEXT_HEADER)
        return protocols;
    return none;
}

std::string accepted(unsigned field)
{
    if (isMacField(field))
        return "a MAC address such as 01:00:5e:00:00:00, alone, with /PREFIX (1 to 48) or with /MASK";
    const std::string most = formatHex(lowBits(fieldWidth(field)));
    std::string text = "a number from 0 to " + most + ", alone or with /MASK (1 to " + most + ")";
    const auto &names = namedValues(field);
    if (!names.empty()) {
        text += ", or one of";
        for (const auto &[name, value] : names)
            text += ' ' + name;
    }
    return text;
}

struct ValueAndMask {
    std::string value;
    std::optional<std::string> mask;
};

ValueAndMask split(const std::string &text)
{
    const size_t slash = text.find('/');
    if (slash == std::string::npos)
        return {text, std::nullopt};
    return {text.substr(0, slash), text.substr(slash + 1)};
}

void checkCondition(const Condition &c, const std::string &what)
{
    if (c.mask == 0)
        throw usage(c.word, c.value, what + "; a mask of 0 compares nothing, leave the field out");
    if ((c.key & ~c.mask) != 0)
        throw usage(c.word, c.value, what + "; this value has bits outside its mask");
}

std::optional<uint64_t> prefixMask(const std::string &text, unsigned width)
{
    const auto length = parseNumber(text);
    if (!length || *length > width || text.find_first_not_of("0123456789") != std::string::npos)
        return std::nullopt;
    const auto ones = static_cast<unsigned>(*length);
    return lowBits(width) & ~lowBits(width - ones);
}

Condition plainCondition(unsigned field, const std::string &word, const std::string &text)
{
    Condition c{field, 0, lowBits(fieldWidth(field)), 0, word, text};
    const auto [value, mask] = split(text);
    const auto parse = [field](const std::string &part) -> std::optional<uint64_t> {
        if (isMacField(field))
            return parseMac(part);
        const auto named = namedValues(field).find(part);
        return named != namedValues(field).end() ? named->second : parseNumber(part);
    };
    const auto key = parse(value);
    if (!key || *key > lowBits(fieldWidth(field)))
        throw usage(word, text, accepted(field));
    c.key = *key;
    if (mask) {
        auto bits = isMacField(field) ? prefixMask(*mask, 48) : parseNumber(*mask);
        if (!bits && isMacField(field))
            bits = parseMac(*mask);
        if (!bits || *bits > lowBits(fieldWidth(field)))
            throw usage(word, text, accepted(field));
        c.mask = *bits;
    }
    checkCondition(c, accepted(field));
    return c;
}

// One condition, or for IPv6 one for each word under the mask, most significant first.
Match addressConditions(const Address &address, const std::string &word, const std::string &text)
{
    const std::string what = "an IPv4 or IPv6 address, alone, with /PREFIX or with /MASK of the same family";
    const auto [value, mask] = split(text);
    Match match;
    if (const auto ipv4 = parseIpv4(value)) {
        std::optional<uint64_t> bits = mask ? prefixMask(*mask, 32) : lowBits(32);
        if (mask && !bits)
            bits = parseIpv4(*mask);
        if (!bits)
            throw usage(word, text, what);
        match.push_back({address.ipv4, 0, *bits, *ipv4, word, text});
    } else if (const auto ipv6 = parseIpv6(value)) {
        std::optional<Ipv6> bits;
        if (!mask)
            bits = Ipv6{0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF};
        else if (const auto length = parseNumber(*mask);
                 length && *length <= 128 && mask->find_first_not_of("0123456789") == std::string::npos) {
            bits.emplace();
            for (size_t n = 0; n < bits->size(); ++n) {
                const uint64_t before = 32 * n;
                const uint64_t ones = *length <= before ? 0 : std::min<uint64_t>(*length - before, 32);
                (*bits)[n] = static_cast<uint32_t>(lowBits(32) & ~lowBits(32 - static_cast<unsigned>(ones)));
            }
        } else {
            bits = parseIpv6(*mask);
        }
        if (!bits)
            throw usage(word, text, what);
        for (unsigned n = 0; n < bits->size(); ++n) {
            if (((*ipv6)[n] & ~(*bits)[n]) != 0)
                throw usage(word, text, what + "; this value has bits outside its mask");
            if ((*bits)[n] != 0)
                match.push_back({address.ipv6Low + 3 - n, 0, (*bits)[n], (*ipv6)[n], word, text});
        }
        if (match.empty())
            throw usage(word, text, what + "; a mask of 0 compares nothing, leave the field out");
        return match;
    } else {
        throw usage(word, text, what);
    }
    checkCondition(match.back(), what);
    return match;
}

std::optional<unsigned> commandOf(const std::string &word)
{
    for (unsigned command = 0; command < 4; ++command)
        if (word == commandName(command))
            return command;
    return std::nullopt;
}

bool saysIpv6(const Match &match)
{
    return std::any_of(match.begin(), match.end(), [](const Condition &c) {
        return (c.field >= DIPv6_31_0 && c.field <= SIPv6_127_96) || (c.field == ETYPE && c.key == 0x86DD) ||
               c.field == FLOW_LABEL;
    });
}

} // namespace

bool isMacField(unsigned field)
{
    return field == DMAC || field == SMAC;
}

unsigned fieldWidth(unsigned field)
{
    return field <= IFC_LUT0_FIELDS ? kFields[field - 1].width : IFC_UDF_BITS;
}

std::string fieldName(unsigned field)
{
    return field <= IFC_LUT0_FIELDS ? kFields[field - 1].name : "UDF" + std::to_string(field - UDF0);
}

const char *commandName(unsigned command)
{
    static const char *const names[] = {"eq", "ne", "ge", "le"};
    return names[command & 3];
}

std::string knownMatchWords()
{
    std::string text;
    const auto add = [&text](const auto &table) {
        for (const auto &entry : table)
            text += (text.empty() ? "" : " ") + entry.first;
    };
    add(addressWords());
    add(versionedWords());
    add(fieldWords());
    return text;
}

Match parseMatch(const Words &words, size_t &at, const std::string &until)
{
    Match match;
    std::vector<std::pair<size_t, std::string>> versioned; // place in match, word
    while (at < words.size() && words[at] != until) {
        const std::string &word = words[at++];
        const bool known =
            addressWords().count(word) || versionedWords().count(word) || fieldWords().count(word);
        if (!known)
            throw usage("match", word, knownMatchWords());
        unsigned command = 0;
        if (at < words.size())
            if (const auto given = commandOf(words[at])) {
                command = *given;
                ++at;
            }
        if (at >= words.size() || words[at] == until)
            throw usage(word, "", "KEY [eq|ne|ge|le] VALUE[/MASK]");
        const std::string &text = words[at++];

        Match found;
        if (const auto address = addressWords().find(word); address != addressWords().end()) {
            found = addressConditions(address->second, word, text);
            if (found.size() > 1 && command != 0)
                throw usage(word, commandName(command) + (" " + text),
                            "eq only: an IPv6 address is compared word by word, and all words must hold");
        } else if (const auto both = versionedWords().find(word); both != versionedWords().end()) {
            versioned.emplace_back(match.size(), word);
            found.push_back(plainCondition(both->second.first, word, text));
        } else {
            found.push_back(plainCondition(fieldWords().at(word), word, text));
        }
        for (Condition &c : found) {
            c.command = command;
            if (command > 1 && c.field <= IFC_LAST_WORD_FIELD)
                throw usage(word, commandName(command), "eq or ne for addresses and the flow label");
            match.push_back(c);
        }
    }
    if (saysIpv6(match))
        for (const auto &[place, word] : versioned)
            match[place].field = versionedWords().at(word).second;
    for (size_t i = 0; i < match.size(); ++i)
        for (size_t k = 0; k < i; ++k)
            if (match[k].field == match[i].field)
                throw usage(match[i].word, match[i].value,
                            "each field once: a rule has one condition a field");
    return match;
}

void putMacLast(Match &match)
{
    const auto isMac = [](const Condition &c) { return isMacField(c.field); };
    if (std::count_if(match.begin(), match.end(), isMac) == 1)
        std::stable_partition(match.begin(), match.end(), [&](const Condition &c) { return !isMac(c); });
}

std::string requestText(const Match &match)
{
    std::string text;
    for (const Condition &c : match)
        text += (text.empty() ? "" : " ") + std::to_string(c.field) + ':' + std::to_string(c.command) + ':' +
                std::to_string(c.mask) + ':' + std::to_string(c.key);
    return text;
}

unsigned entryCount(const Match &match)
{
    unsigned count = 0;
    for (const Condition &c : match)
        count += isMacField(c.field) ? 2 : 1;
    return count;
}

uint32_t reducedMask(const Condition &c)
{
    const bool mac = isMacField(c.field);
    return host::quietly([&] {
        return change_mask_from_48_to_32(mac ? static_cast<uint32_t>(c.mask >> 32) : 0,
                                         static_cast<uint32_t>(c.mask), mac ? 48 : 32);
    });
}

uint64_t expandedMask(unsigned field, uint32_t reduced)
{
    const unsigned width = isMacField(field) ? 48 : 32;
    const unsigned ones = reduced & 0x3F;
    return reduced >> 31 ? lowBits(ones) : lowBits(width) & ~lowBits(width - ones);
}

std::string whyNotDeletable(const Match &match)
{
    for (const Condition &c : match)
        if (c.field >= DIPv6_31_0 && c.field <= FLOW_LABEL)
            return "the automatic deletion does not know " + fieldName(c.field) +
                   " (nor any IPv6 word or the flow label)";
    const auto isMac = [](const Condition &c) { return isMacField(c.field); };
    const auto macs = std::count_if(match.begin(), match.end(), isMac);
    if (macs == 0)
        return "";
    if (macs > 1)
        return "the automatic deletion never finds a rule with two MAC conditions in LUT1";
    const Condition &mac = *std::find_if(match.begin(), match.end(), isMac);
    if (!isMac(match.back()))
        return "the automatic deletion never finds a condition behind a MAC (" + match.back().word +
               ") in LUT1";
    const uint64_t stored = expandedMask(mac.field, reducedMask(mac));
    if ((stored >> 32) == 0 || (stored & lowBits(32)) == 0)
        return "this MAC mask takes one LUT1 entry, but the automatic deletion counts two";
    if (stored != mac.mask)
        return "LUT1 holds this MAC mask wider than asked, and the automatic deletion compares it as asked";
    return "";
}

} // namespace ifcctl
