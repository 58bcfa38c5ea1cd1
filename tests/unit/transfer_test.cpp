// SPDX-License-Identifier: MIT OR GPL-2.0
#include "layer_test.h"

#include <cstring>

using engine::AccessKind;
using testing::ElementsAre;

class TransferTest : public LayerTest
{
};

TEST_F(TransferTest, BuildsTheCommandWordAndCutsItsArguments)
{
    EXPECT_EQ(ifcSetRuleConfig(3, 10, 0, 1), 0);
    EXPECT_EQ(ifcSetRuleConfig(31, 0, 1, 1), 0);
    EXPECT_EQ(ifcSetRuleConfig(5, 0, 2, 0), 0);
    expectTraffic(Traffic().transfer(0x00030A03).transfer(0x001F0013).transfer(0x00050021));
    EXPECT_EQ(lockedAccesses(), 0u);
    EXPECT_TRUE(said.empty());
    forget();
    (void)ifcSetRuleConfig(7, 0x4A, 4, 5); // offset 10, LUT0, write: every argument is cut
    expectTraffic(Traffic().transfer(command(7, 10, 0, 1)));
}

TEST_F(TransferTest, ShowsTheCommandWordAtTheHighestLevelOnly)
{
    for (const int level : {0, 1, 2, 3, 4, 255}) {
        forget();
        gpIfcPriv->dbgLevel = static_cast<uint8>(level);
        (void)ifcSetRuleConfig(3, 10, 0, 1);
        if (level < 3)
            EXPECT_TRUE(said.empty()) << level;
        else
            EXPECT_THAT(pieces(), ElementsAre("@ifcSetRuleConfig is 0x00030a03.\n"));
    }
}

TEST_F(TransferTest, TheDoneBitMayShowAtAnyOfThreeReads)
{
    for (unsigned reads = 1; reads <= 3; ++reads) {
        powerOn(reads);
        const unsigned long before = host::clockMilliseconds();
        EXPECT_EQ(ifcSetRuleConfig(0, 0, 1, 1), 0);
        expectTraffic(Traffic().transfer(command(0, 0, 1, 1), reads));
        EXPECT_EQ(host::clockMilliseconds() - before, reads - 1);
        EXPECT_TRUE(said.empty());
    }
}

TEST_F(TransferTest, ATimeOutCostsThreeReadsAndThreeWaits)
{
    for (const unsigned doneAfter : {0u, 4u}) {
        powerOn(doneAfter);
        const unsigned long before = host::clockMilliseconds();
        EXPECT_EQ(ifcSetRuleConfig(0, 0, 1, 1), -62);
        expectTraffic(Traffic().transfer(command(0, 0, 1, 1), 3, false));
        EXPECT_EQ(host::clockMilliseconds() - before, 3u);
        EXPECT_THAT(pieces(), ElementsAre("@Timeout for set IFC Rule configuration.\n"));
    }
}

TEST_F(TransferTest, PollsAnyRegisterForAnyBit)
{
    chip.write(0xBFB50200, 0x10);
    forget();
    EXPECT_EQ(ifcChecConfigDone(0xBFB50200, 0x30), 0);
    expectTraffic(Traffic().read(0xBFB50200, 0x10));
    EXPECT_EQ(ifcChecConfigDone(0xBFB50200, 0x20), -62);
    EXPECT_EQ(host::clockMilliseconds(), 3u);
}

class RewriteTest : public LayerTest
{
protected:
    void fillShadow()
    {
        uint32_t value = 0x01020304;
        for (auto &rule : IFC_LUT0_Rule)
            for (uint32_t &word : rule.word)
                word = value = value * 1664525 + 1013904223;
        for (auto &entry : IFC_LUT1_Rule)
            for (uint32_t &word : entry.word)
                word = value = value * 1664525 + 1013904223;
    }
};

TEST_F(RewriteTest, Makes528WritesAnd128ReadsInTheStatedOrderUnderTheLock)
{
    fillShadow();
    EXPECT_EQ(write_all_ifc_rule_to_hw(), 0);
    EXPECT_EQ(count(AccessKind::Write), 528u);
    EXPECT_EQ(count(AccessKind::Read), 128u);
    expectTraffic(rewriteTraffic());
    EXPECT_EQ(lockedAccesses(), 656u);
    EXPECT_TRUE(said.empty());
    EXPECT_EQ(std::memcmp(chip.tables().lut0, IFC_LUT0_Rule, sizeof IFC_LUT0_Rule), 0);
    EXPECT_EQ(std::memcmp(chip.tables().lut1, IFC_LUT1_Rule, sizeof IFC_LUT1_Rule), 0);
}

TEST_F(RewriteTest, AsksForTheRevisionInsideTheLockTwiceARule)
{
    (void)write_all_ifc_rule_to_hw();
    EXPECT_EQ(host::revisionQueries(), 16u);
    ASSERT_EQ(events.size(), 18u);
    EXPECT_EQ(events.front(), host::Event::Lock);
    EXPECT_EQ(events.back(), host::Event::Unlock);
}

TEST_F(RewriteTest, Revisions14And15GetNoLut0Writes)
{
    for (const int revision : {14, 15}) {
        fillShadow();
        powerOn();
        host::setRevision(revision);
        const unsigned before = host::revisionQueries();
        EXPECT_EQ(write_all_ifc_rule_to_hw(), 0);
        EXPECT_EQ(host::revisionQueries() - before, revision == 14 ? 8u : 16u);
        EXPECT_EQ(count(AccessKind::Write), 32u * 3);
        EXPECT_EQ(std::memcmp(chip.tables().lut1, IFC_LUT1_Rule, sizeof IFC_LUT1_Rule), 0);
        for (const auto &rule : chip.tables().lut0)
            for (const uint32_t word : rule)
                EXPECT_EQ(word, 0u);
    }
}

TEST_F(RewriteTest, TheRevisionMayChangeBetweenAnyTwoQueries)
{
    // For each rule what the first query says and what the second, if there is one.
    const int answers[8][2] = {{0, 14}, {14, 0}, {15, 12}, {12, 15}, {0, 0}, {15, 15}, {14, 14}, {12, 12}};
    const bool written[8] = {true, false, true, false, true, false, false, true};
    std::vector<int> queue;
    for (unsigned rule = 0; rule < 8; ++rule) {
        queue.push_back(answers[rule][0]);
        if (answers[rule][0] != 14)
            queue.push_back(answers[rule][1]);
    }
    fillShadow();
    size_t next = 0;
    host::setRevisionSource([&] { return next < queue.size() ? queue[next++] : -1; });
    EXPECT_EQ(write_all_ifc_rule_to_hw(), 0);
    EXPECT_EQ(next, queue.size());
    EXPECT_EQ(host::revisionQueries(), queue.size());
    for (unsigned rule = 0; rule < 8; ++rule)
        EXPECT_EQ(std::memcmp(chip.tables().lut0[rule], IFC_LUT0_Rule[rule].word, 164) == 0, written[rule])
            << rule;
    EXPECT_EQ(count(AccessKind::Write), 4u * 54 + 32u * 3);
    EXPECT_EQ(std::memcmp(chip.tables().lut1, IFC_LUT1_Rule, sizeof IFC_LUT1_Rule), 0);
}

TEST_F(RewriteTest, GoesOnAfterATimeOut)
{
    fillShadow();
    chip.injectFault(engine::TransferFault::NeverComplete, 5, 2);
    EXPECT_EQ(write_all_ifc_rule_to_hw(), 0);
    EXPECT_THAT(pieces(), ElementsAre("@Timeout for set IFC Rule configuration.\n",
                                      "@Timeout for set IFC Rule configuration.\n"));
    EXPECT_EQ(count(AccessKind::Write), 528u);
    EXPECT_EQ(std::memcmp(chip.tables().lut1, IFC_LUT1_Rule, sizeof IFC_LUT1_Rule), 0);
}

TEST_F(RewriteTest, AllTimeOutsKeepInterruptsOffFor384Milliseconds)
{
    powerOn(0);
    (void)write_all_ifc_rule_to_hw();
    EXPECT_EQ(host::clockMilliseconds(), 384u);
    EXPECT_EQ(count(AccessKind::Read), 384u);
    EXPECT_EQ(said.size(), 128u);
}

TEST_F(RewriteTest, ARuleIsInvalidInTheHardwareWhileItsBodyChanges)
{
    fillShadow();
    IFC_LUT0_Rule[0].bits.valid = 1;
    (void)write_all_ifc_rule_to_hw();
    chip.injectFault(engine::TransferFault::NeverComplete, 11, 1); // the last row of rule 0
    (void)write_all_ifc_rule_to_hw();
    EXPECT_EQ(chip.tables().lut0[0][0], 0u);
}

TEST_F(RewriteTest, ClearingTheShadowTouchesNoRegister)
{
    fillShadow();
    (void)write_all_ifc_rule_to_hw();
    forget();
    EXPECT_EQ(clear_all_ifc_rules(), 0);
    EXPECT_TRUE(seen.empty());
    EXPECT_TRUE(events.empty());
    for (const auto &rule : IFC_LUT0_Rule)
        for (const uint32_t word : rule.word)
            EXPECT_EQ(word, 0u);
    for (const auto &entry : IFC_LUT1_Rule)
        EXPECT_EQ(entry.word[0] | entry.word[1], 0u);
    EXPECT_NE(chip.tables().lut0[7][40], 0u);
}

TEST_F(RewriteTest, ClearIfcRulesInvalidatesOneOrAll)
{
    for (const int id : {0, 3, 7, 8, -1, 100}) {
        fillShadow();
        (void)write_all_ifc_rule_to_hw();
        const IFC_LUT0_Format second = IFC_LUT0_Rule[3];
        const unsigned queries = host::revisionQueries();
        forget();
        EXPECT_EQ(clear_ifc_rules(id), 0);
        const bool one = id >= 0 && id < 8;
        Traffic expected;
        for (uint32_t rule = 0; rule < 8; ++rule) {
            const bool cleared = !one || static_cast<int>(rule) == id;
            if (cleared)
                expected.write(0xBFB50210, 0).transfer(command(rule, 10, 0, 1));
            EXPECT_EQ(IFC_LUT0_Rule[rule].word[0] == 0, cleared);
            EXPECT_EQ(chip.tables().lut0[rule][0] == 0, cleared);
            EXPECT_NE(chip.tables().lut1[rule][0], 0u);
        }
        expectTraffic(expected);
        EXPECT_TRUE(events.empty()) << "no lock";
        EXPECT_EQ(host::revisionQueries(), queries);
        EXPECT_EQ(std::memcmp(second.word + 1, IFC_LUT0_Rule[3].word + 1, 160), 0) << "the body stays";
    }
}

TEST_F(RewriteTest, ClearIfcRulesGoesOnAfterTimeOuts)
{
    fillShadow();
    powerOn(0);
    EXPECT_EQ(clear_ifc_rules(8), 0);
    Traffic t;
    for (uint32_t rule = 0; rule < 8; ++rule)
        t.write(0xBFB50210, 0).transfer(command(rule, 10, 0, 1), 3, false);
    expectTraffic(t);
    EXPECT_EQ(events, std::vector<host::Event>(24, host::Event::Delay)) << "no lock";
    EXPECT_EQ(pieces(), std::vector<std::string>(8, "@Timeout for set IFC Rule configuration.\n"));
    for (const auto &rule : IFC_LUT0_Rule)
        EXPECT_EQ(rule.word[0], 0u);
}

class SwitchTest : public LayerTest
{
};

TEST_F(SwitchTest, SetsAndClearsBit0AndKeepsTheRest)
{
    chip.write(0xBFB50200, 0xA5A5A5A4);
    forget();
    EXPECT_EQ(ifc_enable(), 0);
    expectTraffic(Traffic().read(0xBFB50200, 0xA5A5A5A4).write(0xBFB50200, 0xA5A5A5A5));
    EXPECT_THAT(pieces(), ElementsAre("Exec. Success.\n"));
    forget();
    EXPECT_EQ(ifc_disable(), 0);
    expectTraffic(Traffic().read(0xBFB50200, 0xA5A5A5A5).write(0xBFB50200, 0xA5A5A5A4));
    EXPECT_THAT(pieces(), ElementsAre("Exec. Success.\n"));
    EXPECT_TRUE(events.empty()) << "no lock";
}

TEST_F(SwitchTest, EveryLevelPrintsTheSame)
{
    for (const int level : {0, 1, 2, 3, 4, 255}) {
        gpIfcPriv->dbgLevel = static_cast<uint8>(level);
        forget();
        (void)ifc_enable();
        (void)ifc_get_ifc_staus();
        (void)ifc_disable();
        EXPECT_THAT(said, ElementsAre("Exec. Success.\n", "IFC :Enable .\n", "Exec. Success.\n"));
    }
}

TEST_F(SwitchTest, StatusJudgesTheWholeSignedRegister)
{
    const struct {
        uint32_t value;
        const char *line;
    } cases[] = {
        {0, "IFC :Disable .\n"},          {1, "IFC :Enable .\n"},          {2, "IFC :Enable .\n"},
        {0x80000001, "IFC :Disable .\n"}, {0x7FFFFFFF, "IFC :Enable .\n"}, {0x80000000, "IFC :Disable .\n"},
    };
    for (const auto &c : cases) {
        chip.write(0xBFB50200, c.value);
        forget();
        EXPECT_EQ(ifc_get_ifc_staus(), 0);
        EXPECT_THAT(pieces(), ElementsAre(c.line));
        expectTraffic(Traffic().read(0xBFB50200, c.value));
    }
}
