// SPDX-License-Identifier: MIT OR GPL-2.0
// Conditions in automatic placement and deletion.
#include "tools/ifcctl/core/deletion.h"
#include "tools/ifcctl/core/match.h"
#include "tools/ifcctl/core/rule_words.h"
#include "tools/ifcctl/core/values.h"

#include <gtest/gtest.h>

using namespace ifcctl;

namespace
{

Match matchOf(const std::string &line)
{
    WordReader words(wordsOf(line));
    ifc_rule rule{};
    readMatch(words, rule);
    return requestOf(rule);
}

TEST(Match, RequestHasARangeAsTwoConditions)
{
    EXPECT_EQ(requestText(matchOf("dst_port 80 src_port 1024-2047")),
              "28:0:65535:80 29:2:65535:1024 29:3:65535:2047");
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
    EXPECT_EQ(printable("gr\xc3\xbc\xc3\x9f \xff"), "gr\xc3\xbc\xc3\x9f \\xff");
    EXPECT_EQ(printable("\xc2\x9b\xc2\xa0"), "\\x9b\xc2\xa0");
}

} // namespace
