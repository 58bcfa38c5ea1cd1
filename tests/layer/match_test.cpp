// SPDX-License-Identifier: MIT OR GPL-2.0
// One wide rule, a range of narrow entries and a single condition against a request.
#include "tests/support/check.h"
#include "tests/support/rules.h"

using namespace support;

TEST(WideMatch, ComparesEverythingExactly)
{
    (void)ifc_set_lut0_rules(0, IFC_ENABLE, DMAC, 1, 0xFFFF, 0xFFFFFFFF, 0x0011, 0x22334455);
    (void)ifc_set_lut0_rules(0, IFC_ENABLE, SMAC, 0, 0xFF00, 0x0000FFFF, 0x6600, 0xAABB);
    (void)ifc_set_lut0_rules(0, IFC_ENABLE, DPORT, 3, 0, 0xFFFF, 0, 80);
    forget();
    constexpr auto rule = list<RequestCondition>(
        {{DMAC, 1, kAll, kMac}, {SMAC, 0, 0xFF000000FFFF, 0x66000000AABB}, {DPORT, 3, 0xFFFF, 80}});
    EXPECT_EQ(matchWide(rule.values, 3), 1);
    EXPECT_EQ(matchWide(rule.values, 2), 0) << "another number of enabled fields";
    EXPECT_EQ(matchWide({rule.values[2], rule.values[0], rule.values[1]}, 3), 1) << "any order";
    EXPECT_EQ(matchWide({rule.values[0], rule.values[0], rule.values[0]}, 3), 1)
        << "repetition is not noticed";
    EXPECT_EQ(matchWide({rule.values[0], rule.values[1], rule.values[2], rule.values[0]}, 3), 1)
        << "more than enough passed";
    EXPECT_EQ(matchWide({rule.values[0], rule.values[1]}, 3), 0) << "one condition short";
    EXPECT_EQ(matchWide({rule.values[0], rule.values[1], rule.values[2], {SPORT, 0, 1, 1}}, 3), 1)
        << "enough passed before the failure";
    for (unsigned i = 0; i < 3; ++i) {
        auto other = rule;
        other.values[i].command ^= 1;
        EXPECT_EQ(matchWide(other.values, 3), 0);
        other = rule;
        other.values[i].mask ^= 1;
        EXPECT_EQ(matchWide(other.values, 3), 0);
        other = rule;
        other.values[i].key ^= 1;
        EXPECT_EQ(matchWide(other.values, 3), 0);
        other = rule;
        other.values[i].mask ^= uint64_t{1} << 32;
        EXPECT_EQ(matchWide(other.values, 3), i < 2 ? 0 : 1) << "high words count for MACs only";
        other = rule;
        other.values[i].key ^= uint64_t{1} << 40;
        EXPECT_EQ(matchWide(other.values, 3), i < 2 ? 0 : 1);
        other = rule;
        other.values[i].field = 32;
        EXPECT_EQ(matchWide(other.values, 3), 0);
        other.values[i].field = 0xFFFFFFFF;
        EXPECT_EQ(matchWide(other.values, 3), 0);
    }
    auto wide = rule;
    wide.values[2].mask = 0x1FFFF; // the rule cannot hold it, so it differs
    EXPECT_EQ(matchWide(wide.values, 3), 0);
    IFC_LUT0_Rule[0].bits.valid = 0;
    EXPECT_EQ(matchWide(rule.values, 3), 0);
    EXPECT_NO_TRAFFIC();
    EXPECT_NOTHING_PRINTED();
}

TEST(WideMatch, StopsAfter31Conditions)
{
    for (unsigned field = 1; field <= 31; ++field)
        (void)ifc_set_lut0_rules(0, IFC_ENABLE, field, 0, 0, 1, 0, 1);
    auto &request = requestOnFields(48, 1);
    for (unsigned n = 31; n < 48; ++n)
        request.fieldIdx[n] = 99;
    EXPECT_EQ(ifc_match_rule_lut0(&request, 31, 0), 1);
}

TEST(NarrowMatch, OnlyFourBitsOfAMacLengthAreCompared)
{
    // 40 bits: 24 of them in the low part, but the low four bits of 40 are 8.
    const RequestCondition mac = {DMAC, 0, 0xFFFFFFFFFF00, 0x001122334400};
    place({mac});
    EXPECT_EQ(IFC_LUT1_Rule[0].type1.length, 24u);
    EXPECT_EQ(find(mac), 1) << "not at its low part, only at its high part";
    IFC_LUT1_Rule[0].type1.length = 8;
    EXPECT_EQ(find(mac), 0) << "but an entry with a length of 8 passes";
    // 24 bits from the top: 8 of them in the low part, which agrees.
    const RequestCondition agrees = {DMAC, 0, 0xFFFFFF000000, 0x001122000000};
    (void)clear_all_ifc_rules();
    place({agrees});
    EXPECT_EQ(find(agrees), 0);
}

TEST(NarrowMatch, ComparesARange)
{
    constexpr auto rule =
        list<RequestCondition>({{SIPv4, 1, 0xFFFF0000, 0x0A0B0000}, {DPORT, 2, 0xFF00, 0x1200}});
    place(rule.values);
    EXPECT_EQ(matchNarrow(rule.values, 2, 0), 1);
    EXPECT_EQ(matchNarrow(rule.values, 0, 0), 1) << "no entries, no question";
    EXPECT_EQ(matchNarrow(rule.values, 1, 0), 1);
    EXPECT_EQ(matchNarrow(rule.values, 1, 1), 0);
    IFC_LUT1_Rule[2].word[0] = 1;
    EXPECT_EQ(matchNarrow(rule.values, 3, 0), 0) << "field 0 after the list is not in the range";
    IFC_LUT1_Rule[2] = {};
    EXPECT_EQ(matchNarrow({rule.values[0], rule.values[1], {0, 0, 0, 0}}, 3, 0), 1)
        << "but an all-zero entry holds it";
    IFC_LUT1_Rule[0].type1.valid = 0;
    IFC_LUT1_Rule[1].type0.end = 0;
    IFC_LUT1_Rule[0].type1.type = 0;
    EXPECT_EQ(matchNarrow(rule.values, 2, 0), 1)
        << "valid, end, and the type of an IPv4 address are not looked at";
    for (unsigned i = 0; i < 2; ++i) {
        auto other = rule;
        other.values[i].command ^= 1;
        EXPECT_EQ(matchNarrow(other.values, 2, 0), 0);
        other = rule;
        other.values[i].key ^= 0x100;
        EXPECT_EQ(matchNarrow(other.values, 2, 0), 0);
        other = rule;
        other.values[i].mask = 0x8000;
        EXPECT_EQ(matchNarrow(other.values, 2, 0), 0);
        other = rule;
        other.values[i].field = 99;
        EXPECT_EQ(matchNarrow(other.values, 2, 0), 0);
    }
    auto wide = rule;
    wide.values[1].mask |= 0xABCD0000;
    wide.values[1].key |= 0xABCD0000;
    EXPECT_EQ(matchNarrow(wide.values, 2, 0), 1) << "16 bits count";
    wide.values[1].key ^= 0x8000;
    EXPECT_EQ(matchNarrow(wide.values, 2, 0), 0) << "all of them";
    auto same = rule;
    same.values[0].mask = 0x0000FFFF; // 16 bits, from the other end
    EXPECT_EQ(matchNarrow(same.values, 2, 0), 0);
    EXPECT_NO_TRAFFIC();
}

TEST(NarrowMatch, AFieldInTheIpv6ClassIsComparedLikeAHalfword)
{
    IFC_LUT1_Rule[0].word[0] = DIPv6_31_0;
    IFC_LUT1_Rule[0].word[1] = 0x00FF0012;
    EXPECT_EQ(matchNarrow({{DIPv6_31_0, 0, 0xFF, 0x12}}, 1, 0), 1);
}

TEST(NarrowMatch, AnIrreducibleMaskSpeaksUpAtEachEntryLookedAt)
{
    place({{DPORT, 0, 1, 1}, {SPORT, 0, 1, 1}, {VID0, 0, 1, 1}});
    EXPECT_EQ(matchNarrow({{DIPv4, 0, 0x00FF00FF, 1}}, 3, 0), 0);
    EXPECT_EQ(pieces(), 3u);
    forget();
    EXPECT_EQ(matchNarrow({{DMAC, 0, 0x00FF00FF, 1}}, 3, 0), 0);
    EXPECT_EQ(pieces(), 0u) << "a MAC asks at entries of type 1 only";
    for (unsigned n = 0; n < 3; ++n)
        IFC_LUT1_Rule[n].type0.type = n != 1;
    EXPECT_EQ(matchNarrow({{DMAC, 0, 0x00FF00FF, 1}}, 3, 0), 0);
    EXPECT_PRINTED("mask should be left->right or right->left, but mask:0000  ff00ff\n",
                   "mask should be left->right or right->left, but mask:0000  ff00ff\n");
    forget();
    // A failed reduction is compared like any other: direction 1, length 31.
    IFC_LUT1_Rule[1].word[0] = 31u << 8 | 1u << 7 | DIPv4;
    IFC_LUT1_Rule[1].word[1] = 5;
    EXPECT_EQ(matchNarrow({{DIPv4, 0, 0x00FF00FF, 5}}, 1, 1), 1);
    EXPECT_EQ(pieces(), 1u);
}

TEST(NarrowMatch, AFailedReductionOfAMacIsComparedLikeAnyOther)
{
    const RequestCondition mac = {SMAC, 0, 0x00FF00FF, 5};
    // Direction 1, and the low four bits of the length.
    IFC_LUT1_Rule[3].word[0] = 0x2000 | 15u << 8 | 1u << 7 | SMAC;
    IFC_LUT1_Rule[3].word[1] = 5;
    EXPECT_EQ(find(mac), 3);
    EXPECT_EQ(matchNarrow({mac}, 1, 3), 1) << "nothing after it disagrees";
    EXPECT_EQ(pieces(), 2u) << "one entry of type 1, asked twice";
    for (const unsigned length : list({0u, 14u, 31u})) {
        IFC_LUT1_Rule[3].type1.length = length & 31;
        EXPECT_EQ(find(mac), -1) << length;
        EXPECT_EQ(matchNarrow({mac}, 1, 3), 0) << length;
    }
    IFC_LUT1_Rule[3].word[0] = 0x2000 | 15u << 8 | SMAC;
    EXPECT_EQ(find(mac), -1) << "the other direction";
}

TEST(NarrowMatch, AMacStepsOverTheNextCondition)
{
    place({{DMAC, 0, kAll, kMac}, {DPORT, 0, 0xFFFF, 80}});
    // Index 0 is the MAC, index 2 the end of the list. Entry 3 is outside the range, so the search fails.
    EXPECT_EQ(matchNarrow({{DMAC, 0, kAll, kMac}, {DPORT, 0, 0xFFFF, 81}}, 3, 0), 0);
    // An all-zero entry in the range matches the end of the list, and the wrong port was skipped.
    IFC_LUT1_Rule[2] = {};
    EXPECT_EQ(matchNarrow({{DMAC, 0, kAll, kMac}, {DPORT, 0, 0xFFFF, 81}}, 3, 0), 1);
}

TEST(NarrowMatch, ALowPartInMidRangeUsesUpTheNextEntry)
{
    place({{DMAC, 0, kAll, kMac}});
    const IFC_LUT1_Format low = IFC_LUT1_Rule[0];
    const IFC_LUT1_Format high = IFC_LUT1_Rule[1];
    const RequestCondition rule[] = {{DMAC, 0, kAll, kMac}};
    IFC_LUT1_Rule[0] = low;
    IFC_LUT1_Rule[1] = low; // taken by the first low part
    IFC_LUT1_Rule[2] = high;
    IFC_LUT1_Rule[3] = {};
    EXPECT_EQ(matchNarrow({rule[0], {0, 0, 0, 0}}, 2, 2), 1) << "a high part alone is a MAC";
    EXPECT_EQ(matchNarrow({rule[0], {0, 0, 0, 0}, {0, 0, 0, 0}}, 3, 0), 0)
        << "the high part after is found, then the list's end is not";
    IFC_LUT1_Rule[2] = {};
    IFC_LUT1_Rule[3] = high;
    EXPECT_EQ(matchNarrow({rule[0], rule[0]}, 2, 0), 0) << "nothing left after the entry that was used up";
}

TEST(NarrowMatch, ALowPartAtTheEndLooksPastTheRange)
{
    place({{DMAC, 0, kAll, kMac}});
    const RequestCondition rule[] = {{DMAC, 0, kAll, kMac}};
    EXPECT_EQ(matchNarrow(rule, 1, 0), 0) << "a matching high part past the range fails the whole";
    IFC_LUT1_Rule[1].type0.key ^= 1;
    EXPECT_EQ(matchNarrow(rule, 1, 0), 1) << "anything else counts as found";
    IFC_LUT1_Rule[31] = IFC_LUT1_Rule[0];
    EXPECT_EQ(matchNarrow(rule, 1, 31), 1) << "after the last entry everything is zero";
    EXPECT_EQ(matchNarrow({{DMAC, 0, kAll, kMac}, {DMAC, 0, kAll, kMac}}, 2, 31), 0)
        << "then the search goes on in the rest of the range";
}

TEST(NarrowMatch, TheEntriesAfterTheLastAreAllZero)
{
    for (auto &entry : IFC_LUT1_Rule)
        entry.word[0] = entry.word[1] = 0xFFFFFFFF;
    EXPECT_EQ(ifc_match_rule_lut1(&requestOf(nullptr, 0), 1, 31), 0);
    EXPECT_EQ(ifc_match_rule_lut1(&requestOf(nullptr, 0), 2, 31), 1) << "the one after it holds field 0";
}

TEST(NarrowMatch, RequestsEndWithTheirArrays)
{
    auto &request = requestOf(nullptr, 0);
    EXPECT_EQ(ifc_match_rule_lut1(&request, 60, 0), 1) << "all-zero entries hold the field 0";
    request.command[0] = 3; // the word after the last field of the request
    IFC_LUT1_Rule[0].type0.command = 3;
    EXPECT_EQ(ifc_match_rule_lut1(&request, 60, 0), 1) << "no more than 48 conditions are read";
}

TEST(NarrowMatch, AMacHighPartComparesWholeWords)
{
    place({{DMAC, 0, kAll, kMac}});
    auto &request = requestOf({{DMAC, 0, kAll, kMac}});
    EXPECT_EQ(ifc_match_rule_lut1(&request, 2, 0), 1);
    request.key_high[0] |= 0x10000;
    EXPECT_EQ(ifc_match_rule_lut1(&request, 2, 0), 0);
    request.key_high[0] &= 0xFFFF;
    IFC_LUT1_Rule[1].type0.sel = 0;
    EXPECT_EQ(ifc_match_rule_lut1(&request, 2, 0), 1) << "Sel is not tested";
    IFC_LUT1_Rule[1].type0.field = SMAC;
    EXPECT_EQ(ifc_match_rule_lut1(&request, 2, 0), 0);
}

TEST(NarrowMatch, FindsASingleConditionByItsLowestEntry)
{
    place({{DIPv4, 0, 0xFFFFFF00, 0x0A000000}, {DPORT, 2, 0xFFFF, 80}, {DMAC, 0, kAll, kMac}});
    EXPECT_EQ(find({DIPv4, 0, 0xFFFFFF00, 0x0A000000}), 0);
    EXPECT_EQ(find({DPORT, 2, 0xFFFF, 80}), 1);
    EXPECT_EQ(find({DMAC, 0, kAll, kMac}), 2);
    EXPECT_EQ(find({DMAC, 0, kAll, kMac ^ 1}), 3) << "at its high part";
    EXPECT_EQ(find({DPORT, 1, 0xFFFF, 80}), -1);
    EXPECT_EQ(find({DMAC, 1, kAll, kMac}), -1);
    for (auto &entry : IFC_LUT1_Rule)
        entry.type0.valid = 0;
    EXPECT_EQ(find({DPORT, 2, 0xFFFF, 80}), -1) << "must be valid";
    EXPECT_EQ(find({DIPv4, 0, 0xFFFFFF00, 0x0A000000}), 0) << "need not be";
    EXPECT_EQ(find({DMAC, 0, kAll, kMac}), 2) << "need not be";
    EXPECT_EQ(find({DMAC, 0, kAll, kMac ^ 1}), 3) << "nor its high part";
    EXPECT_NO_TRAFFIC();
}

TEST(NarrowMatch, FindsIpv6WordsAndFlowLabelsLikeHalfwords)
{
    for (unsigned field = DIPv6_31_0; field <= FLOW_LABEL; ++field) {
        const unsigned entry = field + 3;
        IFC_LUT1_Rule[entry].word[0] = 0x8000 | 1u << 6 | field;
        IFC_LUT1_Rule[entry].word[1] = 0x00FF0012;
        EXPECT_EQ(find({field, 1, 0xABCD00FF, 0xABCD0012}), static_cast<int>(entry)) << "16 bits count";
        EXPECT_EQ(find({field, 0, 0xFF, 0x12}), -1);
        EXPECT_EQ(find({field, 1, 0xFE, 0x12}), -1);
        EXPECT_EQ(find({field, 1, 0xFF, 0x13}), -1);
        IFC_LUT1_Rule[entry].type0.type = 1;
        EXPECT_EQ(find({field, 1, 0xFF, 0x12}), static_cast<int>(entry)) << "the type is not looked at";
        IFC_LUT1_Rule[entry].type0.command = 3; // of an entry of type 1 that is its direction
        EXPECT_EQ(find({field, 1, 0xFF, 0x12}), -1);
        IFC_LUT1_Rule[entry].type0.command = 1;
        IFC_LUT1_Rule[entry].type0.valid = 0;
        EXPECT_EQ(find({field, 1, 0xFF, 0x12}), -1) << "must be valid";
    }
    EXPECT_NOTHING_PRINTED();
}

END_OF_TESTS(matchTests)
