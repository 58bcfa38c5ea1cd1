// SPDX-License-Identifier: MIT OR GPL-2.0
// Replaces a list of rules by another one of a gateway's size. Whatever stops the update, at any register
// access: the hardware holds complete rules, and the next user can read them and load the wanted list.
#include <gtest/gtest.h>

#include "bench/gateway_rules.h"
#include "frame_kinds.h"
#include "tests/engine/classifier_fixture.h"
#include "update_scenario.h"

#include <cstring>

using namespace rules;

namespace
{

using Rules = std::vector<ifc_rule>;

Rules gatewayRules()
{
    Rules list;
    for (const gateway::Rule &terms : gateway::rules()) {
        ifc_rule made = {};
        for (const gateway::Term &term : terms)
            made.condition[made.count++] =
                compared(term.field, static_cast<ifc_compare>(term.command), term.key, term.mask);
        made.action.word[2] = 0x100 + static_cast<uint32_t>(list.size());
        list.push_back(made);
    }
    return list;
}

// The gateway's rules at other places and with other actions, mixed with other rules.
Rules oldRules()
{
    Rules list;
    for (unsigned n = 0; n < 7; ++n) {
        ifc_rule made = rule({equal(VID0, 900 + n), equal(DPORT, 53), equal(SINF, n)});
        if (n % 3 == 0)
            made.condition[made.count++] = equal(DIPv4, 0x0A000001, 0xFF0000FF);
        made.action.word[2] = 0x200 + n;
        list.push_back(made);
    }
    const Rules gateway = gatewayRules();
    for (unsigned n = 1; n < gateway.size(); n += 3) {
        list.push_back(gateway[n]);
        list.back().action.word[2] += n % 2 * 0x800;
    }
    return list;
}

class LoadTest : public ClassifierTest
{
protected:
    using Living = std::map<unsigned, ::Living>;

    void SetUp() override
    {
        ClassifierTest::SetUp();
        ifc_ruleset_forget_undo();
        ifc_ruleset_init(set.get());
        for (const ifc_rule &each : oldRules())
            ASSERT_EQ(ifc_ruleset_insert(set.get(), IFC_RULESET_LAST, &each, nullptr), IFC_RULESET_OK);
        ASSERT_EQ(ifc_ruleset_apply(set.get(), 0, &report), IFC_RULESET_OK);
        for (unsigned n = 0; n < IFC_COUNTERS; ++n)
            window.tables().counter[n][0] = 1000 + n;
        before = window.tables();
        old = livingRules(before);
        ASSERT_EQ(old.size(), oldRules().size());
    }

    // Turns the current list into the wanted one: a rule in both keeps its place if possible.
    void want(ifc_ruleset &of, const Rules &list)
    {
        for (unsigned n = ifc_ruleset_count(&of); n-- != 0;) {
            bool again = false;
            for (const ifc_rule &each : list)
                again = again || ifc_rule_repeats(ifc_ruleset_rule(&of, n), &each) != 0;
            if (!again) {
                ASSERT_EQ(ifc_ruleset_remove(&of, n), IFC_RULESET_OK);
            }
        }
        for (unsigned n = 0; n < list.size(); ++n) {
            unsigned from = n;
            while (from < ifc_ruleset_count(&of) &&
                   ifc_rule_repeats(ifc_ruleset_rule(&of, from), &list[n]) == 0)
                ++from;
            if (from == ifc_ruleset_count(&of)) {
                ASSERT_EQ(ifc_ruleset_insert(&of, n, &list[n], nullptr), IFC_RULESET_OK);
                continue;
            }
            ASSERT_EQ(ifc_ruleset_move(&of, from, n), IFC_RULESET_OK);
            ASSERT_EQ(ifc_ruleset_replace(&of, n, &list[n], IFC_RULESET_ACTION, nullptr), IFC_RULESET_OK);
        }
        while (ifc_ruleset_count(&of) > list.size())
            ASSERT_EQ(ifc_ruleset_remove(&of, ifc_ruleset_count(&of) - 1), IFC_RULESET_OK);
    }

    // The tables hold the gateway's rules in their order, each with its action, and no others.
    void expectGateway(const ifc_ruleset &of)
    {
        const Rules list = gatewayRules();
        const Living living = livingRules(window.tables());
        ASSERT_EQ(living.size(), list.size());
        std::vector<unsigned> numbers;
        for (unsigned n = 0; n < list.size(); ++n) {
            const int number = ifc_ruleset_number(ifc_ruleset_place_of(&of, n));
            ASSERT_GE(number, 0);
            numbers.push_back(static_cast<unsigned>(number));
            ASSERT_EQ(living.count(numbers[n]), 1u);
            ASSERT_EQ(memcmp(window.tables().action[number], list[n].action.word, sizeof list[n].action), 0);
            ifc_rule there = {};
            if (number < 8)
                ifc_rule_decode_wide(&IFC_LUT0_Rule[number], &there);
            else
                ASSERT_EQ(ifc_rule_decode_narrow(&IFC_LUT1_Rule[living.at(numbers[n]).first],
                                                 ifc_ruleset_place_of(&of, n).entries, &there),
                          0);
            ASSERT_TRUE(ifc_rule_repeats(&there, &list[n])) << n;
            for (unsigned earlier = 0; earlier < n; ++earlier)
                if (ifc_rule_overlap(&list[earlier], &list[n]) != 0) {
                    ASSERT_LT(numbers[earlier], numbers[n]);
                }
        }
        expectShadow();
    }

    void expectShadow()
    {
        ASSERT_EQ(memcmp(IFC_LUT0_Rule, window.tables().lut0, sizeof IFC_LUT0_Rule), 0);
        ASSERT_EQ(memcmp(IFC_LUT1_Rule, window.tables().lut1, sizeof IFC_LUT1_Rule), 0);
    }

    // A new process finds the chip in this state and loads the gateway's rules.
    void resume(const engine::Tables &found)
    {
        ifc_ruleset_forget_undo();
        window.tables() = found;
        window.touch();
        memcpy(IFC_LUT0_Rule, found.lut0, sizeof IFC_LUT0_Rule);
        memcpy(IFC_LUT1_Rule, found.lut1, sizeof IFC_LUT1_Rule);
        const auto fresh = std::make_unique<ifc_ruleset>();
        ASSERT_EQ(ifc_ruleset_read(fresh.get(), nullptr), IFC_RULESET_OK);
        ASSERT_EQ(ifc_ruleset_count(fresh.get()), livingRules(found).size());
        ifc_ruleset_claim(fresh.get());
        ASSERT_NO_FATAL_FAILURE(want(*fresh, gatewayRules()));
        ASSERT_EQ(ifc_ruleset_apply(fresh.get(), 0, &report), IFC_RULESET_OK);
        ASSERT_NO_FATAL_FAILURE(expectGateway(*fresh));
        ++resumed;
    }

    // Applies, and records the tables after each register access that changed them.
    int applyWatched(std::vector<engine::Tables> &states)
    {
        struct Watch {
            engine::RegisterWindow &window;
            std::vector<engine::Tables> &states;
        } watch{window, states};
        states.assign(1, window.tables());
        window.onAccess(
            [](void *user, const engine::Access &) {
                const Watch &at = *static_cast<Watch *>(user);
                if (memcmp(&at.states.back(), &at.window.tables(), sizeof(engine::Tables)) != 0)
                    at.states.push_back(at.window.tables());
            },
            &watch);
        const int result = ifc_ruleset_apply(set.get(), 0, &report);
        window.onAccess(nullptr, nullptr);
        if (memcmp(&states.back(), &window.tables(), sizeof(engine::Tables)) != 0)
            states.push_back(window.tables());
        return result;
    }

    // Each living rule is a complete old or new one with its action, and rules that stay are there.
    void expectWhole(const engine::Tables &state)
    {
        const Living now = livingRules(state);
        for (const auto &[number, living] : now) {
            const auto was = old.find(number);
            const auto will = wanted.find(number);
            const auto has = [&, &n = number](const engine::Tables &tables) {
                return memcmp(state.action[n], tables.action[n], sizeof state.action[n]) == 0;
            };
            const bool isOld = was != old.end() && was->second == living && has(before);
            const bool isNew = will != wanted.end() && will->second == living && has(after);
            ASSERT_TRUE(isOld || isNew) << "rule " << number;
        }
        for (const auto &[number, living] : old) {
            if (wanted.count(number) != 0 && wanted.at(number) == living) {
                ASSERT_EQ(now.count(number), 1u) << "rule " << number;
            }
        }
    }

    // The tables after a load without faults.
    void expectAfter(const engine::Tables &tables)
    {
        after = tables;
        wanted = livingRules(after);
    }

    void loadOnceAndBack()
    {
        const ifc_ruleset kept = *set;
        EXPECT_EQ(ifc_ruleset_apply(set.get(), 0, &report), IFC_RULESET_OK);
        EXPECT_GT(report.moved + report.kept, 2);
        EXPECT_GT(report.added, 8);
        expectAfter(window.tables());
        *set = kept;
        back();
    }

    // The chip and the shadow as before the load.
    void back()
    {
        window.tables() = before;
        window.touch();
        memcpy(IFC_LUT0_Rule, before.lut0, sizeof IFC_LUT0_Rule);
        memcpy(IFC_LUT1_Rule, before.lut1, sizeof IFC_LUT1_Rule);
    }

    std::unique_ptr<ifc_ruleset> set = std::make_unique<ifc_ruleset>();
    ifc_ruleset_report report{};
    engine::Tables before{};
    engine::Tables after{};
    Living old;    // in the tables before
    Living wanted; // and after
    unsigned resumed = 0;
};

} // namespace

TEST_F(LoadTest, KilledAtAnyAccess)
{
    ASSERT_NO_FATAL_FAILURE(want(*set, gatewayRules()));
    std::vector<engine::Tables> states;
    ASSERT_EQ(applyWatched(states), IFC_RULESET_OK);
    ASSERT_NO_FATAL_FAILURE(expectGateway(*set));
    EXPECT_GT(states.size(), 50u);
    expectAfter(window.tables());
    for (const engine::Tables &state : states) {
        ASSERT_NO_FATAL_FAILURE(expectWhole(state));
        ASSERT_NO_FATAL_FAILURE(resume(state));
    }
    EXPECT_EQ(resumed, states.size());
}

TEST_F(LoadTest, TimeOutAtAnyTransfer)
{
    ASSERT_NO_FATAL_FAILURE(want(*set, gatewayRules()));
    loadOnceAndBack();
    const ifc_ruleset kept = *set;
    unsigned failed = 0;
    for (;; ++failed) {
        window.injectFault(engine::TransferFault::NeverComplete, failed, 1);
        std::vector<engine::Tables> states;
        const int result = applyWatched(states);
        window.injectFault(engine::TransferFault::None, 0, 0);
        for (const engine::Tables &state : states)
            ASSERT_NO_FATAL_FAILURE(expectWhole(state)) << failed;
        if (result == IFC_RULESET_OK)
            break;
        ASSERT_EQ(result, IFC_RULESET_TIMEOUT);
        ASSERT_EQ(report.undo, IFC_RULESET_UNDONE) << failed;
        ASSERT_EQ(memcmp(&before, &window.tables(), sizeof before), 0) << failed;
        ASSERT_NO_FATAL_FAILURE(expectShadow());
        // Killed during the undo.
        const unsigned stopped = failed * 7 % static_cast<unsigned>(states.size());
        ASSERT_NO_FATAL_FAILURE(resume(states[stopped])) << failed;
        *set = kept;
        back();
    }
    EXPECT_GT(failed, 100u);
    EXPECT_EQ(resumed, failed);
    ASSERT_NO_FATAL_FAILURE(expectGateway(*set));
}

// The chip stops answering, the process ends, and the chip answers the next process.
TEST_F(LoadTest, DeadFromAnyTransferOn)
{
    ASSERT_NO_FATAL_FAILURE(want(*set, gatewayRules()));
    loadOnceAndBack();
    const ifc_ruleset kept = *set;
    for (unsigned good = 0;; ++good) {
        window.injectFault(engine::TransferFault::NeverComplete, good, 1000000);
        const int result = ifc_ruleset_apply(set.get(), 0, &report);
        window.injectFault(engine::TransferFault::None, 0, 0);
        if (result == IFC_RULESET_OK)
            break;
        ASSERT_EQ(result, IFC_RULESET_TIMEOUT);
        const engine::Tables found = window.tables();
        ASSERT_NO_FATAL_FAILURE(expectWhole(found)) << good;
        ASSERT_NO_FATAL_FAILURE(resume(found)) << good;
        *set = kept;
        back();
    }
    EXPECT_GT(resumed, 100u);
}
