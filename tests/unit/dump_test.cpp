// SPDX-License-Identifier: MIT OR GPL-2.0
// What an operator reads: table dumps and read-back, to the letter.
#include "layer_test.h"

#include <cstring>

using testing::ElementsAre;

class DumpTest : public LayerTest
{
protected:
    static void setMac(unsigned rule)
    {
        (void)ifc_set_lut0_rules(rule, IFC_ENABLE, DMAC, 0, 0xFFFF, 0xFFFFFFFF, 0, 1);
        (void)ifc_set_lut0_rules(rule, IFC_ENABLE, SMAC, 1, 0x00FF, 0x0000FFFF, 0x12, 0xAB);
    }
};

TEST_F(DumpTest, EmptyTables)
{
    EXPECT_EQ(ifc_dump_all_rules(), 0);
    std::vector<std::string> expected;
    for (int n = 0; n < 8; ++n)
        expected.push_back("\nLUT0-" + std::to_string(n) + ": valid:0\n");
    for (int n = 0; n < 32; ++n)
        expected.push_back("\nLUT1-" + std::to_string(n) + ": valid:0\n");
    EXPECT_EQ(said, expected);
    EXPECT_TRUE(seen.empty()) << "no action is read";
}

TEST_F(DumpTest, Lut0RulesFieldByField)
{
    setMac(3);
    (void)ifc_set_lut0_rules(3, IFC_ENABLE, VPM0, 3, 0, 3, 0, 2);
    (void)ifc_set_lut0_rules(3, IFC_ENABLE, DMAC_TYPE, 2, 0, 3, 0, 1);
    IFC_LUT0_Rule[5].word[0] = 0x80000000;
    IFC_LUT0_Rule[6].word[0] = 0x00000004; // enabled fields, but not valid
    forget();
    EXPECT_EQ(ifc_dump_lut0_rules(), 0);
    EXPECT_THAT(said,
                ElementsAre("\nLUT0-0: valid:0\n", "\nLUT0-1: valid:0\n", "\nLUT0-2: valid:0\n",
                            "\nLUT0-3: valid:1, enable:40008003\n",
                            ">>>>Field-1:DMAC, Command:0, Mask:ffff_ffffffff, Key:0_1\n",
                            ">>>>Field-2:SMAC, Command:1, Mask:ff_ffff, Key:12_ab\n",
                            ">>>>Field-16:VPM0, Command:3, Mask:3, Key:2\n",
                            ">>>>Field-31:DMAC_TYPE, Command:2, Mask:3, Key:1\n", "  Action: enable:0, OWF:0",
                            "\n", "\nLUT0-4: valid:0\n", "\nLUT0-5: valid:1, enable:0\n",
                            "  Action: enable:0, OWF:0", "\n", "\nLUT0-6: valid:0\n", "\nLUT0-7: valid:0\n"));
    EXPECT_EQ(seen.size(), 12u) << "the two actions";
    EXPECT_EQ(traffic()[0], "W bfb50204 00030021");
    EXPECT_TRUE(events.empty()) << "no lock";
}

TEST_F(DumpTest, Lut1EntriesOfBothTypes)
{
    (void)ifc_set_lut1_rules(0, IFC_ENABLE, 1, DMAC, 1, 48, 0x0011, 0x22334455);
    (void)ifc_set_lut1_rules(2, IFC_ENABLE, 1, 40, 2, 0x00FF, 0, 0x1234);
    (void)ifc_set_lut1_rules(3, IFC_ENABLE, 0, DIPv4, 0, 24, 0, 0xA);
    (void)ifc_set_lut1_rules(4, IFC_ENABLE, 0, DIPv4, 0, 0x80000008, 0, 0xA);
    (void)ifc_set_lut1_rules(5, IFC_ENABLE, 0, DIPv4, 0, 0x80000020, 0, 0xA);
    (void)ifc_set_lut1_rules(6, IFC_ENABLE, 0, UDF15, 0, 1, 0, 1);
    IFC_LUT1_Rule[7].word[0] = 0x8000;                  // field 0: the table has a name for it
    IFC_LUT1_Rule[8].word[0] = 0x8000 | 0x1C00 | DPORT; // bits that type 0 does not use
    forget();
    EXPECT_EQ(ifc_dump_lut1_rules(), 0);
    const std::vector<std::string> first(said.begin(), said.begin() + 27);
    const std::string action = "  Action: enable:0, OWF:0";
    EXPECT_THAT(
        first,
        ElementsAre(
            "\nLUT1-0: valid:1, end:0, Type:1, Direction:0, Command:1, Field:DMAC, Mask:ffffffff, "
            "Key:22334455\n",
            action, "\n",
            "\nLUT1-1: valid:1, end:1, Type:0, Sel:2, Command:1, Field:DMAC, Mask:ffff, Key:0011\n", action,
            "\n", "\nLUT1-2: valid:1, end:1, Type:0, Sel:0, Command:2, Field:UDF_8, Mask:00ff, Key:1234\n",
            action, "\n",
            "\nLUT1-3: valid:1, end:0, Type:1, Direction:0, Command:0, Field:DIPv4, Mask:ffffff00, "
            "Key:0000000a\n",
            action, "\n",
            "\nLUT1-4: valid:1, end:0, Type:1, Direction:1, Command:0, Field:DIPv4, Mask:000000ff, "
            "Key:0000000a\n",
            action, "\n",
            "\nLUT1-5: valid:1, end:0, Type:1, Direction:1, Command:0, Field:DIPv4, Mask:ffffffff, "
            "Key:0000000a\n",
            action, "\n",
            "\nLUT1-6: valid:1, end:0, Type:0, Sel:0, Command:0, Field:UDF_15, Mask:0001, Key:0001\n", action,
            "\n", "\nLUT1-7: valid:1, end:0, Type:0, Sel:0, Command:0, Field:none, Mask:0000, Key:0000\n",
            action, "\n",
            "\nLUT1-8: valid:1, end:0, Type:0, Sel:0, Command:0, Field:DPORT, Mask:0000, Key:0000\n", action,
            "\n"));
    EXPECT_EQ(said.size(), 27u + 23u);
    EXPECT_EQ(said.back(), "\nLUT1-31: valid:0\n");
    EXPECT_EQ(traffic()[0], "W bfb50204 00080021") << "action 8 belongs to entry 0";
}

TEST_F(DumpTest, EachRuleShowsTheActionOfItsOwnNumber)
{
    for (uint32_t n = 0; n < 40; ++n) {
        chip.tables().action[n][0] = 1u << 14; // enable bit 2: sp_tag
        chip.tables().action[n][3] = (0x100 + n) << 12;
    }
    for (auto &rule : IFC_LUT0_Rule)
        rule.bits.valid = 1;
    for (unsigned n = 0; n < 32; n += 2)
        (void)ifc_set_lut1_rules(n, IFC_ENABLE, 1, DMAC, 0, n < 30 ? 48 : 16, 1, 2);
    forget();
    EXPECT_EQ(ifc_dump_all_rules(), 0);
    std::vector<std::string> actions;
    for (const std::string &piece : said)
        if (piece.find("gemport") != std::string::npos)
            actions.push_back(piece);
    std::vector<std::string> expected;
    for (unsigned n = 0; n < 39; ++n) { // entry 31 is free
        char line[40];
        (void)std::snprintf(line, sizeof line, ", sp_tag/gemport:0x%x", 0x100 + n);
        expected.emplace_back(line);
    }
    EXPECT_EQ(actions, expected);
}

TEST_F(DumpTest, TheEndFlagOfBothTypesIsShown)
{
    (void)ifc_set_lut1_rules(0, IFC_ENABLE, 1, SIPv4, 1, 0x80000001, 0, 0xFFFFFFFF);
    (void)ifc_set_lut1_rules(1, IFC_ENABLE, 0, SIPv4, 0, 31, 0, 0);
    (void)ifc_set_lut1_rules(2, IFC_ENABLE, 1, DPORT, 3, 0, 0, 0);
    forget();
    (void)ifc_dump_lut1_rules();
    ASSERT_GE(said.size(), 9u);
    EXPECT_EQ(said[0],
              "\nLUT1-0: valid:1, end:1, Type:1, Direction:1, Command:1, Field:SIPv4, Mask:00000001, "
              "Key:ffffffff\n");
    EXPECT_EQ(said[3],
              "\nLUT1-1: valid:1, end:0, Type:1, Direction:0, Command:0, Field:SIPv4, Mask:fffffffe, "
              "Key:00000000\n");
    EXPECT_EQ(said[6],
              "\nLUT1-2: valid:1, end:1, Type:0, Sel:0, Command:3, Field:DPORT, Mask:0000, Key:0000\n");
}

TEST_F(DumpTest, EveryNumberThatFitsAnEntryHasAName)
{
    for (uint32_t field = 0; field < 64; ++field) {
        IFC_LUT1_Rule[field % 32].word[0] = 0x8000 | field;
        if (field % 32 != 31)
            continue;
        forget();
        (void)ifc_dump_lut1_rules();
        ASSERT_EQ(said.size(), 32u * 3);
        for (uint32_t n = 0; n < 32; ++n) {
            const std::string name =
                field < 32 ? reinterpret_cast<const char *>(ifc_field_name[n]) : "UDF_" + std::to_string(n);
            EXPECT_NE(said[3 * n].find(", Field:" + name + ", Mask:"), std::string::npos) << said[3 * n];
        }
    }
}

TEST_F(DumpTest, TablesAreDumpedAlikeAtEveryLevel)
{
    setMac(3);
    (void)ifc_set_lut1_rules(5, IFC_ENABLE, 1, DPORT, 1, 0xFFFF, 0, 80);
    forget();
    (void)ifc_dump_all_rules();
    const std::vector<std::string> expected = said;
    for (const int level : {1, 2, 3, 4, 255}) {
        gpIfcPriv->dbgLevel = static_cast<uint8>(level);
        forget();
        (void)ifc_dump_all_rules();
        std::vector<std::string> lines;
        for (const std::string &piece : said)
            if (piece.find("ifcSetRuleConfig is 0x") == std::string::npos)
                lines.push_back(piece);
        EXPECT_EQ(lines, expected) << level;
        EXPECT_EQ(said.size(), expected.size() + (level > 2 ? 2 : 0)) << "traces of the two actions read";
    }
}

TEST_F(DumpTest, ReadBackReadsElevenRowsAndPrints)
{
    setMac(4);
    (void)ifc_set_lut0_rules(4, IFC_ENABLE, DPORT, 3, 0, 0xFFFF, 0, 0x50);
    const IFC_LUT0_Format shadow = IFC_LUT0_Rule[4];
    (void)clear_all_ifc_rules();
    forget();
    EXPECT_EQ(ifc_get_rule_from_reg(4), 0);
    EXPECT_THAT(said,
                ElementsAre("LUT0- 4 field: 1 DMAC, Enable, ", "CMD:0, ", "Mask:ffff_ffffffff, Key:0_1\n",
                            "LUT0- 4 field: 2 SMAC, Enable, ", "CMD:1, ", "Mask:ff_ffff, Key:12_ab\n",
                            "LUT0- 4 field:28 DPORT, Enable, ", "CMD:3, ", "Mask:ffff, Key:50\n"));
    Traffic t;
    for (uint32_t row = 0; row < 10; ++row) {
        t.transfer(command(4, row, 0, 0));
        for (uint32_t n = 0; n < 4; ++n)
            t.read(0xBFB50210 + 4 * n, shadow.word[40 - 4 * row - n]);
    }
    t.transfer(command(4, 10, 0, 0)).read(0xBFB50210, shadow.word[0]);
    expectTraffic(t);
    EXPECT_TRUE(events.empty()) << "no lock, no question for the revision";
    EXPECT_EQ(IFC_LUT0_Rule[4].word[0], 0u) << "the shadow is not filled";
}

TEST_F(DumpTest, ReadBackRefusesRulesOutOfRange)
{
    EXPECT_EQ(ifc_get_rule_from_reg(8), -1);
    EXPECT_EQ(ifc_get_rule_from_reg(-1), -1);
    EXPECT_THAT(said, ElementsAre("ERROR:Lut0Idx should be between 0 and 8.\n",
                                  "ERROR:Lut0Idx should be between 0 and 8.\n"));
    EXPECT_TRUE(seen.empty());
    for (const int level : {1, 2, 3, 4, 255}) {
        gpIfcPriv->dbgLevel = static_cast<uint8>(level);
        forget();
        EXPECT_EQ(ifc_get_rule_from_reg(8), -1);
        EXPECT_EQ(ifc_get_rule_from_hw(9), -1);
        EXPECT_EQ(said.size(), 2u) << level;
    }
}

TEST_F(DumpTest, ReadBackPrintsEvenAfterATimeOut)
{
    setMac(4);
    chip.injectFault(engine::TransferFault::NeverComplete, 9, 1);
    forget();
    EXPECT_EQ(ifc_get_rule_from_reg(4), 0);
    EXPECT_EQ(said.size(), 7u);
    EXPECT_EQ(pieces()[0], "@Timeout for set IFC Rule configuration.\n");
}

TEST_F(DumpTest, ShadowRulesAreNamedFromHw)
{
    setMac(2);
    forget();
    EXPECT_EQ(ifc_get_rule_from_hw(8), 0);
    EXPECT_EQ(said.size(), 7u + 6u);
    EXPECT_EQ(said[0], "LUT0- 0 : Disable.\n");
    EXPECT_EQ(said[2], "LUT0- 2 field: 1 DMAC, Enable, ");
    EXPECT_EQ(said.back(), "LUT0- 7 : Disable.\n");
    EXPECT_TRUE(seen.empty()) << "despite its name it reads no register";
    forget();
    EXPECT_EQ(ifc_get_rule_from_hw(3), 0);
    EXPECT_THAT(said, ElementsAre("LUT0- 3 : Disable.\n"));
    forget();
    EXPECT_EQ(ifc_get_rule_from_hw(9), -1);
    EXPECT_EQ(ifc_get_rule_from_hw(-1), -1);
    ASSERT_EQ(said.size(), 2u);
    EXPECT_THAT(said[0],
                testing::MatchesRegex("ifc_get_rule_from_hw [1-9][0-9]* : lut0Id should be less than 8\n"));
}

TEST_F(DumpTest, ThePrinterNamesDisabledFieldsFromLevel1On)
{
    IFC_LUT0_Format rule{};
    rule.word[0] = 0x80000000;
    EXPECT_EQ(ifc_parser_lut0_rule(&rule, 123), 0);
    EXPECT_TRUE(said.empty());
    gpIfcPriv->dbgLevel = DBG_ST;
    EXPECT_EQ(ifc_parser_lut0_rule(&rule, 123), 0);
    EXPECT_EQ(said.size(), 31u);
    EXPECT_EQ(pieces()[0], "@LUT0-123 field: 1 DMAC; Disable.\n");
    EXPECT_EQ(pieces()[30], "@LUT0-123 field:31 DMAC_TYPE; Disable.\n");
    forget();
    rule.word[0] = 0x7FFFFFFF;
    EXPECT_EQ(ifc_parser_lut0_rule(&rule, -1), 0);
    EXPECT_THAT(said, ElementsAre("LUT0--1 : Disable.\n"));
    forget();
    rule.word[0] = 0x80000000 | 1u << 15 | 1u << 30;
    rule.word[1] = 2u << 28;
    rule.word[2] = 1u << 30;
    gpIfcPriv->dbgLevel = 0;
    (void)ifc_parser_lut0_rule(&rule, 0);
    EXPECT_EQ(said[1], "CMD:1, ");
    EXPECT_EQ(said[4], "CMD:2, ");
}
