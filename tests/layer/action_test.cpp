// SPDX-License-Identifier: MIT OR GPL-2.0
// Programming, clearing and printing actions.
#include "tests/support/check.h"
#include "tests/support/layer.h"

using namespace support;

namespace
{

IFC_Action_Format entry(unsigned n)
{
    IFC_Action_Format a;
    __builtin_memcpy(a.word, hardware().action[n], sizeof a.word);
    return a;
}

// Calls ifc_set_action() while packets may go to the PPE.
int set(unsigned n, unsigned sub, bool on, uint v0 = 0, uint v1 = 0, uint v2 = 0, uint v3 = 0)
{
    ifcSendToPpe = 1;
    return ifc_set_action(n, sub, on ? IFC_ENABLE : IFC_DISABLE, v0, v1, v2, v3);
}

// Expects that setting and clearing this index and setting this sub-action are refused, with messages.
void expectRefused(uint index, uint actIdx)
{
    EXPECT_EQ(set(index, 0, true), -1);
    EXPECT_EQ(set(index, 99, true), -1) << "the index is checked first";
    EXPECT_EQ(set(0, actIdx, true), -1);
    EXPECT_EQ(ifc_clear_action(index), -1);
    const char *const badIndex = format("@Error: Action Index is %d, which should less than 40\n", index);
    EXPECT_PRINTED(badIndex, badIndex,
                   format("@Error: Field Index is %d, which should between 1 and 47\n", actIdx), badIndex);
}

// Each sub-action with all values set: which bits of the 128-bit entry it owns, as words 0 to 3.
struct Sub {
    unsigned actIdx;
    uint32_t owns[4];
    int enable, enable12;  // positions, -1: none
    const char *printedOn; // with values 0xFFFFFFFF
    const char *printedOff;
};

const Sub kSubs[] = {
    {0, {0, 0, 0, 0xFF}, 0, 0, "channel:31, queue:7\n", "channel:0, queue:0\n"},
    {1, {0xFC000000, 0, 0, 0xF00}, 1, 1, "fport:15, nbq:-1\n", "fport:0, nbq:0\n"},
    {2, {0, 0, 0, 0xFFFF000}, 2, 2, "sp_tag/gemport:0xffff\n", "sp_tag/gemport:0x0\n"},
    {3, {0, 0, 3, 0xF0000000}, 3, 3, "CNT0:63\n", "CNT0:0\n"},
    {4, {0, 0, 0x7C, 0}, 4, 3, "CNT1:31\n", "CNT1:0\n"},
    {5, {0, 0, 0xFF00, 0}, 5, 4, "MTR_G:255\n", "MTR_G:0\n"},
    {6, {0, 0, 0xFF0000, 0}, 6, 5, "IPv4 DSCP:255\n", "IPv4 DSCP:0\n"},
    {7, {0, 0, 0xFF000000, 0}, 7, 6, "IPv6 Traffic Class:255\n", "IPv6 Traffic Class:0\n"},
    {8, {0x33, 0xFFFF, 0, 0}, 8, 7, "vpm0:3, vo0:3, vid0:0xffff\n", "vpm0:0, vo0:0, vid0:0x0\n"},
    {9, {0xC, 0xFFFF0000, 0, 0}, 9, 8, "vo1:3, vid1:0xffff\n", "vo1:0, vid1:0x0\n"},
    {10, {0x40, 0, 0, 0}, 10, 9, "fqos:1\n", "fqos:0\n"},
    {11, {0x80, 0, 0, 0}, 11, 10, "fast:1\n", "fast:0\n"},
    {12, {0x100, 0, 0, 0}, 12, 11, "mc:1\n", "mc:0\n"},
    {13, {0x200, 0, 0, 0}, 13, 12, "keep pcp:1\n", "keep pcp:0\n"},
    {14, {0xFC000000, 0, 0, 0}, -1, -1, "ifc_set_action: cpu:1, nbq:31\n", "ifc_set_action: cpu:0, nbq:0\n"},
    {15, {0x800, 0, 0, 0}, -1, -1, "owf:1\n", "owf:1\n"},
    {16, {0x400, 0, 0, 0}, 13, 13, "dpi:1\n", "dpi:1\n"},
};

} // namespace

TEST(Action, EachSubActionWritesItsFieldsAndNothingElse)
{
    for (const int revision : list({0, 12, 14, 15}))
        for (const Sub &sub : kSubs)
            for (const uint32_t background : list({0u, 0xFFFFFFFFu, 0xA5A5A5A5u}))
                for (const bool on : list({true, false})) {
                    setRevision(revision);
                    fillAction(21, background);
                    forget();
                    EXPECT_EQ(set(21, sub.actIdx, on, ~0u, ~0u, ~0u, ~0u), 0);
                    const int bit = revision == 12 ? sub.enable12 : sub.enable;
                    const bool writesOnes = on || sub.actIdx >= 15; // 15 and 16 ignore the mode
                    for (unsigned w = 0; w < 4; ++w) {
                        uint32_t expected = (background & ~sub.owns[w]) | (writesOnes ? sub.owns[w] : 0);
                        if (w == 0 && bit >= 0)
                            expected = on ? expected | 1u << (12 + bit) : expected & ~(1u << (12 + bit));
                        if (w == 0 && sub.actIdx == 1)
                            expected &= ~(1u << 26); // cpu, in either mode
                        EXPECT_EQ(entry(21).word[w], expected)
                            << sub.actIdx << " word " << w << " revision " << revision;
                    }
                    EXPECT_PRINTED(on ? sub.printedOn : sub.printedOff);
                }
}

TEST(Action, ValuesGoToTheirFields)
{
    EXPECT_EQ(set(5, 0, true, 0x21, 9), 0);
    EXPECT_PRINTED("channel:1, queue:1\n");
    set(5, 1, true, 0x15, 0x26);
    set(5, 2, true, 0x12345);
    set(5, 3, true, 0x2B);
    set(5, 4, true, 0x2A);
    set(5, 5, true, 0x1AB);
    set(5, 6, true, 0x12E);
    set(5, 7, true, 0x1C0);
    set(5, 8, true, 1, 2, 3, 0x1064);
    set(5, 9, true, 2, 5, 0x123);
    const auto b = entry(5).bits;
    EXPECT_EQ(b.fport, 5u);
    EXPECT_EQ(b.nbq, 6u);
    EXPECT_EQ(b.sp_tag, 0x2345u);
    EXPECT_EQ(b.cnt0_3_0, 0xBu);
    EXPECT_EQ(b.cnt0_5_4, 2u);
    EXPECT_EQ(b.cnt1, 10u);
    EXPECT_EQ(b.mtr_g, 0xABu);
    EXPECT_EQ(b.ipv4_dscp, 0x2Eu);
    EXPECT_EQ(b.ipv6_traffic_class, 0xC0u);
    EXPECT_EQ(b.vpm0, 1u);
    EXPECT_EQ(b.vo0, 2u);
    EXPECT_EQ(b.vid0_15_12, 3u);
    EXPECT_EQ(b.vid0_11_0, 0x64u);
    EXPECT_EQ(b.vo1, 2u);
    EXPECT_EQ(b.vid1_15_12, 5u);
    EXPECT_EQ(b.vid1_11_0, 0x123u);
    EXPECT_EQ(b.enable, 0x3FFu);
    EXPECT_STREQ(piece(1), "fport:5, nbq:38\n") << "nbq as passed, uncut";
    EXPECT_STREQ(piece(3), "CNT0:43\n");
    EXPECT_STREQ(piece(8), "vpm0:1, vo0:2, vid0:0x3064\n");
    EXPECT_STREQ(piece(9), "vo1:2, vid1:0x5123\n");
}

TEST(Action, FlagsTakeBit0)
{
    for (unsigned sub = 10; sub <= 16; ++sub) {
        fillAction(1, 0);
        (void)set(1, sub, true, 2);
        EXPECT_EQ(entry(1).word[0] & ~(0x3FFFu << 12), 0u) << sub;
    }
}

TEST(Action, ReadsEditsAndWritesBackUnderTwoSeparateLocks)
{
    hardware().action[39][0] = 0x11;
    hardware().action[39][1] = 0x22;
    hardware().action[39][2] = 0x33;
    hardware().action[39][3] = 0x44000000;
    forget();
    EXPECT_EQ(set(39, 0, true, 1, 1), 0);
    EXPECT_TRAFFIC(Traffic()
                       .lock()
                       .transfer(command(39, 0, 2, 0))
                       .readRow(0x11, 0x22, 0x33, 0x44000000)
                       .unlock()
                       .revision()
                       .lock()
                       .writeRow(0x1011, 0x22, 0x33, 0x44000009)
                       .transfer(command(39, 0, 2, 1))
                       .unlock());
    EXPECT_PRINTED("channel:1, queue:1\n");
    EXPECT_EQ(eventsBeforePiece(0), 9) << "between the locks";
    for (const unsigned sub : list({15u, 16u})) {
        fillAction(39, 0);
        forget();
        EXPECT_EQ(set(39, sub, true, 1), 0);
        EXPECT_TRAFFIC(Traffic()
                           .lock()
                           .transfer(command(39, 0, 2, 0))
                           .readRow(0, 0, 0, 0)
                           .unlock()
                           .lock()
                           .writeRow(sub == 15 ? 0x800 : 1u << 25 | 0x400, 0, 0, 0)
                           .transfer(command(39, 0, 2, 1))
                           .unlock());
        EXPECT_EQ(pieces(), 1);
        EXPECT_EQ(eventsBeforePiece(0), 8);
    }
}

TEST(Action, AsksForTheRevisionOnceForTheSubActionsUpTo14)
{
    for (unsigned sub = 0; sub <= 16; ++sub) {
        forget();
        (void)set(0, sub, true);
        EXPECT_EQ(count(Kind::Revision), sub <= 14 ? 1 : 0) << sub;
    }
}

TEST(Action, AnyNonZeroModeEnables)
{
    ifcSendToPpe = 1;
    (void)ifc_set_action(0, 0, static_cast<IFC_Mode_t>(0x80000000), 1, 0, 0, 0);
    EXPECT_EQ(entry(0).bits.enable, 1u);
    (void)ifc_set_action(0, 16, static_cast<IFC_Mode_t>(2), 0, 0, 0, 0);
    EXPECT_EQ(entry(0).bits.enable, 0x2001u);
}

TEST(Action, DpiAndKeepPcpShareTheirEnableBit)
{
    (void)set(0, 13, true, 1);
    (void)set(0, 16, false, 1);
    EXPECT_EQ(entry(0).bits.enable, 0u);
    EXPECT_EQ(entry(0).bits.keep_pcp, 1u);
    EXPECT_EQ(entry(0).bits.dpi, 1u) << "disabling still writes the bit";
}

TEST(Action, RefusesBadIndexesAndTouchesNothing)
{
    expectNothingChanges([&] { expectRefused(40, 17); });
    EXPECT_NO_TRAFFIC();
}

TEST(Action, WithoutThePpeARefusalDeletesTheRule)
{
    (void)ifc_set_lut0_rules(5, IFC_ENABLE, DPORT, 0, 0, 1, 0, 1);
    (void)ifc_set_lut1_rules(0, IFC_ENABLE, 1, DPORT, 0, 1, 0, 1);
    (void)ifc_set_lut0_rules(6, IFC_ENABLE, DPORT, 0, 0, 1, 0, 1);
    (void)ifc_set_lut1_rules(1, IFC_ENABLE, 1, DPORT, 0, 1, 0, 1);
    for (const unsigned n : list({5u, 8u})) {
        const unsigned sub = n == 5 ? 0 : 16;
        fillAction(n, 0x55);
        forget();
        EXPECT_EQ(ifc_set_action(n, sub, IFC_ENABLE, 0, 0, 0, 0), -1);
        EXPECT_PRINTED(
            format("@WARNING: ifcIndex is %u Action index is %u, packets matched ifc rules and send "
                   "to ppe will cause error\n",
                   n, sub),
            format("@del ifc action index  %u\n", n));
        EXPECT_TRAFFIC(Traffic().lock().zeros(n, 2).unlock());
        EXPECT_EQ(entry(n).word[0], 0u);
    }
    EXPECT_EQ(IFC_LUT0_Rule[5].word[0], 0u);
    EXPECT_EQ(IFC_LUT0_Rule[5].word[4], 0u);
    EXPECT_EQ(IFC_LUT1_Rule[0].word[0], 0u);
    EXPECT_NE(IFC_LUT0_Rule[6].word[0], 0u) << "the others stay";
    EXPECT_NE(IFC_LUT1_Rule[1].word[0], 0u);
    EXPECT_NE(hardware().lut0[5][0], 0u) << "the hardware keeps it until the next rewrite";
    forget();
    EXPECT_EQ(ifc_set_action(39, 14, IFC_ENABLE, 1, 7, 0, 0), 0) << "only this one is carried out";
    EXPECT_EQ(entry(39).word[0], 1u << 26 | 7u << 27);
}

TEST(Action, ARefusalDeletesTheRuleOfItsOwnNumber)
{
    for (unsigned n = 0; n < 40; ++n) {
        const unsigned sub = n % 17 == 14 ? 16 : n % 17;
        fillShadow();
        EXPECT_EQ(ifc_set_action(n, sub, n % 2 == 0 ? IFC_ENABLE : IFC_DISABLE, 0, 0, 0, 0), -1);
        for (unsigned rule = 0; rule < 40; ++rule) {
            const uint32_t *const words = rule < 8 ? IFC_LUT0_Rule[rule].word : IFC_LUT1_Rule[rule - 8].word;
            const unsigned length = rule < 8 ? 41 : 2;
            unsigned zeros = 0;
            for (unsigned w = 0; w < length; ++w)
                zeros += words[w] == 0;
            EXPECT_EQ(zeros, rule == n ? length : 0) << n << " rule " << rule;
        }
    }
    ifcSendToPpe = 0x80000000;
    EXPECT_EQ(ifc_set_action(0, 0, IFC_ENABLE, 1, 0, 0, 0), 0) << "any value but 0 admits it";
}

TEST(Action, NumbersAreCheckedBeforeThePpeIsAskedFor)
{
    fillShadow();
    expectNothingChanges([&] {
        EXPECT_EQ(ifc_set_action(40, 0, IFC_ENABLE, 0, 0, 0, 0), -1);
        EXPECT_EQ(ifc_set_action(5, 17, IFC_ENABLE, 0, 0, 0, 0), -1);
    });
    EXPECT_PRINTED("@Error: Action Index is 40, which should less than 40\n",
                   "@Error: Field Index is 17, which should between 1 and 47\n");
    EXPECT_NO_TRAFFIC();
}

TEST(Action, TimeOutsDoNotChangeTheResult)
{
    powerOn(0);
    EXPECT_EQ(set(0, 0, true, 1), 0);
    EXPECT_PRINTED("@Timeout for set IFC Rule configuration.\n", "channel:1, queue:0\n",
                   "@Timeout for set IFC Rule configuration.\n");
    EXPECT_EQ(ifc_clear_action(0), 0);
}

TEST(Action, ClearingOneEntry)
{
    fillAction(8, ~0u);
    fillAction(9, ~0u);
    forget();
    EXPECT_EQ(ifc_clear_action(8), 0);
    EXPECT_TRAFFIC(Traffic().lock().zeros(8, 2).unlock());
    EXPECT_PRINTED("@del ifc action index  8\n");
    EXPECT_EQ(eventsBeforePiece(0), 8) << "after the lock is released";
    EXPECT_EQ(entry(8).word[0], 0u);
    EXPECT_EQ(entry(9).word[0], ~0u);
}

TEST(Action, ClearingAllHoldsTheLockThroughout)
{
    for (unsigned n = 0; n < 40; ++n)
        fillAction(n, ~0u);
    forget();
    EXPECT_EQ(clear_all_ifc_actions(), 0);
    EXPECT_TRAFFIC(Traffic().clearTable(2));
    EXPECT_NOTHING_PRINTED();
}

TEST(Action, ClearingAllGoesOnAfterTimeOuts)
{
    powerOn(0);
    EXPECT_EQ(clear_all_ifc_actions(), 0);
    EXPECT_TRAFFIC(Traffic().clearTable(2, 3, false));
    EXPECT_TRUE(eachPieceIs("@Timeout for set IFC Rule configuration.\n", 40));
}

TEST(Action, SubActionsAndRefusalsArePrintedAtEveryLevel)
{
    for (const int level : kLevels) {
        gpIfcPriv->dbgLevel = static_cast<uint8>(level);
        for (const Sub &sub : kSubs) {
            forget();
            EXPECT_EQ(set(21, sub.actIdx, true, ~0u, ~0u, ~0u, ~0u), 0);
            if (level > 2)
                EXPECT_PRINTED("@ifcSetRuleConfig is 0x00150021.\n", sub.printedOn,
                               "@ifcSetRuleConfig is 0x00150023.\n");
            else
                EXPECT_PRINTED(sub.printedOn);
        }
        forget();
        expectRefused(0xFFFFFFFF, 0xFFFFFFFF);
        forget();
        ifcSendToPpe = 0;
        EXPECT_EQ(ifc_set_action(9, 2, IFC_ENABLE, 0, 0, 0, 0), -1);
        ASSERT_EQ(pieces(), level > 2 ? 3u : 2u);
        EXPECT_STREQ(piece(0),
                     "@WARNING: ifcIndex is 9 Action index is 2, packets matched ifc rules and send "
                     "to ppe will cause error\n");
        EXPECT_STREQ(lastPiece(), "@del ifc action index  9\n");
    }
}

END_OF_TESTS(actionTests)
