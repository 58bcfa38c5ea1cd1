// SPDX-License-Identifier: MIT OR GPL-2.0
// The exact text of the table dumps.
#include "tests/support/check.h"
#include "tests/support/layer.h"
#include "tests/support/wide_places.h"

using namespace support;

TEST(Dump, EmptyTables)
{
    EXPECT_EQ(ifc_dump_all_rules(), 0);
    ASSERT_EQ(pieces(), 8 + 32);
    for (int n = 0; n < 8; ++n)
        EXPECT_STREQ(piece(n), format("\nLUT0-%d: valid:0\n", n));
    for (int n = 0; n < 32; ++n)
        EXPECT_STREQ(piece(8 + n), format("\nLUT1-%d: valid:0\n", n));
    EXPECT_NO_TRAFFIC(); // no action is read
}

TEST(Dump, Lut0RulesFieldByField)
{
    setTwoMacs(3);
    (void)ifc_set_lut0_rules(3, IFC_ENABLE, VPM0, 3, 0, 3, 0, 2);
    (void)ifc_set_lut0_rules(3, IFC_ENABLE, DMAC_TYPE, 2, 0, 3, 0, 1);
    IFC_LUT0_Rule[5].word[0] = 0x80000000;
    IFC_LUT0_Rule[6].word[0] = 0x00000004; // enabled fields, but not valid
    forget();
    EXPECT_EQ(ifc_dump_lut0_rules(), 0);
    EXPECT_PRINTED(
        "\nLUT0-0: valid:0\n", "\nLUT0-1: valid:0\n", "\nLUT0-2: valid:0\n",
        "\nLUT0-3: valid:1, enable:40008003\n", ">>>>Field-1:DMAC, Command:0, Mask:ffff_ffffffff, Key:0_1\n",
        ">>>>Field-2:SMAC, Command:1, Mask:ff_ffff, Key:12_ab\n",
        ">>>>Field-16:VPM0, Command:3, Mask:3, Key:2\n", ">>>>Field-31:DMAC_TYPE, Command:2, Mask:3, Key:1\n",
        "  Action: enable:0, OWF:0", "\n", "\nLUT0-4: valid:0\n", "\nLUT0-5: valid:1, enable:0\n",
        "  Action: enable:0, OWF:0", "\n", "\nLUT0-6: valid:0\n", "\nLUT0-7: valid:0\n");
    Traffic t; // the two actions, without the lock
    for (const uint32_t n : list({3u, 5u}))
        t.transfer(command(n, 0, 2, 0)).readRow(0, 0, 0, 0);
    EXPECT_TRAFFIC(t);
}

TEST(Dump, EveryFieldOfAWideRuleHasItsLineInOrder)
{
    fillShadow();
    for (unsigned n = 0; n < 8; ++n)
        IFC_LUT0_Rule[n].word[0] = n == 6 ? 0xFFFFFFFF : 0x7FFFFFFF;
    EXPECT_EQ(ifc_dump_lut0_rules(), 0);
    ASSERT_EQ(pieces(), 7 + 1 + 31 + 2);
    EXPECT_STREQ(piece(6), "\nLUT0-6: valid:1, enable:7fffffff\n");
    const IFC_LUT0_Format &rule = IFC_LUT0_Rule[6];
    for (unsigned field = 1; field <= 31; ++field) {
        const char *const mask = shownAt(rule, kMaskArea, field);
        const char *const key = shownAt(rule, kKeyArea, field);
        EXPECT_STREQ(piece(6 + field), format(">>>>Field-%u:%s, Command:%u, Mask:%s, Key:%s\n", field,
                                              kPlaces[field].name, commandAt(rule, field), mask, key));
    }
}

TEST(Dump, Lut1EntriesOfBothTypes)
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
    const char *const action = "  Action: enable:0, OWF:0";
    const char *const first[] = {
        "\nLUT1-0: valid:1, end:0, Type:1, Direction:0, Command:1, Field:DMAC, Mask:ffffffff, "
        "Key:22334455\n",
        action,
        "\n",
        "\nLUT1-1: valid:1, end:1, Type:0, Sel:2, Command:1, Field:DMAC, Mask:ffff, Key:0011\n",
        action,
        "\n",
        "\nLUT1-2: valid:1, end:1, Type:0, Sel:0, Command:2, Field:UDF_8, Mask:00ff, Key:1234\n",
        action,
        "\n",
        "\nLUT1-3: valid:1, end:0, Type:1, Direction:0, Command:0, Field:DIPv4, Mask:ffffff00, "
        "Key:0000000a\n",
        action,
        "\n",
        "\nLUT1-4: valid:1, end:0, Type:1, Direction:1, Command:0, Field:DIPv4, Mask:000000ff, "
        "Key:0000000a\n",
        action,
        "\n",
        "\nLUT1-5: valid:1, end:0, Type:1, Direction:1, Command:0, Field:DIPv4, Mask:ffffffff, "
        "Key:0000000a\n",
        action,
        "\n",
        "\nLUT1-6: valid:1, end:0, Type:0, Sel:0, Command:0, Field:UDF_15, Mask:0001, Key:0001\n",
        action,
        "\n",
        "\nLUT1-7: valid:1, end:0, Type:0, Sel:0, Command:0, Field:none, Mask:0000, Key:0000\n",
        action,
        "\n",
        "\nLUT1-8: valid:1, end:0, Type:0, Sel:0, Command:0, Field:DPORT, Mask:0000, Key:0000\n",
        action,
        "\n"};
    ASSERT_EQ(pieces(), 27 + 23);
    for (unsigned n = 0; n < 27; ++n)
        EXPECT_STREQ(piece(n), first[n]);
    EXPECT_STREQ(lastPiece(), "\nLUT1-31: valid:0\n");
    Traffic t; // action 8 belongs to entry 0
    for (uint32_t n = 0; n < 9; ++n)
        t.transfer(command(8 + n, 0, 2, 0)).readRow(0, 0, 0, 0);
    EXPECT_TRAFFIC(t);
}

TEST(Dump, EachRuleShowsTheActionOfItsOwnNumber)
{
    for (uint32_t n = 0; n < 40; ++n) {
        hardware().action[n][0] = 1u << 14; // enable bit 2: sp_tag
        hardware().action[n][3] = (0x100 + n) << 12;
    }
    for (auto &rule : IFC_LUT0_Rule)
        rule.bits.valid = 1;
    for (unsigned n = 0; n < 32; n += 2)
        (void)ifc_set_lut1_rules(n, IFC_ENABLE, 1, DMAC, 0, n < 30 ? 48 : 16, 1, 2);
    forget();
    EXPECT_EQ(ifc_dump_all_rules(), 0);
    unsigned actions = 0;
    for (unsigned n = 0; n < pieces(); ++n)
        if (contains(piece(n), "gemport")) {
            EXPECT_STREQ(piece(n), format(", sp_tag/gemport:0x%x", 0x100 + actions++));
        }
    EXPECT_EQ(actions, 39) << "entry 31 is free";
}

TEST(Dump, TheEndFlagOfBothTypesIsShown)
{
    (void)ifc_set_lut1_rules(0, IFC_ENABLE, 1, SIPv4, 1, 0x80000001, 0, 0xFFFFFFFF);
    (void)ifc_set_lut1_rules(1, IFC_ENABLE, 0, SIPv4, 0, 31, 0, 0);
    (void)ifc_set_lut1_rules(2, IFC_ENABLE, 1, DPORT, 3, 0, 0, 0);
    forget();
    (void)ifc_dump_lut1_rules();
    EXPECT_STREQ(piece(0),
                 "\nLUT1-0: valid:1, end:1, Type:1, Direction:1, Command:1, Field:SIPv4, Mask:00000001, "
                 "Key:ffffffff\n");
    EXPECT_STREQ(piece(3),
                 "\nLUT1-1: valid:1, end:0, Type:1, Direction:0, Command:0, Field:SIPv4, Mask:fffffffe, "
                 "Key:00000000\n");
    EXPECT_STREQ(piece(6),
                 "\nLUT1-2: valid:1, end:1, Type:0, Sel:0, Command:3, Field:DPORT, Mask:0000, Key:0000\n");
}

TEST(Dump, EveryNumberThatFitsAnEntryHasAName)
{
    for (uint32_t field = 0; field < 64; ++field) {
        IFC_LUT1_Rule[field % 32].word[0] = 0x8000 | field;
        if (field % 32 != 31)
            continue;
        forget();
        (void)ifc_dump_lut1_rules();
        ASSERT_EQ(pieces(), 32u * 3);
        for (uint32_t n = 0; n < 32; ++n) {
            const char *const name =
                field < 32 ? reinterpret_cast<const char *>(ifc_field_name[n]) : format("UDF_%u", n);
            EXPECT_STREQ(piece(3 * n),
                         format("\nLUT1-%u: valid:1, end:0, Type:0, Sel:0, Command:0, Field:%s, "
                                "Mask:0000, Key:0000\n",
                                n, name));
            EXPECT_STREQ(piece(3 * n + 1), "  Action: enable:0, OWF:0");
        }
    }
}

TEST(Dump, TablesAreDumpedAlikeAtEveryLevel)
{
    setTwoMacs(3);
    (void)ifc_set_lut1_rules(5, IFC_ENABLE, 1, DPORT, 1, 0xFFFF, 0, 80);
    const char *const expected[] = {"\nLUT0-3: valid:1, enable:3\n",
                                    ">>>>Field-1:DMAC, Command:0, Mask:ffff_ffffffff, Key:0_1\n",
                                    ">>>>Field-2:SMAC, Command:1, Mask:ff_ffff, Key:12_ab\n",
                                    "@ifcSetRuleConfig is 0x00030021.\n",
                                    "  Action: enable:0, OWF:0",
                                    "\n",
                                    ("\nLUT1-5: valid:1, end:1, Type:0, Sel:0, Command:1, Field:DPORT, "
                                     "Mask:ffff, Key:0050\n"),
                                    "@ifcSetRuleConfig is 0x000d0021.\n",
                                    "  Action: enable:0, OWF:0",
                                    "\n"};
    for (const int level : kLevels) {
        setLevel(level);
        EXPECT_EQ(ifc_dump_all_rules(), 0);
        EXPECT_EQ(pieces(), 7 + 31 + 8 + (level > 2 ? 2 : 0)) << level;
        unsigned wanted = 0;
        for (unsigned n = 0; n < pieces(); ++n) {
            if (contains(piece(n), ": valid:0\n"))
                continue;
            if (wanted == 3 || wanted == 7) // a trace of the action that is read
                wanted += level > 2 ? 0 : 1;
            ASSERT_TRUE(wanted < 10);
            EXPECT_STREQ(piece(n), expected[wanted]) << level;
            ++wanted;
        }
        EXPECT_EQ(wanted, 10) << level;
    }
}

END_OF_TESTS(ruleDumpTests)
