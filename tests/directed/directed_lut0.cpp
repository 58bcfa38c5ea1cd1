// SPDX-License-Identifier: MIT OR GPL-2.0
// The wide rule: codec, programming, deletion.
#include "directed.h"

namespace directed
{
namespace
{

void packsAndUnpacks()
{
    uint masks[32];
    uint keys[32];
    for (uint n = 0; n < 32; ++n) {
        masks[n] = 0x9E3779B9u * (n + 1);
        keys[n] = 0x85EBCA6Bu * (n + 1);
    }
    for (auto &word : IFC_LUT0_Rule[6].word)
        word = 0xA5A5A5A5;
    set_lut0_mask_key(6, masks, keys);
    DIRECTED_EQ(masks[31], 0x9E3779B9u * 32); // the caller's arrays stay
    DIRECTED_EQ(IFC_LUT0_Rule[6].word[40], keys[0]);
    DIRECTED_EQ(IFC_LUT0_Rule[6].word[18], masks[3]);
    DIRECTED_EQ(IFC_LUT0_Rule[6].word[23], (keys[29] & 0xFFFF) << 16 | (keys[28] & 0xFFFF));
    DIRECTED_EQ(IFC_LUT0_Rule[6].word[22] >> 18, 0xA5A5A5A5u >> 18); // reserved bits stay
    DIRECTED_EQ(IFC_LUT0_Rule[6].word[0], 0xA5A5A5A5u);
    DIRECTED_EQ(IFC_LUT0_Rule[5].word[40] | IFC_LUT0_Rule[7].word[40], 0);

    uint read[2][32];
    get_lut0_mask_key(6, read[0], read[1]);
    DIRECTED_EQ(read[0][2], masks[2]);
    DIRECTED_EQ(read[1][13], keys[13] & 0xFFFFF);
    DIRECTED_EQ(read[0][31], masks[31] & 3);
    DIRECTED_EQ(read[1][18], keys[18] & 0xFFF);
    uint other[2][32];
    set_lut0_mask_key_to_array(&IFC_LUT0_Rule[6], other[0], other[1]);
    for (uint n = 0; n < 64; ++n)
        DIRECTED_EQ(other[n / 32][n % 32], read[n / 32][n % 32]);
    set_lut0_mask_key(5, other[0], other[1]);
    DIRECTED_EQ(IFC_LUT0_Rule[5].word[30], IFC_LUT0_Rule[6].word[30]);
    DIRECTED_TRAFFIC;
}

void enablesAField()
{
    DIRECTED_EQ(ifc_set_lut0_rules(2, IFC_ENABLE, DPORT, 3, ~0u, 0xFFFF, ~0u, 0x1234), 0);
    DIRECTED_EQ(IFC_LUT0_Rule[2].word[0], 0x88000000u);
    DIRECTED_EQ(IFC_LUT0_Rule[2].word[1], 3u << 22);
    DIRECTED_EQ(IFC_LUT0_Rule[2].word[4], 0xFFFF);
    DIRECTED_EQ(IFC_LUT0_Rule[2].word[23], 0x1234);
    DIRECTED_TRAFFIC.rewrite();
    DIRECTED_TEXT("");
}

void enablesAMac()
{
    (void)ifc_set_lut0_rules(0, IFC_ENABLE, SMAC, 0, 0xFFFF, ~0u, 0x6677, 0x8899AABB);
    (void)ifc_set_lut0_rules(0, IFC_ENABLE, DMAC, 0, 0xABCDFF00, ~0u, 0x99990011, 0x22334455);
    DIRECTED_EQ(IFC_LUT0_Rule[0].word[40], 0x22334455);
    DIRECTED_EQ(IFC_LUT0_Rule[0].word[39], 0xAABB0011u);
    DIRECTED_EQ(IFC_LUT0_Rule[0].word[38], 0x66778899);
    DIRECTED_EQ(IFC_LUT0_Rule[0].word[20], 0xFFFFFF00u);
}

void disablingSwitchesTheRuleOff()
{
    (void)ifc_set_lut0_rules(4, IFC_ENABLE, DIPv4, 1, 0, ~0u, 0, 1);
    (void)ifc_set_lut0_rules(4, IFC_ENABLE, DPORT, 1, 0, 1, 0, 1);
    DIRECTED_EQ(ifc_set_lut0_rules(4, IFC_DISABLE, DPORT, 1, 0, 0, 0, 0), 0);
    DIRECTED_EQ(IFC_LUT0_Rule[4].word[0], 0);
    DIRECTED_EQ(IFC_LUT0_Rule[4].word[18], 0xFFFFFFFFu);
}

void aWideCommandSpills()
{
    (void)ifc_set_lut0_rules(0, IFC_ENABLE, SINF, 7, 0, 1, 0, 1);
    DIRECTED_EQ(IFC_LUT0_Rule[0].word[2], 7u << 26);
}

void refuses()
{
    DIRECTED_EQ(ifc_set_lut0_rules(8, IFC_ENABLE, 0, 9, 0, 1, 0, 1), -1);
    DIRECTED_EQ(ifc_set_lut0_rules(0, IFC_ENABLE, 0, 9, 0, 1, 0, 1), -1);
    DIRECTED_EQ(ifc_set_lut0_rules(0, IFC_ENABLE, 32, 0, 0, 1, 0, 1), -1);
    DIRECTED_EQ(ifc_set_lut0_rules(0, IFC_DISABLE, FLOW_LABEL, 2, 0, 1, 0, 1), -1);
    DIRECTED_TEXT("@Error: Lut0 Index is 8, which should less than 8\n"
                  "@Error: lut0 Field Index should between 1 and 31\n"
                  "@Error: lut0 Field Index should between 1 and 31\n"
                  "@Error: the command of FLOW_LABEL should less than 2!\n");
    DIRECTED_TRAFFIC;
}

void deletes()
{
    (void)ifc_set_lut0_rules(6, IFC_ENABLE, VID0, 3, 0, 0xFFF, 0, 0x123);
    forget();
    ifc_delete_lut0(6);
    uint32_t all = 0;
    for (const uint32_t word : IFC_LUT0_Rule[6].word)
        all |= word;
    DIRECTED_EQ(all, 0);
    DIRECTED_TRAFFIC;
}

constexpr Case kCases[] = {
    {"Lut0.PacksAndUnpacks", packsAndUnpacks},
    {"Lut0.EnablesAField", enablesAField},
    {"Lut0.EnablesAMac", enablesAMac},
    {"Lut0.DisablingSwitchesTheRuleOff", disablingSwitchesTheRuleOff},
    {"Lut0.AWideCommandSpills", aWideCommandSpills},
    {"Lut0.Refuses", refuses},
    {"Lut0.Deletes", deletes},
};

} // namespace
extern const Group kLut0Group;
constinit const Group kLut0Group = groupOf(kCases);
} // namespace directed
