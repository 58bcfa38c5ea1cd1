// SPDX-License-Identifier: MIT OR GPL-2.0
// Setting and deleting conditions of a wide rule.
#include "tests/support/check.h"
#include "tests/support/layer.h"
#include "tests/support/wide_places.h"

using namespace support;

TEST(WideRule, EnablesOneFieldAndRewritesTheTablesOnce)
{
    EXPECT_EQ(ifc_set_lut0_rules(2, IFC_ENABLE, DPORT, 3, 0xFFFFFFFF, 0xFFFF, 0xFFFFFFFF, 0x1234), 0);
    EXPECT_EQ(IFC_LUT0_Rule[2].word[0], 0x80000000u | 1u << 27);
    EXPECT_EQ(IFC_LUT0_Rule[2].word[1], 3u << 22);
    EXPECT_EQ(IFC_LUT0_Rule[2].word[4], 0xFFFFu);
    EXPECT_EQ(IFC_LUT0_Rule[2].word[23], 0x1234u);
    EXPECT_TRAFFIC(Traffic().rewrite());
    EXPECT_NOTHING_PRINTED();
}

TEST(WideRule, RefusesBadArgumentsAndChangesNothing)
{
    (void)ifc_set_lut0_rules(0, IFC_ENABLE, DPORT, 0, 0, 1, 0, 1);
    forget();
    expectNothingChanges([&] {
        EXPECT_EQ(ifc_set_lut0_rules(8, IFC_ENABLE, 0, 9, 0, 1, 0, 1), -1);
        EXPECT_EQ(ifc_set_lut0_rules(0, IFC_ENABLE, 0, 9, 0, 1, 0, 1), -1);
        EXPECT_EQ(ifc_set_lut0_rules(7, IFC_ENABLE, 32, 0, 0, 1, 0, 1), -1);
        EXPECT_EQ(ifc_set_lut0_rules(0, IFC_ENABLE, DIPv4, 2, 0, 1, 0, 1), -1);
        EXPECT_EQ(ifc_set_lut0_rules(0, IFC_DISABLE, FLOW_LABEL, 2, 0, 1, 0, 1), -1);
    });
    EXPECT_PRINTED("@Error: Lut0 Index is 8, which should less than 8\n",
                   "@Error: lut0 Field Index should between 1 and 31\n",
                   "@Error: lut0 Field Index should between 1 and 31\n",
                   "@Error: the command of DIPv4 should less than 2!\n",
                   "@Error: the command of FLOW_LABEL should less than 2!\n");
    EXPECT_NO_TRAFFIC();
}

TEST(WideRule, DisablingThroughOneFieldSwitchesTheWholeRuleOff)
{
    for (const unsigned field : list({1u, 3u, 5u}))
        (void)ifc_set_lut0_rules(4, IFC_ENABLE, field, 1, 0xFFFF, 0xFFFFFFFF, 0x12, 0x3456);
    const IFC_LUT0_Format before = IFC_LUT0_Rule[4];
    EXPECT_EQ(before.word[0], 0x80000015u);
    forget();
    EXPECT_EQ(ifc_set_lut0_rules(4, IFC_DISABLE, 5, 1, 0, 0, 0, 0), 0);
    EXPECT_TRAFFIC(Traffic().rewrite());
    EXPECT_NOTHING_PRINTED();
    EXPECT_EQ(IFC_LUT0_Rule[4].word[0], 0u);
    EXPECT_EQ(__builtin_memcmp(before.word + 1, IFC_LUT0_Rule[4].word + 1, 160), 0);
    (void)ifc_set_lut0_rules(4, IFC_ENABLE, 3, 1, 0, 1, 0, 1);
    EXPECT_EQ(IFC_LUT0_Rule[4].word[0], 0x80000004u) << "only the field that was enabled again";
}

TEST(WideRule, AnyNonZeroModeEnables)
{
    (void)ifc_set_lut0_rules(0, static_cast<IFC_Mode_t>(0x100), DPORT, 0, 0, 1, 0, 1);
    EXPECT_EQ(IFC_LUT0_Rule[0].word[0], 0x88000000u);
    (void)ifc_set_lut0_rules(0, static_cast<IFC_Mode_t>(2), SPORT, 0, 0, 1, 0, 1);
    EXPECT_EQ(IFC_LUT0_Rule[0].word[0], 0x98000000u);
}

TEST(WideRule, AWideCommandSpillsIntoTheFieldsAbove)
{
    (void)ifc_set_lut0_rules(0, IFC_ENABLE, SINF, 7, 0, 1, 0, 1);
    EXPECT_EQ(IFC_LUT0_Rule[0].word[2], 7u << 26);
    EXPECT_EQ(commandAt(IFC_LUT0_Rule[0], 14), 3u);
    EXPECT_EQ(commandAt(IFC_LUT0_Rule[0], 15), 1u);
    (void)ifc_set_lut0_rules(0, IFC_ENABLE, VPM0, 0xFF, 0, 1, 0, 1);
    EXPECT_EQ(IFC_LUT0_Rule[0].word[2], 0xDC000000u) << "lost beyond bit 31";
    IFC_LUT0_Rule[0].word[1] = 0xC0000000;
    (void)ifc_set_lut0_rules(0, IFC_ENABLE, DMAC_TYPE, 0xFF, 0, 1, 0, 1);
    EXPECT_EQ(IFC_LUT0_Rule[0].word[1], 0xF0000000u) << "bits 30 and 31 stay, nothing beyond bit 29";
    IFC_LUT0_Rule[0].word[1] = 0x40000000;
    (void)ifc_set_lut0_rules(0, IFC_ENABLE, PPPOE_SESSION, 0xFF, 0, 1, 0, 1);
    EXPECT_EQ(IFC_LUT0_Rule[0].word[1], 0x7C000000u);
}

TEST(WideRule, CommandsReplaceTheOldOnesOfTheirFieldOnly)
{
    for (unsigned field = 1; field <= 31; ++field) {
        IFC_LUT0_Rule[0] = {};
        IFC_LUT0_Rule[0].word[1] = 0xFFFFFFFF;
        IFC_LUT0_Rule[0].word[2] = 0xFFFFFFFF;
        (void)ifc_set_lut0_rules(0, IFC_ENABLE, field, 1, 0, 1, 0, 1);
        for (unsigned other = 1; other <= 31; ++other)
            EXPECT_EQ(commandAt(IFC_LUT0_Rule[0], other), other == field ? 1u : 3u) << field;
        EXPECT_EQ(IFC_LUT0_Rule[0].word[1] >> 30, 3u);
        EXPECT_EQ(IFC_LUT0_Rule[0].word[0], 0x80000000u | 1u << (field - 1));
    }
}

TEST(WideRule, MacsKeepEachOthersHalfAndDropHighBits)
{
    (void)ifc_set_lut0_rules(0, IFC_ENABLE, SMAC, 0, 0xFFFF, 0xFFFFFFFF, 0x6677, 0x8899AABB);
    (void)ifc_set_lut0_rules(0, IFC_ENABLE, DMAC, 0, 0xABCDFF00, 0xFFFFFFFF, 0x99990011, 0x22334455);
    EXPECT_EQ(IFC_LUT0_Rule[0].word[39], 0xAABB0011u);
    EXPECT_EQ(IFC_LUT0_Rule[0].word[38], 0x66778899u);
    EXPECT_EQ(IFC_LUT0_Rule[0].word[20], 0xFFFFFF00u);
    (void)ifc_set_lut0_rules(0, IFC_ENABLE, SMAC, 0, 0x1FFFF, 0, 0x10001, 0);
    EXPECT_EQ(IFC_LUT0_Rule[0].word[39], 0x00000011u);
    EXPECT_EQ(IFC_LUT0_Rule[0].word[38], 0x00010000u);
    EXPECT_EQ(IFC_LUT0_Rule[0].word[19], 0xFFFF0000u);
}

TEST(WideRule, EnablingTwiceKeepsTheSecond)
{
    (void)ifc_set_lut0_rules(0, IFC_ENABLE, VID0, 0, 0, 0xFFF, 0, 0x123);
    (void)ifc_set_lut0_rules(0, IFC_ENABLE, VID0, 1, 0, 0x0FF, 0, 0x045);
    EXPECT_EQ(IFC_LUT0_Rule[0].word[7], 0x0FFu);
    EXPECT_EQ(IFC_LUT0_Rule[0].word[26], 0x045u);
}

TEST(WideRule, RefusalsArePrintedAtEveryLevel)
{
    for (const int level : kLevels) {
        setLevel(level);
        EXPECT_EQ(ifc_set_lut0_rules(0xFFFFFFFF, IFC_ENABLE, 1, 0, 0, 0, 0, 0), -1);
        EXPECT_EQ(ifc_set_lut0_rules(0, IFC_ENABLE, 0xFFFFFFFF, 0, 0, 0, 0, 0), -1);
        EXPECT_EQ(ifc_set_lut0_rules(0, IFC_ENABLE, SMAC, 0xFFFFFFFF, 0, 0, 0, 0), -1);
        EXPECT_PRINTED("@Error: Lut0 Index is -1, which should less than 8\n",
                       "@Error: lut0 Field Index should between 1 and 31\n",
                       "@Error: the command of SMAC should less than 2!\n");
    }
    EXPECT_NO_TRAFFIC();
}

TEST(WideRule, TimeOutsDoNotChangeTheResult)
{
    powerOn(0);
    EXPECT_EQ(ifc_set_lut0_rules(1, IFC_ENABLE, DPORT, 0, 0, 0xFFFF, 0, 80), 0);
    EXPECT_EQ(ifc_set_lut0_rules(1, IFC_DISABLE, DPORT, 0, 0, 0, 0, 0), 0);
    EXPECT_EQ(pieces(), 2u * 128);
    EXPECT_EQ(IFC_LUT0_Rule[1].word[0], 0u);
    EXPECT_EQ(IFC_LUT0_Rule[1].word[4], 0xFFFFu);
}

TEST(WideRule, DeletingEditsTheShadowOnly)
{
    (void)ifc_set_lut0_rules(6, IFC_ENABLE, VID0, 3, 0, 0xFFF, 0, 0x123);
    forget();
    ifc_delete_lut0(6);
    for (const uint32_t word : IFC_LUT0_Rule[6].word)
        EXPECT_EQ(word, 0u);
    EXPECT_NO_TRAFFIC();
    EXPECT_NOTHING_PRINTED();
    EXPECT_NE(hardware().lut0[6][0], 0u);
    (void)write_all_ifc_rule_to_hw();
    EXPECT_EQ(hardware().lut0[6][0], 0u);
}

END_OF_TESTS(wideRuleTests)
