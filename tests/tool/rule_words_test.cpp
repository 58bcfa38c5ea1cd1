// SPDX-License-Identifier: MIT OR GPL-2.0
// Rules as operators write and read them: words in, words out, and why a line is refused.
#include "tools/ifcctl/core/errors.h"
#include "tools/ifcctl/core/match_words.h"
#include "tools/ifcctl/core/nearest_word.h"
#include "tools/ifcctl/core/rule_words.h"
#include "tools/ifcctl/core/values.h"

#include <gtest/gtest.h>

using namespace ifcctl;

namespace
{

WordReader readerOf(const std::string &line)
{
    return WordReader(wordsOf(line));
}

ifc_rule matchOf(const std::string &line)
{
    WordReader words = readerOf(line);
    ifc_rule rule{};
    readMatch(words, rule);
    return rule;
}

// Reads words and prints them again.
std::string again(const std::string &line)
{
    return matchText(matchOf(line));
}

// The whole message of a line that is refused.
std::string refusalOf(const std::string &line, Reason reason = Reason::Usage)
{
    WordReader words = readerOf(line);
    try {
        (void)readRule(words, 0);
    } catch (const Error &error) {
        EXPECT_EQ(error.reason(), reason) << line;
        EXPECT_EQ(exitCodeOf(error.reason()), kExitUsage);
        return error.text();
    }
    return "accepted";
}

void expectCondition(const ifc_rule &rule, unsigned n, unsigned field, unsigned compare, uint64_t mask,
                     uint64_t key)
{
    ASSERT_LT(n, rule.count);
    EXPECT_EQ(rule.condition[n].field, field);
    EXPECT_EQ(rule.condition[n].compare, compare);
    EXPECT_EQ(rule.condition[n].mask, mask);
    EXPECT_EQ(rule.condition[n].key, key);
}

TEST(RuleWords, StopAtTheActionWord)
{
    WordReader words = readerOf("dst_port 80 src_port ge 1024 action queue 1");
    ifc_rule rule{};
    readMatch(words, rule);
    ASSERT_EQ(rule.count, 2u);
    expectCondition(rule, 0, DPORT, IFC_COMPARE_EQUAL, 0xFFFF, 80);
    expectCondition(rule, 1, SPORT, IFC_COMPARE_AT_LEAST, 0xFFFF, 1024);
    EXPECT_TRUE(words.nextIs("action"));
}

TEST(RuleWords, MacTakesPrefixOrMask)
{
    expectCondition(matchOf("dst_mac 01:00:5e:00:00:00/25"), 0, DMAC, IFC_COMPARE_EQUAL, 0xFFFFFF800000,
                    0x01005E000000);
    expectCondition(matchOf("src_mac ne 00:00:00:00:00:05/00:00:00:00:00:ff"), 0, SMAC, IFC_COMPARE_NOT_EQUAL,
                    0xFF, 5);
    EXPECT_EQ(again("src_mac ! 00:00:00:00:00:05/00:00:00:00:00:ff"),
              "src_mac ne 00:00:00:00:00:05/00:00:00:00:00:ff");
    EXPECT_EQ(again("dst_mac 01:00:5e:00:00:00/ff:ff:ff:80:00:00"), "dst_mac 01:00:5e:00:00:00/25");
}

TEST(RuleWords, Ipv6AddressIsTheWordsUnderItsMask)
{
    const ifc_rule rule = matchOf("dst_ip 2001:db8:1::/48 ip_proto tcp ip_tos 8");
    ASSERT_EQ(rule.count, 4u);
    expectCondition(rule, 0, DIPv6_127_96, IFC_COMPARE_EQUAL, 0xFFFFFFFF, 0x20010DB8);
    expectCondition(rule, 1, DIPv6_95_64, IFC_COMPARE_EQUAL, 0xFFFF0000, 0x00010000);
    expectCondition(rule, 2, IPv6_NEXT_HEADER, IFC_COMPARE_EQUAL, 0xFF, 6);
    expectCondition(rule, 3, IPv6_TRAFFIC_CLASS, IFC_COMPARE_EQUAL, 0xFF, 8);
    EXPECT_EQ(matchText(rule), "dst_ip 2001:db8:1::/48 ip_proto tcp ip_tos 0x8");
    EXPECT_EQ(again("src_ip 2001:db8::1"), "src_ip 2001:db8::1");
    EXPECT_EQ(again("dst_ip ::1/::ffff"), "dipv6_31_0 0x1/0xffff");
    EXPECT_EQ(again("dst_ip ::/1"), "dst_ip ::/1");
    EXPECT_EQ(again("dipv6_31_0 5 dipv6_127_96 6"), "dipv6_31_0 0x5 dst_ip 0:6::/32");
}

TEST(RuleWords, IpVersionFollowsTheRule)
{
    const auto field = [](const std::string &line) { return unsigned{matchOf(line).condition[0].field}; };
    EXPECT_EQ(field("ip_proto udp dst_ip 10.0.0.0/8"), unsigned{IPv4_PROTOCOL});
    EXPECT_EQ(field("ip_proto udp"), unsigned{IPv4_PROTOCOL});
    EXPECT_EQ(field("ip_proto udp eth_type ipv6"), unsigned{IPv6_NEXT_HEADER});
    EXPECT_EQ(field("ip_proto udp eth_type ne ipv6"), unsigned{IPv4_PROTOCOL});
    EXPECT_EQ(field("ip_tos 4 flow_label 1"), unsigned{IPv6_TRAFFIC_CLASS});
    EXPECT_EQ(field("dscp ef ipv6_next_header 6"), unsigned{IPv6_TRAFFIC_CLASS});
    EXPECT_EQ(field("ip_tos 4 eth_type ipv4"), unsigned{IPv4_DSCP});
    EXPECT_EQ(field("ip_proto icmpv6"), unsigned{IPv6_NEXT_HEADER});
    EXPECT_EQ(field("dscp cs1 ip_proto icmpv6"), unsigned{IPv6_TRAFFIC_CLASS});
    EXPECT_EQ(field("ip_proto 58"), unsigned{IPv4_PROTOCOL});
    EXPECT_EQ(again("ip_proto 58"), "ip_proto 58");
    EXPECT_EQ(again("ip_proto icmpv6"), "ip_proto icmpv6");
    EXPECT_EQ(again("ipv6_next_header tcp"), "ipv6_next_header tcp");
    EXPECT_EQ(again("ipv6_traffic_class 184 ipv6_next_header 17"), "ipv6_traffic_class 0xb8 ip_proto udp");
    EXPECT_EQ(again("eth_type ipv6 ip_proto 58"), "eth_type ipv6 ip_proto icmpv6");
}

// IEEE 802.1Q: three bits of priority above the drop eligible indicator.
TEST(RuleWords, PriorityAndDropIndicatorArePartsOfOneField)
{
    expectCondition(matchOf("vlan_prio 5"), 0, PBIT0, IFC_COMPARE_EQUAL, 0xE, 0xA);
    expectCondition(matchOf("cvlan_dei 1"), 0, PBIT1, IFC_COMPARE_EQUAL, 1, 1);
    expectCondition(matchOf("vlan_prio ge 4"), 0, PBIT0, IFC_COMPARE_AT_LEAST, 0xE, 8);
    expectCondition(matchOf("pbit0 11"), 0, PBIT0, IFC_COMPARE_EQUAL, 0xF, 11);
    const ifc_rule merged = matchOf("vlan_prio 5 vlan_id 7 vlan_dei 1");
    ASSERT_EQ(merged.count, 2u);
    expectCondition(merged, 0, PBIT0, IFC_COMPARE_EQUAL, 0xF, 11);
    EXPECT_EQ(matchText(merged), "vlan_prio 5 vlan_dei 1 vlan_id 7");
    const ifc_rule apart = matchOf("vlan_prio ne 5 vlan_dei 1");
    EXPECT_EQ(apart.count, 2u);
    EXPECT_EQ(matchText(apart), "vlan_prio ne 5 vlan_dei 1");
    const ifc_rule range = matchOf("vlan_prio 2-5");
    expectCondition(range, 0, PBIT0, IFC_COMPARE_RANGE, 0xF, 4);
    EXPECT_EQ(range.condition[0].key_last, 11);
    EXPECT_EQ(matchText(range), "vlan_prio 2-5");
    EXPECT_EQ(again("pbit0 4-10"), "pbit0 4-10");
    EXPECT_EQ(again("pbit0 ne 3/7"), "pbit0 ne 3/0x7");
    EXPECT_EQ(refusalOf("vlan_prio 8"),
              "vlan_prio '8': accepted: a number from 0 to 0x7, alone or with /MASK (1 to "
              "0x7), or FIRST-LAST");
}

// RFC 2474 and RFC 3168: six bits of code point above two of ECN, in both IP versions.
TEST(RuleWords, CodePointAndEcnArePartsOfTheOctet)
{
    expectCondition(matchOf("dscp ef"), 0, IPv4_DSCP, IFC_COMPARE_EQUAL, 0xFC, 0xB8);
    expectCondition(matchOf("dscp 46 eth_type ipv6"), 0, IPv6_TRAFFIC_CLASS, IFC_COMPARE_EQUAL, 0xFC, 0xB8);
    expectCondition(matchOf("ip_ecn 3"), 0, IPv4_DSCP, IFC_COMPARE_EQUAL, 3, 3);
    expectCondition(matchOf("ip_tos 0xb9"), 0, IPv4_DSCP, IFC_COMPARE_EQUAL, 0xFF, 0xB9);
    expectCondition(matchOf("dscp af41 ip_ecn 1"), 0, IPv4_DSCP, IFC_COMPARE_EQUAL, 0xFF, 34 << 2 | 1);
    EXPECT_EQ(again("dscp 46 ip_ecn 0"), "ip_tos 0xb8");
    EXPECT_EQ(again("dscp cs5"), "dscp cs5");
    EXPECT_EQ(again("dscp 1"), "dscp 1");
    EXPECT_EQ(again("dscp af11-ef"), "dscp af11-ef");
    EXPECT_EQ(again("dscp ge 10"), "dscp ge af11");
    EXPECT_EQ(again("ip_ecn 1-2"), "ip_ecn ge 1 ip_ecn le 2");
    EXPECT_EQ(again("ip_tos 0x10-0x15"), "ip_tos 0x10-0x15");
}

TEST(RuleWords, RangesAndInequality)
{
    const ifc_rule range = matchOf("dst_port 5060-5070");
    expectCondition(range, 0, DPORT, IFC_COMPARE_RANGE, 0xFFFF, 5060);
    EXPECT_EQ(range.condition[0].key_last, 5070);
    EXPECT_EQ(matchText(range), "dst_port 5060-5070");
    for (const char *line : {"dst_port ne 80", "dst_port ! 80", "dst_port !80", "dst_port != 80"})
        EXPECT_EQ(again(line), "dst_port ne 80");
    for (const char *line : {"dst_port eq 80", "dst_port = 80", "dst_port == 80"})
        EXPECT_EQ(again(line), "dst_port 80");
    EXPECT_EQ(again("dst_port range 1-2"), "dst_port 1-2");
    EXPECT_NE(refusalOf("dst_port 70-60"), "accepted");
    EXPECT_NE(refusalOf("dst_port range 5"), "accepted");
    EXPECT_EQ(refusalOf("dst_port >= 1024"),
              "dst_port '>=': accepted: eq, ne, ge, le or range as a comparison");
    EXPECT_EQ(refusalOf("dst_port <1024"),
              "dst_port '<1024': accepted: eq, ne, ge, le or range as a comparison");
    EXPECT_EQ(refusalOf("src_ip > 10.0.0.1"), "src_ip '>': accepted: eq or ne as a comparison");
    EXPECT_EQ(refusalOf("dst_port ne 60-70"),
              "dst_port 'ne 60-70': accepted: one value after ne; what is outside a range takes two rules");
}

TEST(RuleWords, AnyFrameAndAnyValue)
{
    EXPECT_EQ(matchOf("any").count, 0u);
    EXPECT_EQ(again("any"), "any");
    EXPECT_EQ(refusalOf("any dst_port 5"), "match 'dst_port': accepted: 'action' or nothing after 'any'");
    expectCondition(matchOf("vlan_id any"), 0, VID0, IFC_COMPARE_EQUAL, 0, 0);
    for (const char *line : {"vlan_id any", "vlan_id ne any", "dst_mac any", "dipv4 any", "pbit1 any",
                             "ipv4_protocol any", "udf3 ge any", "flow_label any"})
        EXPECT_EQ(again(line), line);
}

// Forms that other outputs print: the fields' own names, addresses and numbers of JSON.
TEST(RuleWords, TakeTheNamesOfTheRecord)
{
    EXPECT_EQ(again("DPORT 53"), "dst_port 53");
    EXPECT_EQ(again("DIPv4 10.0.0.1 SIPv4 ne 167772161/0xff0000ff"),
              "dst_ip 10.0.0.1 src_ip ne 10.0.0.1/255.0.0.255");
    EXPECT_EQ(again("DIPv6 2001:db8::1"), "dst_ip 2001:db8::1");
    EXPECT_EQ(again("ETYPE 34525 IPv6_NEXT_HEADER 58"), "eth_type ipv6 ip_proto icmpv6");
}

TEST(RuleWords, ContradictionsNameBothWords)
{
    const auto contradiction = [](const std::string &line) { return refusalOf(line, Reason::Contradiction); };
    EXPECT_EQ(contradiction("eth_type ipv4 dst_ip 2001:db8::1"),
              "match 'dst_ip 2001:db8::1': contradicts 'eth_type ipv4': no frame matches both");
    EXPECT_EQ(contradiction("src_ip 10.0.0.1 src_ip 10.0.0.2"),
              "match 'src_ip 10.0.0.2': contradicts 'src_ip 10.0.0.1': no frame matches both");
    EXPECT_EQ(contradiction("vlan_id 1 vlan_id 2"),
              "match 'vlan_id 2': contradicts 'vlan_id 1': no frame matches both");
    for (const char *line :
         {"dst_ip 10.0.0.1 src_ip 2001:db8::1", "ip_proto icmpv6 eth_type ipv4", "vlan_prio 5 pbit0 3",
          "dst_port 10-20 dst_port ge 21", "dst_port 1 dport 2", "dst_port ne 5 dst_port 5",
          "src_ip 10.0.0.0/8 src_ip 11.0.0.0/16", "dscp ef ip_tos 0", "VID0 1 vlan_id 2"})
        EXPECT_NE(contradiction(line).find("no frame matches both"), std::string::npos) << line;
    for (const char *line :
         {"dst_port ge 10 dst_port le 20", "src_ip 10.0.0.0/8 src_ip ne 10.0.0.1", "eth_type arp dst_port 53",
          "vlan_id 1 cvlan_id 2", "eth_type pppoe dst_ip 2001:db8::1", "VID0 1 VID0 2"})
        EXPECT_EQ(refusalOf(line), "accepted") << line;
    EXPECT_EQ(again("VID0 1 VID0 2 DPORT 53"), "VID0 0x1 VID0 0x2 DPORT 0x35");
}

TEST(RuleWords, RefusalNamesFieldValueAndWhatIsAccepted)
{
    EXPECT_EQ(refusalOf("vlan_id 4096"), "vlan_id '4096': accepted: a number from 0 to 0xfff, alone or with "
                                         "/MASK (1 to 0xfff), or FIRST-LAST");
    const std::string form = "KEY [eq|ne|!|ge|le] VALUE[/MASK], KEY FIRST-LAST or KEY any";
    EXPECT_EQ(refusalOf("dst_port"), "dst_port '': accepted: " + form);
    EXPECT_EQ(refusalOf("dst_port eq action"), "dst_port '': accepted: " + form);
    EXPECT_EQ(refusalOf("dst_ip ge 10.0.0.1"),
              "dst_ip 'ge': accepted: eq or ne for addresses and the flow label");
    EXPECT_EQ(refusalOf("dst_ip ne 2001:db8::1"),
              "dst_ip 'ne 2001:db8::1': accepted: eq only: an IPv6 address is compared word by word, and all "
              "words must hold");
    EXPECT_EQ(refusalOf("dst_ip 10.0.0.0/0x8").substr(0, 23), "dst_ip '10.0.0.0/0x8': ");
    EXPECT_NE(refusalOf("dst_ip ::/0").find("a mask of 0 compares nothing"), std::string::npos);
    EXPECT_NE(refusalOf("dst_port 0/0").find("a mask of 0 compares nothing"), std::string::npos);
    EXPECT_NE(refusalOf("dst_ip 2001::1/64").find("bits outside its mask"), std::string::npos);
    std::string many;
    for (unsigned n = 0; n <= IFC_RULE_CONDITIONS; ++n)
        many += "dst_port ne " + std::to_string(n) + ' ';
    EXPECT_EQ(refusalOf(many), "match 'dst_port ne 31': accepted: at most 31 conditions");
}

TEST(RuleWords, AWrongWordSuggestsTheNearest)
{
    EXPECT_EQ(refusalOf("dst_prot 5"),
              "match 'dst_prot': accepted: a word that 'rule add help' lists; did you mean dst_port?");
    EXPECT_EQ(refusalOf("nonsense 5"), "match 'nonsense': accepted: a word that 'rule add help' lists");
    EXPECT_EQ(refusalOf("dst_port 5 queue 3"),
              "match 'queue': accepted: conditions before 'action'; queue is a word of actions");
    EXPECT_EQ(
        refusalOf("dst_port 5 action chanel 3"),
        "action 'chanel': accepted: a word of actions that 'rule add help' lists; did you mean channel?");
    EXPECT_NE(refusalOf("ip_proto upd").find("did you mean udp?"), std::string::npos);
    EXPECT_EQ(nearestWord("vlanid", {"vlan_id", "cvlan_id"}), "vlan_id");
    EXPECT_EQ(nearestWord("x", {"ab", "y"}), "");
    EXPECT_EQ(nearestWord("", {"ab"}), "");
    EXPECT_EQ(nearestWord(std::string(1000, 'a'), {"aaa"}), "");
}

TEST(RuleWords, WordsOfOtherToolsAndValuesSuggestTheirOwn)
{
    const auto suggestion = [](const std::string &word) {
        const std::string text = refusalOf(word + " 5");
        const size_t at = text.find("did you mean ");
        return at == std::string::npos ? "" : text.substr(at + 13, text.size() - at - 14);
    };
    const std::pair<const char *, const char *> words[] = {{"vlan", "vlan_id"},
                                                           {"proto", "ip_proto"},
                                                           {"tcp", "ip_proto tcp"},
                                                           {"DST_PORT", "dst_port"},
                                                           {"arp", "eth_type arp"},
                                                           {"ef", "dscp ef"},
                                                           {"Vlan", "vlan_id"},
                                                           {"DstPort", "dst_port"},
                                                           {"ethertype", "eth_type"},
                                                           {"saddr", "src_ip"},
                                                           {"tos", "ip_tos"},
                                                           {"UDP", "ip_proto udp"},
                                                           {"dst_mac_addr", "dst_mac_type"},
                                                           {"zzzzzz", ""}};
    for (const auto &[word, meant] : words)
        EXPECT_EQ(suggestion(word), meant) << word;
}

TEST(RuleWords, AnyOfEveryFieldIsReadBack)
{
    for (const std::string &word : matchWords()) {
        const ifc_rule rule = matchOf(word + " any");
        ASSERT_EQ(rule.count, 1u) << word;
        EXPECT_EQ(rule.condition[0].mask, 0u) << word;
        const ifc_rule text = matchOf(matchText(rule));
        EXPECT_EQ(text.condition[0].field, rule.condition[0].field) << word << ": " << matchText(rule);
        EXPECT_EQ(text.condition[0].mask, 0u) << word;
        const nlohmann::ordered_json json = matchJson(rule)[0];
        const auto plain = [](const nlohmann::ordered_json &value) {
            return value.is_string() ? value.get<std::string>() : value.dump();
        };
        const ifc_rule again = matchOf(plain(json["field"]) + ' ' + plain(json["command"]) + ' ' +
                                       plain(json["key"]) + '/' + plain(json["mask"]));
        EXPECT_EQ(again.condition[0].field, rule.condition[0].field) << word;
        EXPECT_EQ(again.condition[0].mask, 0u) << word;
    }
    expectCondition(matchOf("dst_ip any"), 0, DIPv4, IFC_COMPARE_EQUAL, 0, 0);
    expectCondition(matchOf("src_ip any eth_type ipv6"), 0, SIPv6_31_0, IFC_COMPARE_EQUAL, 0, 0);
    EXPECT_NE(refusalOf("dst_port 0/0").find("a mask of 0"), std::string::npos)
        << "only under the field's own name";
}

TEST(RuleWords, JsonHasNumbersAsNumbersAndAddressesAsText)
{
    EXPECT_EQ(
        matchJson(matchOf("dst_port 53 src_ip 10.0.0.0/8 dst_mac 01:00:5e:00:00:00/25 src_port 1-2")).dump(),
        R"([{"field":"DPORT","id":28,"command":"eq","key":53,"mask":65535},)"
        R"({"field":"SIPv4","id":4,"command":"eq","key":"10.0.0.0","mask":"255.0.0.0"},)"
        R"({"field":"DMAC","id":1,"command":"eq","key":"01:00:5e:00:00:00","mask":"ff:ff:ff:80:00:00"},)"
        R"({"field":"SPORT","id":29,"command":"range","key":1,"last":2,"mask":65535}])");
}

IFC_Action_Format actionOf(const std::string &line, int revision = 0)
{
    WordReader words = readerOf(line);
    return readAction(words, revision);
}

std::string actionAgain(const std::string &line, int revision = 0)
{
    return actionText(actionOf(line, revision), revision);
}

TEST(ActionWords, RangesAreThoseOfTheEntry)
{
    const std::pair<const char *, unsigned> most[] = {
        {"channel", 31},   {"queue", 7},    {"fport", 15},  {"nbq", 31},    {"sp_tag", 65535},
        {"gem", 65535},    {"count", 63},   {"count1", 31}, {"meter", 255}, {"ds_octet", 255},
        {"vpm0", 3},       {"vo0", 3},      {"vprio0", 15}, {"vid0", 4095}, {"traffic_class", 255},
        {"vo1", 3},        {"vprio1", 15},  {"vid1", 4095}, {"fqos", 1},    {"cpu", 1},
        {"enable", 16383}, {"keep_pcp", 1}, {"owf", 1},     {"dpi", 1}};
    for (const auto &[word, value] : most) {
        EXPECT_EQ(refusalOf("any action " + std::string(word) + ' ' + std::to_string(value)), "accepted");
        EXPECT_EQ(refusalOf("any action " + std::string(word) + ' ' + std::to_string(value + 1)),
                  word + (" '" + std::to_string(value + 1)) + "': accepted: a number from 0 to " +
                      std::to_string(value));
    }
    EXPECT_EQ(refusalOf("any action dscp 64").substr(0, 54),
              "dscp '64': accepted: a number from 0 to 63, or one of ");
}

TEST(ActionWords, CodePointStandsInTheUpperBitsOfTheOctet)
{
    EXPECT_EQ(actionOf("dscp ef").bits.ipv4_dscp, 0xB8u);
    EXPECT_EQ(actionOf("dscp 46").bits.ipv4_dscp, 0xB8u);
    EXPECT_EQ(actionOf("ds_octet 0xb9").bits.ipv4_dscp, 0xB9u);
    EXPECT_EQ(actionAgain("ds_octet 0xb8"), "dscp ef");
    EXPECT_EQ(actionAgain("ds_octet 0xb9"), "ds_octet 0xb9");
    EXPECT_EQ(refusalOf("any action dscp 46 ds_octet 184"),
              "action 'ds_octet': accepted: one of dscp and ds_octet");
}

TEST(ActionWords, ArePrintedAsTheyAreRead)
{
    for (const char *line :
         {"channel 3 queue 2", "channel 0", "queue 7", "fport 3 nbq 4", "nbq 4 cpu", "cpu", "sp_tag 0x1c2a",
          "count 5 count1 6", "meter 9", "dscp ef", "traffic_class 46", "vpm0 1 vo0 1 vprio0 5 vid0 7",
          "vo1 2 vid1 9", "fqos", "fqos 0", "fast mc keep_pcp", "owf", "dpi", "channel 1 nbq 31 cpu owf"})
        for (const int revision : {0, 12})
            EXPECT_EQ(actionAgain(line, revision), line);
    EXPECT_EQ(actionText({}, 0), "");
    EXPECT_EQ(actionAgain("gem 5"), "sp_tag 0x5");
    EXPECT_EQ(refusalOf("any action cpu fport 3"),
              "action 'cpu fport': accepted: cpu or fport: fport clears the cpu flag");
    EXPECT_EQ(actionAgain("enable 2 cpu fport 3"), "fport 3 cpu enable 0x2");
    EXPECT_EQ(refusalOf("any action fast fast"), "action 'fast': accepted: each word once");
    EXPECT_EQ(refusalOf("any action"), "action '': accepted: a word of actions that 'rule add help' lists");
}

TEST(ActionWords, MergeLeavesWhatIsNotNamed)
{
    const auto merged = [](const std::string &before, const std::string &line) {
        IFC_Action_Format entry = actionOf(before);
        WordReader words = readerOf(line);
        mergeAction(entry, words, 0);
        return actionText(entry, 0);
    };
    EXPECT_EQ(merged("channel 3 queue 2 dscp ef", "queue 5"), "channel 3 queue 5 dscp ef");
    EXPECT_EQ(merged("channel 3", "fast"), "channel 3 fast");
    EXPECT_EQ(merged("cpu nbq 3", "nbq 4"), "nbq 4 cpu");
    EXPECT_EQ(merged("cpu nbq 3", "fport 2"), "fport 2 nbq 3");
    EXPECT_EQ(merged("channel 3 queue 2 dscp ef", "channel off queue off"), "dscp ef");
    EXPECT_EQ(merged("channel 3 dscp ef", "channel off"), "dscp ef");
    EXPECT_EQ(merged("fast dscp ef", "fast off"), "dscp ef");
    EXPECT_EQ(merged("cpu nbq 3 dscp ef", "cpu off nbq off"), "dscp ef");
    EXPECT_EQ(merged("cpu dscp ef", "cpu off"), "dscp ef");
    EXPECT_EQ(merged("queue 5", "queue off"), "");
}

TEST(ActionWords, OffDropsNoOtherValueSilently)
{
    const auto refusal = [](const std::string &before, const std::string &line) -> std::string {
        IFC_Action_Format entry = actionOf(before);
        const IFC_Action_Format old = entry;
        WordReader words = readerOf(line);
        try {
            mergeAction(entry, words, 0);
        } catch (const Error &error) {
            EXPECT_TRUE(std::equal(std::begin(old.word), std::end(old.word), entry.word))
                << "nothing is written";
            return error.text();
        }
        return "accepted: " + actionText(entry, 0);
    };
    EXPECT_EQ(refusal("channel 3 queue 2", "channel off"),
              "channel 'off': accepted: together with 'queue off': they are one sub-action");
    EXPECT_EQ(refusal("cpu nbq 3", "cpu off"),
              "cpu 'off': accepted: together with 'nbq off': they are one sub-action");
    EXPECT_EQ(refusal("vpm0 1 vo0 2 vid0 3", "vid0 off"),
              "vid0 'off': accepted: together with 'vpm0 off' 'vo0 off': they are one sub-action");
    // dpi and keep_pcp share an enable bit, which stays for the other one.
    EXPECT_EQ(refusal("keep_pcp dpi", "dpi off"), "accepted: keep_pcp");
    EXPECT_EQ(refusal("keep_pcp dpi", "keep_pcp off"), "accepted: dpi");
    EXPECT_EQ(refusal("keep_pcp dpi", "keep_pcp off dpi off"), "accepted: ");
}

TEST(ActionWords, WithoutThePpeOnlyTheCpuIsAccepted)
{
    ifcSendToPpe = 0;
    EXPECT_NO_THROW(refuseWithoutPpe(actionOf("cpu nbq 1")));
    EXPECT_NO_THROW(refuseWithoutPpe({}));
    for (const char *line : {"queue 1", "cpu queue 1", "nbq 4", "fast 0", "owf"})
        try {
            refuseWithoutPpe(actionOf(line));
            ADD_FAILURE() << line << " is not refused";
        } catch (const Error &error) {
            EXPECT_EQ(error.reason(), Reason::PpeOff);
            EXPECT_EQ(exitCodeOf(error.reason()), kExitRefused);
        }
}

TEST(ActionWords, Json)
{
    EXPECT_EQ(actionJson(actionOf("channel 3 dscp ef"), 0).dump(),
              R"({"enable":65,"channel":3,"queue":0,"dscp":46,"cpu":0,"owf":0})");
    EXPECT_EQ(actionJson(actionOf("cpu nbq 4"), 0).dump(), R"({"enable":0,"nbq":4,"cpu":1,"owf":0})");
    EXPECT_EQ(actionJson(actionOf("ds_octet 1 fast", 12), 12).dump(),
              R"({"enable":1056,"ds_octet":1,"fast":1,"cpu":0,"owf":0})");
}

} // namespace
