// SPDX-License-Identifier: MIT OR GPL-2.0
// Programming, clearing and printing actions.
#include "layer_test.h"

#include <cstring>

using testing::ElementsAre;

class ActionTest : public LayerTest
{
protected:
    ActionTest() { ifcSendToPpe = 1; }
    IFC_Action_Format entry(unsigned n) const
    {
        IFC_Action_Format a;
        std::memcpy(a.word, chip.tables().action[n], sizeof a.word);
        return a;
    }
    void fill(unsigned n, uint32_t value)
    {
        for (uint32_t &word : chip.tables().action[n])
            word = value;
    }
    static int set(unsigned n, unsigned sub, bool on, uint v0 = 0, uint v1 = 0, uint v2 = 0, uint v3 = 0)
    {
        return ifc_set_action(n, sub, on ? IFC_ENABLE : IFC_DISABLE, v0, v1, v2, v3);
    }
};

namespace
{

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

TEST_F(ActionTest, EachSubActionWritesItsFieldsAndNothingElse)
{
    for (const int revision : {0, 12, 14, 15})
        for (const Sub &sub : kSubs)
            for (const uint32_t background : {0u, 0xFFFFFFFFu, 0xA5A5A5A5u})
                for (const bool on : {true, false}) {
                    host::setRevision(revision);
                    fill(21, background);
                    forget();
                    EXPECT_EQ(set(21, sub.actIdx, on, ~0u, ~0u, ~0u, ~0u), 0);
                    const int bit = revision == 12 ? sub.enable12 : sub.enable;
                    const bool writesOnes = on || sub.actIdx >= 15; // 15 and 16 do not heed the mode
                    for (unsigned w = 0; w < 4; ++w) {
                        uint32_t expected = (background & ~sub.owns[w]) | (writesOnes ? sub.owns[w] : 0);
                        if (w == 0 && bit >= 0)
                            expected = on ? expected | 1u << (12 + bit) : expected & ~(1u << (12 + bit));
                        if (w == 0 && sub.actIdx == 1)
                            expected &= ~(1u << 26); // cpu, in either mode
                        EXPECT_EQ(entry(21).word[w], expected)
                            << sub.actIdx << " word " << w << " revision " << revision;
                    }
                    EXPECT_THAT(pieces(), ElementsAre(on ? sub.printedOn : sub.printedOff));
                }
}

TEST_F(ActionTest, ValuesGoToTheirFields)
{
    EXPECT_EQ(set(5, 0, true, 0x21, 9), 0);
    EXPECT_THAT(pieces(), ElementsAre("channel:1, queue:1\n"));
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
    EXPECT_EQ(pieces()[1], "fport:5, nbq:38\n") << "nbq as passed, uncut";
    EXPECT_EQ(pieces()[3], "CNT0:43\n");
    EXPECT_EQ(pieces()[8], "vpm0:1, vo0:2, vid0:0x3064\n");
    EXPECT_EQ(pieces()[9], "vo1:2, vid1:0x5123\n");
}

TEST_F(ActionTest, FlagsTakeBit0)
{
    for (unsigned sub = 10; sub <= 16; ++sub) {
        fill(1, 0);
        (void)set(1, sub, true, 2);
        EXPECT_EQ(entry(1).word[0] & ~(0x3FFFu << 12), 0u) << sub;
    }
}

TEST_F(ActionTest, ReadsEditsAndWritesBackUnderTwoSeparateLocks)
{
    chip.tables().action[39][0] = 0x11;
    chip.tables().action[39][1] = 0x22;
    chip.tables().action[39][2] = 0x33;
    chip.tables().action[39][3] = 0x44000000;
    forget();
    EXPECT_EQ(set(39, 0, true, 1, 1), 0);
    Traffic t;
    t.transfer(command(39, 0, 2, 0));
    t.read(0xBFB5021C, 0x11).read(0xBFB50218, 0x22).read(0xBFB50214, 0x33).read(0xBFB50210, 0x44000000);
    t.write(0xBFB5021C, 0x1011).write(0xBFB50218, 0x22).write(0xBFB50214, 0x33).write(0xBFB50210, 0x44000009);
    t.transfer(command(39, 0, 2, 1));
    expectTraffic(t);
    EXPECT_EQ(lockedAccesses(), 12u);
    using host::Event;
    EXPECT_THAT(events,
                ElementsAre(Event::Lock, Event::Unlock, Event::RevisionQuery, Event::Lock, Event::Unlock));
    EXPECT_THAT(saidBehind, ElementsAre(3u)) << "between the locks";
    for (const unsigned sub : {15u, 16u}) {
        forget();
        EXPECT_EQ(set(39, sub, true, 1), 0);
        EXPECT_THAT(events, ElementsAre(Event::Lock, Event::Unlock, Event::Lock, Event::Unlock));
        EXPECT_THAT(saidBehind, ElementsAre(2u));
    }
}

TEST_F(ActionTest, AsksForTheRevisionOnceForTheSubActionsUpTo14)
{
    for (unsigned sub = 0; sub <= 16; ++sub) {
        const unsigned before = host::revisionQueries();
        (void)set(0, sub, true);
        EXPECT_EQ(host::revisionQueries() - before, sub <= 14 ? 1u : 0u) << sub;
    }
}

TEST_F(ActionTest, AnyNonZeroModeEnables)
{
    (void)ifc_set_action(0, 0, static_cast<IFC_Mode_t>(0x80000000), 1, 0, 0, 0);
    EXPECT_EQ(entry(0).bits.enable, 1u);
    (void)ifc_set_action(0, 16, static_cast<IFC_Mode_t>(2), 0, 0, 0, 0);
    EXPECT_EQ(entry(0).bits.enable, 0x2001u);
}

TEST_F(ActionTest, DpiAndKeepPcpShareTheirEnableBit)
{
    (void)set(0, 13, true, 1);
    (void)set(0, 16, false, 1);
    EXPECT_EQ(entry(0).bits.enable, 0u);
    EXPECT_EQ(entry(0).bits.keep_pcp, 1u);
    EXPECT_EQ(entry(0).bits.dpi, 1u) << "disabling still writes the bit";
}

TEST_F(ActionTest, RefusesBadIndexesAndTouchesNothing)
{
    expectNothingChanges([&] {
        EXPECT_EQ(set(40, 99, true), -1);
        EXPECT_EQ(set(0, 17, true), -1);
        EXPECT_EQ(ifc_clear_action(40), -1);
    });
    EXPECT_THAT(pieces(), ElementsAre("@Error: Action Index is 40, which should less than 40\n",
                                      "@Error: Field Index is 17, which should between 1 and 47\n",
                                      "@Error: Action Index is 40, which should less than 40\n"));
    EXPECT_TRUE(seen.empty() && events.empty());
}

TEST_F(ActionTest, WithoutThePpeARefusalDeletesTheRule)
{
    (void)ifc_set_lut0_rules(5, IFC_ENABLE, DPORT, 0, 0, 1, 0, 1);
    (void)ifc_set_lut1_rules(0, IFC_ENABLE, 1, DPORT, 0, 1, 0, 1);
    (void)ifc_set_lut0_rules(6, IFC_ENABLE, DPORT, 0, 0, 1, 0, 1);
    (void)ifc_set_lut1_rules(1, IFC_ENABLE, 1, DPORT, 0, 1, 0, 1);
    ifcSendToPpe = 0;
    for (const unsigned n : {5u, 8u}) {
        fill(n, 0x55);
        forget();
        EXPECT_EQ(set(n, n == 5 ? 0 : 16, true), -1);
        const std::string sub = n == 5 ? "0" : "16";
        EXPECT_THAT(pieces(),
                    ElementsAre("@WARNING: ifcIndex is " + std::to_string(n) + " Action index is " + sub +
                                    ", packets matched ifc rules and send to ppe will cause error\n",
                                "@del ifc action index  " + std::to_string(n) + "\n"));
        expectTraffic(Traffic().zeros(n, 2));
        EXPECT_EQ(entry(n).word[0], 0u);
    }
    EXPECT_EQ(IFC_LUT0_Rule[5].word[0], 0u);
    EXPECT_EQ(IFC_LUT0_Rule[5].word[4], 0u);
    EXPECT_EQ(IFC_LUT1_Rule[0].word[0], 0u);
    EXPECT_NE(IFC_LUT0_Rule[6].word[0], 0u) << "the others stay";
    EXPECT_NE(IFC_LUT1_Rule[1].word[0], 0u);
    EXPECT_NE(chip.tables().lut0[5][0], 0u) << "the hardware keeps it until the next rewrite";
    forget();
    EXPECT_EQ(set(39, 14, true, 1, 7), 0) << "only this one is carried out";
    EXPECT_EQ(entry(39).word[0], 1u << 26 | 7u << 27);
}

TEST_F(ActionTest, TimeOutsDoNotChangeTheResult)
{
    powerOn(0);
    EXPECT_EQ(set(0, 0, true, 1), 0);
    EXPECT_THAT(pieces(), ElementsAre("@Timeout for set IFC Rule configuration.\n", "channel:1, queue:0\n",
                                      "@Timeout for set IFC Rule configuration.\n"));
    EXPECT_EQ(ifc_clear_action(0), 0);
}

TEST_F(ActionTest, ClearingOneEntry)
{
    fill(8, ~0u);
    fill(9, ~0u);
    forget();
    EXPECT_EQ(ifc_clear_action(8), 0);
    EXPECT_EQ(lockedAccesses(), 6u);
    EXPECT_THAT(pieces(), ElementsAre("@del ifc action index  8\n"));
    EXPECT_THAT(events, ElementsAre(host::Event::Lock, host::Event::Unlock));
    EXPECT_THAT(saidBehind, ElementsAre(2u)) << "after the lock is released";
    EXPECT_EQ(entry(8).word[0], 0u);
    EXPECT_EQ(entry(9).word[0], ~0u);
}

TEST_F(ActionTest, ClearingAllHoldsTheLockThroughout)
{
    for (unsigned n = 0; n < 40; ++n)
        fill(n, ~0u);
    forget();
    EXPECT_EQ(clear_all_ifc_actions(), 0);
    Traffic t;
    for (uint32_t n = 0; n < 40; ++n)
        t.zeros(n, 2);
    expectTraffic(t);
    EXPECT_EQ(events.size(), 2u);
    EXPECT_EQ(lockedAccesses(), 240u);
    EXPECT_TRUE(said.empty());
}

TEST_F(ActionTest, ClearingAllGoesOnAfterTimeOuts)
{
    powerOn(0);
    EXPECT_EQ(clear_all_ifc_actions(), 0);
    Traffic t;
    for (uint32_t n = 0; n < 40; ++n)
        t.zeros(n, 2, 3, false);
    expectTraffic(t);
    EXPECT_EQ(lockedAccesses(), 40u * 8);
    ASSERT_EQ(events.size(), 40u * 3 + 2);
    EXPECT_EQ(events.front(), host::Event::Lock);
    EXPECT_EQ(events.back(), host::Event::Unlock);
    EXPECT_EQ(pieces(), std::vector<std::string>(40, "@Timeout for set IFC Rule configuration.\n"));
}

TEST_F(ActionTest, SubActionsAndRefusalsArePrintedAtEveryLevel)
{
    for (const int level : {0, 1, 2, 3, 4, 255}) {
        gpIfcPriv->dbgLevel = static_cast<uint8>(level);
        for (const Sub &sub : kSubs) {
            forget();
            EXPECT_EQ(set(21, sub.actIdx, true, ~0u, ~0u, ~0u, ~0u), 0);
            if (level > 2)
                EXPECT_THAT(pieces(), ElementsAre("@ifcSetRuleConfig is 0x00150021.\n", sub.printedOn,
                                                  "@ifcSetRuleConfig is 0x00150023.\n"));
            else
                EXPECT_THAT(pieces(), ElementsAre(sub.printedOn));
        }
        forget();
        EXPECT_EQ(set(0xFFFFFFFF, 0, true), -1);
        EXPECT_EQ(set(0, 0xFFFFFFFF, true), -1);
        EXPECT_EQ(ifc_clear_action(0xFFFFFFFF), -1);
        EXPECT_THAT(pieces(), ElementsAre("@Error: Action Index is -1, which should less than 40\n",
                                          "@Error: Field Index is -1, which should between 1 and 47\n",
                                          "@Error: Action Index is -1, which should less than 40\n"));
        forget();
        ifcSendToPpe = 0;
        EXPECT_EQ(set(9, 2, true), -1);
        ifcSendToPpe = 1;
        ASSERT_EQ(said.size(), level > 2 ? 3u : 2u);
        EXPECT_EQ(pieces().front(),
                  "@WARNING: ifcIndex is 9 Action index is 2, packets matched ifc rules and send "
                  "to ppe will cause error\n");
        EXPECT_EQ(pieces().back(), "@del ifc action index  9\n");
    }
}

class ActionDumpTest : public ActionTest
{
};

TEST_F(ActionDumpTest, AnEmptyEntryIsAHeader)
{
    EXPECT_EQ(ifc_dump_action(7), 0);
    EXPECT_THAT(pieces(), ElementsAre("  Action: enable:0, OWF:0", "\n"));
    expectTraffic(Traffic()
                      .transfer(command(7, 0, 2, 0))
                      .read(0xBFB5021C, 0)
                      .read(0xBFB50218, 0)
                      .read(0xBFB50214, 0)
                      .read(0xBFB50210, 0));
    EXPECT_TRUE(events.empty()) << "no lock";
}

TEST_F(ActionDumpTest, EachEnableBitHasItsPiece)
{
    fill(3, ~0u);
    EXPECT_EQ(ifc_dump_action(3), 0);
    EXPECT_THAT(pieces(),
                ElementsAre("  Action: enable:3fff, OWF:1", ", channel:31, queue:7", ", fport:15, nbq:31",
                            ", sp_tag/gemport:0xffff", ", CNT0:63", ", CNT1:31", ", MTR_G:255",
                            ", IPv4 DSCP:255", ", IPv6 Traffic Class:255", ", vpm0:3, vo0:3, vid0:0xffff",
                            ", vo1:3, vid1:0xffff", ", fqos:1", ", fast:1", ", mc:1", ", keep pcp:1", "\n"));
    for (unsigned bit = 0; bit < 14; ++bit) {
        fill(3, 0);
        chip.tables().action[3][0] = 1u << (12 + bit);
        forget();
        (void)ifc_dump_action(3);
        EXPECT_EQ(said.size(), 3u) << bit;
    }
}

TEST_F(ActionDumpTest, OwfIsShownWithoutAnyEnableBit)
{
    chip.tables().action[3][0] = 1u << 11;
    EXPECT_EQ(ifc_dump_action(3), 0);
    EXPECT_THAT(pieces(), ElementsAre("  Action: enable:0, OWF:1", "\n"));
    forget();
    chip.tables().action[3][0] = ~(1u << 11);
    (void)ifc_dump_action(3);
    EXPECT_EQ(pieces().front(), "  Action: enable:3fff, OWF:0");
}

TEST_F(ActionDumpTest, EveryLevelShowsTheSame)
{
    fill(3, ~0u);
    (void)ifc_dump_action(3);
    const std::vector<std::string> line = pieces();
    for (const int level : {1, 2, 3, 4, 255}) {
        gpIfcPriv->dbgLevel = static_cast<uint8>(level);
        forget();
        (void)ifc_dump_action(3);
        std::vector<std::string> expected = line;
        if (level > 2)
            expected.insert(expected.begin(), "@ifcSetRuleConfig is 0x00030021.\n");
        EXPECT_EQ(pieces(), expected) << level;
    }
}

TEST_F(ActionDumpTest, AfterATimeOutItShowsWhatTheRegistersHold)
{
    powerOn(0);
    chip.write(0xBFB5021C, 0x00001800); // enable bit 0, owf
    chip.write(0xBFB50210, 0x0000000A);
    forget();
    EXPECT_EQ(ifc_dump_action(3), 0);
    EXPECT_THAT(pieces(), ElementsAre("@Timeout for set IFC Rule configuration.\n",
                                      "  Action: enable:1, OWF:1", ", channel:1, queue:2", "\n"));
    expectTraffic(Traffic()
                      .transfer(command(3, 0, 2, 0), 3, false)
                      .read(0xBFB5021C, 0x1800)
                      .read(0xBFB50218, 0)
                      .read(0xBFB50214, 0)
                      .read(0xBFB50210, 0xA));
}

TEST_F(ActionDumpTest, CpuAndDpiAreNeverShown)
{
    chip.tables().action[3][0] = 1u << 26 | 7u << 27 | 1u << 10;
    (void)ifc_dump_action(3);
    EXPECT_EQ(text(), "  Action: enable:0, OWF:0\n");
    forget();
    (void)set(3, 16, true, 1);
    forget();
    (void)ifc_dump_action(3);
    EXPECT_EQ(text(), "  Action: enable:2000, OWF:0, keep pcp:0\n");
}

TEST_F(ActionDumpTest, Revision12ShowsOneLower)
{
    host::setRevision(12);
    (void)set(3, 5, true, 9);
    (void)set(3, 4, true, 6);
    forget();
    (void)ifc_dump_action(3);
    EXPECT_EQ(text(), "  Action: enable:18, OWF:0, CNT0:0, CNT1:6\n");
}

TEST_F(ActionDumpTest, TheLowByteOfTheEntryNumberCounts)
{
    forget();
    (void)ifc_dump_action(0x105);
    EXPECT_EQ(traffic().front(), "W bfb50204 00050021");
}
