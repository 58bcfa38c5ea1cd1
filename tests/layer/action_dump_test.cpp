// SPDX-License-Identifier: MIT OR GPL-2.0
// The printed line of one action.
#include "tests/support/check.h"
#include "tests/support/layer.h"

using namespace support;

namespace
{

int set(unsigned n, unsigned sub, uint v0, uint v1 = 0, uint v2 = 0, uint v3 = 0)
{
    ifcSendToPpe = 1;
    return ifc_set_action(n, sub, IFC_ENABLE, v0, v1, v2, v3);
}

const char *const kFullLine[] = {"  Action: enable:3fff, OWF:1",
                                 ", channel:31, queue:7",
                                 ", fport:15, nbq:31",
                                 ", sp_tag/gemport:0xffff",
                                 ", CNT0:63",
                                 ", CNT1:31",
                                 ", MTR_G:255",
                                 ", IPv4 DSCP:255",
                                 ", IPv6 Traffic Class:255",
                                 ", vpm0:3, vo0:3, vid0:0xffff",
                                 ", vo1:3, vid1:0xffff",
                                 ", fqos:1",
                                 ", fast:1",
                                 ", mc:1",
                                 ", keep pcp:1",
                                 "\n"};

} // namespace

TEST(ActionDump, AnEmptyEntryIsAHeader)
{
    EXPECT_EQ(ifc_dump_action(7), 0);
    EXPECT_PRINTED("  Action: enable:0, OWF:0", "\n");
    EXPECT_TRAFFIC(Traffic().transfer(command(7, 0, 2, 0)).readRow(0, 0, 0, 0)); // no lock
}

TEST(ActionDump, EachEnableBitHasItsPiece)
{
    fillAction(3, ~0u);
    EXPECT_EQ(ifc_dump_action(3), 0);
    comparePieces(__FILE__, __LINE__, kFullLine, sizeof kFullLine / sizeof *kFullLine);
    for (unsigned bit = 0; bit < 14; ++bit) {
        fillAction(3, 0);
        hardware().action[3][0] = 1u << (12 + bit);
        forget();
        (void)ifc_dump_action(3);
        EXPECT_EQ(pieces(), 3u) << bit;
    }
}

TEST(ActionDump, OwfIsShownWithoutAnyEnableBit)
{
    hardware().action[3][0] = 1u << 11;
    EXPECT_EQ(ifc_dump_action(3), 0);
    EXPECT_PRINTED("  Action: enable:0, OWF:1", "\n");
    forget();
    hardware().action[3][0] = ~(1u << 11);
    (void)ifc_dump_action(3);
    EXPECT_STREQ(piece(0), "  Action: enable:3fff, OWF:0");
}

TEST(ActionDump, EveryLevelShowsTheSame)
{
    fillAction(3, ~0u);
    for (const int level : kLevels) {
        setLevel(level);
        EXPECT_EQ(ifc_dump_action(3), 0);
        const unsigned traces = level > 2 ? 1 : 0;
        ASSERT_EQ(pieces(), traces + 16) << level;
        if (traces != 0) {
            EXPECT_STREQ(piece(0), "@ifcSetRuleConfig is 0x00030021.\n");
        }
        for (unsigned n = 0; n < 16; ++n)
            EXPECT_STREQ(piece(traces + n), kFullLine[n]) << level;
    }
}

TEST(ActionDump, AfterATimeOutItShowsWhatTheRegistersHold)
{
    powerOn(0);
    poke(0xBFB5021C, 0x00001800); // enable bit 0, owf
    poke(0xBFB50210, 0x0000000A);
    forget();
    EXPECT_EQ(ifc_dump_action(3), 0);
    EXPECT_PRINTED("@Timeout for set IFC Rule configuration.\n", "  Action: enable:1, OWF:1",
                   ", channel:1, queue:2", "\n");
    EXPECT_TRAFFIC(Traffic().timeOut(command(3, 0, 2, 0)).readRow(0x1800, 0, 0, 0xA));
}

TEST(ActionDump, CpuAndDpiAreNeverShown)
{
    hardware().action[3][0] = 1u << 26 | 7u << 27 | 1u << 10;
    (void)ifc_dump_action(3);
    EXPECT_TEXT("  Action: enable:0, OWF:0\n");
    forget();
    (void)set(3, 16, 1);
    forget();
    (void)ifc_dump_action(3);
    EXPECT_TEXT("  Action: enable:2000, OWF:0, keep pcp:0\n");
}

TEST(ActionDump, Revision12ShowsOneLower)
{
    setRevision(12);
    (void)set(3, 5, 9);
    (void)set(3, 4, 6);
    forget();
    (void)ifc_dump_action(3);
    EXPECT_TEXT("  Action: enable:18, OWF:0, CNT0:0, CNT1:6\n");
}

TEST(ActionDump, TheLowByteOfTheEntryNumberCounts)
{
    EXPECT_EQ(ifc_dump_action(0x105), 0);
    EXPECT_TRAFFIC(Traffic().transfer(0x00050021).readRow(0, 0, 0, 0));
    EXPECT_TEXT("  Action: enable:0, OWF:0\n");
}

TEST(ActionDump, WhatEverySubActionSetIsShown)
{
    for (unsigned sub = 0; sub <= 16; ++sub)
        EXPECT_EQ(set(5, sub, ~0u, ~0u, ~0u, ~0u), 0);
    forget();
    EXPECT_EQ(ifc_dump_action(5), 0);
    comparePieces(__FILE__, __LINE__, kFullLine, sizeof kFullLine / sizeof *kFullLine);
}

END_OF_TESTS(actionDumpTests)
