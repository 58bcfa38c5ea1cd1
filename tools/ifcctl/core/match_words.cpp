// SPDX-License-Identifier: MIT OR GPL-2.0
#include "match_words.h"

#include "nearest_word.h"
#include "rule_words.h"
#include "values.h"

#include "ifc/records/fields.h"

#include <map>

namespace ifcctl
{

namespace
{

using Kind = MatchWord::Kind;
using WordTable = std::map<std::string, MatchWord>;

MatchWord wholeField(unsigned field, bool asItStands = false)
{
    return {Kind::Field, field, 0, 0, ifc::fieldWidth(field), asItStands};
}

MatchWord bitsOf(unsigned field, unsigned lsb, unsigned width)
{
    return {Kind::Field, field, 0, lsb, width, false};
}

MatchWord versioned(unsigned field, unsigned field6, unsigned lsb, unsigned width)
{
    return {Kind::Versioned, field, field6, lsb, width, false};
}

MatchWord address(unsigned field, unsigned lowestWord)
{
    return {Kind::Address, field, lowestWord, 0, ifc::fieldWidth(field), false};
}

constexpr unsigned kOctet = 8;

const WordTable &wordTable()
{
    static const WordTable words = [] {
        WordTable table = {
            {"dst_ip", address(DIPv4, DIPv6_31_0)},
            {"src_ip", address(SIPv4, SIPv6_31_0)},
            {"ip_proto", versioned(IPv4_PROTOCOL, IPv6_NEXT_HEADER, 0, kOctet)},
            {"ip_tos", versioned(IPv4_DSCP, IPv6_TRAFFIC_CLASS, 0, kOctet)},
            {"dscp", versioned(IPv4_DSCP, IPv6_TRAFFIC_CLASS, kCodePointLsb, kCodePointWidth)},
            {"ip_ecn", versioned(IPv4_DSCP, IPv6_TRAFFIC_CLASS, 0, kCodePointLsb)},
            // IEEE 802.1Q: the priority code point stands above the drop eligible indicator.
            {"vlan_prio", bitsOf(PBIT0, 1, 3)},
            {"vlan_dei", bitsOf(PBIT0, 0, 1)},
            {"cvlan_prio", bitsOf(PBIT1, 1, 3)},
            {"cvlan_dei", bitsOf(PBIT1, 0, 1)},
        };
        const std::pair<const char *, unsigned> friendly[] = {
            {"dst_mac", DMAC},           {"src_mac", SMAC},   {"iface", SINF},
            {"vlan_vpm", VPM0},          {"cvlan_vpm", VPM1}, {"vlan_id", VID0},
            {"cvlan_id", VID1},          {"eth_type", ETYPE}, {"gem_port", GEMPORT},
            {"dst_port", DPORT},         {"src_port", SPORT}, {"pppoe_sid", PPPOE_SESSION},
            {"dst_mac_type", DMAC_TYPE},
        };
        for (const auto &[word, field] : friendly)
            table.emplace(word, wholeField(field));
        for (unsigned field = 1; field <= IFC_LUT1_FIELDS; ++field)
            table.emplace(lowerCase(ifc::fieldName(field)), wholeField(field));
        return table;
    }();
    return words;
}

// Words that are accepted but not listed: the fields' own names, and the names used to print frames.
const WordTable &otherNames()
{
    static const WordTable names = [] {
        WordTable table = {{"DIPv6", address(DIPv4, DIPv6_31_0)}, {"SIPv6", address(SIPv4, SIPv6_31_0)}};
        for (unsigned field = 1; field <= IFC_LUT1_FIELDS; ++field)
            table.emplace(ifc::fieldName(field), wholeField(field, true));
        return table;
    }();
    return names;
}

using ValueTable = std::map<std::string, uint64_t>;

const ValueTable &codePoints()
{
    static const ValueTable table = [] {
        ValueTable points = {{"ef", 46}, {"va", 44}};
        for (unsigned cls = 0; cls < 8; ++cls)
            points.emplace("cs" + std::to_string(cls), cls << 3);
        for (unsigned cls = 1; cls <= 4; ++cls)
            for (unsigned drop = 1; drop <= 3; ++drop)
                points.emplace("af" + std::to_string(cls) + std::to_string(drop), cls << 3 | drop << 1);
        return points;
    }();
    return table;
}

// Ethertypes: IEEE 802 numbers; protocols: IANA.
const ValueTable &namedValues(const MatchWord &word)
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
    if (word.field == ETYPE)
        return ethertypes;
    if (word.field == IPv4_PROTOCOL || word.field == IPv6_NEXT_HEADER)
        return protocols;
    return word.width == kCodePointWidth && word.lsb == kCodePointLsb ? codePoints() : none;
}

std::optional<uint64_t> find(const ValueTable &table, const std::string &name)
{
    const auto found = table.find(name);
    return found == table.end() ? std::nullopt : std::optional(found->second);
}

std::string nameIn(const ValueTable &table, uint64_t value)
{
    for (const auto &[name, known] : table)
        if (known == value)
            return name;
    return "";
}

std::string namesIn(const ValueTable &table)
{
    std::string text;
    for (const auto &[name, value] : table)
        text += (text.empty() ? "" : " ") + name;
    return text;
}

} // namespace

bool MatchWord::isWholeField() const
{
    return width == ifc::fieldWidth(field);
}

std::optional<MatchWord> findMatchWord(const std::string &word)
{
    for (const WordTable *table : {&wordTable(), &otherNames()})
        if (const auto found = table->find(word); found != table->end())
            return found->second;
    return std::nullopt;
}

const std::vector<std::string> &matchWords()
{
    static const std::vector<std::string> all = [] {
        std::vector<std::string> words;
        for (const auto &[word, meaning] : wordTable())
            words.push_back(word);
        return words;
    }();
    return all;
}

std::string didYouMeanMatch(const std::string &given)
{
    static const std::map<std::string, std::string> ofOtherTools = {
        {"vlan", "vlan_id"},       {"vid", "vlan_id"},          {"cvlan", "cvlan_id"},
        {"pcp", "vlan_prio"},      {"prio", "vlan_prio"},       {"priority", "vlan_prio"},
        {"dei", "vlan_dei"},       {"proto", "ip_proto"},       {"protocol", "ip_proto"},
        {"l4proto", "ip_proto"},   {"next_header", "ip_proto"}, {"nexthdr", "ip_proto"},
        {"tos", "ip_tos"},         {"traffic_class", "ip_tos"}, {"ecn", "ip_ecn"},
        {"dst", "dst_ip"},         {"src", "src_ip"},           {"dip", "dst_ip"},
        {"sip", "src_ip"},         {"daddr", "dst_ip"},         {"saddr", "src_ip"},
        {"ip", "dst_ip"},          {"mac", "dst_mac"},          {"port", "dst_port"},
        {"ethertype", "eth_type"}, {"ether_type", "eth_type"},  {"interface", "iface"},
        {"dev", "iface"},          {"gem", "gem_port"},         {"session", "pppoe_sid"},
        {"flow", "flow_label"},
    };
    const auto mean = [](const std::string &words) { return "; did you mean " + words + "?"; };
    const std::string small = lowerCase(given);
    if (wordTable().count(small) != 0)
        return mean(small);
    if (const auto found = ofOtherTools.find(small); found != ofOtherTools.end())
        return mean(found->second);
    for (const char *word : {"ip_proto", "eth_type", "dscp"})
        if (namedValue(*findMatchWord(word), small))
            return mean(word + (' ' + small));
    return didYouMean(small, matchWords());
}

bool isOtherName(const std::string &word)
{
    const auto found = wordTable().find(word);
    if (found == wordTable().end())
        return false;
    const MatchWord &meaning = found->second;
    const bool ownName = meaning.kind == Kind::Field && word == lowerCase(ifc::fieldName(meaning.field));
    return ownName && meaning.field != FRAME_TYPE && meaning.field != FLOW_LABEL;
}

std::string acceptedValues(const MatchWord &word)
{
    if (word.kind == Kind::Address)
        return "an IPv4 or IPv6 address, alone, with /PREFIX or with /MASK of the same family";
    if (ifc::isMac(word.field))
        return "a MAC address such as 01:00:5e:00:00:00, alone, with /PREFIX (1 to 48) or with /MASK";
    if (ifc::isIpv4Address(word.field))
        return "an IPv4 address or its number, alone, with /PREFIX or with /MASK";
    const std::string most = formatHex(ifc::lowBits(word.width));
    std::string text = "a number from 0 to " + most + ", alone or with /MASK (1 to " + most + ")";
    if (ifc::isHalf(word.field))
        text += ", or FIRST-LAST";
    const std::string names = namesOfValues(word);
    return names.empty() ? text : text + ", or one of " + names;
}

const std::vector<WordForm> &matchWordForms()
{
    static const std::vector<WordForm> forms = [] {
        std::vector<WordForm> all;
        for (const auto &[name, word] : wordTable()) {
            if (isOtherName(name))
                continue;
            std::string fields = ifc::fieldName(word.field);
            if (word.kind == Kind::Versioned)
                fields += std::string(" or ") + ifc::fieldName(word.field6);
            else if (word.kind == Kind::Address)
                fields += word.field == DIPv4 ? " or DIPv6" : " or SIPv6";
            if (!word.isWholeField())
                fields +=
                    " bits " + std::to_string(word.lsb + word.width - 1) + " to " + std::to_string(word.lsb);
            std::string values = "address[/PREFIX|/MASK]";
            if (word.kind != Kind::Address && !ifc::isMac(word.field))
                values = "0 to " + std::to_string(ifc::lowBits(word.width));
            const std::string names = namesOfValues(word);
            if (!names.empty())
                values.append(", ").append(names);
            all.push_back({name, values.append(" (").append(fields).append(")"), names});
        }
        all.push_back({"udf0 to udf15", "0 to 65535 (UDF0 to UDF15)", ""});
        all.push_back({"dport, vid0, ...",
                       "every field by its own name, as 'frame fields' prints it or in lower case", ""});
        return all;
    }();
    return forms;
}

std::optional<uint64_t> namedValue(const MatchWord &word, const std::string &name)
{
    return find(namedValues(word), name);
}

std::string namesOfValues(const MatchWord &word)
{
    return namesIn(namedValues(word));
}

std::string nameOfValue(const MatchWord &word, uint64_t value)
{
    return nameIn(namedValues(word), value);
}

std::optional<uint64_t> codePointOf(const std::string &name)
{
    return find(codePoints(), name);
}

std::string nameOfCodePoint(uint64_t codePoint)
{
    return nameIn(codePoints(), codePoint);
}

std::string namesOfCodePoints()
{
    return namesIn(codePoints());
}

} // namespace ifcctl
