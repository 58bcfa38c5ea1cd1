// SPDX-License-Identifier: MIT OR GPL-2.0
// The narrow entry: mask reduction, programming, deletion.
#include "directed.h"

namespace directed
{
namespace
{

constexpr uint32_t kValid = 0x8000, kEnd = 0x4000, kType1 = 0x2000;

void reducesMasks()
{
    DIRECTED_EQ(change_mask_from_48_to_32(0xFFFF, 0xFFFFFFFF, 48), 48);
    DIRECTED_EQ(change_mask_from_48_to_32(0xFFFF, 0, 48), 16);
    DIRECTED_EQ(change_mask_from_48_to_32(0, 0xFF, 48), 0x80000008u);
    DIRECTED_EQ(change_mask_from_48_to_32(0, 0xFFFFFF00, 32), 24);
    DIRECTED_EQ(change_mask_from_48_to_32(0x1234, 0xFFFFFFFF, 32), 32);
    DIRECTED_EQ(change_mask_from_48_to_32(0, 0x00FF00FF, 32), 0xFFFFFFFFu);
    DIRECTED_EQ(change_mask_from_48_to_32(0, 0, 32), 0xFFFFFFFFu);
    DIRECTED_TEXT("mask should be left->right or right->left, but mask:  ff00ff\nmask should not be 0!\n"
                  "mask should be left->right or right->left, but mask:       0\n");
    DIRECTED_TRAFFIC;
}

void aMacTakesTwoEntries()
{
    DIRECTED_EQ(ifc_set_lut1_rules(4, IFC_ENABLE, 1, DMAC, 1, 48, 0xABCD0011, 0x22334455), 6);
    DIRECTED_EQ(IFC_LUT1_Rule[4].word[0], kValid | kType1 | 1u << 6 | 1);
    DIRECTED_EQ(IFC_LUT1_Rule[4].word[1], 0x22334455);
    DIRECTED_EQ(IFC_LUT1_Rule[5].word[0], kValid | kEnd | 2u << 8 | 1u << 6 | 1);
    DIRECTED_EQ(IFC_LUT1_Rule[5].word[1], 0xFFFF0011u);
    DIRECTED_TRAFFIC.rewrite();
    DIRECTED_TEXT("");
}

void halfAMacTakesOne()
{
    DIRECTED_EQ(ifc_set_lut1_rules(4, IFC_ENABLE, 1, SMAC, 0, 16, 0x1234, 0x55), 5);
    DIRECTED_EQ(IFC_LUT1_Rule[4].word[0], kValid | kEnd | 2u << 8 | 2);
    DIRECTED_EQ(IFC_LUT1_Rule[4].word[1], 0xFFFF1234u);
    DIRECTED_EQ(IFC_LUT1_Rule[5].word[0], 0);
}

void wordsAndHalfwords()
{
    DIRECTED_EQ(ifc_set_lut1_rules(31, IFC_ENABLE, 3, DIPv4, 1, 24, 0xFFFF, 0x0A000000), 32);
    DIRECTED_EQ(IFC_LUT1_Rule[31].word[0], kValid | kEnd | kType1 | 24u << 8 | 1u << 6 | 3);
    DIRECTED_EQ(ifc_set_lut1_rules(1, IFC_ENABLE, 0, SIPv6_127_96, 0, 32, 0, 5), 2);
    DIRECTED_EQ(IFC_LUT1_Rule[1].word[0], kValid | kType1 | 12); // 32 is stored as 0
    for (uint field = UDF0; field <= UDF15; ++field) {
        DIRECTED_EQ(ifc_set_lut1_rules(15, IFC_ENABLE, 1, field, 3, 0xABCD00FF, 0xFFFF, 0x99991234), 16);
        DIRECTED_EQ(IFC_LUT1_Rule[15].word[0], kValid | kEnd | 3u << 6 | field);
        DIRECTED_EQ(IFC_LUT1_Rule[15].word[1], 0x00FF1234);
    }
}

void disablingClearsOneValidBit()
{
    (void)ifc_set_lut1_rules(4, IFC_ENABLE, 1, DMAC, 0, 48, 1, 2);
    const uint32_t before = IFC_LUT1_Rule[4].word[0];
    DIRECTED_EQ(ifc_set_lut1_rules(4, IFC_DISABLE, 0, DMAC, 0, 48, 0, 0), 5);
    DIRECTED_EQ(IFC_LUT1_Rule[4].word[0], before & ~kValid);
    DIRECTED_EQ(IFC_LUT1_Rule[5].type0.valid, 1);
}

void refuses()
{
    DIRECTED_EQ(ifc_set_lut1_rules(32, IFC_ENABLE, 1, 0, 0, 0, 0, 0), -1);
    DIRECTED_EQ(ifc_set_lut1_rules(0, IFC_ENABLE, 1, 48, 0, 0, 0, 0), -1);
    DIRECTED_EQ(ifc_set_lut1_rules(0, IFC_DISABLE, 1, SMAC, 2, 0, 0, 0), -1);
    DIRECTED_EQ(ifc_set_lut1_rules(15, IFC_ENABLE, 1, DMAC, 0, 16, 0, 0), -1);
    DIRECTED_TEXT("@Error: Lut1 Index is 32, which should less than 32\n"
                  "@Error: Field Index is 48, which should between 1 and 47\n"
                  "@Error: the command of SMAC should less than 2!\n"
                  "@Error: fieldIdx:DMAC, ifcIndex:15, forbidden cross sub-table!\n");
    DIRECTED_TRAFFIC;
}

void deletes()
{
    (void)ifc_set_lut1_rules(9, IFC_ENABLE, 1, DPORT, 0, 0xFFFF, 0, 80);
    forget();
    ifc_delete_lut1(9);
    DIRECTED_EQ(IFC_LUT1_Rule[9].word[0] | IFC_LUT1_Rule[9].word[1], 0);
    DIRECTED_TRAFFIC;
}

constexpr Case kCases[] = {
    {"Lut1.ReducesMasks", reducesMasks},
    {"Lut1.AMacTakesTwoEntries", aMacTakesTwoEntries},
    {"Lut1.HalfAMacTakesOne", halfAMacTakesOne},
    {"Lut1.WordsAndHalfwords", wordsAndHalfwords},
    {"Lut1.DisablingClearsOneValidBit", disablingClearsOneValidBit},
    {"Lut1.Refuses", refuses},
    {"Lut1.Deletes", deletes},
};

} // namespace
extern const Group kLut1Group;
constinit const Group kLut1Group = groupOf(kCases);
} // namespace directed
