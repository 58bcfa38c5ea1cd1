// SPDX-License-Identifier: MIT OR GPL-2.0
// Automatic placement, matching and deletion.
#include "directed.h"

namespace directed
{
namespace
{

constexpr uint64_t kAll = 0xFFFFFFFFFFFF;
constexpr uint64_t kMac = 0x001122334455;

const Condition kChain[] = {{DIPv4, 0, 0xFFFFFF00, 0x0A000000}, {DPORT, 2, 0xFFFF, 80}, {35, 1, 0xFF, 1}};
const Condition kWide[] = {{SINF, 0, 1, 1}, {FRAME_TYPE, 0, 1, 1}, {VPM0, 0, 1, 1},
                           {VPM1, 0, 1, 1}, {VID0, 0, 1, 1},       {PBIT0, 0, 1, 1},
                           {VID1, 0, 1, 1}, {PBIT1, 0, 1, 1},      {ETYPE, 0, 0xFFFF, 0x800}};

void findsTheShortestRun()
{
    for (uint n = 0; n < 32; ++n)
        IFC_LUT1_Rule[n].word[0] =
            (n >= 1 && n <= 5) || (n >= 8 && n <= 10) || (n >= 20 && n <= 22) ? 0 : 0x8000;
    DIRECTED_EQ(lut1_has_free_rule(3), 8);
    DIRECTED_EQ(lut1_has_free_rule(4), 1);
    DIRECTED_EQ(lut1_has_free_rule(6), -1);
    DIRECTED_TRAFFIC;
}

void placesAChain()
{
    orva_ifc_param *const request = requestOf(kChain);
    DIRECTED_EQ(ifc_set_lut_rules_auto(request), 8 + 2);
    DIRECTED_TEXT("@action index is 10\n");
    DIRECTED_EQ(count(Kind::Write), 4 * 528);
    DIRECTED_EQ(IFC_LUT1_Rule[0].type1.end + IFC_LUT1_Rule[1].type0.end, 0);
    DIRECTED_EQ(IFC_LUT1_Rule[2].type0.end, 1);
}

void placesAWideRule()
{
    orva_ifc_param *const request = requestOf(kWide);
    DIRECTED_EQ(ifc_set_lut_rules_auto(request), 0);
    DIRECTED_EQ(ifc_set_lut_rules_auto(request), 1);
    DIRECTED_EQ(IFC_LUT0_Rule[1].word[0], 0x80000000u | 0xFFu << 13 | 1u << 21);
}

void refusesAnEmptyList()
{
    DIRECTED_EQ(ifc_set_lut_rules_auto(requestOf(nullptr, 0)), -1);
    DIRECTED_TEXT("@Parameters should not be NULL!\n");
    DIRECTED_TRAFFIC;
}

void deletesAChain()
{
    orva_ifc_param *const request = requestOf(kChain);
    (void)ifc_set_lut_rules_auto(request);
    forget();
    DIRECTED_EQ(ifc_match_rule_lut1(request, 3, 0), 1);
    DIRECTED_EQ(ifc_match_rule_lut1(request, 3, 1), 0);
    forget();
    DIRECTED_EQ(ifc_del_lut_rules_auto(request), 0);
    DIRECTED_TEXT("@del ifc lut0 rule not find\n@del ifc action index  8\n@del ifc rule index 8\n"
                  "@del ifc action index  9\n@del ifc rule index 9\n@del ifc action index  10\n"
                  "@del ifc rule index 10\n");
    DIRECTED_EQ(count(Kind::Write), 3 * 5 + 528);
    DIRECTED_EQ(IFC_LUT1_Rule[0].word[0] | IFC_LUT1_Rule[2].word[1], 0);
}

void deletesAWideRule()
{
    orva_ifc_param *const request = requestOf(kWide);
    (void)ifc_set_lut_rules_auto(request);
    DIRECTED_EQ(ifc_match_rule_lut0(request, 9, 0), 1);
    DIRECTED_EQ(ifc_match_rule_lut0(request, 8, 0), 0);
    forget();
    DIRECTED_EQ(ifc_del_lut_rules_auto(request), 0);
    DIRECTED_TEXT("@del ifc action index  0\n@del ifc lut1 rule not find\n");
    DIRECTED_EQ(ifc_del_lut_rules_auto(request), -1);
}

void matchesOneEntry()
{
    const Condition mac[] = {{DMAC, 0, kAll, kMac}};
    orva_ifc_param *const request = requestOf(mac);
    (void)ifc_set_lut_rules_auto(request);
    forget();
    ifc_field_param p{};
    p.fieldIdx = DMAC;
    p.mask = 0xFFFFFFFF;
    p.mask_high = 0xFFFF;
    p.key = 0x22334455;
    p.key_high = 0x0011;
    DIRECTED_EQ(ifc_match_lut1(p), 0);
    p.key = 0x22334400; // the high part stands by itself
    DIRECTED_EQ(ifc_match_lut1(p), 1);
    p.key_high = 0x0012;
    DIRECTED_EQ(ifc_match_lut1(p), -1);
    DIRECTED_TRAFFIC;
}

void nothingToDelete()
{
    const Condition one[] = {{DPORT, 0, 0xFFFF, 81}};
    const Condition flow[] = {{FLOW_LABEL, 0, 1, 1}};
    orva_ifc_param *const request = requestOf(one);
    DIRECTED_EQ(ifc_del_lut_rules_auto(request), -1);
    orva_ifc_param *const unsupported = requestOf(flow);
    DIRECTED_EQ(ifc_del_lut_rules_auto(unsupported), -1);
    DIRECTED_TEXT("@del ifc lut0 rule not find\n@del ifc lut1 rule not find\n@del fieldIdx 13 not support\n");
    DIRECTED_TRAFFIC;
}

constexpr Case kCases[] = {
    {"Placement.FindsTheShortestRun", findsTheShortestRun},
    {"Placement.PlacesAChain", placesAChain},
    {"Placement.PlacesAWideRule", placesAWideRule},
    {"Placement.RefusesAnEmptyList", refusesAnEmptyList},
    {"Placement.DeletesAChain", deletesAChain},
    {"Placement.DeletesAWideRule", deletesAWideRule},
    {"Placement.MatchesOneEntry", matchesOneEntry},
    {"Placement.NothingToDelete", nothingToDelete},
};

} // namespace
extern const Group kPlacementGroup;
constinit const Group kPlacementGroup = groupOf(kCases);
} // namespace directed
