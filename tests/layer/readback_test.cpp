// SPDX-License-Identifier: MIT OR GPL-2.0
// A wide rule read back from the hardware or from the shadow, and its printer.
#include "tests/support/check.h"
#include "tests/support/layer.h"
#include "tests/support/surroundings.h"
#include "tests/support/wide_places.h"

using namespace support;

namespace
{

bool startsWith(const char *text, const char *front)
{
    while (*front != '\0' && *text == *front)
        ++text, ++front;
    return *front == '\0';
}

// "ifc_get_rule_from_hw LINE : lut0Id should be less than 8\n": the message has a line number of its own.
bool isRefusal(const char *text)
{
    constexpr char kName[] = "ifc_get_rule_from_hw ";
    if (!startsWith(text, kName))
        return false;
    text += sizeof kName - 1;
    if (*text < '1' || *text > '9')
        return false;
    while (*text >= '0' && *text <= '9')
        ++text;
    return sameText(text, " : lut0Id should be less than 8\n");
}

} // namespace

TEST(ReadBack, ReadsElevenRowsAndPrints)
{
    setTwoMacs(4);
    (void)ifc_set_lut0_rules(4, IFC_ENABLE, DPORT, 3, 0, 0xFFFF, 0, 0x50);
    const IFC_LUT0_Format shadow = IFC_LUT0_Rule[4];
    (void)clear_all_ifc_rules();
    forget();
    EXPECT_EQ(ifc_get_rule_from_reg(4), 0);
    EXPECT_PRINTED("LUT0- 4 field: 1 DMAC, Enable, ", "CMD:0, ", "Mask:ffff_ffffffff, Key:0_1\n",
                   "LUT0- 4 field: 2 SMAC, Enable, ", "CMD:1, ", "Mask:ff_ffff, Key:12_ab\n",
                   "LUT0- 4 field:28 DPORT, Enable, ", "CMD:3, ", "Mask:ffff, Key:50\n");
    Traffic t;
    for (uint32_t row = 0; row < 10; ++row) {
        t.transfer(command(4, row, 0, 0));
        for (uint32_t n = 0; n < 4; ++n)
            t.read(0xBFB50210 + 4 * n, shadow.word[40 - 4 * row - n]);
    }
    t.transfer(command(4, 10, 0, 0)).read(0xBFB50210, shadow.word[0]);
    EXPECT_TRAFFIC(t); // no lock, no query for the revision
    EXPECT_EQ(IFC_LUT0_Rule[4].word[0], 0u) << "the shadow is not filled";
}

TEST(ReadBack, WhatWasWrittenComesBackInEveryField)
{
    fillShadow();
    for (auto &rule : IFC_LUT0_Rule)
        rule.word[0] = 0xFFFFFFFF;
    (void)write_all_ifc_rule_to_hw();
    for (int rule = 0; rule < 8; ++rule) {
        forget();
        EXPECT_EQ(ifc_get_rule_from_hw(rule), 0);
        EXPECT_EQ(ifc_get_rule_from_reg(rule), 0);
        ASSERT_EQ(pieces(), 2 * 31 * 3);
        for (unsigned n = 0; n < 31 * 3; ++n)
            EXPECT_STREQ(piece(31 * 3 + n), piece(n)) << rule;
    }
}

TEST(ReadBack, RefusesRulesOutOfRange)
{
    for (const int level : kLevels) {
        setLevel(level);
        for (const int id : list({8, -1, 0x7FFFFFFF, -0x7FFFFFFF - 1}))
            EXPECT_EQ(ifc_get_rule_from_reg(id), -1) << id;
        EXPECT_TRUE(eachPieceIs("ERROR:Lut0Idx should be between 0 and 8.\n", 4));
        forget();
        for (const int id : list({9, -1, 0x7FFFFFFF, -0x7FFFFFFF - 1}))
            EXPECT_EQ(ifc_get_rule_from_hw(id), -1) << id;
        ASSERT_EQ(pieces(), 4);
        for (unsigned n = 0; n < 4; ++n)
            EXPECT_TRUE(isRefusal(piece(n))) << piece(n);
    }
    EXPECT_NO_TRAFFIC();
}

TEST(ReadBack, PrintsEvenAfterATimeOut)
{
    setTwoMacs(4);
    surroundings_time_out(9, 1);
    forget();
    EXPECT_EQ(ifc_get_rule_from_reg(4), 0);
    EXPECT_EQ(pieces(), 7u);
    EXPECT_STREQ(piece(0), "@Timeout for set IFC Rule configuration.\n");
    powerOn(0);
    EXPECT_EQ(ifc_get_rule_from_reg(0), 0);
    EXPECT_EQ(pieces(), 11 + 1);
    EXPECT_EQ(count(Kind::Wait), 33);
}

TEST(ReadBack, ItsTransfersAreTracedAtTheHighestLevel)
{
    setLevel(3);
    EXPECT_EQ(ifc_get_rule_from_reg(0), 0);
    ASSERT_EQ(pieces(), 11 + 1);
    for (unsigned row = 0; row < 11; ++row)
        EXPECT_STREQ(piece(row), format("@ifcSetRuleConfig is 0x%08x.\n", command(0, row, 0, 0)));
}

TEST(ReadBack, Revisions14And15AreReadToo)
{
    (void)ifc_set_lut0_rules(4, IFC_ENABLE, DPORT, 3, 0, 0xFFFF, 0, 0x50);
    for (const int revision : list({14, 15})) {
        powerOn();
        setRevision(revision);
        EXPECT_EQ(ifc_get_rule_from_reg(4), 0);
        EXPECT_TEXT("LUT0- 4 : Disable.\n"); // the hardware has no such rule
        EXPECT_EQ(count(Kind::Read), 11 + 41);
        EXPECT_EQ(count(Kind::Lock) + count(Kind::Revision), 0);
        EXPECT_EQ(count(Kind::Write), 11);
    }
}

TEST(ReadBack, ShadowRulesAreNamedFromHw)
{
    setTwoMacs(2);
    forget();
    EXPECT_EQ(ifc_get_rule_from_hw(8), 0);
    EXPECT_EQ(pieces(), 7u + 6u);
    EXPECT_STREQ(piece(0), "LUT0- 0 : Disable.\n");
    EXPECT_STREQ(piece(2), "LUT0- 2 field: 1 DMAC, Enable, ");
    EXPECT_STREQ(lastPiece(), "LUT0- 7 : Disable.\n");
    EXPECT_NO_TRAFFIC(); // despite its name it reads no register, and takes no lock
    forget();
    EXPECT_EQ(ifc_get_rule_from_hw(3), 0);
    EXPECT_PRINTED("LUT0- 3 : Disable.\n");
    (void)ifc_set_lut0_rules(7, IFC_ENABLE, DPORT, 1, 0, 0xFFFF, 0, 0x50);
    forget();
    EXPECT_EQ(ifc_get_rule_from_hw(7), 0);
    EXPECT_PRINTED("LUT0- 7 field:28 DPORT, Enable, ", "CMD:1, ", "Mask:ffff, Key:50\n");
}

TEST(ReadBack, ThePrinterShowsEveryFieldWithItsCommandMaskAndKey)
{
    fillShadow();
    IFC_LUT0_Format rule = IFC_LUT0_Rule[6];
    rule.word[0] = 0xFFFFFFFF;
    EXPECT_EQ(ifc_parser_lut0_rule(&rule, 6), 0);
    ASSERT_EQ(pieces(), 31 * 3);
    for (unsigned field = 1; field <= 31; ++field) {
        const char *const mask = shownAt(rule, kMaskArea, field);
        const char *const key = shownAt(rule, kKeyArea, field);
        const unsigned n = 3 * (field - 1);
        EXPECT_STREQ(piece(n), format("LUT0- 6 field:%2u %s, Enable, ", field, kPlaces[field].name));
        EXPECT_STREQ(piece(n + 1), format("CMD:%u, ", commandAt(rule, field)));
        EXPECT_STREQ(piece(n + 2), format("Mask:%s, Key:%s\n", mask, key));
    }
}

TEST(ReadBack, ThePrinterNamesDisabledFieldsFromLevel1On)
{
    IFC_LUT0_Format rule{};
    rule.word[0] = 0x80000000;
    EXPECT_EQ(ifc_parser_lut0_rule(&rule, 123), 0);
    EXPECT_NOTHING_PRINTED();
    gpIfcPriv->dbgLevel = DBG_ST;
    EXPECT_EQ(ifc_parser_lut0_rule(&rule, 123), 0);
    EXPECT_EQ(pieces(), 31u);
    EXPECT_STREQ(piece(0), "@LUT0-123 field: 1 DMAC; Disable.\n");
    EXPECT_STREQ(piece(30), "@LUT0-123 field:31 DMAC_TYPE; Disable.\n");
    forget();
    rule.word[0] = 0x7FFFFFFF;
    EXPECT_EQ(ifc_parser_lut0_rule(&rule, -1), 0);
    EXPECT_PRINTED("LUT0--1 : Disable.\n");
    forget();
    rule.word[0] = 0x80000000 | 1u << 15 | 1u << 30;
    rule.word[1] = 2u << 28;
    rule.word[2] = 1u << 30;
    gpIfcPriv->dbgLevel = 0;
    (void)ifc_parser_lut0_rule(&rule, 0);
    EXPECT_STREQ(piece(1), "CMD:1, ");
    EXPECT_STREQ(piece(4), "CMD:2, ");
    EXPECT_EQ(pieces(), 6);
    EXPECT_NO_TRAFFIC();
}

TEST(ReadBack, ThePrinterNamesEachFieldOnceAtEveryLevel)
{
    IFC_LUT0_Format rule{};
    rule.word[0] = 0x80000000 | 1u << 1; // SMAC alone
    for (const int level : kLevels) {
        setLevel(level);
        EXPECT_EQ(ifc_parser_lut0_rule(&rule, 12), 0);
        EXPECT_EQ(pieces(), level == 0 ? 3 : 33) << level;
        const char *const smac = "LUT0-12 field: 2 SMAC, Enable, CMD:0, Mask:0_0, Key:0_0\n";
        if (level == 0)
            EXPECT_TEXT(smac);
        else
            EXPECT_TRUE(startsWith(text(), format("@LUT0-12 field: 1 DMAC; Disable.\n%s"
                                                  "@LUT0-12 field: 3 DIPv4; Disable.\n",
                                                  smac)));
    }
    EXPECT_EQ(rule.word[0], 0x80000002u);
    EXPECT_NO_TRAFFIC();
}

END_OF_TESTS(readBackTests)
