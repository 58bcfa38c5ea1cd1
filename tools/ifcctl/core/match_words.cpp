// SPDX-License-Identifier: MIT OR GPL-2.0
#include "match_words.h"

#include "ifc/records/fields.h"

#include <algorithm>
#include <cctype>
#include <map>

namespace ifcctl
{

namespace
{

using WordTable = std::map<std::string, MatchWord>;

const WordTable &addressWords()
{
    static const WordTable words = {
        {"dst_ip", {MatchWord::Kind::Address, DIPv4, DIPv6_31_0}},
        {"src_ip", {MatchWord::Kind::Address, SIPv4, SIPv6_31_0}},
    };
    return words;
}

const WordTable &versionedWords()
{
    static const WordTable words = {
        {"ip_proto", {MatchWord::Kind::Versioned, IPv4_PROTOCOL, IPv6_NEXT_HEADER}},
        {"ip_tos", {MatchWord::Kind::Versioned, IPv4_DSCP, IPv6_TRAFFIC_CLASS}},
    };
    return words;
}

std::string lowerCase(std::string name)
{
    std::transform(name.begin(), name.end(), name.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return name;
}

const WordTable &fieldWords()
{
    static const WordTable words = [] {
        const std::pair<const char *, unsigned> friendly[] = {
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
        WordTable table;
        for (const auto &[word, field] : friendly)
            table.emplace(word, MatchWord{MatchWord::Kind::Field, field, 0});
        for (unsigned field = 1; field <= IFC_LUT1_FIELDS; ++field)
            table.emplace(lowerCase(ifc::fieldName(field)), MatchWord{MatchWord::Kind::Field, field, 0});
        return table;
    }();
    return words;
}

using ValueTable = std::map<std::string, uint64_t>;

// Ethertypes: IEEE 802 numbers; protocols: IANA.
const ValueTable &namedValues(unsigned field)
{
    static const ValueTable none;
    static const ValueTable ethertypes = {
        {"ipv4", 0x0800},  {"arp", 0x0806},        {"ipv6", 0x86DD},
        {"pppoe", 0x8864}, {"pppoe_disc", 0x8863}, {"lldp", 0x88CC},
    };
    static const ValueTable protocols = {
        {"icmp", 1}, {"igmp", 2}, {"tcp", 6},     {"udp", 17},
        {"gre", 47}, {"esp", 50}, {"icmpv6", 58}, {"sctp", 132},
    };
    if (field == ETYPE)
        return ethertypes;
    if (field == IPv4_PROTOCOL || field == IPv6_NEXT_HEADER)
        return protocols;
    return none;
}

template <typename Table>
void addKeys(std::string &text, const Table &table)
{
    for (const auto &entry : table)
        text += (text.empty() ? "" : " ") + entry.first;
}

} // namespace

std::optional<MatchWord> findMatchWord(const std::string &word)
{
    for (const WordTable *table : {&addressWords(), &versionedWords(), &fieldWords()})
        if (const auto found = table->find(word); found != table->end())
            return found->second;
    return std::nullopt;
}

std::string knownMatchWords()
{
    std::string text;
    for (const WordTable *table : {&addressWords(), &versionedWords(), &fieldWords()})
        addKeys(text, *table);
    return text;
}

std::optional<uint64_t> namedValue(unsigned field, const std::string &name)
{
    const ValueTable &values = namedValues(field);
    const auto found = values.find(name);
    return found == values.end() ? std::nullopt : std::optional(found->second);
}

std::string namesOfValues(unsigned field)
{
    std::string text;
    addKeys(text, namedValues(field));
    return text;
}

} // namespace ifcctl
