// SPDX-License-Identifier: MIT OR GPL-2.0
// Finding and deleting placed requests, with each known oddity.
#include "tests/support/check.h"
#include "tests/support/rules.h"

using namespace support;

TEST(Deletion, DeletesAChainEntryByEntryWithItsActions)
{
    for (unsigned n = 0; n < 4; ++n)
        IFC_LUT1_Rule[n].word[0] = 0xC000; // four rules in front
    const RequestCondition rule[] = {
        {DIPv4, 0, 0xFFFFFF00, 0x0A000000}, {DPORT, 2, 0xFFFF, 80}, {35, 1, 0xFF, 1}};
    EXPECT_EQ(place(rule), 8 + 6);
    for (auto &action : hardware().action)
        action[2] = 0x55;
    EXPECT_EQ(del(rule), 0);
    EXPECT_PRINTED("@del ifc lut0 rule not find\n", "@del ifc action index  12\n", "@del ifc rule index 12\n",
                   "@del ifc action index  13\n", "@del ifc rule index 13\n", "@del ifc action index  14\n",
                   "@del ifc rule index 14\n");
    for (unsigned n = 0; n < 40; ++n)
        EXPECT_EQ(hardware().action[n][2], n >= 12 && n <= 14 ? 0u : 0x55u);
    EXPECT_EQ(IFC_LUT1_Rule[4].word[0] | IFC_LUT1_Rule[6].word[1], 0u);
    EXPECT_EQ(hardware().lut1[5][0], 0u) << "rewritten";
    EXPECT_EQ(count(Kind::Write), 3u * 5 + 528);
}

TEST(Deletion, DeletesAWideRule)
{
    RequestCondition rule[9];
    for (unsigned n = 0; n < 8; ++n)
        rule[n] = {SINF + n, 1, 1, 1};
    rule[8] = {SMAC, 1, kAll, kMac};
    EXPECT_EQ(place(rule), 0);
    EXPECT_EQ(del(rule), 0);
    EXPECT_PRINTED("@del ifc action index  0\n", "@del ifc lut1 rule not find\n");
    for (const uint32_t word : IFC_LUT0_Rule[0].word)
        EXPECT_EQ(word, 0u);
    EXPECT_EQ(count(Kind::Write), 5u + 528);
    EXPECT_EQ(hardware().lut0[0][0] | hardware().lut0[0][2], 0u) << "rewritten, although LUT1 had nothing";
    forget();
    EXPECT_EQ(del(rule), -1);
}

TEST(Deletion, DeletesEveryMatchInBothTables)
{
    const RequestCondition rule[] = {{DPORT, 0, 0xFFFF, 80}};
    place(rule);
    place(rule);
    for (const unsigned wide : list({1u, 5u}))
        (void)ifc_set_lut0_rules(wide, IFC_ENABLE, DPORT, 0, 0, 0xFFFF, 0, 80);
    forget();
    EXPECT_EQ(del(rule), 0);
    EXPECT_TRUE(narrowTableIsEmpty());
    EXPECT_EQ(IFC_LUT0_Rule[1].word[0] | IFC_LUT0_Rule[5].word[0], 0u);
    EXPECT_EQ(count(Kind::Write), 4u * 5 + 528) << "one rewrite";
}

TEST(Deletion, Ipv6WordsAndFlowLabelAreNotSupported)
{
    place({{DPORT, 0, 0xFFFF, 80}});
    for (unsigned field = DIPv6_31_0; field <= FLOW_LABEL; ++field) {
        forget();
        expectNothingChanges([&] { EXPECT_EQ(del({{DPORT, 0, 0xFFFF, 80}, {field, 0, 1, 1}}), -1); });
        EXPECT_PRINTED(format("@del fieldIdx %u not support\n", field));
    }
}

TEST(Deletion, RequestsAreOnlyRead)
{
    const RequestCondition rule[] = {{DIPv4, 0, 0xFFFFFF00, 0x0A000000}, {DMAC, 0, kAll, kMac}};
    const orva_ifc_param &before = requestOf(rule);
    orva_ifc_param &request = requestOf(rule);
    const auto expectUnchanged = [&] { EXPECT_EQ(__builtin_memcmp(&request, &before, sizeof before), 0); };
    EXPECT_EQ(ifc_set_lut_rules_auto(&request), 8 + 2);
    expectUnchanged();
    EXPECT_EQ(ifc_match_rule_lut1(&request, 3, 0), 1);
    EXPECT_EQ(ifc_match_rule_lut0(&request, 2, 0), 0);
    EXPECT_EQ(ifc_del_lut_rules_auto(&request), 0);
    expectUnchanged();
}

TEST(Deletion, NothingFoundChangesNothing)
{
    place({{DPORT, 0, 0xFFFF, 80}});
    expectNothingChanges([&] { EXPECT_EQ(del({{DPORT, 0, 0xFFFF, 81}}), -1); });
    EXPECT_PRINTED("@del ifc lut0 rule not find\n", "@del ifc lut1 rule not find\n");
    EXPECT_NO_TRAFFIC();
}

TEST(Deletion, AMacAtTheEndIsFoundAMacInFrontIsNot)
{
    const RequestCondition ip = {DIPv4, 0, 0xFFFFFFFF, 0x0A000001};
    const RequestCondition mac = {DMAC, 0, kAll, kMac};
    place({ip, mac});
    EXPECT_EQ(del({ip, mac}), 0);
    EXPECT_TRUE(narrowTableIsEmpty());
    place({mac, ip});
    EXPECT_EQ(del({mac, ip}), -1);
    EXPECT_EQ(del({ip, mac}), 0) << "the order in the table does not matter";
}

TEST(Deletion, TwoMacsAreNeverFound)
{
    const RequestCondition rule[] = {{DMAC, 0, kAll, kMac}, {SMAC, 0, kAll, kMac}};
    place(rule);
    EXPECT_EQ(del(rule), -1);
}

TEST(Deletion, AMacInOneEntryIsNeverFound)
{
    for (const uint64_t mask : list({uint64_t{0xFFFF00000000}, uint64_t{0x0000FFFFFFFF}})) {
        const RequestCondition rule[] = {{DMAC, 0, mask, kMac & mask}};
        place(rule);
        EXPECT_EQ(del(rule), -1);
        (void)clear_all_ifc_rules();
    }
}

TEST(Deletion, OneStrayEntryInFrontOfAMacsHighPartMakesItFound)
{
    const RequestCondition high[] = {{DMAC, 0, 0xFFFF00000000, kMac & 0xFFFF00000000}};
    const RequestCondition low[] = {{DMAC, 0, 0xFFFFFFFF, kMac & 0xFFFFFFFF}};
    const RequestCondition ip = {DIPv4, 0, 0xFFFFFFFF, 0x0A000001};
    IFC_LUT1_Rule[0].word[0] = 0x8000 | SPORT;
    EXPECT_EQ(place(high), 8 + 1);
    EXPECT_EQ(del(high), 0);
    EXPECT_PRINTED("@del ifc lut0 rule not find\n", "@del ifc action index  8\n", "@del ifc rule index 8\n",
                   "@del ifc action index  9\n", "@del ifc rule index 9\n");
    EXPECT_TRUE(narrowTableIsEmpty()) << "the stray entry goes with it";

    IFC_LUT1_Rule[0].word[0] = 0x8000 | SPORT;
    EXPECT_EQ(place({ip, high[0]}), 8 + 2);
    EXPECT_EQ(del({ip, high[0]}), 0) << "also at the end of a longer chain";
    EXPECT_TRUE(narrowTableIsEmpty());

    IFC_LUT1_Rule[0].word[0] = 0x8000 | SPORT;
    EXPECT_EQ(place(low), 8 + 1);
    EXPECT_EQ(del(low), -1) << "a low part alone does not use up two";
    IFC_LUT1_Rule[1] = IFC_LUT1_Rule[0];
    EXPECT_EQ(place(high), 8 + 2);
    EXPECT_EQ(del(high), -1) << "nor do two stray entries help";
}

TEST(Deletion, AGapInTheRangeStandsForWhatFollowsAMac)
{
    const RequestCondition mac = {DMAC, 0, kAll, kMac};
    const RequestCondition port = {DPORT, 0, 0xFFFF, 80};
    place({port, mac});
    IFC_LUT1_Rule[3] = IFC_LUT1_Rule[2];
    IFC_LUT1_Rule[2] = IFC_LUT1_Rule[1];
    IFC_LUT1_Rule[1] = {}; // the port, a gap, the MAC: three valid entries, but the range is 1 to 3
    EXPECT_EQ(del({mac, {DPORT, 0, 0xFFFF, 81}}), 0) << "the port is not compared";
    ASSERT_EQ(pieces(), 1u + 6u);
    EXPECT_STREQ(piece(1), "@del ifc action index  9\n");
    EXPECT_EQ(IFC_LUT1_Rule[0].word[0], 0x8000u | DPORT) << "outside the range";
    EXPECT_EQ(IFC_LUT1_Rule[2].word[0] | IFC_LUT1_Rule[3].word[0], 0u);

    const RequestCondition other = {SMAC, 0, kAll, kMac};
    (void)clear_all_ifc_rules();
    place({other, mac});
    IFC_LUT1_Rule[4] = IFC_LUT1_Rule[3];
    IFC_LUT1_Rule[3] = IFC_LUT1_Rule[2];
    IFC_LUT1_Rule[2] = {};
    EXPECT_EQ(del({mac, other}), 0) << "two MACs alike";
    EXPECT_NE(IFC_LUT1_Rule[0].word[0], 0u);
    EXPECT_EQ(IFC_LUT1_Rule[1].word[0] | IFC_LUT1_Rule[4].word[0], 0u);
}

TEST(Deletion, EntriesOfTheRangeNeedNotBeValid)
{
    const RequestCondition rule[] = {{DPORT, 0, 0xFFFF, 80}, {SPORT, 0, 0xFFFF, 81}};
    IFC_LUT1_Rule[0].word[0] = 0x8000 | VID0;
    place(rule);
    IFC_LUT1_Rule[1].type0.valid = 0; // two valid entries up to the end, 0 and 2; the range is 1 and 2
    EXPECT_EQ(del(rule), 0);
    EXPECT_EQ(IFC_LUT1_Rule[0].word[0], 0x8000u | VID0);
    EXPECT_EQ(IFC_LUT1_Rule[1].word[0] | IFC_LUT1_Rule[2].word[0], 0u);
    ASSERT_EQ(pieces(), 1u + 4u);
    EXPECT_STREQ(piece(2), "@del ifc rule index 9\n");
}

TEST(Deletion, DeletionTakesFieldsThatNoRuleIsPlacedWith)
{
    IFC_LUT1_Rule[0].word[0] = 0xC000 | TCP_FLAGS;
    IFC_LUT1_Rule[0].word[1] = 0x00FF0012;
    IFC_LUT1_Rule[1].word[0] = 0xC000 | SIP_EQ_DIP; // 61
    IFC_LUT1_Rule[1].word[1] = 0x00010001;
    IFC_LUT0_Rule[0].word[0] = 0x80000001;
    EXPECT_EQ(del({{TCP_FLAGS, 0, 0xFF, 0x13}}), -1);
    EXPECT_EQ(del({{TCP_FLAGS + 64, 0, 0xFF, 0x12}}), -1) << "all bits of the id count";
    EXPECT_EQ(del({{0xFFFFFFFF, 0, 0xFF, 0x12}}), -1);
    EXPECT_EQ(del({{TCP_FLAGS, 0, 0xFF, 0x12}}), 0);
    EXPECT_EQ(IFC_LUT1_Rule[0].word[0], 0u);
    EXPECT_EQ(del({{SIP_EQ_DIP, 0, 1, 1}}), 0);
    EXPECT_TRUE(narrowTableIsEmpty());
    EXPECT_EQ(IFC_LUT0_Rule[0].word[0], 0x80000001u);
}

TEST(Deletion, TimeOutsDoNotChangeTheResultOfADeletion)
{
    const RequestCondition rule[] = {{DPORT, 0, 0xFFFF, 80}};
    place(rule);
    powerOn(0);
    EXPECT_EQ(del(rule), 0);
    ASSERT_EQ(pieces(), 1u + 3u + 128u);
    EXPECT_STREQ(piece(1), "@Timeout for set IFC Rule configuration.\n");
    EXPECT_STREQ(piece(2), "@del ifc action index  8\n");
    EXPECT_STREQ(piece(3), "@del ifc rule index 8\n");
}

TEST(Deletion, RefusalsAndResultsArePrintedAtEveryLevel)
{
    place({{DPORT, 0, 0xFFFF, 80}});
    for (const int level : kLevels) {
        setLevel(level);
        EXPECT_EQ(del({{FLOW_LABEL, 0, 1, 1}}), -1);
        EXPECT_EQ(del({{DPORT, 0, 0xFFFF, 81}}), -1);
        EXPECT_PRINTED("@del fieldIdx 13 not support\n", "@del ifc lut0 rule not find\n",
                       "@del ifc lut1 rule not find\n");
    }
    gpIfcPriv->dbgLevel = DBG_WARN;
    forget();
    EXPECT_EQ(del({{DPORT, 0, 0xFFFF, 80}}), 0);
    EXPECT_EQ(pieces(), 3u);
}

TEST(Deletion, AMacIsAlsoFoundByItsHighPartAlone)
{
    place({{DMAC, 0, kAll, kMac}});
    EXPECT_EQ(del({{DMAC, 0, kAll, kMac ^ 0xFF}}), 0)
        << "the low part differs, the next entry matches by itself";
    EXPECT_TRUE(narrowTableIsEmpty());
    place({{DMAC, 0, kAll, kMac}});
    EXPECT_EQ(del({{DMAC, 0, kAll, kMac ^ (uint64_t{1} << 32)}}), -1);
}

TEST(Deletion, AStrayEntryInFrontHidesAChain)
{
    const RequestCondition rule[] = {{DPORT, 0, 0xFFFF, 80}, {SPORT, 0, 0xFFFF, 81}};
    IFC_LUT1_Rule[0].word[0] = 0x8000;
    place(rule);
    EXPECT_EQ(del(rule), -1);
    IFC_LUT1_Rule[0].word[0] = 0;
    EXPECT_EQ(del(rule), 0);
}

TEST(Deletion, GapsDoNotCount)
{
    const RequestCondition rule[] = {{DPORT, 0, 0xFFFF, 80}, {SPORT, 0, 0xFFFF, 81}};
    place(rule);
    IFC_LUT1_Rule[5] = IFC_LUT1_Rule[1]; // a chain of entries 0, 2 and 5 ...
    IFC_LUT1_Rule[1] = {};
    EXPECT_EQ(del(rule), -1) << "... is searched for in entries 4 and 5";
}

TEST(Deletion, AnEmptyRequestDeletesWideRulesWithoutFields)
{
    IFC_LUT0_Rule[2].word[0] = 0x80000000;
    IFC_LUT0_Rule[3].word[0] = 0x80000001;
    IFC_LUT1_Rule[0].word[0] = 0xC000;
    EXPECT_EQ(ifc_del_lut_rules_auto(&requestOf(nullptr, 0)), 0);
    EXPECT_EQ(IFC_LUT0_Rule[2].word[0], 0u);
    EXPECT_EQ(IFC_LUT0_Rule[3].word[0], 0x80000001u);
    EXPECT_EQ(IFC_LUT1_Rule[0].word[0], 0xC000u);
    EXPECT_PRINTED("@del ifc action index  2\n", "@del ifc lut1 rule not find\n");
}

TEST(Deletion, DeletionCounts31Conditions)
{
    auto &request = requestOnFields(48, 14);
    for (unsigned n = 18; n < 48; ++n)
        request.fieldIdx[n] = n < 31 ? n - 4 : 5; // field 5 would be refused, but is not looked at
    EXPECT_EQ(ifc_del_lut_rules_auto(&request), -1);
    EXPECT_PRINTED("@del ifc lut0 rule not find\n", "@del ifc lut1 rule not find\n");
}

// The MAC's double step leads past the 31 conditions that are counted.
TEST(Deletion, AFullTableWithAMacIsComparedWithThe32ndCondition)
{
    auto &request = requestOnFields(31, SINF - 1);
    request.fieldIdx[0] = DMAC;
    request.mask_high[0] = 0xFFFF;
    request.mask_low[0] = 0xFFFFFFFF;
    const auto fill = [&] {
        int next = ifc_set_lut1_rules(0, IFC_ENABLE, 0, DMAC, 0, 48, 0, 1);
        for (unsigned n = 1; n < 31; ++n)
            next = ifc_set_lut1_rules(static_cast<unsigned>(next), IFC_ENABLE, n == 30, request.fieldIdx[n],
                                      0, 1, 0, 1);
        ASSERT_EQ(next, 32);
    };
    fill();
    EXPECT_EQ(ifc_del_lut_rules_auto(&request), -1) << "no 32nd condition";
    request.fieldIdx[31] = SINF;
    request.mask_low[31] = 1;
    request.key_low[31] = 2;
    EXPECT_EQ(ifc_del_lut_rules_auto(&request), -1) << "it is not in the chain";
    request.key_low[31] = 1;
    request.key_low[1] = 2;
    EXPECT_EQ(ifc_del_lut_rules_auto(&request), 0) << "it is; the one after the MAC is not compared";
    EXPECT_TRUE(narrowTableIsEmpty());
}

TEST(Deletion, ARequestIsNotFoundWherePlacementCutItsValues)
{
    struct {
        RequestCondition condition;
        int inLut1;
    } const cut[] = {
        {{DPORT, 7, 0xFFFF, 80}, -1},     {{DMAC, 0, kAll, uint64_t{0xFFFF} << 48 | kMac}, -1},
        {{DPORT, 0, 0xFFFFFFFF, 80}, 0},                        // only the lower half is compared there
        {{DPORT, 0, 0xFFFF, 0x10050}, 0}, {{SINF, 0, 1, 1}, 0}, // twice in a wide rule
    };
    for (const auto &[condition, inLut1] : cut) {
        for (const unsigned others : list({0u, 8u})) {
            auto &request = requestOnFields(others, SINF);
            request.fieldIdx[others] = condition.field;
            request.command[others] = condition.command;
            request.mask_low[others] = static_cast<uint32_t>(condition.mask);
            request.mask_high[others] = static_cast<uint32_t>(condition.mask >> 32);
            request.key_low[others] = static_cast<uint32_t>(condition.key);
            request.key_high[others] = static_cast<uint32_t>(condition.key >> 32);
            (void)clear_all_ifc_rules();
            EXPECT_EQ(ifc_set_lut_rules_auto(&request) == 0, others == 8) << "a wide rule, a chain";
            EXPECT_EQ(ifc_del_lut_rules_auto(&request), others == 8 ? -1 : inLut1) << condition.field;
        }
    }
}

END_OF_TESTS(deletionTests)
