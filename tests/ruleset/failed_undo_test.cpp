// SPDX-License-Identifier: MIT OR GPL-2.0
// The chip falls silent during an update and stays silent during the undo. The next user of the chip, with
// any set, brings it back first.
#include "rule_support.h"
#include "ruleset/edits.h"
#include "tests/engine/classifier_fixture.h"
#include "update_scenario.h"

#include <gtest/gtest.h>

#include <cstring>

using namespace rules;

namespace
{

constexpr unsigned kForever = 1000000;

class FailedUndo : public ClassifierTest
{
protected:
    void SetUp() override
    {
        ClassifierTest::SetUp();
        ifc_ruleset_forget_undo();
        ifc_ruleset_init(set.get());
        for (unsigned n = 0; n < 7; ++n) // every other one fits LUT1 only
            append(*set, rule({equal(n % 2 != 0 ? UDF0 : DPORT, n), equal(SPORT, 1)}), n);
        append(*set, rule({equal(DIPv4, 1, 0xFF0000FF), equal(SPORT, 2)}), 50);
        ASSERT_EQ(ifc_ruleset_apply(set.get(), 0, &report), IFC_RULESET_OK);
        for (unsigned n = 0; n < IFC_COUNTERS; ++n)
            window.tables().counter[n][0] = 1000 + n;
        before = window.tables();
    }

    void TearDown() override { ifc_ruleset_forget_undo(); }

    static void append(ifc_ruleset &to, ifc_rule made, unsigned action)
    {
        made.action.word[2] = 0x100 + action;
        ASSERT_EQ(ifc_ruleset_insert(&to, IFC_RULESET_LAST, &made, nullptr), IFC_RULESET_OK);
    }

    // Rules go, come, move and get other actions.
    static void change(ifc_ruleset &of)
    {
        ASSERT_EQ(ifc_ruleset_remove(&of, 2), IFC_RULESET_OK);
        ASSERT_EQ(ifc_ruleset_move(&of, 5, 0), IFC_RULESET_OK);
        ifc_rule made = rule({equal(SPORT, 1)});
        made.action.word[2] = 0x200;
        ASSERT_EQ(ifc_ruleset_insert(&of, 0, &made, nullptr), IFC_RULESET_OK);
        ASSERT_EQ(ifc_ruleset_replace(&of, 3, &made, IFC_RULESET_ACTION, nullptr), IFC_RULESET_OK);
        const uint32_t wide = ifc_ruleset_count(&of) - 1; // at number 0
        ASSERT_EQ(ifc_ruleset_replace(&of, wide, &made, IFC_RULESET_ACTION, nullptr), IFC_RULESET_OK);
        append(of, rule({equal(UDF0, 1), equal(UDF0 + 1, 1)}), 99);
    }

    void silence(unsigned after)
    {
        window.injectFault(engine::TransferFault::NeverComplete, after, kForever);
    }
    void wake() { window.injectFault(engine::TransferFault::None, 0, 0); }

    // The chip and the shadow are as before; the change is still to be made.
    void back()
    {
        wake();
        ifc_ruleset_forget_undo();
        window.tables() = before;
        window.touch();
        memcpy(IFC_LUT0_Rule, before.lut0, sizeof IFC_LUT0_Rule);
        memcpy(IFC_LUT1_Rule, before.lut1, sizeof IFC_LUT1_Rule);
        *set = *kept;
    }

    // Calls `look` after every change that a silence from any transfer on has left half done.
    template <typename Look>
    void atEverySilence(const Look &look)
    {
        *kept = *set;
        unsigned halfDone = 0;
        for (unsigned good = 0;; ++good) {
            ASSERT_NO_FATAL_FAILURE(change(*set));
            silence(good);
            const int result = ifc_ruleset_apply(set.get(), 0, &report);
            if (result == IFC_RULESET_OK)
                break;
            ASSERT_EQ(result, IFC_RULESET_TIMEOUT);
            expectShadowAsBefore();
            if (report.undo == IFC_RULESET_UNDO_FAILED) {
                halfDone += memcmp(&before, &window.tables(), sizeof before) != 0;
                ASSERT_NO_FATAL_FAILURE(look(good)) << good;
            } else {
                ASSERT_EQ(memcmp(&before, &window.tables(), sizeof before), 0) << good;
            }
            back();
        }
        EXPECT_GT(halfDone, 15u);
        back();
    }

    void expectShadowAsBefore()
    {
        ASSERT_EQ(memcmp(IFC_LUT0_Rule, before.lut0, sizeof IFC_LUT0_Rule), 0);
        ASSERT_EQ(memcmp(IFC_LUT1_Rule, before.lut1, sizeof IFC_LUT1_Rule), 0);
    }

    void expectAllAsBefore()
    {
        ASSERT_EQ(memcmp(&before, &window.tables(), sizeof before), 0);
        expectShadowAsBefore();
    }

    static void bindCounters(uint32_t value)
    {
        for (unsigned n = 0; n < IFC_ACNT_CFG_COUNT; ++n)
            set_frame_engine_data(IFC_ACNT_CFG + 4 * n, value);
    }
    void expectBindings(uint32_t value)
    {
        for (unsigned n = 0; n < IFC_ACNT_CFG_COUNT; ++n)
            ASSERT_EQ(window.counterBinding(n), value) << n;
    }

    // Frames hit the rules that live at new places already. The undo takes these counts back, too.
    unsigned countAtNewPlaces()
    {
        unsigned hits = 0;
        const auto old = livingRules(before);
        for (const auto &[number, living] : livingRules(window.tables()))
            for (const auto &[origin, same] : old)
                if (origin != number && same.words == living.words) {
                    window.tables().counter[number][0] += 7;
                    before.counter[origin][0] += 7;
                    ++hits;
                }
        return hits;
    }

    void expectShadowEqualsHardware()
    {
        ASSERT_EQ(memcmp(IFC_LUT0_Rule, window.tables().lut0, sizeof IFC_LUT0_Rule), 0);
        ASSERT_EQ(memcmp(IFC_LUT1_Rule, window.tables().lut1, sizeof IFC_LUT1_Rule), 0);
    }

    // The tables hold the changed list, with the actions and the counters of the rules that were there.
    void expectChanged(const ifc_ruleset &of)
    {
        expectShadowEqualsHardware();
        ASSERT_EQ(ifc_ruleset_count(&of), 9u);
        for (unsigned n = 0; n < 9; ++n) {
            const ifc_rule &own = *ifc_ruleset_rule(&of, n);
            const int number = ifc_ruleset_number(ifc_ruleset_place_of(&of, n));
            ASSERT_GE(number, 0);
            ASSERT_EQ(memcmp(window.tables().action[number], own.action.word, sizeof own.action), 0) << n;
            const bool added = n == 0 || n == 8;
            ASSERT_EQ(window.tables().counter[number][0] == 0, added) << n;
        }
    }

    std::unique_ptr<ifc_ruleset> set = std::make_unique<ifc_ruleset>();
    std::unique_ptr<ifc_ruleset> kept = std::make_unique<ifc_ruleset>();
    std::unique_ptr<ifc_ruleset> fresh = std::make_unique<ifc_ruleset>();
    ifc_ruleset_report report{};
    engine::Tables before{};
};

} // namespace

TEST_F(FailedUndo, IsCompletedByTheNextRead)
{
    atEverySilence([&](unsigned) {
        const engine::Tables found = window.tables();
        ASSERT_EQ(ifc_ruleset_read(fresh.get(), &report), IFC_RULESET_TIMEOUT);
        ASSERT_EQ(report.undo, IFC_RULESET_UNDO_FAILED);
        ASSERT_EQ(ifc_ruleset_count(fresh.get()), 0u);
        ASSERT_EQ(memcmp(&found, &window.tables(), sizeof found), 0);
        ASSERT_FALSE(host::lockHeld());
        wake();
        ASSERT_EQ(ifc_ruleset_read(fresh.get(), &report), IFC_RULESET_OK);
        ASSERT_EQ(report.undo, IFC_RULESET_UNDONE);
        ASSERT_NO_FATAL_FAILURE(expectAllAsBefore());
        ASSERT_NO_FATAL_FAILURE(change(*fresh));
        ASSERT_EQ(ifc_ruleset_apply(fresh.get(), 0, &report), IFC_RULESET_OK);
        ASSERT_EQ(report.undo, IFC_RULESET_UNDO_NONE);
        ASSERT_NO_FATAL_FAILURE(expectChanged(*fresh));
    });
}

TEST_F(FailedUndo, IsCompletedByTheNextApplyOfAnySet)
{
    atEverySilence([&](unsigned good) {
        ifc_ruleset &next = good % 2 == 0 ? *set : *fresh;
        if (&next == fresh.get()) {
            *fresh = *kept;
            ASSERT_NO_FATAL_FAILURE(change(*fresh));
        }
        ASSERT_EQ(ifc_ruleset_apply(&next, 0, &report), IFC_RULESET_TIMEOUT);
        ASSERT_EQ(report.undo, IFC_RULESET_UNDO_FAILED);
        ASSERT_NO_FATAL_FAILURE(expectShadowAsBefore());
        wake();
        ASSERT_EQ(ifc_ruleset_apply(&next, 0, &report), IFC_RULESET_OK);
        ASSERT_EQ(report.undo, IFC_RULESET_UNDONE);
        ASSERT_NO_FATAL_FAILURE(expectChanged(next));
    });
}

// The chip answers some transfers of the second undo, a few more of the next ones, then all.
TEST_F(FailedUndo, MayFailAgain)
{
    for (unsigned first = 1; first < 60 && !HasFatalFailure(); ++first)
        atEverySilence([&](unsigned good) {
            for (unsigned answered = first; answered < first + 12; answered += 3) {
                silence(answered + good % 3);
                const int result = ifc_ruleset_read(fresh.get(), &report);
                ASSERT_NO_FATAL_FAILURE(expectShadowAsBefore());
                if (result == IFC_RULESET_OK)
                    break;
                ASSERT_EQ(result, IFC_RULESET_TIMEOUT);
                if (report.undo == IFC_RULESET_UNDONE)
                    break;
                ASSERT_EQ(report.undo, IFC_RULESET_UNDO_FAILED);
            }
            wake();
            ASSERT_EQ(ifc_ruleset_read(fresh.get(), &report), IFC_RULESET_OK);
            ASSERT_NO_FATAL_FAILURE(expectAllAsBefore());
        });
}

// Each rule gets the place, the action and the count of another one. What an undo has moved back before it
// stops is not moved again by the next one.
TEST_F(FailedUndo, StopsAmongRulesThatChangedPlaces)
{
    ifc_ruleset_clear(set.get());
    for (unsigned n = 0; n < IFC_LUT1_RULES; ++n) // they all overlap, and only LUT1 holds them
        append(*set, rule({equal(UDF0 + n / 16, 1u << n % 16, 1u << n % 16)}), n);
    ASSERT_EQ(ifc_ruleset_apply(set.get(), 0, &report), IFC_RULESET_OK);
    for (unsigned n = 0; n < IFC_COUNTERS; ++n)
        window.tables().counter[n][0] = 1000 + n;
    before = window.tables();
    const engine::Tables untouched = before;
    *kept = *set;
    unsigned stopped = 0;
    unsigned hits = 0;
    for (unsigned good = 0; good < 240 && !HasFatalFailure(); good += 17)
        for (unsigned answered = 1; answered < 240 && !HasFatalFailure(); answered += 18) {
            bindCounters(0x76543210);
            ASSERT_EQ(ifc_ruleset_move(set.get(), 0, IFC_LUT1_RULES - 1), IFC_RULESET_OK);
            silence(good);
            if (ifc_ruleset_apply(set.get(), 0, &report) != IFC_RULESET_OK) {
                ASSERT_EQ(report.undo, IFC_RULESET_UNDO_FAILED);
                // The bindings need no transfer and are back at once. What others write to them now stays.
                ASSERT_NO_FATAL_FAILURE(expectBindings(0x76543210));
                bindCounters(0x89ABCDEF);
                hits += countAtNewPlaces();
                silence(answered);
                stopped += ifc_ruleset_read(fresh.get(), &report) == IFC_RULESET_TIMEOUT;
                wake();
                ASSERT_EQ(ifc_ruleset_read(fresh.get(), &report), IFC_RULESET_OK);
                ASSERT_NO_FATAL_FAILURE(expectAllAsBefore()) << good << ' ' << answered;
                ASSERT_NO_FATAL_FAILURE(expectBindings(0x89ABCDEF));
            }
            before = untouched;
            back();
        }
    EXPECT_GT(stopped, 60u);
    EXPECT_GT(hits, 100u);
}

// What the module does for each write to its file: it reads a set, runs the edits, and forgets the set.
TEST_F(FailedUndo, IsCompletedByTheNextBatch)
{
    atEverySilence([&](unsigned) {
        wake();
        ifc_ruleset_edit move{};
        move.kind = IFC_RULESET_MOVE;
        move.position = 7; // to the front
        ASSERT_EQ(ifc_ruleset_read(fresh.get(), &report), IFC_RULESET_OK);
        ASSERT_NO_FATAL_FAILURE(expectAllAsBefore());
        const uint32_t action = ifc_ruleset_rule(fresh.get(), move.position)->action.word[2];
        ASSERT_EQ(ifc_ruleset_run(fresh.get(), &move, 1, 0, &report, nullptr), IFC_RULESET_OK);
        ASSERT_NO_FATAL_FAILURE(expectShadowEqualsHardware());
        ASSERT_EQ(ifc_ruleset_rule(fresh.get(), 0)->action.word[2], action);
        ASSERT_EQ(livingRules(window.tables()).size(), 8u);
    });
}

// Others write a rule and its action before the undo is completed: theirs stay, and no row is left over.
TEST_F(FailedUndo, KeepsWhatOthersWroteInBetween)
{
    for (unsigned shift = 0; shift < IFC_LUT1_RULES && !HasFatalFailure(); ++shift)
        atEverySilence([&](unsigned good) {
            wake();
            // They may be free, or part of a rule.
            const unsigned entry = (good + shift) % IFC_LUT1_RULES;
            const unsigned wide = (good + shift) % IFC_LUT0_RULES;
            ASSERT_EQ(ifc_set_lut1_rules(entry, IFC_ENABLE, 1, SINF, 0, 0x1F, 0, 9),
                      static_cast<int>(entry + 1));
            ASSERT_EQ(ifc_set_lut0_rules(wide, IFC_ENABLE, ETYPE, 0, 0, 0xFFFF, 0, 9), 0);
            const unsigned numbers[] = {IFC_LUT0_RULES + entry, wide};
            for (const unsigned number : numbers) {
                ifc_set_action(number, IFC_ACT_FPORT_NBQ, IFC_ENABLE, 3, 0, 0, 0);
                window.tables().counter[number][0] = 77;
            }
            // These two change the shadow only.
            ifc_delete_lut0(static_cast<int>((wide + 1) % IFC_LUT0_RULES));
            ifc_delete_lut1(static_cast<int>((entry + 1) % IFC_LUT1_RULES));
            engine::Tables wanted = window.tables();
            memcpy(wanted.lut0, IFC_LUT0_Rule, sizeof IFC_LUT0_Rule);
            memcpy(wanted.lut1, IFC_LUT1_Rule, sizeof IFC_LUT1_Rule);
            ASSERT_EQ(ifc_ruleset_read(fresh.get(), &report), IFC_RULESET_OK);
            ASSERT_EQ(report.undo, IFC_RULESET_UNDONE);
            ASSERT_NO_FATAL_FAILURE(expectShadowEqualsHardware());
            ASSERT_EQ(memcmp(wanted.lut1, window.tables().lut1, sizeof wanted.lut1), 0);
            ASSERT_EQ(memcmp(wanted.lut0, window.tables().lut0, sizeof wanted.lut0), 0);
            for (const unsigned number : numbers) {
                ASSERT_EQ(memcmp(wanted.action[number], window.tables().action[number],
                                 sizeof wanted.action[number]),
                          0)
                    << number;
                ASSERT_EQ(window.tables().counter[number][0], 77u) << number;
            }
            for (const auto &[number, living] : livingRules(before)) {
                const auto now = livingRules(window.tables());
                if (now.count(number) != 0 && now.at(number) == living) {
                    ASSERT_EQ(memcmp(before.action[number], window.tables().action[number],
                                     sizeof before.action[number]),
                              0)
                        << number;
                    ASSERT_EQ(window.tables().counter[number][0], before.counter[number][0]) << number;
                }
            }
        });
}

TEST_F(FailedUndo, IsForgottenWithTheChipsReset)
{
    *kept = *set;
    ASSERT_NO_FATAL_FAILURE(change(*set));
    silence(20);
    ASSERT_EQ(ifc_ruleset_apply(set.get(), 0, &report), IFC_RULESET_TIMEOUT);
    ASSERT_EQ(report.undo, IFC_RULESET_UNDO_FAILED);
    wake();
    window.powerOn({});
    (void)clear_all_ifc_rules();
    ifc_ruleset_forget_undo();
    ASSERT_EQ(ifc_ruleset_read(fresh.get(), &report), IFC_RULESET_OK);
    EXPECT_EQ(report.undo, IFC_RULESET_UNDO_NONE);
    EXPECT_EQ(report.accesses, 0u);
}
