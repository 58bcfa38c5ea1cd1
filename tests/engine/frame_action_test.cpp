// SPDX-License-Identifier: MIT OR GPL-2.0
#include "engine/frame_action.h"

#include <gtest/gtest.h>

#include <tuple>

#include "frames.h"

using namespace engine;
using namespace frames;

namespace
{

Bytes applied(const Action &action, const Bytes &frame, uint16_t userTpid = 0)
{
    const ParsedFrame parsed = parse(frame, userTpid);
    Bytes out(frame.size() + kMaxGrowth);
    const size_t length =
        applyAction(action, parsed, userTpid, frame.data(), frame.size(), out.data(), out.size());
    out.resize(length);
    return out;
}

Action tagAction(TagCode vo0, unsigned vpm0, unsigned vid0, TagCode vo1 = TagCode::Keep, unsigned vid1 = 0)
{
    Action action{};
    action.on = 1u << IFC_ACT_VLAN0 | 1u << IFC_ACT_VLAN1;
    action.vo[0] = vo0;
    action.vo[1] = vo1;
    action.vpm0 = static_cast<uint8_t>(vpm0);
    action.vid[0] = static_cast<uint16_t>(vid0);
    action.vid[1] = static_cast<uint16_t>(vid1);
    return action;
}

const Bytes kRest = word16(0x0800) + ipv4({}, ports());
const Bytes kPlain = macs() + kRest;
const Bytes kOne = macs() + tag(0x8100, 0x6005) + kRest;
const Bytes kTwo = macs() + tag(0x88A8, 0xE00A) + tag(0x8100, 0x2005) + kRest;

} // namespace

TEST(FrameAction, DecodesEachField)
{
    IFC_Action_Format entry{};
    entry.bits.enable = 0x3FFF;
    entry.bits.channel = 17;
    entry.bits.queue = 5;
    entry.bits.fport = 9;
    entry.bits.nbq = 21;
    entry.bits.sp_tag = 0xBEEF;
    entry.bits.cnt0_5_4 = 2;
    entry.bits.cnt0_3_0 = 7;
    entry.bits.cnt1 = 30;
    entry.bits.mtr_g = 200;
    entry.bits.ipv4_dscp = 0xB8;
    entry.bits.ipv6_traffic_class = 0x2E;
    entry.bits.vpm0 = 3;
    entry.bits.vo0 = 1;
    entry.bits.vo1 = 2;
    entry.bits.vid0_15_12 = 0xA;
    entry.bits.vid0_11_0 = 0x123;
    entry.bits.vid1_15_12 = 0x4;
    entry.bits.vid1_11_0 = 0xFFF;
    entry.bits.cpu = 1;
    entry.bits.fast = 1;
    const Action action = decodeAction(entry.word, 0);
    EXPECT_EQ(action.on, 0x3FFFu | 1u << IFC_ACT_CPU_NBQ | 1u << IFC_ACT_DPI);
    EXPECT_EQ(action.channel, 17);
    EXPECT_EQ(action.queue, 5);
    EXPECT_EQ(action.fport, 9);
    EXPECT_EQ(action.nbq, 21);
    EXPECT_EQ(action.spTag, 0xBEEF);
    EXPECT_EQ(action.cnt0, 39);
    EXPECT_EQ(action.cnt1, 30);
    EXPECT_EQ(action.meter, 200);
    EXPECT_EQ(action.ipv4Dscp, 0xB8);
    EXPECT_EQ(action.ipv6TrafficClass, 0x2E);
    EXPECT_EQ(action.vpm0, 3);
    EXPECT_EQ(action.vo[0], TagCode::Insert);
    EXPECT_EQ(action.vo[1], TagCode::Remove);
    EXPECT_EQ(action.vid[0], 0xA123);
    EXPECT_EQ(action.vid[1], 0x4FFF);
    EXPECT_TRUE(action.cpu);
    EXPECT_TRUE(action.fast);
    EXPECT_FALSE(action.fqos || action.mc || action.keepPcp || action.owf || action.dpi);
}

TEST(FrameAction, Revision12HasItsEnableBitsOneLower)
{
    IFC_Action_Format entry{};
    entry.bits.enable = 1u << 5;
    EXPECT_EQ(decodeAction(entry.word, 0).on, 1u << IFC_ACT_MTR_G);
    EXPECT_EQ(decodeAction(entry.word, 12).on, 1u << IFC_ACT_IPV4_DSCP);
    entry.bits.enable = 1u << 3;
    EXPECT_EQ(decodeAction(entry.word, 12).on, 1u << IFC_ACT_CNT0 | 1u << IFC_ACT_CNT1);
}

// Sub-action n has bit n, in revision 12 bit n - 1 from 4 on. Sub-action 16 has bit 13 in every revision.
TEST(FrameAction, EachEnableBitSwitchesItsSubActions)
{
    for (const int revision : {0, 12, 14, 15}) {
        for (unsigned bit = 0; bit < 14; ++bit) {
            IFC_Action_Format entry{};
            entry.bits.enable = 1u << bit & 0x3FFFu;
            uint32_t on = 1u << bit;
            if (revision == 12)
                on = bit < 3 ? on : bit == 3 ? 3u << 3 : bit == 13 ? 0 : on << 1;
            if (bit == 13)
                on |= 1u << IFC_ACT_DPI;
            EXPECT_EQ(decodeAction(entry.word, revision).on, on) << revision << " " << bit;
        }
    }
}

// Keep pcp and dpi share bit 13, but not in revision 12, where keep pcp has bit 12.
TEST(FrameAction, DpiAndKeepPcpNeedTheirEnableBits)
{
    const auto decoded = [](unsigned enable, int revision) {
        IFC_Action_Format entry{};
        entry.bits.enable = enable & 0x3FFF;
        entry.bits.dpi = 1;
        entry.bits.keep_pcp = 1;
        const Action action = decodeAction(entry.word, revision);
        return std::pair{action.keepPcp, action.dpi};
    };
    EXPECT_EQ(decoded(1u << 13, 0), std::pair(true, true));
    EXPECT_EQ(decoded(1u << 12, 0), std::pair(false, false));
    EXPECT_EQ(decoded(1u << 13, 12), std::pair(false, true));
    EXPECT_EQ(decoded(1u << 12, 12), std::pair(true, false));
    EXPECT_EQ(decoded(0x0FFF, 12), std::pair(false, false));
    // On, but with a flag of 0.
    IFC_Action_Format entry{};
    entry.bits.enable = 0x3FFF;
    const Action action = decodeAction(entry.word, 12);
    EXPECT_EQ(action.on, 0x3FFFu | 1u << IFC_ACT_DPI);
    EXPECT_FALSE(action.keepPcp || action.dpi);
}

// A flag without its enable bit is off. cpu and owf have no enable bit, so their flag alone switches them on.
TEST(FrameAction, FlagsNeedTheirEnableBits)
{
    IFC_Action_Format entry{};
    entry.bits.fqos = 1;
    entry.bits.fast = 1;
    entry.bits.mc = 1;
    entry.bits.cpu = 1;
    entry.bits.owf = 1;
    const auto flags = [&](unsigned enable) {
        entry.bits.enable = enable & 0x3FFF;
        const Action action = decodeAction(entry.word, 0);
        EXPECT_TRUE(action.cpu && action.owf);
        EXPECT_EQ(action.on & (1u << IFC_ACT_CPU_NBQ | 1u << IFC_ACT_OWF),
                  1u << IFC_ACT_CPU_NBQ | 1u << IFC_ACT_OWF);
        return std::tuple{action.fqos, action.fast, action.mc};
    };
    EXPECT_EQ(flags(0x3FFF & ~(7u << IFC_ACT_FQOS)), std::tuple(false, false, false));
    EXPECT_EQ(flags(1u << IFC_ACT_FQOS), std::tuple(true, false, false));
    EXPECT_EQ(flags(1u << IFC_ACT_FAST), std::tuple(false, true, false));
    EXPECT_EQ(flags(1u << IFC_ACT_MC), std::tuple(false, false, true));
}

// Only the sub-action that is on edits the frame.
TEST(FrameAction, EachEditNeedsItsSubAction)
{
    Action action = tagAction(TagCode::Replace, 1, 0x1007, TagCode::Replace, 0x3008);
    action.ipv4Dscp = 4;
    action.ipv6TrafficClass = 1;
    const Bytes six = macs() + word16(0x86DD) + ipv6({}, ports());
    const auto edits = [&](unsigned subAction, const Bytes &frame) {
        action.on = 1u << subAction;
        return applied(action, frame);
    };
    EXPECT_EQ(edits(IFC_ACT_VLAN0, kTwo), macs() + tag(0x8100, 0x1007) + tag(0x8100, 0x2005) + kRest);
    EXPECT_EQ(edits(IFC_ACT_VLAN1, kTwo), macs() + tag(0x88A8, 0xE00A) + tag(0x8100, 0x3008) + kRest);
    EXPECT_NE(edits(IFC_ACT_IPV4_DSCP, kTwo), kTwo);
    EXPECT_EQ(edits(IFC_ACT_IPV4_DSCP, six), six);
    EXPECT_NE(edits(IFC_ACT_IPV6_TRAFFIC_CLASS, six), six);
    EXPECT_EQ(edits(IFC_ACT_IPV6_TRAFFIC_CLASS, kTwo), kTwo);
    for (const unsigned other : {IFC_ACT_CHANNEL_QUEUE, IFC_ACT_MTR_G, IFC_ACT_KEEP_PCP, IFC_ACT_DPI}) {
        EXPECT_EQ(edits(other, kTwo), kTwo) << other;
        EXPECT_EQ(edits(other, six), six) << other;
    }
}

TEST(FrameAction, NothingOnLeavesTheFrame)
{
    for (const Bytes &frame : {kPlain, kOne, kTwo, Bytes{}, Bytes{1, 2, 3}})
        EXPECT_EQ(applied({}, frame), frame);
    Action off = tagAction(TagCode::Insert, 1, 5, TagCode::Insert, 6);
    off.on = 0;
    EXPECT_EQ(applied(off, kOne), kOne);
}

TEST(FrameAction, DscpRepairsTheHeaderChecksum)
{
    Action action{};
    action.on = 1u << IFC_ACT_IPV4_DSCP;
    for (unsigned dscp = 0; dscp < 256; ++dscp) {
        action.ipv4Dscp = static_cast<uint8_t>(dscp);
        for (const size_t options : {0u, 8u}) {
            const unsigned ecn = dscp >> 6; // each of its values with each of the action's two lowest bits
            const Bytes frame =
                macs() + word16(0x0800) +
                ipv4({.tos = static_cast<uint8_t>(0x54 | ecn), .optionBytes = options}, ports());
            const Bytes out = applied(action, frame);
            ASSERT_EQ(out.size(), frame.size());
            EXPECT_EQ(out[15], (dscp & 0xFC) | ecn); // the ECN bits stay
            EXPECT_EQ(checksum(out.data() + 14, 20 + options), 0) << dscp;
        }
    }
}

// All header checksums; with some of them the sum carries twice.
TEST(FrameAction, DscpRepairsEveryChecksum)
{
    Action action{};
    action.on = 1u << IFC_ACT_IPV4_DSCP;
    action.ipv4Dscp = 4;
    Bytes frame = macs() + word16(0x0800) + ipv4({.tos = 0}, ports());
    for (unsigned id = 0; id < 0x10000; ++id) {
        frame[18] = static_cast<uint8_t>(id >> 8);
        frame[19] = static_cast<uint8_t>(id);
        frame[24] = frame[25] = 0;
        const uint16_t sum = checksum(frame.data() + 14, 20);
        frame[24] = static_cast<uint8_t>(sum >> 8);
        frame[25] = static_cast<uint8_t>(sum);
        const Bytes out = applied(action, frame);
        ASSERT_EQ(out[15], 4);
        ASSERT_EQ(checksum(out.data() + 14, 20), 0) << id << ", checksum " << sum;
    }
}

TEST(FrameAction, WrongChecksumStaysWrong)
{
    Action action{};
    action.on = 1u << IFC_ACT_IPV4_DSCP;
    Bytes frame = kPlain;
    frame[25] ^= 1;
    const Bytes out = applied(action, frame);
    EXPECT_EQ(out[15], 1);
    EXPECT_NE(checksum(out.data() + 14, 20), 0);
}

TEST(FrameAction, TrafficClassKeepsVersionAndFlowLabel)
{
    Action action{};
    action.on = 1u << IFC_ACT_IPV6_TRAFFIC_CLASS | 1u << IFC_ACT_IPV4_DSCP;
    action.ipv6TrafficClass = 0x3C;
    const Bytes frame = macs() + word16(0x8864) + pppoe(0, 1, word16(0x0057) + ipv6({}, ports()));
    const Bytes out = applied(action, frame);
    Bytes expected = frame;
    expected[22] = 0x63;
    expected[23] = 0xC5;
    EXPECT_EQ(out, expected);
    EXPECT_EQ(fieldValue(parse(out).fields, IPv6_TRAFFIC_CLASS), 0x3Cu);
    EXPECT_EQ(fieldValue(parse(out).fields, FLOW_LABEL), 0x54321u);
}

TEST(FrameAction, EveryTrafficClassReplacesEveryOther)
{
    Action action{};
    action.on = 1u << IFC_ACT_IPV6_TRAFFIC_CLASS;
    for (unsigned before = 0; before < 256; ++before) {
        for (unsigned after = 0; after < 256; ++after) {
            action.ipv6TrafficClass = static_cast<uint8_t>(after);
            ASSERT_EQ(applied(action, macs() + word16(0x86DD) + ipv6({.trafficClass = before}, ports())),
                      macs() + word16(0x86DD) + ipv6({.trafficClass = after}, ports()))
                << before << " " << after;
        }
    }
}

TEST(FrameAction, InsertsTags)
{
    EXPECT_EQ(applied(tagAction(TagCode::Insert, 1, 0x3064), kPlain), macs() + tag(0x8100, 0x3064) + kRest);
    EXPECT_EQ(applied(tagAction(TagCode::Insert, 2, 0x3064), kOne),
              macs() + tag(0x88A8, 0x3064) + tag(0x8100, 0x6005) + kRest);
    EXPECT_EQ(applied(tagAction(TagCode::Insert, 3, 9), kPlain, 0x9100), macs() + tag(0x9100, 9) + kRest);
    // The code names no TPID: the tag gets that of IEEE 802.1Q.
    EXPECT_EQ(applied(tagAction(TagCode::Insert, 0, 9), kPlain), macs() + tag(0x8100, 9) + kRest);
    EXPECT_EQ(applied(tagAction(TagCode::Insert, 3, 9), kPlain), macs() + tag(0x8100, 9) + kRest);
    EXPECT_EQ(applied(tagAction(TagCode::Insert, 2, 1, TagCode::Insert, 2), kPlain),
              macs() + tag(0x88A8, 1) + tag(0x8100, 2) + kRest);
    EXPECT_EQ(applied(tagAction(TagCode::Insert, 2, 1, TagCode::Insert, 2), kTwo),
              macs() + tag(0x88A8, 1) + tag(0x88A8, 0xE00A) + tag(0x8100, 2) + tag(0x8100, 0x2005) + kRest);
}

TEST(FrameAction, RemovesTags)
{
    EXPECT_EQ(applied(tagAction(TagCode::Remove, 1, 0), kOne), kPlain);
    EXPECT_EQ(applied(tagAction(TagCode::Remove, 1, 0), kPlain), kPlain);
    EXPECT_EQ(applied(tagAction(TagCode::Remove, 0, 0, TagCode::Remove), kTwo), kPlain);
    EXPECT_EQ(applied(tagAction(TagCode::Remove, 0, 0), kTwo), macs() + tag(0x8100, 0x2005) + kRest);
    EXPECT_EQ(applied(tagAction(TagCode::Keep, 0, 0, TagCode::Remove), kTwo),
              macs() + tag(0x88A8, 0xE00A) + kRest);
}

TEST(FrameAction, ReplacesTags)
{
    EXPECT_EQ(applied(tagAction(TagCode::Replace, 2, 0x1007), kOne), macs() + tag(0x88A8, 0x1007) + kRest);
    EXPECT_EQ(applied(tagAction(TagCode::Replace, 0, 0x1007), kTwo),
              macs() + tag(0x88A8, 0x1007) + tag(0x8100, 0x2005) + kRest);
    EXPECT_EQ(applied(tagAction(TagCode::Keep, 0, 0, TagCode::Replace, 8), kTwo),
              macs() + tag(0x88A8, 0xE00A) + tag(0x8100, 8) + kRest);
    EXPECT_EQ(applied(tagAction(TagCode::Replace, 1, 7), kPlain), kPlain);
    // A frame with one tag has no inner tag.
    EXPECT_EQ(applied(tagAction(TagCode::Keep, 0, 0, TagCode::Replace, 8), kOne), kOne);
    EXPECT_EQ(applied(tagAction(TagCode::Keep, 0, 0, TagCode::Remove), kOne), kOne);
}

TEST(FrameAction, KeepPcpTakesPriorityFromTheFrame)
{
    Action action = tagAction(TagCode::Replace, 0, 0x1007, TagCode::Replace, 0x4008);
    action.keepPcp = true;
    EXPECT_EQ(applied(action, kTwo), macs() + tag(0x88A8, 0xE007) + tag(0x8100, 0x2008) + kRest);
    action = tagAction(TagCode::Insert, 1, 0x1007);
    action.keepPcp = true;
    EXPECT_EQ(applied(action, kOne), macs() + tag(0x8100, 0x6007) + tag(0x8100, 0x6005) + kRest);
    EXPECT_EQ(applied(action, kPlain), macs() + tag(0x8100, 0x1007) + kRest);
}

// An inserted tag takes the priority of the outer tag, at either place.
TEST(FrameAction, KeepPcpOfAnInsertedTag1IsTheOuterTags)
{
    Action action = tagAction(TagCode::Keep, 0, 0, TagCode::Insert, 0x1008);
    action.keepPcp = true;
    EXPECT_EQ(applied(action, kTwo),
              macs() + tag(0x88A8, 0xE00A) + tag(0x8100, 0xE008) + tag(0x8100, 0x2005) + kRest);
    EXPECT_EQ(applied(action, kOne), macs() + tag(0x8100, 0x6005) + tag(0x8100, 0x6008) + kRest);
    EXPECT_EQ(applied(action, kPlain), macs() + tag(0x8100, 0x1008) + kRest);
    // Also when the outer tag is removed or replaced.
    action.vo[0] = TagCode::Remove;
    EXPECT_EQ(applied(action, kOne), macs() + tag(0x8100, 0x6008) + kRest);
    action.vo[0] = TagCode::Insert;
    action.vpm0 = 2;
    action.vid[0] = 0x2003;
    EXPECT_EQ(applied(action, kOne),
              macs() + tag(0x88A8, 0x6003) + tag(0x8100, 0x6005) + tag(0x8100, 0x6008) + kRest);
}

// Without a TPID to write, a replaced tag keeps its TPID and gets a new control word.
TEST(FrameAction, ReplacedTagKeepsItsTpidWhenTheActionHasNone)
{
    const Bytes user = macs() + tag(0x9100, 0xE00A) + tag(0x88A8, 0x2005) + kRest;
    for (const unsigned tpid : {0x8100u, 0x88A8u}) {
        const Bytes frame = macs() + tag(tpid, 0x6005) + kRest;
        EXPECT_EQ(applied(tagAction(TagCode::Replace, 0, 0x1007), frame), macs() + tag(tpid, 0x1007) + kRest);
        EXPECT_EQ(applied(tagAction(TagCode::Replace, 3, 0x1007), frame), macs() + tag(tpid, 0x1007) + kRest);
        EXPECT_EQ(applied(tagAction(TagCode::Replace, 3, 0x1007), frame, 0x9100),
                  macs() + tag(0x9100, 0x1007) + kRest);
    }
    EXPECT_EQ(applied(tagAction(TagCode::Replace, 0, 0x1007), user, 0x9100),
              macs() + tag(0x9100, 0x1007) + tag(0x88A8, 0x2005) + kRest);
    // Tag 1 has no TPID of its own, whatever the code of tag 0.
    EXPECT_EQ(applied(tagAction(TagCode::Replace, 1, 0x1007, TagCode::Replace, 0x3008), user, 0x9100),
              macs() + tag(0x8100, 0x1007) + tag(0x88A8, 0x3008) + kRest);
}

TEST(FrameAction, EditsAfterChangedTagsHitTheRightBytes)
{
    Action action = tagAction(TagCode::Insert, 1, 100);
    action.on |= 1u << IFC_ACT_IPV4_DSCP;
    action.ipv4Dscp = 0x2A; // bit 1 is not written
    const Bytes out = applied(action, kOne);
    EXPECT_EQ(fieldValue(parse(out).fields, IPv4_DSCP), 0x29u);
    EXPECT_EQ(checksum(out.data() + 22, 20), 0);
    action.vo[0] = TagCode::Remove;
    const Bytes bare = applied(action, kOne);
    EXPECT_EQ(fieldValue(parse(bare).fields, IPv4_DSCP), 0x29u);
    EXPECT_EQ(checksum(bare.data() + 14, 20), 0);
}

TEST(FrameAction, TagsOfAFrameWithoutIpChange)
{
    // Such a frame has no network header, and the edited frame can be shorter than the tags that it lost.
    const Bytes arp = macs() + word16(0x0806);
    Action action = tagAction(TagCode::Remove, 0, 0, TagCode::Remove);
    action.on |= 1u << IFC_ACT_IPV4_DSCP | 1u << IFC_ACT_IPV6_TRAFFIC_CLASS;
    EXPECT_EQ(applied(action, macs() + tag(0x8100, 5) + tag(0x8100, 6) + word16(0x0806)), arp);
    EXPECT_EQ(applied(action, macs() + tag(0x8100, 5) + tag(0x8100, 6) + word16(0x05FF)),
              macs() + word16(0x05FF));
    EXPECT_EQ(applied(action, macs() + tag(0x8100, 5) + word16(0x0800)), macs() + word16(0x0800));
}

TEST(FrameAction, EveryTruncationStaysInside)
{
    Action action = tagAction(TagCode::Replace, 1, 100, TagCode::Insert, 5);
    action.on |= 1u << IFC_ACT_IPV4_DSCP | 1u << IFC_ACT_IPV6_TRAFFIC_CLASS;
    for (const Bytes &frame : {kOne, kTwo, macs() + word16(0x86DD) + ipv6({}, ports())}) {
        for (size_t length = 0; length <= frame.size(); ++length) {
            const Bytes cut(frame.begin(), frame.begin() + static_cast<long>(length));
            const Bytes out = applied(action, cut);
            const bool whole = hasField(parse(cut).fields, FRAME_TYPE);
            EXPECT_EQ(out.size(), cut.size() + (whole ? 4 : 0)) << length;
            if (!whole) {
                EXPECT_EQ(out, cut);
            }
        }
    }
}

TEST(FrameAction, RefusesABufferThatMightBeTooSmall)
{
    Bytes out(kPlain.size() + kMaxGrowth - 1);
    EXPECT_EQ(applyAction({}, parse(kPlain), 0, kPlain.data(), kPlain.size(), out.data(), out.size()), 0u);
}
