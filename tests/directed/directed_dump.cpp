// SPDX-License-Identifier: MIT OR GPL-2.0
// What an operator reads of the tables.
#include "directed.h"

namespace directed
{
namespace
{

void dumpsEmptyTables()
{
    DIRECTED_EQ(ifc_dump_all_rules(), 0);
    DIRECTED_EQ(lines(text()), 2 * 40);
    DIRECTED_TRAFFIC; // no action is read
}

void dumpsWideRules()
{
    (void)ifc_set_lut0_rules(3, IFC_ENABLE, SMAC, 1, 0x00FF, 0x0000FFFF, 0x12, 0xAB);
    (void)ifc_set_lut0_rules(3, IFC_ENABLE, VPM0, 3, 0, 3, 0, 2);
    forget();
    DIRECTED_EQ(ifc_dump_lut0_rules(), 0);
    DIRECTED_TEXT("\nLUT0-0: valid:0\n\nLUT0-1: valid:0\n\nLUT0-2: valid:0\n\nLUT0-3: valid:1, enable:8002\n"
                  ">>>>Field-2:SMAC, Command:1, Mask:ff_ffff, Key:12_ab\n"
                  ">>>>Field-16:VPM0, Command:3, Mask:3, Key:2\n  Action: enable:0, OWF:0\n"
                  "\nLUT0-4: valid:0\n\nLUT0-5: valid:0\n\nLUT0-6: valid:0\n\nLUT0-7: valid:0\n");
}

void dumpsNarrowEntries()
{
    (void)ifc_set_lut1_rules(0, IFC_ENABLE, 1, DMAC, 1, 48, 0x0011, 0x22334455);
    (void)ifc_set_lut1_rules(2, IFC_ENABLE, 1, 40, 2, 0x00FF, 0, 0x1234);
    for (uint n = 3; n < 32; ++n)
        IFC_LUT1_Rule[n].word[0] = 0;
    IFC_LUT1_Rule[31].word[0] = 0x8000 | 63; // no such field, but a number to print
    forget();
    DIRECTED_EQ(ifc_dump_lut1_rules(), 0);
    const char *expected =
        "\nLUT1-0: valid:1, end:0, Type:1, Direction:0, Command:1, Field:DMAC, Mask:ffffffff, Key:22334455\n"
        "  Action: enable:0, OWF:0\n"
        "\nLUT1-1: valid:1, end:1, Type:0, Sel:2, Command:1, Field:DMAC, Mask:ffff, Key:0011\n"
        "  Action: enable:0, OWF:0\n"
        "\nLUT1-2: valid:1, end:1, Type:0, Sel:0, Command:2, Field:UDF_8, Mask:00ff, Key:1234\n";
    const char *got = text();
    while (*expected != '\0' && *got == *expected)
        ++got, ++expected;
    DIRECTED_EQ(*expected, '\0');
    DIRECTED_EQ(count(Kind::Read), 4 * 5);
    const char *end = "Field:UDF_31, Mask:0000, Key:0000\n  Action: enable:0, OWF:0\n";
    unsigned length = 0;
    while (end[length] != '\0')
        ++length;
    unsigned total = 0;
    for (got = text(); got[total] != '\0';)
        ++total;
    for (unsigned n = 1; n <= length; ++n)
        DIRECTED_EQ(got[total - n], end[length - n]);
}

void readsBack()
{
    (void)ifc_set_lut0_rules(4, IFC_ENABLE, DPORT, 3, 0, 0xFFFF, 0, 0x50);
    const IFC_LUT0_Format rule = IFC_LUT0_Rule[4];
    (void)clear_all_ifc_rules();
    powerOn(1, 14); // reads go on at every revision
    IFC_LUT0_Rule[4] = rule;
    DIRECTED_EQ(ifc_get_rule_from_reg(4), 0);
    DIRECTED_TEXT("LUT0- 4 : Disable.\n"); // revision 14 never got it
    DIRECTED_EQ(count(Kind::Read), 11 + 41);
    DIRECTED_EQ(count(Kind::Lock) + count(Kind::Revision), 0);
    powerOn(1);
    IFC_LUT0_Rule[4] = rule;
    (void)write_all_ifc_rule_to_hw();
    (void)clear_all_ifc_rules();
    forget();
    DIRECTED_EQ(ifc_get_rule_from_reg(4), 0);
    DIRECTED_TEXT("LUT0- 4 field:28 DPORT, Enable, CMD:3, Mask:ffff, Key:50\n");
    DIRECTED_EQ(IFC_LUT0_Rule[4].word[0], 0);
}

void readBackSurvivesTimeOuts()
{
    powerOn(0);
    DIRECTED_EQ(ifc_get_rule_from_reg(0), 0);
    DIRECTED_EQ(lines(text()), 11 + 1);
    DIRECTED_EQ(count(Kind::Wait), 33);
    forget();
    const int ids[] = {8, -1, 0x7FFFFFFF, -0x7FFFFFFF - 1};
    for (const int id : ids)
        DIRECTED_EQ(ifc_get_rule_from_reg(id), -1);
    DIRECTED_EQ(lines(text()), 4);
    DIRECTED_TRAFFIC;
}

void readBackTracesFirst()
{
    gpIfcPriv->dbgLevel = DBG_MSG;
    DIRECTED_EQ(ifc_get_rule_from_reg(0), 0);
    DIRECTED_EQ(lines(text()), 11 + 1);
}

void printsAllLevels()
{
    IFC_LUT0_Format rule{};
    rule.word[0] = 0x80000000 | 1u << 1; // SMAC alone
    const uint8 levels[] = {0, 1, 2, 3};
    for (const uint8 level : levels) {
        gpIfcPriv->dbgLevel = level;
        forget();
        DIRECTED_EQ(ifc_parser_lut0_rule(&rule, 12), 0);
        DIRECTED_EQ(lines(text()), level == 0 ? 1 : 31);
    }
    const char *expected =
        "@LUT0-12 field: 1 DMAC; Disable.\nLUT0-12 field: 2 SMAC, Enable, CMD:0, Mask:0_0, Key:0_0\n"
        "@LUT0-12 field: 3 DIPv4; Disable.\n";
    const char *got = text();
    while (*expected != '\0' && *got == *expected)
        ++got, ++expected;
    DIRECTED_EQ(*expected, '\0');
    DIRECTED_TRAFFIC;
    DIRECTED_EQ(rule.word[0], 0x80000002u);
}

void namesTheShadowHw()
{
    (void)ifc_set_lut0_rules(7, IFC_ENABLE, DPORT, 1, 0, 0xFFFF, 0, 0x50);
    forget();
    DIRECTED_EQ(ifc_get_rule_from_hw(7), 0);
    DIRECTED_EQ(ifc_get_rule_from_hw(0), 0);
    DIRECTED_TEXT("LUT0- 7 field:28 DPORT, Enable, CMD:1, Mask:ffff, Key:50\nLUT0- 0 : Disable.\n");
    forget();
    DIRECTED_EQ(ifc_get_rule_from_hw(8), 0);
    DIRECTED_EQ(lines(text()), 8);
    const int ids[] = {9, -1, 0x7FFFFFFF, -0x7FFFFFFF - 1};
    for (const int id : ids)
        DIRECTED_EQ(ifc_get_rule_from_hw(id), -1);
    DIRECTED_TRAFFIC; // despite the name, and without the lock
}

constexpr Case kCases[] = {
    {"Dump.EmptyTables", dumpsEmptyTables},
    {"Dump.WideRules", dumpsWideRules},
    {"Dump.NarrowEntries", dumpsNarrowEntries},
    {"Dump.ReadsBack", readsBack},
    {"Dump.ReadBackSurvivesTimeOuts", readBackSurvivesTimeOuts},
    {"Dump.ReadBackTracesFirst", readBackTracesFirst},
    {"Dump.PrintsAtAllLevels", printsAllLevels},
    {"Dump.NamesTheShadowHw", namesTheShadowHw},
};

} // namespace
extern const Group kDumpGroup;
constinit const Group kDumpGroup = groupOf(kCases);
} // namespace directed
