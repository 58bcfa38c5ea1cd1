// SPDX-License-Identifier: MIT OR GPL-2.0
// Sets on the simulated chip: after any edits, the first matching rule of the list decides a frame.
#include <gtest/gtest.h>

#include "c_user.h"
#include "frame_kinds.h"
#include "tests/engine/classifier_fixture.h"

#include <cstring>

using namespace rules;
using namespace kinds;

namespace
{

class RulesetTest : public ClassifierTest
{
protected:
    void SetUp() override
    {
        ClassifierTest::SetUp();
        set_fe_tpid();
        ifc_ruleset_forget_undo();
        ifc_ruleset_init(set.get());
    }

    static void set_fe_tpid()
    {
        set_frame_engine_data(FE_TPID_CFG, uint32_t{kUserTpid} << FE_TPID_CFG_USER_LSB);
    }

    // No call relies on what another one left in the working memory.
    ifc_ruleset *setWithNoise()
    {
        memset(set->work, 0xA5, sizeof set->work);
        return set.get();
    }
    int apply(unsigned flags = 0) { return ifc_ruleset_apply(setWithNoise(), flags, &report); }
    int insert(uint32_t position, const ifc_rule &rule)
    {
        return ifc_ruleset_insert(setWithNoise(), position, &rule, &report);
    }
    int append(const ifc_rule &rule) { return insert(IFC_RULESET_LAST, rule); }
    const ifc_rule &at(unsigned position) { return *ifc_ruleset_rule(set.get(), position); }
    int numberAt(unsigned position, const ifc_ruleset *of = nullptr)
    {
        return ifc_ruleset_number(ifc_ruleset_place_of(of != nullptr ? of : set.get(), position));
    }

    // The shadow equals the hardware, on chips that use LUT0.
    void expectShadowEqualsHardware()
    {
        for (unsigned n = 0; n < IFC_LUT0_RULES; ++n)
            ASSERT_EQ(memcmp(IFC_LUT0_Rule[n].word, window.tables().lut0[n], sizeof IFC_LUT0_Rule[n].word),
                      0);
        for (unsigned n = 0; n < IFC_LUT1_RULES; ++n)
            ASSERT_EQ(memcmp(IFC_LUT1_Rule[n].word, window.tables().lut1[n], sizeof IFC_LUT1_Rule[n].word),
                      0);
    }

    // The chip decides random frames as the list does, and each rule has its action.
    void expectListDecides(Random &random, const std::vector<ifc_rule> &list, const ifc_ruleset &of,
                           unsigned count)
    {
        for (unsigned n = 0; n < list.size(); ++n) {
            const int number = numberAt(n, &of);
            ASSERT_GE(number, 0);
            ASSERT_EQ(memcmp(window.tables().action[number], list[n].action.word, sizeof list[n].action), 0);
        }
        for (unsigned round = 0; round < count; ++round) {
            const Bytes frame = frameOf(randomWanted(random));
            engine::SideData side;
            side.sourceInterface = random.oneIn(3) ? -1 : static_cast<int>(random.below(4));
            engine::ParsedFrame parsed;
            const int entry = classifier->classify(frame.data(), frame.size(), side, parsed).entry;
            // classify() extracts only the user-defined fields that rules use.
            engine::ParsedFrame whole;
            classifier->parse(frame.data(), frame.size(), side, whole);
            int expected = engine::kNoEntry;
            for (unsigned n = 0; n < list.size() && expected == engine::kNoEntry; ++n)
                if (fits(list[n], whole.fields))
                    expected = numberAt(n, &of);
            decided += expected != engine::kNoEntry;
            ASSERT_EQ(entry, expected);
        }
    }

    std::unique_ptr<ifc_ruleset> set = std::make_unique<ifc_ruleset>();
    ifc_ruleset_report report{};
    unsigned decided = 0;
};

ifc_rule randomSetRule(Random &random)
{
    ifc_rule rule;
    do {
        rule = random.oneIn(8) ? randomRule(random, 10) : structuralRule(random);
    } while (ifc_rule_check(&rule, nullptr) != IFC_RULESET_OK);
    rule.cookie = random.wide();
    rule.priority = random.below(4);
    for (uint32_t &word : rule.action.word)
        word = random.word();
    return rule;
}

ifc_rule withAction(ifc_rule rule, uint32_t value)
{
    rule.action.word[3] = value;
    return rule;
}

// The same edit to a set and to a list.
void editBoth(Random &random, ifc_ruleset &set, std::vector<ifc_rule> &list)
{
    const auto count = static_cast<unsigned>(list.size());
    const unsigned choice = random.below(count > 12 ? 9 : 6);
    const ifc_rule rule = randomSetRule(random);
    const unsigned position = count != 0 ? random.below(count) : 0;
    if (count == 0 || choice <= 2) {
        const unsigned where = random.below(count + 1);
        ASSERT_EQ(ifc_ruleset_insert(&set, where, &rule, nullptr), IFC_RULESET_OK);
        list.insert(list.begin() + where, rule);
    } else if (choice == 3) {
        const unsigned to = random.below(count);
        ASSERT_EQ(ifc_ruleset_move(&set, position, to), IFC_RULESET_OK);
        const ifc_rule moved = list[position];
        list.erase(list.begin() + position);
        list.insert(list.begin() + to, moved);
    } else if (choice == 4) {
        ASSERT_EQ(ifc_ruleset_replace(&set, position, &rule, IFC_RULESET_ACTION, nullptr), IFC_RULESET_OK);
        list[position].action = rule.action;
    } else if (choice == 5) {
        const unsigned what = IFC_RULESET_CONDITIONS | (random.oneIn(2) ? IFC_RULESET_COOKIE : 0);
        ASSERT_EQ(ifc_ruleset_replace(&set, position, &rule, what, nullptr), IFC_RULESET_OK);
        const ifc_rule before = list[position];
        list[position] = rule;
        list[position].action = before.action;
        if ((what & IFC_RULESET_COOKIE) == 0) {
            list[position].cookie = before.cookie;
            list[position].priority = before.priority;
        }
    } else {
        ASSERT_EQ(ifc_ruleset_remove(&set, position), IFC_RULESET_OK);
        list.erase(list.begin() + position);
    }
}

} // namespace

TEST_F(RulesetTest, InsertsByPositionAndByPriority)
{
    ifc_rule rule = rules::rule({equal(ETYPE, 0x0800)});
    for (const unsigned priority : {5, 1, 5, 3, 1}) {
        rule.priority = priority;
        rule.cookie = ifc_ruleset_count(set.get());
        ASSERT_EQ(insert(IFC_RULESET_BY_PRIORITY, rule), IFC_RULESET_OK);
    }
    const uint64_t cookies[] = {1, 4, 3, 0, 2};
    for (unsigned n = 0; n < 5; ++n)
        EXPECT_EQ(at(n).cookie, cookies[n]);
    EXPECT_EQ(report.position, 1u);
    rule.cookie = 99;
    EXPECT_EQ(insert(2, rule), IFC_RULESET_OK);
    EXPECT_EQ(ifc_ruleset_find_cookie(set.get(), 99), 2);
    EXPECT_EQ(ifc_ruleset_find_cookie(set.get(), 98), -1);
    EXPECT_EQ(insert(7, rule), IFC_RULESET_BAD_POSITION);
    EXPECT_EQ(ifc_ruleset_count(set.get()), 6u);
    EXPECT_EQ(ifc_ruleset_rule(set.get(), 6), nullptr);
    EXPECT_EQ(ifc_ruleset_remove(set.get(), 6), IFC_RULESET_BAD_POSITION);
    EXPECT_EQ(ifc_ruleset_move(set.get(), 0, 6), IFC_RULESET_BAD_POSITION);
    EXPECT_EQ(ifc_ruleset_replace(set.get(), 6, &rule, IFC_RULESET_ACTION, &report),
              IFC_RULESET_BAD_POSITION);
}

// Also with memory of rules that are gone.
TEST_F(RulesetTest, FindsRulesFromTheFirstToTheLast)
{
    for (unsigned n = 0; n < 3; ++n) {
        ifc_rule rule = rules::rule({equal(DPORT, n)});
        rule.cookie = 100 + n;
        ASSERT_EQ(append(rule), IFC_RULESET_OK);
    }
    ASSERT_EQ(apply(), IFC_RULESET_OK);
    const int last = numberAt(2);
    for (unsigned n = 0; n < 3; ++n) {
        EXPECT_EQ(ifc_ruleset_find_cookie(set.get(), 100 + n), static_cast<int>(n));
        EXPECT_EQ(ifc_ruleset_find_number(set.get(), static_cast<uint32_t>(numberAt(n))),
                  static_cast<int>(n));
    }
    ASSERT_EQ(ifc_ruleset_remove(set.get(), 2), IFC_RULESET_OK);
    EXPECT_EQ(ifc_ruleset_find_cookie(set.get(), 102), -1);
    EXPECT_EQ(ifc_ruleset_find_number(set.get(), static_cast<uint32_t>(last)), -1);
    EXPECT_EQ(ifc_ruleset_place_of(set.get(), 2).table, IFC_RULESET_NOWHERE);
    EXPECT_EQ(ifc_ruleset_move(set.get(), 2, 0), IFC_RULESET_BAD_POSITION);
    EXPECT_EQ(ifc_ruleset_move(set.get(), 0, 2), IFC_RULESET_BAD_POSITION);
}

TEST_F(RulesetTest, RefusedRulesChangeNothing)
{
    ASSERT_EQ(append(rules::rule({equal(ETYPE, 0x0800)})), IFC_RULESET_OK);
    const auto before = std::make_unique<ifc_ruleset>(*set);
    const ifc_rule bad = rules::rule({equal(UDF0, 1), equal(DIPv4, 0, 0xFF00FF00)});
    EXPECT_EQ(append(bad), IFC_RULESET_BAD_RULE);
    EXPECT_EQ(report.reason, IFC_RULESET_UDF_NOT_NARROW);
    EXPECT_EQ(ifc_ruleset_replace(set.get(), 0, &bad, IFC_RULESET_CONDITIONS, &report), IFC_RULESET_BAD_RULE);
    EXPECT_EQ(report.other, 1u);
    EXPECT_EQ(memcmp(before.get(), set.get(), offsetof(ifc_ruleset, work)), 0);
}

TEST_F(RulesetTest, IsFullAtFortyRules)
{
    for (unsigned n = 0; n < IFC_RULESET_RULES; ++n)
        ASSERT_EQ(append(rules::rule({equal(DPORT, n)})), IFC_RULESET_OK);
    EXPECT_EQ(append(rules::rule({equal(DPORT, 99)})), IFC_RULESET_FULL);
    ASSERT_EQ(apply(), IFC_RULESET_OK);
    EXPECT_EQ(report.added, 40);
    Random random(1);
    std::vector<ifc_rule> list;
    for (unsigned n = 0; n < IFC_RULESET_RULES; ++n)
        list.push_back(at(n));
    expectListDecides(random, list, *set, 200);
}

TEST_F(RulesetTest, AClearedSetTakesAllItsRulesAgain)
{
    for (unsigned round = 0; round < 2; ++round) {
        for (unsigned n = 0; n < IFC_RULESET_RULES; ++n)
            ASSERT_EQ(append(rules::rule({equal(DPORT, n)})), IFC_RULESET_OK);
        ifc_ruleset_clear(set.get());
        EXPECT_EQ(ifc_ruleset_count(set.get()), 0u);
    }
}

// The parts that are not named are not looked at.
TEST_F(RulesetTest, ReplacesTheNamedParts)
{
    ifc_rule rule = withAction(rules::rule({equal(DPORT, 7)}), 5);
    rule.cookie = 1;
    rule.priority = 2;
    ASSERT_EQ(append(rules::rule({equal(DPORT, 8)})), IFC_RULESET_OK);
    ASSERT_EQ(append(rule), IFC_RULESET_OK);
    ifc_rule other = withAction(rules::rule({equal(48, 0, 0)}), 6); // no such field
    other.cookie = 3;
    other.priority = 4;
    EXPECT_EQ(ifc_ruleset_replace(set.get(), 1, &other, IFC_RULESET_ACTION, &report), IFC_RULESET_OK);
    EXPECT_EQ(report.position, 1u);
    EXPECT_EQ(at(1).action.word[3], 6u);
    EXPECT_EQ(at(1).cookie, 1u);
    EXPECT_EQ(at(1).priority, 2u);
    EXPECT_EQ(ifc_ruleset_replace(set.get(), 1, &other, IFC_RULESET_COOKIE, &report), IFC_RULESET_OK);
    EXPECT_EQ(at(1).cookie, 3u);
    EXPECT_EQ(at(1).priority, 4u);
    EXPECT_EQ(at(1).condition[0].field, static_cast<unsigned>(DPORT));
    EXPECT_EQ(at(0).action.word[3], 0u);
}

TEST_F(RulesetTest, PlanSaysWhatApplyDoes)
{
    for (unsigned n = 0; n < 3; ++n)
        ASSERT_EQ(append(rules::rule({equal(DPORT, n), equal(IPv4_PROTOCOL, 17)})), IFC_RULESET_OK);
    ASSERT_EQ(ifc_ruleset_plan(set.get(), &report), IFC_RULESET_OK);
    EXPECT_EQ(report.added, 3);
    const ifc_ruleset_report planned = report;
    EXPECT_GT(planned.accesses, 0u);
    EXPECT_EQ(numberAt(0), -1);
    ASSERT_EQ(apply(), IFC_RULESET_OK);
    EXPECT_LE(report.accesses, planned.accesses);
    EXPECT_GT(report.accesses, 0u);
    EXPECT_EQ(memcmp(report.place, planned.place, sizeof report.place), 0);
    EXPECT_EQ(numberAt(0), ifc_ruleset_number(planned.place[0]));
    EXPECT_EQ(ifc_ruleset_find_number(set.get(), static_cast<uint32_t>(numberAt(2))), 2);

    ASSERT_EQ(ifc_ruleset_remove(set.get(), 1), IFC_RULESET_OK);
    ASSERT_EQ(apply(), IFC_RULESET_OK);
    EXPECT_EQ(report.kept, 2);
    EXPECT_EQ(report.deleted, 1);
    EXPECT_EQ(report.moved, 0);
    EXPECT_EQ(report.fewest, 1);
    ASSERT_EQ(apply(), IFC_RULESET_OK);
    EXPECT_EQ(report.accesses, 0u);
    EXPECT_EQ(report.deleted, 0);
    expectShadowEqualsHardware();
}

// Entries, counters and bindings with leftovers are all written: the plan counts just that.
TEST_F(RulesetTest, APlanIsExactIfAllHasToBeWritten)
{
    for (unsigned n = 0; n < IFC_ACTIONS; ++n)
        window.tables().action[n][1] = window.tables().counter[n][1] = 9;
    for (unsigned n = 0; n < IFC_ACNT_CFG_COUNT; ++n)
        set_frame_engine_data(IFC_ACNT_CFG + 4 * n, 0x77777777);
    ASSERT_EQ(append(rules::rule({equal(DPORT, 1)})), IFC_RULESET_OK);
    ASSERT_EQ(ifc_ruleset_plan(set.get(), &report), IFC_RULESET_OK);
    const uint32_t planned = report.accesses;
    ASSERT_EQ(apply(), IFC_RULESET_OK);
    EXPECT_EQ(report.accesses, planned);
    ASSERT_EQ(ifc_ruleset_read(set.get(), &report), IFC_RULESET_OK);
    EXPECT_EQ(report.accesses, 6u); // the action: a command, one poll, four data words
}

TEST_F(RulesetTest, AnActionIsGivenOnce)
{
    const ifc_rule rule = withAction(rules::rule({equal(DPORT, 7)}), 5);
    ASSERT_EQ(append(rule), IFC_RULESET_OK);
    ASSERT_EQ(apply(), IFC_RULESET_OK);
    ASSERT_EQ(apply(), IFC_RULESET_OK);
    EXPECT_EQ(report.accesses, 0u);
    const ifc_rule other = withAction(rule, 6);
    ASSERT_EQ(ifc_ruleset_replace(set.get(), 0, &other, IFC_RULESET_ACTION, &report), IFC_RULESET_OK);
    ASSERT_EQ(apply(), IFC_RULESET_OK);
    EXPECT_GT(report.accesses, 0u);
    ASSERT_EQ(apply(), IFC_RULESET_OK);
    EXPECT_EQ(report.accesses, 0u);
}

TEST_F(RulesetTest, CountsKeptMovedAndDeletedRules)
{
    for (unsigned n = 0; n < 3; ++n) // only LUT1 holds them, and they overlap
        ASSERT_EQ(append(rules::rule({equal(UDF0 + n, 1)})), IFC_RULESET_OK);
    ASSERT_EQ(apply(), IFC_RULESET_OK);
    ASSERT_EQ(ifc_ruleset_move(set.get(), 2, 0), IFC_RULESET_OK);
    ASSERT_EQ(ifc_ruleset_remove(set.get(), 2), IFC_RULESET_OK);
    ASSERT_EQ(apply(), IFC_RULESET_OK);
    EXPECT_EQ(report.added, 0);
    EXPECT_EQ(report.kept, 1);
    EXPECT_EQ(report.moved, 1);
    EXPECT_EQ(report.deleted, 1);
}

TEST_F(RulesetTest, TheClassifierIsOffDuringAQuietApply)
{
    for (const unsigned flags : {0u, static_cast<unsigned>(IFC_RULESET_QUIESCE)}) {
        struct Seen {
            const engine::RegisterWindow &chip;
            unsigned on = 0;
        } seen{window};
        ASSERT_NE(window.globalConfig() & IFC_GLB_CFG_ENABLE, 0u);
        window.onAccess(
            [](void *user, const engine::Access &access) {
                auto &look = *static_cast<Seen *>(user);
                look.on += access.reg != IFC_GLB_CFG && (look.chip.globalConfig() & IFC_GLB_CFG_ENABLE) != 0;
            },
            &seen);
        ASSERT_EQ(append(rules::rule({equal(DPORT, flags)})), IFC_RULESET_OK);
        ASSERT_EQ(apply(flags), IFC_RULESET_OK);
        window.onAccess(nullptr, nullptr);
        EXPECT_EQ(seen.on == 0, flags == IFC_RULESET_QUIESCE);
        EXPECT_NE(window.globalConfig() & IFC_GLB_CFG_ENABLE, 0u);
    }
}

TEST_F(RulesetTest, TablesOfOthersAreReadAsRules)
{
    orva_ifc_param request = {};
    add(request, DMAC, 0, 0xFFFFFFFFFFFF, 0x021122334455);
    add(request, ETYPE, 0, 0xFFFF, 0x0800);
    ASSERT_EQ(ifc_set_lut_rules_auto(&request), 10);
    ifc_set_action(10, IFC_ACT_SP_TAG, IFC_ENABLE, 0x1234, 0, 0, 0);
    ASSERT_EQ(ifc_set_lut0_rules(5, IFC_ENABLE, DIPv4, 0, 0, 0xFF00FF00, 0, 0x0A000100), 0);
    ifc_set_action(5, IFC_ACT_FPORT_NBQ, IFC_ENABLE, 3, 0, 0, 0);
    // Two entries without an end flag: no rule.
    ASSERT_EQ(ifc_set_lut1_rules(3, IFC_ENABLE, 0, DPORT, 0, 0xFFFF, 0, 53), 4);
    ASSERT_EQ(ifc_set_lut1_rules(4, IFC_ENABLE, 0, SPORT, 0, 0xFFFF, 0, 53), 5);

    ASSERT_EQ(ifc_ruleset_read(set.get(), &report), IFC_RULESET_OK);
    ASSERT_EQ(ifc_ruleset_count(set.get()), 2u);
    EXPECT_EQ(numberAt(0), 5);
    EXPECT_EQ(numberAt(1), 10);
    EXPECT_EQ(at(0).condition[0].mask, 0xFF00FF00u);
    EXPECT_EQ(at(0).action.bits.fport, 3u);
    ASSERT_EQ(at(1).count, 2u);
    EXPECT_EQ(at(1).condition[0].key, 0x021122334455u);
    EXPECT_EQ(at(1).action.bits.sp_tag, 0x1234u);

    // The reserved entries 3 to 5 do not change, however many rules are added.
    for (unsigned n = 0; n < 35; ++n)
        ASSERT_EQ(append(rules::rule({equal(DPORT, n)})), IFC_RULESET_OK);
    ASSERT_EQ(apply(), IFC_RULESET_OK);
    EXPECT_EQ(report.added, 35);
    EXPECT_EQ(IFC_LUT1_Rule[3].word[1], 0xFFFF0035u);
    EXPECT_EQ(IFC_LUT1_Rule[4].word[1], 0xFFFF0035u);
    EXPECT_FALSE(IFC_LUT1_Rule[5].type0.valid);
    expectShadowEqualsHardware();
    ASSERT_EQ(append(rules::rule({equal(SPORT, 1)})), IFC_RULESET_OK);
    EXPECT_EQ(apply(), IFC_RULESET_NO_PLACE);
    EXPECT_EQ(report.reason, IFC_RULESET_NO_SPACE);
    EXPECT_EQ(report.wide_needed, 1);
    EXPECT_EQ(report.wide_free, 8);
    EXPECT_EQ(report.narrow_needed, 0);
    EXPECT_EQ(report.narrow_free, 29);
    EXPECT_EQ(report.either_rules, 37);
    EXPECT_EQ(report.either_entries, 39);
}

TEST_F(RulesetTest, ClaimedEntriesAreFreeForRules)
{
    // Two entries without an end flag, and a chain that names no field.
    ASSERT_EQ(ifc_set_lut1_rules(3, IFC_ENABLE, 0, DPORT, 0, 0xFFFF, 0, 53), 4);
    ASSERT_EQ(ifc_set_lut1_rules(4, IFC_ENABLE, 0, SPORT, 0, 0xFFFF, 0, 53), 5);
    IFC_LUT1_Rule[20].word[0] = 0xC000;
    write_all_ifc_rule_to_hw();
    ASSERT_EQ(ifc_ruleset_read(set.get(), &report), IFC_RULESET_OK);
    ASSERT_EQ(ifc_ruleset_count(set.get()), 0u);
    ASSERT_EQ(apply(), IFC_RULESET_OK);
    EXPECT_EQ(report.accesses, 0u);
    ifc_ruleset_claim(set.get());
    for (unsigned n = 0; n < 40; ++n)
        ASSERT_EQ(append(rules::rule({equal(DPORT, n)})), IFC_RULESET_OK);
    ASSERT_EQ(apply(), IFC_RULESET_OK);
    expectShadowEqualsHardware();

    // Without rules they are cleared.
    ASSERT_EQ(ifc_set_lut1_rules(23, IFC_ENABLE, 0, SPORT, 0, 0xFFFF, 0, 53), 24);
    ASSERT_EQ(ifc_ruleset_read(set.get(), &report), IFC_RULESET_OK);
    ifc_ruleset_claim(set.get());
    ifc_ruleset_clear(set.get());
    ASSERT_EQ(apply(), IFC_RULESET_OK);
    for (const IFC_LUT1_Format &entry : IFC_LUT1_Rule)
        EXPECT_EQ(entry.word[0] | entry.word[1], 0u);
    expectShadowEqualsHardware();
}

// An entry without an end flag is reserved, and the free one after it: a chain there would join it.
TEST_F(RulesetTest, TheFirstEntryCanBeReserved)
{
    ASSERT_EQ(ifc_set_lut1_rules(0, IFC_ENABLE, 0, SPORT, 0, 0xFFFF, 0, 53), 1);
    ASSERT_EQ(ifc_ruleset_read(set.get(), &report), IFC_RULESET_OK);
    ASSERT_EQ(append(rules::rule({equal(UDF0, 1)})), IFC_RULESET_OK); // only LUT1 holds it
    ASSERT_EQ(apply(), IFC_RULESET_OK);
    EXPECT_EQ(ifc_ruleset_place_of(set.get(), 0).first, 2u);
}

// An entry without an end flag before the end of a sub-table, the same at its end, and a chain of no field.
TEST_F(RulesetTest, ReservedEntriesStayAndTheOthersAreUsed)
{
    ASSERT_EQ(ifc_set_lut1_rules(3, IFC_ENABLE, 0, SPORT, 0, 0xFFFF, 0, 53), 4);
    ASSERT_EQ(ifc_set_lut1_rules(15, IFC_ENABLE, 0, SPORT, 0, 0xFFFF, 0, 53), 16);
    IFC_LUT1_Rule[20].word[0] = 0xC000;
    write_all_ifc_rule_to_hw();
    IFC_LUT1_Format before[IFC_LUT1_RULES];
    memcpy(before, IFC_LUT1_Rule, sizeof before);
    ASSERT_EQ(ifc_ruleset_read(set.get(), &report), IFC_RULESET_OK);
    ASSERT_EQ(ifc_ruleset_count(set.get()), 0u);
    for (unsigned n = 0; n < 28; ++n) // all but the entries 3, 4, 15 and 20
        ASSERT_EQ(append(rules::rule({equal(UDF0, n)})), IFC_RULESET_OK);
    ASSERT_EQ(apply(), IFC_RULESET_OK);
    for (const unsigned entry : {3u, 4u, 15u, 20u})
        EXPECT_EQ(memcmp(&IFC_LUT1_Rule[entry], &before[entry], sizeof *before), 0) << entry;
    ASSERT_EQ(append(rules::rule({equal(UDF0, 28)})), IFC_RULESET_OK);
    EXPECT_EQ(apply(), IFC_RULESET_NO_PLACE);
    EXPECT_EQ(report.narrow_free, 28u);
}

TEST_F(RulesetTest, AClaimKeepsHoldOfTheSetsOwnPlaces)
{
    ASSERT_EQ(append(rules::rule({equal(DIPv4, 0, 0xFF00FF00)})), IFC_RULESET_OK); // only LUT0 holds it
    ASSERT_EQ(apply(), IFC_RULESET_OK);
    ASSERT_EQ(numberAt(0), 0);
    ifc_ruleset_claim(set.get());
    ASSERT_EQ(ifc_ruleset_remove(set.get(), 0), IFC_RULESET_OK);
    ASSERT_EQ(apply(), IFC_RULESET_OK);
    EXPECT_FALSE(IFC_LUT0_Rule[0].bits.valid);
    expectShadowEqualsHardware();
}

// Sixteen chains of two entries that a single one could say.
class LongChains : public RulesetTest
{
protected:
    void SetUp() override
    {
        RulesetTest::SetUp();
        // "At least" and "at most the highest".
        for (unsigned n = 0; n < 32; n += 2) {
            ASSERT_EQ(ifc_set_lut1_rules(n, IFC_ENABLE, 0, DPORT, 2, 0xFFFF, 0, 1000 + n),
                      static_cast<int>(n + 1));
            ASSERT_EQ(ifc_set_lut1_rules(n + 1, IFC_ENABLE, 1, DPORT, 3, 0xFFFF, 0, 0xFFFF),
                      static_cast<int>(n + 2));
            window.tables().counter[8 + n + 1][2] = 500 + n;
        }
        ASSERT_EQ(ifc_ruleset_read(set.get(), &report), IFC_RULESET_OK);
        ASSERT_EQ(ifc_ruleset_count(set.get()), 16u);
    }

    // The chain of two that was the n-th: its condition and its counter.
    void expectChain(unsigned position, unsigned n, unsigned entries)
    {
        EXPECT_EQ(at(position).condition[0].key, 1000 + 2 * n);
        EXPECT_EQ(ifc_ruleset_place_of(set.get(), position).entries, entries) << n;
        EXPECT_EQ(window.tables().counter[numberAt(position)][2], 500 + 2 * n);
    }
};

TEST_F(LongChains, KeepTheirEntriesIfThereIsRoom)
{
    ASSERT_EQ(insert(0, rules::rule({equal(SINF, 1)})), IFC_RULESET_OK);
    ASSERT_EQ(apply(), IFC_RULESET_OK);
    EXPECT_EQ(report.kept, 16);
    EXPECT_EQ(report.fewest, 1);
    for (unsigned n = 0; n < 16; ++n)
        expectChain(1 + n, n, 2);
    expectShadowEqualsHardware();
}

TEST_F(LongChains, AreWrittenAnewIfARuleNeedsTheRoom)
{
    for (unsigned n = 0; n < 8; ++n)
        ASSERT_EQ(insert(0, rules::rule({equal(DIPv4, n, 0xFF0000FF)})), IFC_RULESET_OK);
    for (unsigned n = 0; n < 16; ++n) {
        ASSERT_EQ(append(rules::rule({equal(SINF, n)})), IFC_RULESET_OK);
        ASSERT_EQ(ifc_ruleset_plan(set.get(), &report), IFC_RULESET_OK);
        EXPECT_EQ(report.fewest, 0);
    }
    // A time-out anywhere: the long chains are back.
    const auto kept = std::make_unique<ifc_ruleset>(*set);
    const engine::Tables before = window.tables();
    unsigned failed = 0;
    for (;; failed += 7) {
        window.injectFault(engine::TransferFault::NeverComplete, failed, 1);
        const int result = apply();
        window.injectFault(engine::TransferFault::None, 0, 0);
        if (result == IFC_RULESET_OK)
            break;
        ASSERT_EQ(report.undo, IFC_RULESET_UNDONE);
        ASSERT_EQ(memcmp(&before, &window.tables(), sizeof before), 0) << failed;
        *set = *kept;
    }
    EXPECT_GT(failed, 100u);
    EXPECT_EQ(report.added, 24);
    EXPECT_EQ(report.moved, 16);
    for (unsigned n = 0; n < 16; ++n)
        expectChain(8 + n, n, 1);
    expectShadowEqualsHardware();
    // Now nothing is longer than needed.
    ASSERT_EQ(apply(), IFC_RULESET_OK);
    EXPECT_EQ(report.kept, 40);
    EXPECT_EQ(report.fewest, 1);
    EXPECT_EQ(report.accesses, 0u);
}

TEST_F(LongChains, ThatDoNotFitEvenIfWrittenAnewAreCountedShort)
{
    ASSERT_EQ(ifc_ruleset_remove(set.get(), 15), IFC_RULESET_OK);
    ASSERT_EQ(append(rules::rule({equal(UDF0, 1), equal(UDF0 + 1, 1)})), IFC_RULESET_OK);
    for (unsigned n = 0; n < 24; ++n)
        ASSERT_EQ(append(rules::rule({equal(UDF0, 2 + n)})), IFC_RULESET_OK);
    EXPECT_EQ(apply(), IFC_RULESET_NO_PLACE);
    EXPECT_EQ(report.reason, IFC_RULESET_NO_SPACE);
    EXPECT_EQ(report.narrow_needed, 26);
    EXPECT_EQ(report.either_entries, 15);
    expectShadowEqualsHardware();
}

TEST_F(RulesetTest, OtherConditionsForTheSameFramesKeepPlaceAndCounter)
{
    ASSERT_EQ(append(rules::rule({equal(UDF0, 5), equal(UDF0, 0, 0)})), IFC_RULESET_OK);
    ASSERT_EQ(append(rules::rule({equal(UDF0, 6), equal(UDF0, 0, 0)})), IFC_RULESET_OK);
    ASSERT_EQ(apply(), IFC_RULESET_OK);
    window.tables().counter[numberAt(0)][0] = 77;
    const ifc_rule same = rules::rule({equal(UDF0, 5)});
    const ifc_rule other = rules::rule({equal(UDF0, 7)});
    ASSERT_EQ(ifc_ruleset_replace(set.get(), 0, &same, IFC_RULESET_CONDITIONS, nullptr), IFC_RULESET_OK);
    EXPECT_GE(numberAt(0), 8);
    ASSERT_EQ(apply(), IFC_RULESET_OK);
    EXPECT_EQ(report.accesses, 0u);
    ASSERT_EQ(ifc_ruleset_replace(set.get(), 1, &other, IFC_RULESET_CONDITIONS, nullptr), IFC_RULESET_OK);
    EXPECT_EQ(numberAt(1), -1);
    // Without room for its two entries the rule gets its one.
    for (unsigned n = 0; n < 30; ++n)
        ASSERT_EQ(append(rules::rule({equal(UDF0, 8 + n)})), IFC_RULESET_OK);
    ASSERT_EQ(apply(), IFC_RULESET_OK);
    EXPECT_EQ(ifc_ruleset_place_of(set.get(), 0).entries, 1);
    EXPECT_EQ(window.tables().counter[numberAt(0)][0], 77u);
    expectShadowEqualsHardware();
}

TEST_F(RulesetTest, ChangedTablesAreStale)
{
    ASSERT_EQ(append(rules::rule({equal(DPORT, 53)})), IFC_RULESET_OK);
    ASSERT_EQ(ifc_set_lut1_rules(3, IFC_ENABLE, 1, DPORT, 0, 0xFFFF, 0, 53), 4);
    const engine::Tables before = window.tables();
    EXPECT_EQ(ifc_ruleset_plan(set.get(), &report), IFC_RULESET_STALE);
    EXPECT_EQ(report.result, IFC_RULESET_STALE);
    EXPECT_EQ(apply(), IFC_RULESET_STALE);
    EXPECT_EQ(report.accesses, 0u);
    EXPECT_EQ(memcmp(&before, &window.tables(), sizeof before), 0);
}

TEST_F(RulesetTest, ChipsWithoutLut0RefuseWhatNeedsIt)
{
    host::setRevision(14);
    ASSERT_EQ(append(rules::rule({equal(DIPv4, 0, 0xFF00FF00)})), IFC_RULESET_OK);
    EXPECT_EQ(apply(), IFC_RULESET_NO_PLACE);
    EXPECT_EQ(report.reason, IFC_RULESET_NEEDS_LUT0);
    EXPECT_EQ(report.position, 0u);
    EXPECT_EQ(report.wide_free, 0);
    ASSERT_EQ(ifc_ruleset_remove(set.get(), 0), IFC_RULESET_OK);
    ASSERT_EQ(append(rules::rule({equal(DMAC, 0x010000000000, 0x010000000000)})), IFC_RULESET_OK);
    EXPECT_EQ(apply(), IFC_RULESET_OK);
    EXPECT_GE(numberAt(0), 8);
}

TEST_F(RulesetTest, MasksThatPlacementDoesNotTakePreferLut0)
{
    ASSERT_EQ(append(rules::rule({equal(DMAC, 0x010000000000, 0x010000000000)})), IFC_RULESET_OK);
    ASSERT_EQ(apply(), IFC_RULESET_OK);
    EXPECT_EQ(numberAt(0), 0);
}

TEST_F(RulesetTest, RulesThatCannotStandInOrderAreNamed)
{
    // Only LUT1 holds the first, only LUT0 the second, and a frame can match both.
    ASSERT_EQ(append(rules::rule({equal(SINF, 3)})), IFC_RULESET_OK);
    ASSERT_EQ(append(rules::rule({equal(UDF0, 1)})), IFC_RULESET_OK);
    ASSERT_EQ(append(rules::rule({equal(DIPv4, 0, 0xFF00FF00)})), IFC_RULESET_OK);
    EXPECT_EQ(apply(), IFC_RULESET_NO_PLACE);
    EXPECT_EQ(report.reason, IFC_RULESET_PAIR);
    EXPECT_EQ(report.position, 1u);
    EXPECT_EQ(report.later, 2u);
    EXPECT_EQ(report.conflict, 6u);
    // In the opposite order they have places.
    ASSERT_EQ(ifc_ruleset_move(set.get(), 2, 1), IFC_RULESET_OK);
    EXPECT_EQ(apply(), IFC_RULESET_OK);
}

// Only LUT1 holds the first, only LUT0 the second. They can stand in order only if no frame matches both.
TEST_F(RulesetTest, OverlapsGoWithTheConditionsThatMadeThem)
{
    const ifc_rule meets = rules::rule({equal(DIPv4, 0, 0xFF00FF00)});
    const ifc_rule apart = rules::rule({equal(DIPv4, 0, 0xFF00FF00), equal(SPORT, 2)});
    ASSERT_EQ(append(rules::rule({equal(UDF0, 1), equal(SPORT, 1)})), IFC_RULESET_OK);
    ASSERT_EQ(append(meets), IFC_RULESET_OK);
    EXPECT_EQ(apply(), IFC_RULESET_NO_PLACE);
    ASSERT_EQ(ifc_ruleset_replace(set.get(), 1, &apart, IFC_RULESET_CONDITIONS, &report), IFC_RULESET_OK);
    EXPECT_EQ(apply(), IFC_RULESET_OK);
    ASSERT_EQ(ifc_ruleset_replace(set.get(), 1, &meets, IFC_RULESET_CONDITIONS, &report), IFC_RULESET_OK);
    EXPECT_EQ(apply(), IFC_RULESET_NO_PLACE);
    // Another rule instead, in the memory of the one that is removed.
    ASSERT_EQ(ifc_ruleset_remove(set.get(), 1), IFC_RULESET_OK);
    ASSERT_EQ(append(apart), IFC_RULESET_OK);
    EXPECT_EQ(apply(), IFC_RULESET_OK);
}

// Two conditions on one field are read as a range only if they are one.
TEST_F(RulesetTest, ReadsRangesAndPairsThatAreNone)
{
    const struct {
        unsigned first, firstMask, firstKey, second, secondMask, secondKey;
        bool range;
    } pairs[] = {
        {2, 0xFFFF, 5, 3, 0xFFFF, 9, true},
        {2, 0xFFFF, 9, 3, 0xFFFF, 9, true},
        {2, 0xFFFF, 9, 3, 0xFFFF, 5, false},
        {2, 0xFFFF, 5, 2, 0xFFFF, 9, false},
        {3, 0xFFFF, 5, 3, 0xFFFF, 9, false},
        {3, 0xFFFF, 5, 2, 0xFFFF, 9, false},
        {2, 0xFF00, 0x0500, 3, 0xFFFF, 0x0900, false},
        {2, 0xFFFF, 0x0500, 3, 0xFF00, 0x0900, false},
    };
    for (const auto &pair : pairs) {
        ASSERT_EQ(clear_all_ifc_rules(), 0);
        orva_ifc_param request = {};
        add(request, DPORT, pair.first, pair.firstMask, pair.firstKey);
        add(request, DPORT, pair.second, pair.secondMask, pair.secondKey);
        ASSERT_GE(ifc_set_lut_rules_auto(&request), 0);
        ASSERT_EQ(ifc_ruleset_read(set.get(), &report), IFC_RULESET_OK);
        ASSERT_EQ(ifc_ruleset_count(set.get()), 1u);
        EXPECT_EQ(at(0).count, pair.range ? 1u : 2u) << pair.firstKey << " " << pair.secondKey;
        EXPECT_EQ(at(0).condition[0].compare == IFC_COMPARE_RANGE, pair.range);
    }
}

TEST_F(RulesetTest, ATimeOutLeavesAllAsItWas)
{
    for (unsigned n = 0; n < 6; ++n)
        ASSERT_EQ(append(withAction(rules::rule({equal(DPORT, n), equal(SPORT, 1)}), n)), IFC_RULESET_OK);
    ASSERT_EQ(apply(), IFC_RULESET_OK);
    ASSERT_EQ(ifc_ruleset_move(set.get(), 5, 0), IFC_RULESET_OK);
    ASSERT_EQ(insert(0, withAction(rules::rule({equal(SPORT, 1)}), 77)), IFC_RULESET_OK);
    ASSERT_EQ(ifc_ruleset_remove(set.get(), 3), IFC_RULESET_OK);
    unsigned failed = 0;
    for (unsigned after = 0;; ++after) {
        const auto before = std::make_unique<ifc_ruleset>(*set);
        const engine::Tables tables = window.tables();
        window.injectFault(engine::TransferFault::NeverComplete, after, 1);
        const int result = apply();
        window.injectFault(engine::TransferFault::None, 0, 0);
        if (result == IFC_RULESET_OK)
            break;
        ++failed;
        ASSERT_EQ(result, IFC_RULESET_TIMEOUT);
        ASSERT_EQ(report.undo, IFC_RULESET_UNDONE) << after;
        ASSERT_EQ(memcmp(&tables, &window.tables(), sizeof tables), 0) << after;
        ASSERT_EQ(memcmp(before.get(), set.get(), offsetof(ifc_ruleset, work)), 0) << after;
        expectShadowEqualsHardware();
    }
    EXPECT_GT(failed, 5u);
    EXPECT_EQ(numberAt(0) < numberAt(3), true);
    expectShadowEqualsHardware();
}

TEST_F(RulesetTest, ATimeOutWhileReadingLeavesAnEmptySet)
{
    for (unsigned n = 0; n < 6; ++n)
        ASSERT_EQ(append(withAction(rules::rule({equal(DPORT, n), equal(SPORT, 1)}), n)), IFC_RULESET_OK);
    ASSERT_EQ(apply(), IFC_RULESET_OK);
    const auto empty = std::make_unique<ifc_ruleset>();
    ifc_ruleset_init(empty.get());
    unsigned failed = 0;
    for (unsigned after = 0;; ++after) {
        const auto read = std::make_unique<ifc_ruleset>(*set);
        window.injectFault(engine::TransferFault::NeverComplete, after, 1);
        const int result = ifc_ruleset_read(read.get(), &report);
        window.injectFault(engine::TransferFault::None, 0, 0);
        if (result == IFC_RULESET_OK) {
            EXPECT_EQ(ifc_ruleset_count(read.get()), 6u);
            break;
        }
        ++failed;
        ASSERT_EQ(result, IFC_RULESET_TIMEOUT);
        ASSERT_EQ(memcmp(empty.get(), read.get(), offsetof(ifc_ruleset, work)), 0) << after;
    }
    EXPECT_EQ(failed, 6u) << "one transfer for the action of each rule";
}

TEST_F(RulesetTest, ResultsAreTheNumbersThatCallersOutsideKnow)
{
    const int results[] = {IFC_RULESET_OK,       IFC_RULESET_BAD_POSITION, IFC_RULESET_FULL,
                           IFC_RULESET_BAD_RULE, IFC_RULESET_NO_PLACE,     IFC_RULESET_STALE,
                           IFC_RULESET_TIMEOUT};
    int expected = 0;
    for (const int result : results)
        EXPECT_EQ(result, expected--);
    const int undo[] = {IFC_RULESET_UNDO_NONE, IFC_RULESET_UNDONE, IFC_RULESET_UNDO_FAILED};
    expected = 0;
    for (const int result : undo)
        EXPECT_EQ(result, expected++);
    const int reasons[] = {IFC_RULESET_NO_REASON,   IFC_RULESET_BAD_COUNT,        IFC_RULESET_BAD_FIELD,
                           IFC_RULESET_BAD_COMPARE, IFC_RULESET_BAD_MASK,         IFC_RULESET_BAD_KEY,
                           IFC_RULESET_FIELD_TWICE, IFC_RULESET_RANGE_NOT_NARROW, IFC_RULESET_UDF_NOT_NARROW,
                           IFC_RULESET_NEEDS_LUT0,  IFC_RULESET_NO_SPACE,         IFC_RULESET_PAIR,
                           IFC_RULESET_ORDER};
    expected = 0;
    for (const int reason : reasons)
        EXPECT_EQ(reason, expected++);
}

TEST_F(RulesetTest, ADeadChipIsToldAndAnsweredForLater)
{
    for (unsigned n = 0; n < 4; ++n)
        ASSERT_EQ(append(withAction(rules::rule({equal(DPORT, n), equal(SPORT, 1)}), n)), IFC_RULESET_OK);
    ASSERT_EQ(apply(), IFC_RULESET_OK);
    ASSERT_EQ(insert(0, withAction(rules::rule({equal(SPORT, 1)}), 77)), IFC_RULESET_OK);
    window.injectFault(engine::TransferFault::NeverComplete, 3, 100000);
    EXPECT_EQ(apply(), IFC_RULESET_TIMEOUT);
    EXPECT_EQ(report.undo, IFC_RULESET_UNDO_FAILED);
    EXPECT_EQ(apply(), IFC_RULESET_TIMEOUT);
    EXPECT_EQ(report.undo, IFC_RULESET_UNDO_FAILED);
    window.injectFault(engine::TransferFault::None, 0, 0);
    EXPECT_EQ(apply(), IFC_RULESET_OK);
    expectShadowEqualsHardware();
    Random random(2);
    std::vector<ifc_rule> list;
    for (unsigned n = 0; n < 5; ++n)
        list.push_back(at(n));
    expectListDecides(random, list, *set, 200);
}

TEST_F(RulesetTest, AReadThatTimesOutLeavesAnEmptySet)
{
    ASSERT_EQ(append(rules::rule({equal(DPORT, 53)})), IFC_RULESET_OK);
    ASSERT_EQ(apply(), IFC_RULESET_OK);
    window.injectFault(engine::TransferFault::NeverComplete, 0, 1);
    EXPECT_EQ(ifc_ruleset_read(set.get(), &report), IFC_RULESET_TIMEOUT);
    EXPECT_EQ(ifc_ruleset_count(set.get()), 0u);
    EXPECT_FALSE(host::lockHeld());
}

TEST_F(RulesetTest, IsUsedFromC)
{
    const auto before = std::make_unique<ifc_ruleset>();
    EXPECT_EQ(c_user_put_first(set.get(), before.get(), 0x0A66778899AA, 5), 9);
    EXPECT_EQ(c_user_put_first(set.get(), before.get(), 0x0A66778899AB, 6), 11);
    EXPECT_EQ(at(0).action.bits.queue, 6u);
    EXPECT_EQ(at(1).action.bits.queue, 5u);
    window.injectFault(engine::TransferFault::NeverComplete, 3, 1);
    EXPECT_EQ(c_user_put_first(set.get(), before.get(), 0x0A66778899AC, 7), IFC_RULESET_TIMEOUT);
    EXPECT_EQ(ifc_ruleset_count(set.get()), 2u);
}

// Random edits, applied one by one and in groups. A refused edit changes nothing. After each apply the chip
// decides like the list, and so does a list that is read from the tables.
TEST_F(RulesetTest, TheListDecidesAfterAnyEdits)
{
    Random random(31);
    unsigned applied = 0;
    unsigned refused = 0;
    unsigned moves = 0;
    const auto copy = std::make_unique<ifc_ruleset>();
    const auto other = std::make_unique<ifc_ruleset>();
    for (unsigned sequence = 0; sequence < 40; ++sequence) {
        window.powerOn({});
        ifc_enable();
        set_fe_tpid();
        clear_all_ifc_rules();
        ifc_ruleset_init(set.get());
        std::vector<ifc_rule> list;
        for (unsigned step = 0; step < 40; ++step) {
            *copy = *set;
            const std::vector<ifc_rule> kept = list;
            for (unsigned edits = random.oneIn(3) ? 1 + random.below(5) : 1; edits != 0; --edits)
                ASSERT_NO_FATAL_FAILURE(editBoth(random, *set, list));
            const engine::Tables before = window.tables();
            const int result = apply(random.oneIn(4) ? IFC_RULESET_QUIESCE : 0);
            if (result == IFC_RULESET_NO_PLACE) {
                ++refused;
                ASSERT_EQ(memcmp(&before, &window.tables(), sizeof before), 0);
                *set = *copy;
                list = kept;
                continue;
            }
            ASSERT_EQ(result, IFC_RULESET_OK) << "sequence " << sequence << " step " << step;
            ++applied;
            moves += report.moved;
            ASSERT_EQ(report.kept + report.moved + report.added, list.size());
            ASSERT_EQ(ifc_ruleset_count(set.get()), list.size());
            for (unsigned n = 0; n < list.size(); ++n)
                ASSERT_EQ(at(n).cookie, list[n].cookie);
            expectShadowEqualsHardware();
            ASSERT_NO_FATAL_FAILURE(expectListDecides(random, list, *set, 20));

            ASSERT_EQ(ifc_ruleset_read(other.get(), nullptr), IFC_RULESET_OK);
            std::vector<ifc_rule> read;
            for (unsigned n = 0; n < ifc_ruleset_count(other.get()); ++n)
                read.push_back(*ifc_ruleset_rule(other.get(), n));
            ASSERT_EQ(read.size(), list.size());
            ASSERT_NO_FATAL_FAILURE(expectListDecides(random, read, *other, 5));
            // A set that was just read needs no changes.
            ASSERT_EQ(ifc_ruleset_apply(other.get(), 0, &report), IFC_RULESET_OK);
            ASSERT_EQ(report.accesses, 0u);
            ASSERT_EQ(report.kept, list.size());
        }
    }
    EXPECT_GT(applied, 1000u);
    EXPECT_GT(refused, 50u);
    EXPECT_GT(moves, 200u);
    EXPECT_GT(decided, 5000u);
}
