// SPDX-License-Identifier: MIT OR GPL-2.0
// Handwritten updates: their accesses, the order of their writes, and refusals.
#include "update_watch.h"

#include "ifc/ifc_regs.h"

#include <gtest/gtest.h>

using ruleset::narrowPlace;
using ruleset::Outcome;
using ruleset::Place;
using ruleset::WantedRule;
using ruleset::widePlace;

namespace
{

constexpr Place kNew = {};

void runsClean(const Scenario &scenario)
{
    UpdateWatch watch(scenario);
    EXPECT_EQ(watch.run({}), Outcome::Done);
    EXPECT_EQ(watch.complaint(), "");
}

// Each transfer, or every `step`-th, fails once in a separate run.
void survivesFaults(const Scenario &scenario, unsigned step = 1)
{
    UpdateWatch undisturbed(scenario);
    ASSERT_EQ(undisturbed.run({}), Outcome::Done);
    for (const Fault::Kind kind : {Fault::NotDone, Fault::DoneUnseen, Fault::LateTransfer})
        for (unsigned at = 0; at < undisturbed.transfers(); at += step) {
            UpdateWatch watch(scenario);
            ASSERT_EQ(watch.run({kind, at, 2}), Outcome::Undone) << kind << ' ' << at;
            ASSERT_EQ(watch.complaint(), "") << kind << ' ' << at;
        }
}

// Three narrow rules and a wide one, each with action, counter and binding.
Scenario someRules()
{
    Scenario s;
    putChain(s.old, 0, 3, 0x100);
    putChain(s.old, 3, 2, 0x200);
    putChain(s.old, 8, 1, 0x300);
    putWide(s.old, 2, 0x400);
    for (const unsigned number : {10u, 12u, 16u, 2u}) {
        const IFC_Action_Format action = actionOf(number);
        s.actions[number] = {action.word[0], action.word[1], action.word[2], action.word[3]};
        s.counters[number] = {1000 + number, 1, 0xFE000000 + number, 0x00ABCDEF};
        s.bindings[number] = static_cast<uint8_t>(1 + number % 15);
    }
    s.wanted = s.old;
    s.given.reserve(64);
    return s;
}

WantedRule listed(Scenario &s, Place place, Place old, const IFC_Action_Format *action = nullptr)
{
    WantedRule rule;
    rule.place = place;
    rule.oldPlace = old;
    if (action != nullptr) {
        s.given.push_back(*action);
        rule.action = &s.given.back();
    }
    return rule;
}

// The writes of rows, in order: "LUT1-5=0" for a row of zeros, "LUT1-5".
std::vector<std::string> rowWrites(UpdateWatch &watch, const Scenario &scenario)
{
    struct Log {
        uint32_t data[4];
        std::vector<std::string> lines;
    } log{};
    watch.chip().onAccess(
        [](void *user, const engine::Access &access) {
            auto &seen = *static_cast<Log *>(user);
            if (access.kind != engine::AccessKind::Write)
                return;
            if (access.reg >= IFC_DATA0 && access.reg <= IFC_DATA3)
                seen.data[(access.reg - IFC_DATA0) / 4] = access.value;
            if (access.reg != IFC_RULE_CFG || (access.value >> 1 & 3) != IFC_TYPE_WRITE)
                return;
            constexpr const char *kNames[] = {"LUT0", "LUT1", "action", "counter"};
            const unsigned sel = access.value >> 4 & 3;
            const unsigned row = access.value >> 8 & 0x3F;
            std::string line = kNames[sel] + std::string("-") + std::to_string(access.value >> 16 & 0xFF);
            if (sel == IFC_SEL_LUT0)
                line += row == IFC_LUT0_HEAD_ROW ? " head" : " row " + std::to_string(row);
            const unsigned words = sel == IFC_SEL_LUT1 ? 2 : row == IFC_LUT0_HEAD_ROW ? 1 : 4;
            uint32_t any = 0;
            for (unsigned n = 0; n < words; ++n)
                any |= seen.data[n];
            seen.lines.push_back(line + (any == 0 ? "=0" : ""));
        },
        &log);
    EXPECT_EQ(apply(watch.update(), scenario.request()), Outcome::Done);
    return log.lines;
}

using Lines = std::vector<std::string>;

} // namespace

TEST(Update, ToWhatIsThereTakesNoAccess)
{
    Scenario s = someRules();
    s.rules = {listed(s, narrowPlace(0, 3), narrowPlace(0, 3)), listed(s, widePlace(2), widePlace(2))};
    s.settle();
    UpdateWatch watch(s);
    EXPECT_EQ(watch.run({}), Outcome::Done);
    EXPECT_EQ(watch.complaint(), "");
    EXPECT_EQ(watch.accesses(), 0u);
}

TEST(Update, ANewRuleOfThreeEntriesTakesFewAccesses)
{
    Scenario s = someRules();
    putChain(s.wanted, 5, 3, 0x500);
    const IFC_Action_Format action = actionOf(7);
    s.rules = {listed(s, narrowPlace(5, 3), kNew, &action)};
    s.settle();
    UpdateWatch watch(s);
    EXPECT_EQ(watch.run({}), Outcome::Done);
    EXPECT_EQ(watch.complaint(), "");
    EXPECT_EQ(watch.accesses(), 31u); // 3 rows of 4, action read and written, counter and binding read

    // A place with leftovers: counter and binding are written as well.
    s.counters[15] = {1, 2, 3, 4};
    s.bindings[15] = 9;
    s.actions[15] = {5, 6, 7, 8};
    s.settle();
    UpdateWatch worst(s);
    EXPECT_EQ(worst.run({}), Outcome::Done);
    EXPECT_EQ(worst.complaint(), "");
    EXPECT_EQ(worst.accesses(), 38u);

    ruleset::UpdateRequest request = s.request();
    request.dryRun = true;
    UpdateWatch plan(s);
    EXPECT_EQ(apply(plan.update(), request), Outcome::Done);
    EXPECT_EQ(plan.update().port.accesses, 38u);
    survivesFaults(s);
}

TEST(Update, TheEndGoesFirstAndComesLast)
{
    Scenario s = someRules();
    putChain(s.wanted, 0, 3, 0x700); // every row differs
    putWide(s.wanted, 2, 0x400);
    s.wanted.lut0[2].word[40] ^= 1;
    s.wanted.lut0[2].word[1] ^= 1;
    const IFC_Action_Format action = actionOf(9);
    s.rules = {listed(s, narrowPlace(0, 3), narrowPlace(0, 3), &action),
               listed(s, widePlace(2), widePlace(2), &action)};
    s.settle();
    UpdateWatch watch(s);
    EXPECT_EQ(rowWrites(watch, s),
              (Lines{"LUT0-2 head=0", "LUT1-2=0", "LUT0-2 row 0", "LUT0-2 row 9", "LUT1-0", "LUT1-1",
                     "action-2", "action-10", "LUT0-2 head", "LUT1-2"}));
    runsClean(s);
    survivesFaults(s);
}

TEST(Update, AnActionAloneIsOneTransfer)
{
    Scenario s = someRules();
    const IFC_Action_Format action = actionOf(9);
    s.rules = {listed(s, narrowPlace(0, 3), narrowPlace(0, 3), &action)};
    s.settle();
    UpdateWatch watch(s);
    EXPECT_EQ(rowWrites(watch, s), (Lines{"action-10"}));
    UpdateWatch again(s);
    EXPECT_EQ(again.run({}), Outcome::Done);
    EXPECT_EQ(again.complaint(), "");
    EXPECT_EQ(again.accesses(), 12u);
    survivesFaults(s);
}

TEST(Update, WhatGoesLeavesZeros)
{
    Scenario s = someRules();
    s.wanted = {};
    s.settle();
    UpdateWatch watch(s);
    EXPECT_EQ(
        rowWrites(watch, s),
        (Lines{"LUT0-2 head=0",  "LUT1-2=0",       "LUT1-4=0",       "LUT1-8=0",       "LUT0-2 row 0=0",
               "LUT0-2 row 1=0", "LUT0-2 row 2=0", "LUT0-2 row 3=0", "LUT0-2 row 4=0", "LUT0-2 row 5=0",
               "LUT0-2 row 6=0", "LUT0-2 row 7=0", "LUT0-2 row 8=0", "LUT0-2 row 9=0", "LUT1-0=0",
               "LUT1-1=0",       "LUT1-3=0",       "action-2=0",     "action-10=0",    "action-12=0",
               "action-16=0",    "counter-2=0",    "counter-10=0",   "counter-12=0",   "counter-16=0"}));
    runsClean(s);
    survivesFaults(s);
}

TEST(Update, RulesChangePlacesWithActionAndCounter)
{
    Scenario s = someRules();
    s.wanted = {};
    putChain(s.wanted, 2, 3, 0x100); // 0..2 to 2..4
    putChain(s.wanted, 0, 2, 0x200); // 3..4 to 0..1
    putChain(s.wanted, 31, 1, 0x400);
    putWide(s.wanted, 2, 0x300); // a narrow rule becomes wide, the wide one narrow
    s.rules = {listed(s, narrowPlace(2, 3), narrowPlace(0, 3)),
               listed(s, narrowPlace(0, 2), narrowPlace(3, 2)), listed(s, narrowPlace(31, 1), widePlace(2)),
               listed(s, widePlace(2), narrowPlace(8, 1))};
    s.settle();
    UpdateWatch watch(s);
    EXPECT_EQ(watch.run({}), Outcome::Done);
    EXPECT_EQ(watch.complaint(), "");
    EXPECT_EQ(watch.chip().tables().counter[39][0], 1002u);
    EXPECT_EQ(watch.chip().tables().counter[2][0], 1016u);
    EXPECT_EQ(watch.chip().counterBinding(4) >> 28, 3u);
    survivesFaults(s);
}

TEST(Update, FullTablesTurnRound)
{
    Scenario s;
    for (unsigned n = 0; n < 32; ++n) {
        putChain(s.old, n, 1, 0x1000 + n);
        putChain(s.wanted, n, 1, 0x1000 + (31 - n));
        s.rules.push_back(listed(s, narrowPlace(n, 1), narrowPlace(31 - n, 1)));
    }
    for (unsigned n = 0; n < 8; ++n) {
        putWide(s.old, n, 0x2000 * n);
        putWide(s.wanted, n, 0x2000 * ((n + 3) % 8));
        s.rules.push_back(listed(s, widePlace(n), widePlace((n + 3) % 8)));
    }
    for (unsigned n = 0; n < 40; ++n) {
        const IFC_Action_Format action = actionOf(n);
        s.actions[n] = {action.word[0], action.word[1], action.word[2], action.word[3]};
        s.counters[n] = {n, n, n, n};
        s.bindings[n] = n % 16;
    }
    s.settle();
    UpdateWatch watch(s);
    EXPECT_EQ(watch.run({}), Outcome::Done);
    EXPECT_EQ(watch.complaint(), "");
    EXPECT_LE(watch.longestStretch(), 64u);
    EXPECT_GT(watch.longestStretch(), 50u); // the lock is held for several rows
    survivesFaults(s, 13);

    // Each register of the bindings is read once and written once, though it holds those of eight rules.
    UpdateWatch counted(s);
    std::map<std::pair<uint32_t, engine::AccessKind>, unsigned> accesses;
    counted.chip().onAccess(
        [](void *user, const engine::Access &access) {
            if (access.reg >= IFC_ACNT_CFG && access.reg < IFC_ACNT_CFG + 4 * IFC_ACNT_CFG_COUNT)
                ++(*static_cast<decltype(accesses) *>(user))[{access.reg, access.kind}];
        },
        &accesses);
    EXPECT_EQ(apply(counted.update(), s.request()), Outcome::Done);
    EXPECT_EQ(accesses.size(), 2 * IFC_ACNT_CFG_COUNT);
    for (const auto &[which, count] : accesses)
        EXPECT_EQ(count, 1u) << std::hex << which.first;
}

// The same rows but another rule: it counts from zero, so the place must be invalid in between.
TEST(Update, AnEqualRuleInThePlaceOfAnotherIsANewOne)
{
    Scenario s = someRules();
    const IFC_Action_Format action = actionOf(9);
    s.rules = {listed(s, narrowPlace(0, 3), kNew, &action)};
    s.settle();
    UpdateWatch watch(s);
    EXPECT_EQ(watch.run({}), Outcome::Done);
    EXPECT_EQ(watch.complaint(), "");
    EXPECT_EQ(watch.chip().tables().counter[10][0], 0u);
    EXPECT_EQ(watch.writesOf(IFC_SEL_LUT1, 2), 2u);
    survivesFaults(s);
}

// Valid entries that belong to no rule would become the start of the next chain.
TEST(Update, LeftoversNeverJoinARule)
{
    Scenario s = someRules();
    for (const unsigned entry : {5u, 6u, 13u, 14u, 15u, 30u, 31u}) {
        putChain(s.old, entry, 2, 0x600);
        s.old.lut1[entry + (entry == 31 ? 0 : 1)] = {};
    }
    s.old.lut1[7] = {};
    s.wanted = {};
    putChain(s.wanted, 0, 3, 0x100);
    putChain(s.wanted, 5, 3, 0x500); // over two leftovers
    putChain(s.wanted, 14, 2, 0x510);
    putChain(s.wanted, 16, 1, 0x520);
    s.rules = {listed(s, narrowPlace(5, 3), kNew), listed(s, narrowPlace(14, 2), kNew),
               listed(s, narrowPlace(16, 1), narrowPlace(8, 1))};
    s.settle();
    runsClean(s);
    survivesFaults(s);
}

TEST(Update, TheClassifierIsOffDuringAQuietUpdate)
{
    Scenario s = someRules();
    s.wanted = {};
    s.settle();
    for (const uint32_t before : {0xF1u, 0xF0u}) {
        UpdateWatch watch(s);
        watch.chip().write(IFC_GLB_CFG, before);
        watch.chip().onAccess(
            [](void *user, const engine::Access &access) {
                const auto &chip = *static_cast<engine::RegisterWindow *>(user);
                if (access.reg != IFC_GLB_CFG) {
                    EXPECT_EQ(chip.globalConfig(), 0xF0u);
                }
            },
            &watch.chip());
        ruleset::UpdateRequest request = s.request();
        request.quiesce = true;
        EXPECT_EQ(apply(watch.update(), request), Outcome::Done);
        EXPECT_EQ(watch.chip().globalConfig(), before);
    }
    UpdateWatch failing(s);
    EXPECT_EQ(failing.run({Fault::NotDone, 3, 1}, true), Outcome::Undone);
    EXPECT_EQ(failing.complaint(), "");
}

TEST(Update, OneRowThatCannotBeWrittenKeepsNoOtherRuleAway)
{
    Scenario s = someRules();
    s.wanted = {};
    s.settle();
    // Transfers: the head of 2, the ends 2, 4 and 8, then the body rows and entries 0, 1 and 3.
    UpdateWatch watch(s);
    EXPECT_EQ(watch.run({Fault::DeadRow, 14, 1}), Outcome::Incomplete);
    EXPECT_EQ(watch.complaint(), "");
    EXPECT_EQ(watch.differ().narrow, 1u << 0 | 1u << 2); // entry 0, and the end that waits for it
    const auto living = livingRules(watch.chip().tables());
    EXPECT_EQ(living.size(), 3u);
    EXPECT_EQ(living.count(10), 0u);
    EXPECT_EQ(watch.finish(), Outcome::Undone);
    EXPECT_EQ(watch.complaint(), "");
    EXPECT_EQ(livingRules(watch.chip().tables()).size(), 4u);
}

TEST(Update, ASilentChipIsAskedOnlyAFewTimes)
{
    Scenario s = someRules();
    s.wanted = {};
    s.settle();
    UpdateWatch watch(s);
    EXPECT_EQ(watch.run({Fault::NotDone, 0, kForever}), Outcome::Incomplete);
    EXPECT_EQ(watch.complaint(), "");
    EXPECT_EQ(watch.transfers(), 5u);
    EXPECT_EQ(watch.update().port.accesses, 11u); // one data word, and two for each transfer
    EXPECT_EQ(host::clockMilliseconds(), 15u);
    EXPECT_EQ(finishUndo(watch.update()), Outcome::Incomplete);
    EXPECT_EQ(host::clockMilliseconds(), 27u);
    EXPECT_EQ(watch.finish(), Outcome::Undone);
    EXPECT_EQ(watch.complaint(), "");
}
