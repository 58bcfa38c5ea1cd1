// SPDX-License-Identifier: MIT OR GPL-2.0
// Finding and deleting placed requests, oddity by oddity.
#include "layer_test.h"

#include <cstring>

using testing::ElementsAre;

namespace
{

constexpr uint64_t kAll = 0xFFFFFFFFFFFF;
constexpr uint64_t kMac = 0x001122334455;

} // namespace

class MatchingTest : public LayerTest
{
protected:
    int place(const std::vector<Cond> &conditions)
    {
        auto request = requestOf(conditions);
        const int id = ifc_set_lut_rules_auto(&request);
        forget();
        return id;
    }
    static int del(const std::vector<Cond> &conditions)
    {
        auto request = requestOf(conditions);
        return ifc_del_lut_rules_auto(&request);
    }
    static int matchLut0(const std::vector<Cond> &conditions, unsigned count, unsigned rule = 0)
    {
        auto request = requestOf(conditions);
        return ifc_match_rule_lut0(&request, count, rule);
    }
    static int matchLut1(const std::vector<Cond> &conditions, unsigned entries, unsigned first)
    {
        auto request = requestOf(conditions);
        return ifc_match_rule_lut1(&request, entries, first);
    }
    static int find(const Cond &c)
    {
        ifc_field_param p{};
        p.reserved[0] = p.reserved[1] = p.reserved[2] = 0xDEADBEEF;
        p.fieldIdx = c.field;
        p.command = c.command;
        p.mask = static_cast<uint32_t>(c.mask);
        p.mask_high = static_cast<uint32_t>(c.mask >> 32);
        p.key = static_cast<uint32_t>(c.key);
        p.key_high = static_cast<uint32_t>(c.key >> 32);
        return ifc_match_lut1(p);
    }
    static bool lut1IsEmpty()
    {
        for (const auto &entry : IFC_LUT1_Rule)
            if (entry.word[0] != 0 || entry.word[1] != 0)
                return false;
        return true;
    }
};

TEST_F(MatchingTest, DeletesAChainEntryByEntryWithItsActions)
{
    for (unsigned n = 0; n < 4; ++n)
        IFC_LUT1_Rule[n].word[0] = 0xC000; // four rules in front
    const std::vector<Cond> rule = {
        {DIPv4, 0, 0xFFFFFF00, 0x0A000000}, {DPORT, 2, 0xFFFF, 80}, {35, 1, 0xFF, 1}};
    EXPECT_EQ(place(rule), 8 + 6);
    for (auto &action : chip.tables().action)
        action[2] = 0x55;
    EXPECT_EQ(del(rule), 0);
    EXPECT_THAT(pieces(), ElementsAre("@del ifc lut0 rule not find\n", "@del ifc action index  12\n",
                                      "@del ifc rule index 12\n", "@del ifc action index  13\n",
                                      "@del ifc rule index 13\n", "@del ifc action index  14\n",
                                      "@del ifc rule index 14\n"));
    for (unsigned n = 0; n < 40; ++n)
        EXPECT_EQ(chip.tables().action[n][2], n >= 12 && n <= 14 ? 0u : 0x55u);
    EXPECT_EQ(IFC_LUT1_Rule[4].word[0] | IFC_LUT1_Rule[6].word[1], 0u);
    EXPECT_EQ(chip.tables().lut1[5][0], 0u) << "rewritten";
    EXPECT_EQ(count(engine::AccessKind::Write), 3u * 5 + 528);
}

TEST_F(MatchingTest, DeletesAWideRule)
{
    std::vector<Cond> rule;
    for (unsigned field = SINF; field < SINF + 8; ++field)
        rule.push_back({field, 1, 1, 1});
    rule.push_back({SMAC, 1, kAll, kMac});
    EXPECT_EQ(place(rule), 0);
    EXPECT_EQ(del(rule), 0);
    EXPECT_THAT(pieces(), ElementsAre("@del ifc action index  0\n", "@del ifc lut1 rule not find\n"));
    for (const uint32_t word : IFC_LUT0_Rule[0].word)
        EXPECT_EQ(word, 0u);
    EXPECT_EQ(count(engine::AccessKind::Write), 5u + 528);
    EXPECT_EQ(chip.tables().lut0[0][0] | chip.tables().lut0[0][2], 0u)
        << "rewritten, although LUT1 had nothing";
    forget();
    EXPECT_EQ(del(rule), -1);
}

TEST_F(MatchingTest, DeletesEveryMatchInBothTables)
{
    const std::vector<Cond> rule = {{DPORT, 0, 0xFFFF, 80}};
    place(rule);
    place(rule);
    for (const unsigned wide : {1u, 5u})
        (void)ifc_set_lut0_rules(wide, IFC_ENABLE, DPORT, 0, 0, 0xFFFF, 0, 80);
    forget();
    EXPECT_EQ(del(rule), 0);
    EXPECT_TRUE(lut1IsEmpty());
    EXPECT_EQ(IFC_LUT0_Rule[1].word[0] | IFC_LUT0_Rule[5].word[0], 0u);
    EXPECT_EQ(count(engine::AccessKind::Write), 4u * 5 + 528) << "one rewrite";
}

TEST_F(MatchingTest, Ipv6WordsAndFlowLabelAreNotSupported)
{
    place({{DPORT, 0, 0xFFFF, 80}});
    for (unsigned field = DIPv6_31_0; field <= FLOW_LABEL; ++field) {
        forget();
        expectNothingChanges([&] { EXPECT_EQ(del({{DPORT, 0, 0xFFFF, 80}, {field, 0, 1, 1}}), -1); });
        EXPECT_THAT(pieces(), ElementsAre("@del fieldIdx " + std::to_string(field) + " not support\n"));
    }
}

TEST_F(MatchingTest, NothingFoundChangesNothing)
{
    place({{DPORT, 0, 0xFFFF, 80}});
    expectNothingChanges([&] { EXPECT_EQ(del({{DPORT, 0, 0xFFFF, 81}}), -1); });
    EXPECT_THAT(pieces(), ElementsAre("@del ifc lut0 rule not find\n", "@del ifc lut1 rule not find\n"));
    EXPECT_TRUE(seen.empty());
}

TEST_F(MatchingTest, AMacBehindIsFoundAMacInFrontIsNot)
{
    const Cond ip = {DIPv4, 0, 0xFFFFFFFF, 0x0A000001};
    const Cond mac = {DMAC, 0, kAll, kMac};
    place({ip, mac});
    EXPECT_EQ(del({ip, mac}), 0);
    EXPECT_TRUE(lut1IsEmpty());
    place({mac, ip});
    EXPECT_EQ(del({mac, ip}), -1);
    EXPECT_EQ(del({ip, mac}), 0) << "the order in the table does not matter";
}

TEST_F(MatchingTest, TwoMacsAreNeverFound)
{
    const std::vector<Cond> rule = {{DMAC, 0, kAll, kMac}, {SMAC, 0, kAll, kMac}};
    place(rule);
    EXPECT_EQ(del(rule), -1);
}

TEST_F(MatchingTest, AMacInOneEntryIsNeverFound)
{
    for (const uint64_t mask : {uint64_t{0xFFFF00000000}, uint64_t{0x0000FFFFFFFF}}) {
        const std::vector<Cond> rule = {{DMAC, 0, mask, kMac & mask}};
        place(rule);
        EXPECT_EQ(del(rule), -1);
        (void)clear_all_ifc_rules();
    }
}

TEST_F(MatchingTest, OneStrayEntryInFrontOfAMacsHighPartMakesItFound)
{
    const std::vector<Cond> high = {{DMAC, 0, 0xFFFF00000000, kMac & 0xFFFF00000000}};
    const std::vector<Cond> low = {{DMAC, 0, 0xFFFFFFFF, kMac & 0xFFFFFFFF}};
    const Cond ip = {DIPv4, 0, 0xFFFFFFFF, 0x0A000001};
    IFC_LUT1_Rule[0].word[0] = 0x8000 | SPORT;
    EXPECT_EQ(place(high), 8 + 1);
    EXPECT_EQ(del(high), 0);
    EXPECT_THAT(pieces(), ElementsAre("@del ifc lut0 rule not find\n", "@del ifc action index  8\n",
                                      "@del ifc rule index 8\n", "@del ifc action index  9\n",
                                      "@del ifc rule index 9\n"));
    EXPECT_TRUE(lut1IsEmpty()) << "the stray entry goes with it";

    IFC_LUT1_Rule[0].word[0] = 0x8000 | SPORT;
    EXPECT_EQ(place({ip, high[0]}), 8 + 2);
    EXPECT_EQ(del({ip, high[0]}), 0) << "also at the end of a longer chain";
    EXPECT_TRUE(lut1IsEmpty());

    IFC_LUT1_Rule[0].word[0] = 0x8000 | SPORT;
    EXPECT_EQ(place(low), 8 + 1);
    EXPECT_EQ(del(low), -1) << "a low part alone does not use up two";
    IFC_LUT1_Rule[1] = IFC_LUT1_Rule[0];
    EXPECT_EQ(place(high), 8 + 2);
    EXPECT_EQ(del(high), -1) << "nor do two stray entries help";
}

TEST_F(MatchingTest, AGapInTheRangeStandsForWhatIsBehindAMac)
{
    const Cond mac = {DMAC, 0, kAll, kMac};
    const Cond port = {DPORT, 0, 0xFFFF, 80};
    place({port, mac});
    IFC_LUT1_Rule[3] = IFC_LUT1_Rule[2];
    IFC_LUT1_Rule[2] = IFC_LUT1_Rule[1];
    IFC_LUT1_Rule[1] = {}; // the port, a gap, the MAC: three valid entries, but the range is 1 to 3
    EXPECT_EQ(del({mac, {DPORT, 0, 0xFFFF, 81}}), 0) << "the port is not compared";
    ASSERT_EQ(said.size(), 1u + 6u);
    EXPECT_EQ(pieces()[1], "@del ifc action index  9\n");
    EXPECT_EQ(IFC_LUT1_Rule[0].word[0], 0x8000u | DPORT) << "outside the range";
    EXPECT_EQ(IFC_LUT1_Rule[2].word[0] | IFC_LUT1_Rule[3].word[0], 0u);

    const Cond other = {SMAC, 0, kAll, kMac};
    (void)clear_all_ifc_rules();
    place({other, mac});
    IFC_LUT1_Rule[4] = IFC_LUT1_Rule[3];
    IFC_LUT1_Rule[3] = IFC_LUT1_Rule[2];
    IFC_LUT1_Rule[2] = {};
    EXPECT_EQ(del({mac, other}), 0) << "two MACs alike";
    EXPECT_NE(IFC_LUT1_Rule[0].word[0], 0u);
    EXPECT_EQ(IFC_LUT1_Rule[1].word[0] | IFC_LUT1_Rule[4].word[0], 0u);
}

TEST_F(MatchingTest, EntriesOfTheRangeNeedNotBeValid)
{
    const std::vector<Cond> rule = {{DPORT, 0, 0xFFFF, 80}, {SPORT, 0, 0xFFFF, 81}};
    IFC_LUT1_Rule[0].word[0] = 0x8000 | VID0;
    place(rule);
    IFC_LUT1_Rule[1].type0.valid = 0; // two valid entries up to the end, 0 and 2; the range is 1 and 2
    EXPECT_EQ(del(rule), 0);
    EXPECT_EQ(IFC_LUT1_Rule[0].word[0], 0x8000u | VID0);
    EXPECT_EQ(IFC_LUT1_Rule[1].word[0] | IFC_LUT1_Rule[2].word[0], 0u);
    ASSERT_EQ(said.size(), 1u + 4u);
    EXPECT_EQ(pieces()[2], "@del ifc rule index 9\n");
}

TEST_F(MatchingTest, DeletionTakesFieldsThatNoRuleIsPlacedWith)
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
    EXPECT_TRUE(lut1IsEmpty());
    EXPECT_EQ(IFC_LUT0_Rule[0].word[0], 0x80000001u);
}

TEST_F(MatchingTest, TimeOutsDoNotChangeTheResultOfADeletion)
{
    const std::vector<Cond> rule = {{DPORT, 0, 0xFFFF, 80}};
    place(rule);
    powerOn(0);
    EXPECT_EQ(del(rule), 0);
    ASSERT_EQ(said.size(), 1u + 3u + 128u);
    EXPECT_EQ(pieces()[1], "@Timeout for set IFC Rule configuration.\n");
    EXPECT_EQ(pieces()[2], "@del ifc action index  8\n");
    EXPECT_EQ(pieces()[3], "@del ifc rule index 8\n");
}

TEST_F(MatchingTest, RefusalsAndResultsArePrintedAtEveryLevel)
{
    place({{DPORT, 0, 0xFFFF, 80}});
    for (const int level : {0, 1, 2, 3, 4, 255}) {
        gpIfcPriv->dbgLevel = static_cast<uint8>(level);
        forget();
        EXPECT_EQ(del({{FLOW_LABEL, 0, 1, 1}}), -1);
        EXPECT_EQ(del({{DPORT, 0, 0xFFFF, 81}}), -1);
        EXPECT_THAT(pieces(), ElementsAre("@del fieldIdx 13 not support\n", "@del ifc lut0 rule not find\n",
                                          "@del ifc lut1 rule not find\n"));
    }
    gpIfcPriv->dbgLevel = DBG_WARN;
    forget();
    EXPECT_EQ(del({{DPORT, 0, 0xFFFF, 80}}), 0);
    EXPECT_EQ(said.size(), 3u);
}

TEST_F(MatchingTest, OnlyFourBitsOfAMacLengthAreCompared)
{
    // 40 bits: 24 of them in the low part, but the low four bits of 40 are 8.
    const Cond mac = {DMAC, 0, 0xFFFFFFFFFF00, 0x001122334400};
    place({mac});
    EXPECT_EQ(IFC_LUT1_Rule[0].type1.length, 24u);
    EXPECT_EQ(find(mac), 1) << "not at its low part, only at its high part";
    IFC_LUT1_Rule[0].type1.length = 8;
    EXPECT_EQ(find(mac), 0) << "but an entry with a length of 8 passes";
    // 24 bits from the top: 8 of them in the low part, which agrees.
    const Cond agrees = {DMAC, 0, 0xFFFFFF000000, 0x001122000000};
    (void)clear_all_ifc_rules();
    place({agrees});
    EXPECT_EQ(find(agrees), 0);
}

TEST_F(MatchingTest, AMacIsAlsoFoundByItsHighPartAlone)
{
    place({{DMAC, 0, kAll, kMac}});
    EXPECT_EQ(del({{DMAC, 0, kAll, kMac ^ 0xFF}}), 0)
        << "the low part differs, the next entry matches by itself";
    EXPECT_TRUE(lut1IsEmpty());
    place({{DMAC, 0, kAll, kMac}});
    EXPECT_EQ(del({{DMAC, 0, kAll, kMac ^ (uint64_t{1} << 32)}}), -1);
}

TEST_F(MatchingTest, AStrayEntryInFrontHidesAChain)
{
    const std::vector<Cond> rule = {{DPORT, 0, 0xFFFF, 80}, {SPORT, 0, 0xFFFF, 81}};
    IFC_LUT1_Rule[0].word[0] = 0x8000;
    place(rule);
    EXPECT_EQ(del(rule), -1);
    IFC_LUT1_Rule[0].word[0] = 0;
    EXPECT_EQ(del(rule), 0);
}

TEST_F(MatchingTest, GapsDoNotCount)
{
    const std::vector<Cond> rule = {{DPORT, 0, 0xFFFF, 80}, {SPORT, 0, 0xFFFF, 81}};
    place(rule);
    IFC_LUT1_Rule[5] = IFC_LUT1_Rule[1]; // a chain of entries 0, 2 and 5 ...
    IFC_LUT1_Rule[1] = {};
    EXPECT_EQ(del(rule), -1) << "... is searched for in entries 4 and 5";
}

TEST_F(MatchingTest, AnEmptyRequestDeletesWideRulesWithoutFields)
{
    IFC_LUT0_Rule[2].word[0] = 0x80000000;
    IFC_LUT0_Rule[3].word[0] = 0x80000001;
    IFC_LUT1_Rule[0].word[0] = 0xC000;
    EXPECT_EQ(del({}), 0);
    EXPECT_EQ(IFC_LUT0_Rule[2].word[0], 0u);
    EXPECT_EQ(IFC_LUT0_Rule[3].word[0], 0x80000001u);
    EXPECT_EQ(IFC_LUT1_Rule[0].word[0], 0xC000u);
    EXPECT_THAT(pieces(), ElementsAre("@del ifc action index  2\n", "@del ifc lut1 rule not find\n"));
}

TEST_F(MatchingTest, Lut0ComparesEverythingExactly)
{
    (void)ifc_set_lut0_rules(0, IFC_ENABLE, DMAC, 1, 0xFFFF, 0xFFFFFFFF, 0x0011, 0x22334455);
    (void)ifc_set_lut0_rules(0, IFC_ENABLE, SMAC, 0, 0xFF00, 0x0000FFFF, 0x6600, 0xAABB);
    (void)ifc_set_lut0_rules(0, IFC_ENABLE, DPORT, 3, 0, 0xFFFF, 0, 80);
    const std::vector<Cond> rule = {
        {DMAC, 1, kAll, kMac}, {SMAC, 0, 0xFF000000FFFF, 0x66000000AABB}, {DPORT, 3, 0xFFFF, 80}};
    EXPECT_EQ(matchLut0(rule, 3), 1);
    EXPECT_EQ(matchLut0(rule, 2), 0) << "another number of enabled fields";
    EXPECT_EQ(matchLut0({rule[2], rule[0], rule[1]}, 3), 1) << "any order";
    EXPECT_EQ(matchLut0({rule[0], rule[0], rule[0]}, 3), 1) << "repetition is not noticed";
    EXPECT_EQ(matchLut0({rule[0], rule[1]}, 3), 0) << "one condition short";
    EXPECT_EQ(matchLut0({rule[0], rule[1], rule[2], {SPORT, 0, 1, 1}}, 3), 1)
        << "enough passed before the failure";
    for (size_t i = 0; i < rule.size(); ++i) {
        auto other = rule;
        other[i].command ^= 1;
        EXPECT_EQ(matchLut0(other, 3), 0);
        other = rule;
        other[i].mask ^= 1;
        EXPECT_EQ(matchLut0(other, 3), 0);
        other = rule;
        other[i].key ^= 1;
        EXPECT_EQ(matchLut0(other, 3), 0);
        other = rule;
        other[i].mask ^= uint64_t{1} << 32;
        EXPECT_EQ(matchLut0(other, 3), i < 2 ? 0 : 1) << "high words count for MACs only";
        other = rule;
        other[i].key ^= uint64_t{1} << 40;
        EXPECT_EQ(matchLut0(other, 3), i < 2 ? 0 : 1);
        other = rule;
        other[i].field = 32;
        EXPECT_EQ(matchLut0(other, 3), 0);
        other[i].field = 0xFFFFFFFF;
        EXPECT_EQ(matchLut0(other, 3), 0);
    }
    auto wide = rule;
    wide[2].mask = 0x1FFFF; // the rule cannot hold it, so it differs
    EXPECT_EQ(matchLut0(wide, 3), 0);
    IFC_LUT0_Rule[0].bits.valid = 0;
    EXPECT_EQ(matchLut0(rule, 3), 0);
}

TEST_F(MatchingTest, Lut0StopsAfter31Conditions)
{
    for (unsigned field = 1; field <= 31; ++field)
        (void)ifc_set_lut0_rules(0, IFC_ENABLE, field, 0, 0, 1, 0, 1);
    std::vector<Cond> list;
    for (unsigned n = 0; n < 48; ++n)
        list.push_back({n < 31 ? n + 1 : 99, 0, 1, 1});
    EXPECT_EQ(matchLut0(list, 31), 1);
}

TEST_F(MatchingTest, DeletionCounts31Conditions)
{
    std::vector<Cond> list;
    for (unsigned n = 0; n < 48; ++n)
        list.push_back({n < 31 ? 14 + n % 18 : 5, 0, 1, 1}); // field 5 would be refused, but is not looked at
    EXPECT_EQ(del(list), -1);
    EXPECT_THAT(pieces(), ElementsAre("@del ifc lut0 rule not find\n", "@del ifc lut1 rule not find\n"));
}

TEST_F(MatchingTest, Lut1RangeComparisons)
{
    const std::vector<Cond> rule = {{SIPv4, 1, 0xFFFF0000, 0x0A0B0000}, {DPORT, 2, 0xFF00, 0x1200}};
    place(rule);
    EXPECT_EQ(matchLut1(rule, 2, 0), 1);
    EXPECT_EQ(matchLut1(rule, 0, 0), 1) << "no entries, no question";
    EXPECT_EQ(matchLut1(rule, 1, 0), 1);
    EXPECT_EQ(matchLut1(rule, 1, 1), 0);
    IFC_LUT1_Rule[2].word[0] = 1;
    EXPECT_EQ(matchLut1(rule, 3, 0), 0) << "field 0 behind the list is not in the range";
    IFC_LUT1_Rule[2] = {};
    EXPECT_EQ(matchLut1({rule[0], rule[1], {0, 0, 0, 0}}, 3, 0), 1) << "but an all-zero entry holds it";
    IFC_LUT1_Rule[0].type1.valid = 0;
    IFC_LUT1_Rule[1].type0.end = 0;
    IFC_LUT1_Rule[0].type1.type = 0;
    EXPECT_EQ(matchLut1(rule, 2, 0), 1) << "valid, end, and the type of an IPv4 address are not looked at";
    for (size_t i = 0; i < rule.size(); ++i) {
        auto other = rule;
        other[i].command ^= 1;
        EXPECT_EQ(matchLut1(other, 2, 0), 0);
        other = rule;
        other[i].key ^= 0x100;
        EXPECT_EQ(matchLut1(other, 2, 0), 0);
        other = rule;
        other[i].mask = 0x8000;
        EXPECT_EQ(matchLut1(other, 2, 0), 0);
        other = rule;
        other[i].field = 99;
        EXPECT_EQ(matchLut1(other, 2, 0), 0);
    }
    auto wide = rule;
    wide[1].mask |= 0xABCD0000;
    wide[1].key |= 0xABCD0000;
    EXPECT_EQ(matchLut1(wide, 2, 0), 1) << "16 bits count";
    wide[1].key ^= 0x8000;
    EXPECT_EQ(matchLut1(wide, 2, 0), 0) << "all of them";
    auto same = rule;
    same[0].mask = 0x0000FFFF; // 16 bits, from the other end
    EXPECT_EQ(matchLut1(same, 2, 0), 0);
}

TEST_F(MatchingTest, AFieldInTheIpv6ClassIsComparedLikeAHalfword)
{
    IFC_LUT1_Rule[0].word[0] = DIPv6_31_0;
    IFC_LUT1_Rule[0].word[1] = 0x00FF0012;
    EXPECT_EQ(matchLut1({{DIPv6_31_0, 0, 0xFF, 0x12}}, 1, 0), 1);
}

TEST_F(MatchingTest, AnIrreducibleMaskSpeaksUpAtEachEntryLookedAt)
{
    place({{DPORT, 0, 1, 1}, {SPORT, 0, 1, 1}, {VID0, 0, 1, 1}});
    EXPECT_EQ(matchLut1({{DIPv4, 0, 0x00FF00FF, 1}}, 3, 0), 0);
    EXPECT_EQ(said.size(), 3u);
    forget();
    EXPECT_EQ(matchLut1({{DMAC, 0, 0x00FF00FF, 1}}, 3, 0), 0);
    EXPECT_EQ(said.size(), 0u) << "a MAC asks at entries of type 1 only";
    for (unsigned n = 0; n < 3; ++n)
        IFC_LUT1_Rule[n].type0.type = n != 1;
    EXPECT_EQ(matchLut1({{DMAC, 0, 0x00FF00FF, 1}}, 3, 0), 0);
    EXPECT_THAT(said, ElementsAre("mask should be left->right or right->left, but mask:0000  ff00ff\n",
                                  "mask should be left->right or right->left, but mask:0000  ff00ff\n"));
    forget();
    // A failed reduction is compared like any other: direction 1, length 31.
    IFC_LUT1_Rule[1].word[0] = 31u << 8 | 1u << 7 | DIPv4;
    IFC_LUT1_Rule[1].word[1] = 5;
    EXPECT_EQ(matchLut1({{DIPv4, 0, 0x00FF00FF, 5}}, 1, 1), 1);
    EXPECT_EQ(said.size(), 1u);
}

TEST_F(MatchingTest, AFailedReductionOfAMacIsComparedLikeAnyOther)
{
    const Cond mac = {SMAC, 0, 0x00FF00FF, 5};
    // Direction 1, and the low four bits of the length.
    IFC_LUT1_Rule[3].word[0] = 0x2000 | 15u << 8 | 1u << 7 | SMAC;
    IFC_LUT1_Rule[3].word[1] = 5;
    EXPECT_EQ(find(mac), 3);
    EXPECT_EQ(matchLut1({mac}, 1, 3), 1) << "nothing behind it disagrees";
    EXPECT_EQ(said.size(), 2u) << "one entry of type 1, asked twice";
    for (const unsigned length : {0u, 14u, 31u}) {
        IFC_LUT1_Rule[3].type1.length = length & 31;
        EXPECT_EQ(find(mac), -1) << length;
        EXPECT_EQ(matchLut1({mac}, 1, 3), 0) << length;
    }
    IFC_LUT1_Rule[3].word[0] = 0x2000 | 15u << 8 | SMAC;
    EXPECT_EQ(find(mac), -1) << "the other direction";
}

TEST_F(MatchingTest, AMacStepsOverTheNextCondition)
{
    place({{DMAC, 0, kAll, kMac}, {DPORT, 0, 0xFFFF, 80}});
    // Indexes 0 (the MAC), then 2: the list's end. Entry 3 is outside, so it fails.
    EXPECT_EQ(matchLut1({{DMAC, 0, kAll, kMac}, {DPORT, 0, 0xFFFF, 81}}, 3, 0), 0);
    // With an all-zero entry in the range the end of the list is found, and the wrong port was stepped over.
    IFC_LUT1_Rule[2] = {};
    EXPECT_EQ(matchLut1({{DMAC, 0, kAll, kMac}, {DPORT, 0, 0xFFFF, 81}}, 3, 0), 1);
}

TEST_F(MatchingTest, ALowPartInMidRangeUsesUpTheNextEntry)
{
    place({{DMAC, 0, kAll, kMac}});
    const IFC_LUT1_Format low = IFC_LUT1_Rule[0];
    const IFC_LUT1_Format high = IFC_LUT1_Rule[1];
    const std::vector<Cond> rule = {{DMAC, 0, kAll, kMac}};
    IFC_LUT1_Rule[0] = low;
    IFC_LUT1_Rule[1] = low; // used up by the first low part
    IFC_LUT1_Rule[2] = high;
    IFC_LUT1_Rule[3] = {};
    EXPECT_EQ(matchLut1({rule[0], {0, 0, 0, 0}}, 2, 2), 1) << "a high part alone is a MAC";
    EXPECT_EQ(matchLut1({rule[0], {0, 0, 0, 0}, {0, 0, 0, 0}}, 3, 0), 0)
        << "the high part behind is found, then the list's end is not";
    IFC_LUT1_Rule[2] = {};
    IFC_LUT1_Rule[3] = high;
    EXPECT_EQ(matchLut1(rule, 2, 0), 0) << "nothing left behind the entry that was used up";
}

TEST_F(MatchingTest, ALowPartAtTheEndLooksPastTheRange)
{
    place({{DMAC, 0, kAll, kMac}});
    const std::vector<Cond> rule = {{DMAC, 0, kAll, kMac}};
    EXPECT_EQ(matchLut1(rule, 1, 0), 0) << "a matching high part past the range fails the whole";
    IFC_LUT1_Rule[1].type0.key ^= 1;
    EXPECT_EQ(matchLut1(rule, 1, 0), 1) << "anything else counts as found";
    IFC_LUT1_Rule[31] = IFC_LUT1_Rule[0];
    EXPECT_EQ(matchLut1(rule, 1, 31), 1) << "behind the last entry everything is zero";
    EXPECT_EQ(matchLut1({{DMAC, 0, kAll, kMac}, {DMAC, 0, kAll, kMac}}, 2, 31), 0)
        << "then the search goes on in the rest of the range";
}

TEST_F(MatchingTest, RequestsEndWithTheirArrays)
{
    std::vector<Cond> list(48, {0, 0, 0, 0});
    EXPECT_EQ(matchLut1(list, 60, 0), 1) << "all-zero entries hold the field 0";
    list[0].command = 3; // the word behind the last field of the request
    IFC_LUT1_Rule[0].type0.command = 3;
    EXPECT_EQ(matchLut1(list, 60, 0), 1) << "no more than 48 conditions are read";
}

TEST_F(MatchingTest, AMacHighPartComparesWholeWords)
{
    place({{DMAC, 0, kAll, kMac}});
    auto request = requestOf({{DMAC, 0, kAll, kMac}});
    EXPECT_EQ(ifc_match_rule_lut1(&request, 2, 0), 1);
    request.key_high[0] |= 0x10000;
    EXPECT_EQ(ifc_match_rule_lut1(&request, 2, 0), 0);
    request.key_high[0] &= 0xFFFF;
    IFC_LUT1_Rule[1].type0.sel = 0;
    EXPECT_EQ(ifc_match_rule_lut1(&request, 2, 0), 1) << "Sel is not tested";
    IFC_LUT1_Rule[1].type0.field = SMAC;
    EXPECT_EQ(ifc_match_rule_lut1(&request, 2, 0), 0);
}

TEST_F(MatchingTest, FindsASingleConditionByItsLowestEntry)
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
    EXPECT_TRUE(seen.empty());
}

TEST_F(MatchingTest, FindsIpv6WordsAndFlowLabelsLikeHalfwords)
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
    EXPECT_TRUE(said.empty()) << "no mask is reduced";
}
