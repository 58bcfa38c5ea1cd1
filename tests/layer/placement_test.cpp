// SPDX-License-Identifier: MIT OR GPL-2.0
// Free runs of narrow entries, and automatic placement.
#include "tests/support/check.h"
#include "tests/support/layer.h"
#include "tests/support/wide_places.h"

using namespace support;

namespace
{

void occupy(uint32_t bitmap)
{
    for (unsigned n = 0; n < 32; ++n)
        IFC_LUT1_Rule[n].word[0] = bitmap >> n & 1 ? 0x8000 : 0;
}

// Conditions on UDF0, UDF1 ..., or on other fields in a row.
orva_ifc_param &some(unsigned count, unsigned first = UDF0)
{
    return requestOnFields(count, first);
}

// Tries every start and length; the first among the shortest runs wins.
int bestFit(uint32_t bitmap, unsigned wanted)
{
    int best = -1;
    unsigned bestLength = 99;
    for (unsigned start = 0; start < 32; ++start) {
        const auto free = [&](unsigned n) { return (bitmap >> n & 1) == 0; };
        const bool begins = free(start) && (start % 16 == 0 || !free(start - 1));
        if (!begins)
            continue;
        unsigned length = 1;
        while ((start + length) % 16 != 0 && free(start + length))
            ++length;
        if (length >= wanted && length < bestLength) {
            best = static_cast<int>(start);
            bestLength = length;
        }
    }
    return best;
}

} // namespace

TEST(Placement, BestFitOverAllOccupanciesOfASubTable)
{
    const uint32_t step = workload(1, 13);
    for (uint32_t low = 0; low <= 0xFFFF; low += step) {
        // The other sub-table: full, free, and a mirror of the first.
        for (const uint32_t high : list({0xFFFFu, 0u, ~low & 0xFFFF})) {
            const uint32_t bitmap = high << 16 | low;
            occupy(bitmap);
            for (unsigned wanted = 0; wanted <= 17; wanted += low % 3 + 1)
                ASSERT_EQ(lut1_has_free_rule(wanted), bestFit(bitmap, wanted))
                    << hex(bitmap) << " " << wanted;
        }
    }
    EXPECT_NO_TRAFFIC();
    EXPECT_NOTHING_PRINTED();
}

TEST(Placement, ShortestRunThenLowest)
{
    occupy(0xFFFFFFFF & ~(0x1Fu << 1) & ~(7u << 8) & ~(7u << 20));
    EXPECT_EQ(lut1_has_free_rule(3), 8);
    EXPECT_EQ(lut1_has_free_rule(4), 1);
    EXPECT_EQ(lut1_has_free_rule(6), -1);
    EXPECT_EQ(lut1_has_free_rule(0), 8);
    EXPECT_EQ(lut1_has_free_rule(0xFFFFFFFF), -1);
    occupy(0xFFFFFFFF);
    EXPECT_EQ(lut1_has_free_rule(0), -1);
    occupy(~0x3C000u); // 14 to 17 free: two runs of 2
    EXPECT_EQ(lut1_has_free_rule(2), 14);
    EXPECT_EQ(lut1_has_free_rule(3), -1);
}

TEST(Placement, AnEmptyListIsRefused)
{
    orva_ifc_param &request = requestOf(nullptr, 0);
    expectNothingChanges([&] { EXPECT_EQ(ifc_set_lut_rules_auto(&request), -1); });
    EXPECT_PRINTED("@Parameters should not be NULL!\n");
    EXPECT_NO_TRAFFIC();
}

TEST(Placement, EightEntriesGoToLut1AndNineToLut0)
{
    auto &eight = some(8);
    EXPECT_EQ(ifc_set_lut_rules_auto(&eight), 8 + 7);
    EXPECT_PRINTED("@action index is 15\n");
    forget();
    auto &nine = some(9, SINF);
    EXPECT_EQ(ifc_set_lut_rules_auto(&nine), 0);
    EXPECT_EQ(ifc_set_lut_rules_auto(&nine), 1);
    EXPECT_PRINTED("@action index is 0\n", "@action index is 1\n");
    EXPECT_EQ(IFC_LUT0_Rule[1].word[0], 0x80000000u | 0x1FFu << 13);
    IFC_LUT0_Rule[0].word[0] = 0;
    EXPECT_EQ(ifc_set_lut_rules_auto(&nine), 0) << "the lowest free one";
}

TEST(Placement, AMacCountsTwice)
{
    auto &request = requestOf({{DMAC, 0, 0xFFFFFFFFFFFF, 1},
                               {SMAC, 0, 0xFFFFFFFFFFFF, 2},
                               {SINF, 0, 1, 1},
                               {VID0, 0, 1, 1},
                               {ETYPE, 0, 1, 1},
                               {DPORT, 0, 1, 1},
                               {SPORT, 0, 1, 1}});
    EXPECT_EQ(ifc_set_lut_rules_auto(&request), 0);
    request.fieldIdx[6] = 0;
    EXPECT_EQ(ifc_set_lut_rules_auto(&request), 8 + 7);
}

TEST(Placement, RewritesOncePerConditionAndOnceMore)
{
    auto &request = some(3);
    (void)ifc_set_lut_rules_auto(&request);
    EXPECT_EQ(count(Kind::Write), 4u * 528);
    EXPECT_EQ(count(Kind::Lock), 4);
    EXPECT_EQ(accesses(), 4 * 656);
    forget();
    auto &wide = some(9, SINF);
    (void)ifc_set_lut_rules_auto(&wide);
    EXPECT_EQ(count(Kind::Write), 10u * 528);
}

TEST(Placement, ALut1RuleIsWrittenConditionByCondition)
{
    auto &request = requestOf({{DIPv4, 1, 0xFFFFFF00, 0x0A000000},
                               {DPORT, 2, 0xFFFF, 80},
                               {DMAC, 0, 0xFFFFFF000000, 0x00005E000000}});
    request.key_high[0] = 0xFFFF; // not a MAC: ignored
    request.mask_high[0] = 0xFFFF;
    EXPECT_EQ(ifc_set_lut_rules_auto(&request), 8 + 3);
    EXPECT_EQ(IFC_LUT1_Rule[0].word[0], 0xA000u | 24u << 8 | 1u << 6 | 3);
    EXPECT_EQ(IFC_LUT1_Rule[1].word[0], 0x8000u | 2u << 6 | DPORT);
    EXPECT_EQ(IFC_LUT1_Rule[2].word[0], 0xA000u | 8u << 8 | 1);
    EXPECT_EQ(IFC_LUT1_Rule[2].word[1], 0x5E000000u);
    EXPECT_EQ(IFC_LUT1_Rule[3].word[0], 0xC000u | 2u << 8 | 1);
    EXPECT_EQ(IFC_LUT1_Rule[3].word[1], 0xFFFF0000u);
}

TEST(Placement, AWideRuleHoldsEachConditionWhole)
{
    RequestCondition conditions[9];
    for (unsigned n = 0; n < 7; ++n)
        conditions[n] = {SINF + n, n % 4, 3, n % 3};
    conditions[7] = {SMAC, 1, 0xFFFFFF0000FF, 0x112233000055};
    conditions[8] = {SIPv4, 0, 0x00FFFF00, 0x00A80100}; // only LUT1 needs a mask in one run
    auto &request = requestOf(conditions);
    request.key_high[8] = request.mask_high[8] = 0xFFFF; // not a MAC: ignored
    EXPECT_EQ(ifc_set_lut_rules_auto(&request), 0);
    EXPECT_EQ(IFC_LUT0_Rule[0].word[0], 0x80000000u | 0x7Fu << 13 | 1u << 1 | 1u << 3);
    for (const RequestCondition &c : conditions) {
        EXPECT_EQ(commandAt(IFC_LUT0_Rule[0], c.field), c.command) << c.field;
        EXPECT_EQ(valueAt(IFC_LUT0_Rule[0], kMaskArea, c.field), c.mask) << c.field;
        EXPECT_EQ(valueAt(IFC_LUT0_Rule[0], kKeyArea, c.field), c.key) << c.field;
    }
}

TEST(Placement, EveryUserDefinedFieldIsPlacedAndDeleted)
{
    for (unsigned field = 32; field <= 47; ++field) {
        auto &request = requestOf({{field, 3, 0xF0FF, field}});
        EXPECT_EQ(ifc_set_lut_rules_auto(&request), 8);
        EXPECT_EQ(IFC_LUT1_Rule[0].word[0], 0xC000u | 3u << 6 | field);
        EXPECT_EQ(IFC_LUT1_Rule[0].word[1], 0xF0FF0000u | field);
        EXPECT_EQ(ifc_del_lut_rules_auto(&request), 0);
        EXPECT_EQ(IFC_LUT1_Rule[0].word[0] | IFC_LUT1_Rule[0].word[1], 0u);
    }
}

TEST(Placement, AMacInFrontTakesTwoEntriesAndTheLastOneIsTheAction)
{
    occupy(0xF);
    auto &request = requestOf({{DMAC, 0, 0xFFFFFFFFFFFF, 0x001122334455}, {DPORT, 0, 0xFFFF, 80}});
    EXPECT_EQ(ifc_set_lut_rules_auto(&request), 8 + 6);
    EXPECT_EQ(IFC_LUT1_Rule[4].word[0], 0xA000u | DMAC);
    EXPECT_EQ(IFC_LUT1_Rule[5].word[0], 0x8000u | 2u << 8 | DMAC)
        << "the end flag waits for the last condition";
    EXPECT_EQ(IFC_LUT1_Rule[6].word[0], 0xC000u | DPORT);
    EXPECT_EQ(IFC_LUT1_Rule[7].word[0], 0u);
}

TEST(Placement, AMacInOneEntryLeavesItsReserveFree)
{
    occupy(~0x7u); // 0 to 2 free
    auto &request = requestOf({{DPORT, 0, 1, 1}, {DMAC, 0, 0xFFFF00000000, 0x010000000000}});
    EXPECT_EQ(ifc_set_lut_rules_auto(&request), 8 + 1) << "follows the entry written last";
    EXPECT_EQ(IFC_LUT1_Rule[2].word[0], 0u);
}

TEST(Placement, NoSpaceChangesNothing)
{
    occupy(0xFFFFFFFE);
    auto &request = some(2);
    expectNothingChanges([&] { EXPECT_EQ(ifc_set_lut_rules_auto(&request), -1); });
    EXPECT_PRINTED("@lut1 has no space yet, set rule fail!\n");
    EXPECT_NO_TRAFFIC();
}

TEST(Placement, WithoutFreeLut0LargeRequestsGoToLut1UpToSixteen)
{
    for (auto &rule : IFC_LUT0_Rule)
        rule.word[0] = 0x80000000;
    auto &nine = some(9);
    EXPECT_EQ(ifc_set_lut_rules_auto(&nine), 8 + 8);
    auto &sixteen = some(16);
    EXPECT_EQ(ifc_set_lut_rules_auto(&sixteen), 8 + 31);
    auto &more = some(16, SINF);
    more.fieldIdx[16] = SPORT;
    __builtin_memset(IFC_LUT1_Rule, 0, sizeof IFC_LUT1_Rule);
    forget();
    EXPECT_EQ(ifc_set_lut_rules_auto(&more), -1);
    EXPECT_PRINTED("@lut1 has no space yet, set rule fail!\n");
}

TEST(Placement, AFailingMaskLeavesTheConditionsBeforeIt)
{
    auto &request = requestOf({{DPORT, 0, 0xFFFF, 80}, {DIPv4, 0, 0x00FFFF00, 1}, {SPORT, 0, 1, 1}});
    EXPECT_EQ(ifc_set_lut_rules_auto(&request), -1);
    EXPECT_PRINTED("mask should not be 0!\n",
                   "mask should be left->right or right->left, but mask:  ffff00\n",
                   "@mask error, configure fail!\n");
    EXPECT_EQ(IFC_LUT1_Rule[0].type0.valid, 1u);
    EXPECT_EQ(IFC_LUT1_Rule[0].type0.end, 0u);
    EXPECT_EQ(IFC_LUT1_Rule[1].word[0], 0u);
    EXPECT_EQ(count(Kind::Write), 528u) << "no final rewrite";
}

TEST(Placement, AFailingMacMaskNamesAllOfIt)
{
    auto &request = requestOf({{DMAC, 0, 0xFF0000FF0000, 1}});
    EXPECT_EQ(ifc_set_lut_rules_auto(&request), -1);
    EXPECT_PRINTED("mask should not be 0!\n",
                   "mask should be left->right or right->left, but mask:ff00  ff0000\n",
                   "@mask error, configure fail!\n");
}

TEST(Placement, AFailingFieldIsReported)
{
    auto &request = requestOf({{DPORT, 0, 0xFFFF, 80}, {48, 0, 1, 1}});
    EXPECT_EQ(ifc_set_lut_rules_auto(&request), -1);
    EXPECT_PRINTED("@Error: Field Index is 48, which should between 1 and 47\n", "@lut1 configure fail!\n");
    EXPECT_EQ(IFC_LUT1_Rule[0].type0.valid, 1u);
    forget();
    auto &wide = some(9, SPORT); // the fourth of them is UDF0
    EXPECT_EQ(ifc_set_lut_rules_auto(&wide), -1);
    EXPECT_PRINTED("@Error: lut0 Field Index should between 1 and 31\n", "@lut0 configure fail!\n");
    EXPECT_EQ(IFC_LUT0_Rule[0].word[0], 0xF0000000u) << "the three before it stay, live";
    EXPECT_EQ(count(Kind::Write), 3u * 528);
}

TEST(Placement, AFailingCommandIsReported)
{
    auto &request = requestOf({{DPORT, 0, 0xFFFF, 80}, {SIPv4, 2, 0xFFFFFFFF, 1}, {SPORT, 0, 1, 1}});
    EXPECT_EQ(ifc_set_lut_rules_auto(&request), -1);
    EXPECT_PRINTED("@Error: the command of SIPv4 should less than 2!\n", "@lut1 configure fail!\n");
    EXPECT_EQ(IFC_LUT1_Rule[1].word[0] | IFC_LUT1_Rule[2].word[0], 0u);
    EXPECT_EQ(count(Kind::Write), 528u) << "no final rewrite";
    forget();
    auto &wide = some(9, SIPv6_127_96); // SIPv6_127_96, FLOW_LABEL, SINF ...
    wide.command[1] = 2;
    EXPECT_EQ(ifc_set_lut_rules_auto(&wide), -1);
    EXPECT_PRINTED("@Error: the command of FLOW_LABEL should less than 2!\n", "@lut0 configure fail!\n");
    EXPECT_EQ(IFC_LUT0_Rule[0].word[0], 0x80000000u | 1u << 11);
    EXPECT_EQ(count(Kind::Write), 528u);
}

TEST(Placement, TimeOutsDoNotChangeTheResult)
{
    powerOn(0);
    auto &narrow = some(2);
    EXPECT_EQ(ifc_set_lut_rules_auto(&narrow), 8 + 1);
    ASSERT_EQ(pieces(), 3u * 128 + 1);
    EXPECT_STREQ(lastPiece(), "@action index is 9\n");
    auto &wide = some(9, SINF);
    EXPECT_EQ(ifc_set_lut_rules_auto(&wide), 0);
}

TEST(Placement, RefusalsAndResultsArePrintedAtEveryLevel)
{
    orva_ifc_param &empty = requestOf(nullptr, 0);
    auto &command = requestOf({{DMAC, 2, 0xFFFFFFFFFFFF, 1}});
    auto &mask = requestOf({{SIPv4, 0, 0xFF0000FF, 1}});
    auto &wide = some(9, SPORT);
    wide.fieldIdx[0] = UDF0;
    auto &large = some(17);
    for (const int level : kLevels) {
        setLevel(level);
        EXPECT_EQ(ifc_set_lut_rules_auto(&empty), -1);
        EXPECT_EQ(ifc_set_lut_rules_auto(&command), -1);
        EXPECT_EQ(ifc_set_lut_rules_auto(&mask), -1);
        EXPECT_EQ(ifc_set_lut_rules_auto(&wide), -1);
        for (auto &rule : IFC_LUT0_Rule)
            rule.bits.valid = 1;
        EXPECT_EQ(ifc_set_lut_rules_auto(&large), -1);
        for (auto &rule : IFC_LUT0_Rule)
            rule.bits.valid = 0;
        EXPECT_PRINTED("@Parameters should not be NULL!\n",
                       "@Error: the command of DMAC should less than 2!\n", "@lut1 configure fail!\n",
                       "mask should be left->right or right->left, but mask:ff0000ff\n",
                       "@mask error, configure fail!\n", "@Error: lut0 Field Index should between 1 and 31\n",
                       "@lut0 configure fail!\n", "@lut1 has no space yet, set rule fail!\n");
    }
    EXPECT_NO_TRAFFIC();
}

TEST(Placement, TheActionIndexIsPrintedAtEveryLevel)
{
    int expected = 8;
    for (const int level : kLevels) {
        setLevel(level);
        EXPECT_EQ(ifc_set_lut_rules_auto(&some(1)), expected);
        EXPECT_EQ(pieces(), level > 2 ? 2 * 128 + 1 : 1) << "traces, and one line";
        EXPECT_STREQ(lastPiece(), format("@action index is %d\n", expected++));
        EXPECT_EQ(eventsBeforePiece(pieces() - 1), events()) << "after the last rewrite";
    }
}

TEST(Placement, OnlyThirtyOneConditionsAreCountedAndPlacedInLut0)
{
    auto &request = requestOnFields(48, 1);
    for (unsigned n = 31; n < 48; ++n)
        request.fieldIdx[n] = 99;
    EXPECT_EQ(ifc_set_lut_rules_auto(&request), 0) << "the conditions from 31 on are not looked at";
    EXPECT_EQ(IFC_LUT0_Rule[0].word[0], 0xFFFFFFFFu);
}

END_OF_TESTS(placementTests)
