// SPDX-License-Identifier: MIT OR GPL-2.0
// The transfer command, its polling, and the classifier's switch.
#include "tests/support/check.h"
#include "tests/support/layer.h"

using namespace support;

TEST(Transfer, BuildsTheCommandWordAndCutsItsArguments)
{
    EXPECT_EQ(ifcSetRuleConfig(3, 10, 0, 1), 0);
    EXPECT_EQ(ifcSetRuleConfig(31, 0, 1, 1), 0);
    EXPECT_EQ(ifcSetRuleConfig(5, 0, 2, 0), 0);
    EXPECT_TRAFFIC(Traffic().transfer(0x00030A03).transfer(0x001F0013).transfer(0x00050021));
    EXPECT_NOTHING_PRINTED();
    forget();
    EXPECT_EQ(ifcSetRuleConfig(7, 0x4A, 4, 5), 0); // offset 10, LUT0, write: every argument is cut
    EXPECT_TRAFFIC(Traffic().write(0xBFB50204, 0x00070A03).read(0xBFB50204, 0x80070A03));
    forget();
    EXPECT_EQ(ifcSetRuleConfig(1, 0, -3, -4), 0); // negative numbers are cut to two bits, too: 1 and 0
    EXPECT_TRAFFIC(Traffic().transfer(command(1, 0, 1, 0)));
}

TEST(Transfer, EachArgumentHasItsBitsOfTheCommandWord)
{
    EXPECT_EQ(ifc_rule_cfg_word(0, 0, 0, 0), 0x00000001u);
    EXPECT_EQ(ifc_rule_cfg_word(0xFFFFFFFF, 0, 0, 0), 0x00FF0001u);
    EXPECT_EQ(ifc_rule_cfg_word(0, 0xFFFFFFFF, 0, 0), 0x00003F01u);
    EXPECT_EQ(ifc_rule_cfg_word(0, 0, 0xFFFFFFFF, 0), 0x00000031u);
    EXPECT_EQ(ifc_rule_cfg_word(0, 0, 0, 0xFFFFFFFF), 0x00000007u);
}

TEST(Transfer, ShowsTheCommandWordAtTheHighestLevelOnly)
{
    for (const int level : kLevels) {
        setLevel(level);
        (void)ifcSetRuleConfig(3, 10, 0, 1);
        if (level < 3)
            EXPECT_NOTHING_PRINTED();
        else
            EXPECT_PRINTED("@ifcSetRuleConfig is 0x00030a03.\n");
    }
    powerOn(0);
    setLevel(3);
    EXPECT_EQ(ifcSetRuleConfig(3, 10, 0, 1), -62);
    EXPECT_PRINTED("@ifcSetRuleConfig is 0x00030a03.\n", "@Timeout for set IFC Rule configuration.\n");
}

TEST(Transfer, TheDoneBitMayShowAtAnyOfThreeReads)
{
    for (unsigned reads = 1; reads <= 3; ++reads) {
        powerOn(reads);
        EXPECT_EQ(ifcSetRuleConfig(0, 0, 1, 1), 0);
        EXPECT_TRAFFIC(Traffic().transfer(command(0, 0, 1, 1), reads));
        EXPECT_EQ(waited(), reads - 1);
        EXPECT_NOTHING_PRINTED();
    }
}

TEST(Transfer, ATimeOutCostsThreeReadsAndThreeWaits)
{
    for (const unsigned doneAfter : list({0u, 4u})) {
        powerOn(doneAfter);
        EXPECT_EQ(ifcSetRuleConfig(0, 0, 1, 1), -62);
        EXPECT_TRAFFIC(Traffic().timeOut(command(0, 0, 1, 1)));
        EXPECT_EQ(waited(), 3);
        EXPECT_PRINTED("@Timeout for set IFC Rule configuration.\n");
    }
}

TEST(Transfer, ATimeOutIsReportedAtEveryLevelAfterTheLastWait)
{
    powerOn(0);
    for (const int level : kLevels) {
        setLevel(level);
        EXPECT_EQ(ifcSetRuleConfig(3, 10, 0, 1), -62);
        ASSERT_EQ(pieces(), level > 2 ? 2 : 1);
        EXPECT_STREQ(lastPiece(), "@Timeout for set IFC Rule configuration.\n");
        EXPECT_EQ(eventsBeforePiece(pieces() - 1), 7) << "the write, three reads, three waits";
        if (level > 2) {
            EXPECT_EQ(eventsBeforePiece(0), 0) << "the trace comes before the write";
        }
    }
}

TEST(Transfer, PollsAnyRegisterForAnyBit)
{
    poke(0xBFB50200, 0x11);
    EXPECT_EQ(ifcChecConfigDone(0xBFB50200, 0x30), 0);
    EXPECT_TRAFFIC(Traffic().read(0xBFB50200, 0x11));
    EXPECT_EQ(ifcChecConfigDone(0xBFB50200, 3), 0);
    EXPECT_EQ(ifcChecConfigDone(0xBFB50200, 2), -62);
    forget();
    EXPECT_EQ(ifcChecConfigDone(0xBFB50200, 0x20), -62);
    EXPECT_EQ(waited(), 3);
    forget();
    EXPECT_EQ(ifcChecConfigDone(0xBFB50200, 0), -62) << "no bit is none that could show";
    EXPECT_TRAFFIC(
        Traffic().read(0xBFB50200, 0x11).wait().read(0xBFB50200, 0x11).wait().read(0xBFB50200, 0x11).wait());
}

TEST(Switch, SetsAndClearsBit0AndKeepsTheRest)
{
    poke(0xBFB50200, 0xA5A5A5A4);
    EXPECT_EQ(ifc_enable(), 0);
    EXPECT_TRAFFIC(Traffic().read(0xBFB50200, 0xA5A5A5A4).write(0xBFB50200, 0xA5A5A5A5)); // no lock
    EXPECT_PRINTED("Exec. Success.\n");
    forget();
    EXPECT_EQ(ifc_disable(), 0);
    EXPECT_TRAFFIC(Traffic().read(0xBFB50200, 0xA5A5A5A5).write(0xBFB50200, 0xA5A5A5A4));
    EXPECT_PRINTED("Exec. Success.\n");
}

TEST(Switch, EveryLevelPrintsTheSame)
{
    for (const int level : kLevels) {
        setLevel(level);
        EXPECT_EQ(ifc_enable(), 0);
        EXPECT_EQ(ifc_get_ifc_staus(), 0);
        EXPECT_EQ(ifc_disable(), 0);
        EXPECT_EQ(ifc_get_ifc_staus(), 0);
        EXPECT_PRINTED("Exec. Success.\n", "IFC :Enable .\n", "Exec. Success.\n", "IFC :Disable .\n");
        EXPECT_TRAFFIC(Traffic()
                           .read(0xBFB50200, 0)
                           .write(0xBFB50200, 1)
                           .read(0xBFB50200, 1)
                           .read(0xBFB50200, 1)
                           .write(0xBFB50200, 0)
                           .read(0xBFB50200, 0));
    }
}

TEST(Switch, StatusJudgesTheWholeSignedRegister)
{
    const struct {
        uint32_t value;
        const char *line;
    } cases[] = {
        {0, "IFC :Disable .\n"},          {1, "IFC :Enable .\n"},          {2, "IFC :Enable .\n"},
        {0x80000001, "IFC :Disable .\n"}, {0x7FFFFFFF, "IFC :Enable .\n"}, {0x80000000, "IFC :Disable .\n"},
    };
    for (const auto &c : cases) {
        poke(0xBFB50200, c.value);
        forget();
        EXPECT_EQ(ifc_get_ifc_staus(), 0);
        EXPECT_PRINTED(c.line);
        EXPECT_TRAFFIC(Traffic().read(0xBFB50200, c.value));
    }
}

END_OF_TESTS(transferTests)
