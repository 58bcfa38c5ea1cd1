// SPDX-License-Identifier: MIT OR GPL-2.0
// The full rewrite of the hardware's tables, and the two ways to clear rules.
#include "tests/support/check.h"
#include "tests/support/layer.h"
#include "tests/support/surroundings.h"

using namespace support;

TEST(Rewrite, Makes528WritesAnd128ReadsInTheStatedOrderUnderTheLock)
{
    fillShadow();
    EXPECT_EQ(write_all_ifc_rule_to_hw(), 0);
    EXPECT_EQ(count(Kind::Write), 528);
    EXPECT_EQ(count(Kind::Read), 128);
    EXPECT_TRAFFIC(Traffic().rewrite());
    EXPECT_NOTHING_PRINTED();
    EXPECT_TRUE(wideRulesReachedHardware());
    EXPECT_TRUE(narrowEntriesReachedHardware());
}

TEST(Rewrite, FreeRulesAndEntriesClearTheirRows)
{
    fillShadow();
    (void)write_all_ifc_rule_to_hw();
    (void)clear_all_ifc_rules();
    forget();
    EXPECT_EQ(write_all_ifc_rule_to_hw(), 0);
    EXPECT_TRAFFIC(Traffic().rewrite());
    EXPECT_TRUE(shadowIsZero());
    EXPECT_TRUE(wideRulesReachedHardware());
    EXPECT_TRUE(narrowEntriesReachedHardware());
}

TEST(Rewrite, TheShadowStaysAsItIs)
{
    fillShadow();
    keepTables();
    (void)write_all_ifc_rule_to_hw();
    EXPECT_TRUE(changed()) << "the hardware";
    powerOn(); // the hardware is empty again, as it was
    EXPECT_FALSE(changed());
}

TEST(Rewrite, AsksForTheRevisionInsideTheLockTwiceARule)
{
    EXPECT_EQ(write_all_ifc_rule_to_hw(), 0);
    EXPECT_EQ(count(Kind::Revision), 16);
    ASSERT_EQ(events() - accesses(), 18);
    EXPECT_TRUE(event(0).kind == Kind::Lock);
    EXPECT_TRUE(event(events() - 1).kind == Kind::Unlock);
}

TEST(Rewrite, Revisions14And15GetNoLut0Writes)
{
    for (const int revision : list({14, 15})) {
        fillShadow();
        powerOn();
        setRevision(revision);
        EXPECT_EQ(write_all_ifc_rule_to_hw(), 0);
        EXPECT_EQ(count(Kind::Revision), revision == 14 ? 8 : 16);
        EXPECT_EQ(count(Kind::Write), 32 * 3);
        EXPECT_TRUE(narrowEntriesReachedHardware());
        for (const auto &rule : hardware().lut0)
            for (const uint32_t word : rule)
                EXPECT_EQ(word, 0);
    }
}

TEST(Rewrite, TheRevisionMayChangeBetweenAnyTwoQueries)
{
    // For each rule the answers to the first and the second query. After a 14 there is no second query, so
    // -1 is never read.
    const int answers[] = {0, 14, 14, 15, 12, 12, 15, 0, 0, 15, 15, 14, 12, 12, -1};
    const bool written[8] = {true, false, true, false, true, false, false, true};
    fillShadow();
    setRevisions(answers, sizeof answers / sizeof *answers);
    EXPECT_EQ(write_all_ifc_rule_to_hw(), 0);
    EXPECT_EQ(count(Kind::Revision), 14);
    EXPECT_EQ(GET_HIR(), -1) << "each answer was taken";
    for (unsigned rule = 0; rule < 8; ++rule)
        EXPECT_EQ(__builtin_memcmp(hardware().lut0[rule], IFC_LUT0_Rule[rule].word, 164) == 0, written[rule])
            << rule;
    EXPECT_EQ(count(Kind::Write), 4 * 54 + 32 * 3);
    EXPECT_TRUE(narrowEntriesReachedHardware());
}

TEST(Rewrite, GoesOnAfterATimeOut)
{
    fillShadow();
    surroundings_time_out(5, 2);
    EXPECT_EQ(write_all_ifc_rule_to_hw(), 0);
    EXPECT_TRUE(eachPieceIs("@Timeout for set IFC Rule configuration.\n", 2));
    EXPECT_EQ(count(Kind::Write), 528);
    EXPECT_TRUE(narrowEntriesReachedHardware());
}

TEST(Rewrite, AllTimeOutsKeepInterruptsOffFor384Milliseconds)
{
    powerOn(0);
    fillShadow();
    EXPECT_EQ(write_all_ifc_rule_to_hw(), 0);
    EXPECT_EQ(waited(), 384);
    EXPECT_EQ(count(Kind::Read), 384);
    EXPECT_EQ(count(Kind::Write), 528);
    EXPECT_TRUE(event(0).kind == Kind::Lock);
    EXPECT_TRUE(event(events() - 1).kind == Kind::Unlock);
    EXPECT_TRUE(eachPieceIs("@Timeout for set IFC Rule configuration.\n", 128));
}

TEST(Rewrite, ARuleIsInvalidInTheHardwareWhileItsBodyChanges)
{
    fillShadow();
    IFC_LUT0_Rule[0].bits.valid = 1;
    EXPECT_EQ(write_all_ifc_rule_to_hw(), 0);
    EXPECT_NE(hardware().lut0[0][0], 0);
    surroundings_time_out(11, 1); // the last row of rule 0
    EXPECT_EQ(write_all_ifc_rule_to_hw(), 0);
    EXPECT_EQ(hardware().lut0[0][0], 0);
}

TEST(Clear, ClearingTheShadowTouchesNoRegister)
{
    fillShadow();
    (void)write_all_ifc_rule_to_hw();
    forget();
    EXPECT_EQ(clear_all_ifc_rules(), 0);
    EXPECT_NO_TRAFFIC();
    EXPECT_NOTHING_PRINTED();
    EXPECT_TRUE(shadowIsZero());
    EXPECT_NE(hardware().lut0[7][40], 0);
}

TEST(Clear, ClearIfcRulesInvalidatesOneOrAll)
{
    for (const int id : list({0, 3, 7, 8, -1, 100, -0x7FFFFFFF - 1, 0x7FFFFFFF})) {
        fillShadow();
        (void)write_all_ifc_rule_to_hw();
        uint32_t headers[8];
        for (uint32_t rule = 0; rule < 8; ++rule)
            headers[rule] = IFC_LUT0_Rule[rule].word[0];
        keepTables();
        forget();
        EXPECT_EQ(clear_ifc_rules(id), 0);
        const bool one = id >= 0 && id < 8;
        Traffic expected;
        for (uint32_t rule = 0; rule < 8; ++rule) {
            const bool cleared = !one || static_cast<int>(rule) == id;
            if (cleared)
                expected.write(0xBFB50210, 0).transfer(command(rule, 10, 0, 1));
            EXPECT_EQ(IFC_LUT0_Rule[rule].word[0] == 0, cleared) << id << rule;
            EXPECT_EQ(hardware().lut0[rule][0] == 0, cleared) << id << rule;
            EXPECT_NE(hardware().lut1[rule][0], 0);
        }
        EXPECT_TRAFFIC(expected); // no lock, no query for the revision
        EXPECT_NOTHING_PRINTED();
        for (uint32_t rule = 0; rule < 8; ++rule)
            IFC_LUT0_Rule[rule].word[0] = hardware().lut0[rule][0] = headers[rule];
        EXPECT_FALSE(changed()) << "the bodies stay " << id;
    }
}

TEST(Clear, AClearedRuleComesBackByItsBody)
{
    (void)ifc_set_lut0_rules(1, IFC_ENABLE, DPORT, 3, 0, 0xFFFF, 0, 80);
    EXPECT_EQ(clear_ifc_rules(1), 0);
    (void)ifc_set_lut0_rules(1, IFC_ENABLE, SPORT, 1, 0, 0xFF, 0, 9);
    EXPECT_EQ(IFC_LUT0_Rule[1].word[0], 0x80000000u | 1u << 28);
    EXPECT_EQ(IFC_LUT0_Rule[1].word[4], 0x00FFFFFF) << "the old mask is still there";
    EXPECT_EQ(IFC_LUT0_Rule[1].word[23], 0x00090050);
    EXPECT_EQ(IFC_LUT0_Rule[1].word[1], 3u << 22 | 1u << 24);
}

TEST(Clear, Revisions14And15AreClearedToo)
{
    for (const int revision : list({14, 15})) {
        powerOn();
        setRevision(revision);
        fillShadow();
        EXPECT_EQ(clear_ifc_rules(2), 0);
        EXPECT_TRAFFIC(Traffic().write(0xBFB50210, 0).transfer(command(2, 10, 0, 1)));
    }
}

TEST(Clear, ClearIfcRulesGoesOnAfterTimeOuts)
{
    for (const int revision : list({0, 15})) {
        powerOn(0);
        setRevision(revision);
        fillShadow();
        EXPECT_EQ(clear_ifc_rules(8), 0);
        Traffic t;
        for (uint32_t rule = 0; rule < 8; ++rule)
            t.write(0xBFB50210, 0).timeOut(command(rule, 10, 0, 1));
        EXPECT_TRAFFIC(t);
        EXPECT_TRUE(eachPieceIs("@Timeout for set IFC Rule configuration.\n", 8));
        for (const auto &rule : IFC_LUT0_Rule)
            EXPECT_EQ(rule.word[0], 0);
    }
}

END_OF_TESTS(rewriteTests)
