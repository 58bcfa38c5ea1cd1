// SPDX-License-Identifier: MIT OR GPL-2.0
// Matches and actions as operators write them: what is read, and why a line is refused.
#include "tools/ifcctl/core/action.h"
#include "tools/ifcctl/core/deletion.h"
#include "tools/ifcctl/core/errors.h"
#include "tools/ifcctl/core/match.h"
#include "tools/ifcctl/core/values.h"

#include "ifc/ifc_glb.h"

#include <gtest/gtest.h>

#include <sstream>

using namespace ifcctl;

namespace
{

WordReader readerOf(const std::string &line)
{
    std::istringstream text(line);
    Words words;
    for (std::string word; text >> word;)
        words.push_back(word);
    return WordReader(words);
}

Match matchOf(const std::string &line)
{
    WordReader words = readerOf(line);
    return parseMatch(words);
}

// The whole message of a line that is refused.
template <typename Read>
std::string refusalOf(const std::string &line, const Read &read)
{
    WordReader words = readerOf(line);
    try {
        read(words);
    } catch (const Error &error) {
        EXPECT_EQ(error.reason(), Reason::Usage);
        return error.text();
    }
    return "accepted";
}

std::string matchRefusal(const std::string &line)
{
    return refusalOf(line, [](WordReader &words) { (void)parseMatch(words); });
}

std::string actionRefusal(const std::string &line)
{
    return refusalOf(line, [](WordReader &words) { (void)parseAction(words); });
}

void expectCondition(const Condition &c, unsigned field, unsigned command, uint64_t mask, uint64_t key)
{
    EXPECT_EQ(c.field, field);
    EXPECT_EQ(c.command, command);
    EXPECT_EQ(c.mask, mask);
    EXPECT_EQ(c.key, key);
}

TEST(Match, StopsAtTheActionWord)
{
    WordReader words = readerOf("dst_port 80 src_port ge 1024 action queue 1");
    const Match match = parseMatch(words);
    ASSERT_EQ(match.size(), 2u);
    expectCondition(match[0], DPORT, 0, 0xFFFF, 80);
    expectCondition(match[1], SPORT, 2, 0xFFFF, 1024);
    EXPECT_TRUE(words.nextIs("action"));
    EXPECT_EQ(requestText(match), "28:0:65535:80 29:2:65535:1024");
}

TEST(Match, MacTakesPrefixOrMask)
{
    expectCondition(matchOf("dst_mac 01:00:5e:00:00:00/25").at(0), DMAC, 0, 0xFFFFFF800000, 0x01005E000000);
    expectCondition(matchOf("src_mac ne 00:00:00:00:00:05/00:00:00:00:00:ff").at(0), SMAC, 1, 0xFF, 5);
}

TEST(Match, Ipv6AddressBecomesTheWordsUnderItsMask)
{
    const Match match = matchOf("dst_ip 2001:db8:1::/48 ip_proto tcp ip_tos 8");
    ASSERT_EQ(match.size(), 4u);
    expectCondition(match[0], DIPv6_127_96, 0, 0xFFFFFFFF, 0x20010DB8);
    expectCondition(match[1], DIPv6_95_64, 0, 0xFFFF0000, 0x00010000);
    expectCondition(match[2], IPv6_NEXT_HEADER, 0, 0xFF, 6);
    expectCondition(match[3], IPv6_TRAFFIC_CLASS, 0, 0xFF, 8);
}

TEST(Match, IpVersionFollowsTheRule)
{
    EXPECT_EQ(matchOf("ip_proto udp dst_ip 10.0.0.0/8").at(0).field, unsigned{IPv4_PROTOCOL});
    EXPECT_EQ(matchOf("ip_proto udp eth_type ipv6").at(0).field, unsigned{IPv6_NEXT_HEADER});
    EXPECT_EQ(matchOf("ip_tos 4 flow_label 1").at(0).field, unsigned{IPv6_TRAFFIC_CLASS});
    EXPECT_EQ(matchOf("ip_tos 4 eth_type ipv4").at(0).field, unsigned{IPv4_DSCP});
}

TEST(Match, RefusalNamesFieldValueAndWhatIsAccepted)
{
    EXPECT_EQ(matchRefusal("vlan_id 4096"),
              "vlan_id '4096': accepted: a number from 0 to 0xfff, alone or with /MASK (1 to 0xfff)");
    EXPECT_EQ(matchRefusal("dst_port"), "dst_port '': accepted: KEY [eq|ne|ge|le] VALUE[/MASK]");
    EXPECT_EQ(matchRefusal("dst_port eq action"), "dst_port '': accepted: KEY [eq|ne|ge|le] VALUE[/MASK]");
    EXPECT_EQ(matchRefusal("dst_ip ge 10.0.0.1"),
              "dst_ip 'ge': accepted: eq or ne for addresses and the flow label");
    EXPECT_EQ(matchRefusal("dst_ip ne 2001:db8::1"),
              "dst_ip 'ne 2001:db8::1': accepted: eq only: an IPv6 address is compared word by word, and all "
              "words must hold");
    EXPECT_EQ(matchRefusal("dst_port 1 dport 2"),
              "dport '2': accepted: each field once: a rule has one condition a field");
    EXPECT_EQ(matchRefusal("dst_ip 10.0.0.0/0x8").substr(0, 23), "dst_ip '10.0.0.0/0x8': ");
    EXPECT_NE(matchRefusal("dst_ip ::/0").find("a mask of 0 compares nothing"), std::string::npos);
    EXPECT_NE(matchRefusal("dst_ip 2001::1/64").find("bits outside its mask"), std::string::npos);
}

TEST(Match, SingleMacGoesLastAndTwoStay)
{
    Match one = matchOf("dst_mac 01:02:03:04:05:06 dst_port 80");
    putMacLast(one);
    EXPECT_EQ(one.back().field, unsigned{DMAC});
    Match two = matchOf("dst_mac 01:02:03:04:05:06 src_mac 01:02:03:04:05:06 dst_port 80");
    putMacLast(two);
    EXPECT_EQ(two.back().field, unsigned{DPORT});
    EXPECT_EQ(entryCount(two), 5u);
}

TEST(Action, WordsOfASubActionAreWrittenTogether)
{
    WordReader words = readerOf("nbq 4 cpu channel 3 queue 2 dpi");
    const Action action = parseAction(words);
    ASSERT_EQ(action.size(), 3u);
    EXPECT_EQ(action[0].actIdx, unsigned{IFC_ACT_CPU_NBQ});
    EXPECT_EQ(action[0].values[0], 1u);
    EXPECT_EQ(action[0].values[1], 4u);
    EXPECT_EQ(action[1].actIdx, unsigned{IFC_ACT_CHANNEL_QUEUE});
    EXPECT_EQ(action[1].values[0], 3u);
    EXPECT_EQ(action[1].values[1], 2u);
    EXPECT_EQ(action[2].actIdx, unsigned{IFC_ACT_DPI});
}

TEST(Action, RangesAreThoseOfTheEntry)
{
    const std::pair<const char *, unsigned> most[] = {
        {"channel", 31},   {"queue", 7},           {"fport", 15},  {"nbq", 31},
        {"sp_tag", 65535}, {"gem", 65535},         {"count", 63},  {"count1", 31},
        {"meter", 255},    {"dscp", 255},          {"vpm0", 3},    {"vo0", 3},
        {"vprio0", 15},    {"traffic_class", 255}, {"vid0", 4095}, {"vo1", 3},
        {"vprio1", 15},    {"vid1", 4095},         {"fqos", 1},    {"cpu", 1}};
    for (const auto &[word, value] : most) {
        EXPECT_EQ(actionRefusal(word + (" " + std::to_string(value))), "accepted");
        EXPECT_EQ(actionRefusal(word + (" " + std::to_string(value + 1))),
                  word + (" '" + std::to_string(value + 1)) + "': accepted: a number from 0 to " +
                      std::to_string(value));
    }
}

TEST(Action, WithoutThePpeOnlyTheCpuIsAccepted)
{
    WordReader toCpu = readerOf("cpu nbq 1");
    WordReader toQueue = readerOf("queue 1");
    ifcSendToPpe = 0;
    EXPECT_NO_THROW(refuseWithoutPpe(parseAction(toCpu)));
    try {
        refuseWithoutPpe(parseAction(toQueue));
        ADD_FAILURE() << "not refused";
    } catch (const Error &error) {
        EXPECT_EQ(error.reason(), Reason::PpeOff);
        EXPECT_EQ(exitCodeOf(error.reason()), kExitRefused);
    }
}

TEST(Deletion, NamesItsGap)
{
    const auto gap = [](const std::string &line, bool lut0) { return deletability(matchOf(line), lut0).gap; };
    const std::string mac = "dst_mac 01:02:03:04:05:06";
    EXPECT_EQ(gap("dst_port 80 " + mac, false), DeletionGap::None);
    EXPECT_EQ(gap(mac + " dst_port 80", false), DeletionGap::AfterMac);
    EXPECT_EQ(gap(mac + " dst_port 80", true), DeletionGap::None);
    EXPECT_EQ(gap(mac + " src_mac 01:02:03:04:05:06", false), DeletionGap::TwoMacs);
    EXPECT_EQ(gap("dst_mac 01:02:00:00:00:00/16", false), DeletionGap::OneEntryMac);
    EXPECT_EQ(gap("dst_mac 00:01:02:03:04:05/00:ff:ff:ff:ff:ff", false), DeletionGap::MacStoredWider);
    EXPECT_EQ(gap("flow_label 5", true), DeletionGap::UnknownField);
    EXPECT_EQ(gap("dst_ip 2001:db8::/32", false), DeletionGap::UnknownField);
    EXPECT_EQ(gap("dst_ip 10.0.0.0/8", false), DeletionGap::None);
}

TEST(Values, ControlCharactersAreEscaped)
{
    EXPECT_EQ(printable(std::string("a\0b\x1b[1m\n\x7f", 9)), "a\\x00b\\x1b[1m\\x0a\\x7f");
    EXPECT_EQ(printable("gr\xc3\xbc\xc3\x9f \xff"), "gr\xc3\xbc\xc3\x9f \xff");
    EXPECT_EQ(printable("\xc2\x9b\xc2\xa0"), "\\x9b\xc2\xa0");
}

} // namespace
