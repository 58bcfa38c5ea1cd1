// SPDX-License-Identifier: MIT OR GPL-2.0
// Thousands of updates between random tables, undisturbed and with time-outs at every transfer.
#include "update_watch.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>

using ruleset::Outcome;

namespace
{

// IFC_UPDATE_FACTOR multiplies the number of cases.
unsigned scaled(unsigned count)
{
    const char *factor = std::getenv("IFC_UPDATE_FACTOR");
    return count * (factor != nullptr ? static_cast<unsigned>(std::atoi(factor)) : 1);
}

std::string nameOf(uint64_t seed, const Fault &fault)
{
    return "scenario " + std::to_string(seed) + ", fault kind " + std::to_string(fault.kind) + " at " +
           std::to_string(fault.at) + " for " + std::to_string(fault.count);
}

// Every transfer of the update fails in its turn.
void failEverywhere(uint64_t seed, Fault fault, bool mayBeIncomplete)
{
    const Scenario scenario = randomScenario(seed);
    UpdateWatch undisturbed(scenario);
    ASSERT_EQ(undisturbed.run({}), Outcome::Done);
    const unsigned transfers = undisturbed.transfers();
    for (fault.at = 0; fault.at < transfers; ++fault.at) {
        UpdateWatch watch(scenario, seed + fault.at);
        const Outcome outcome = watch.run(fault);
        ASSERT_EQ(watch.complaint(), "") << nameOf(seed, fault);
        if (!watch.fired()) { // other frames: this time a counter did not have to be written
            ASSERT_EQ(outcome, Outcome::Done) << nameOf(seed, fault);
        } else if (!mayBeIncomplete) {
            ASSERT_EQ(outcome, Outcome::Undone) << nameOf(seed, fault);
        } else if (outcome == Outcome::Incomplete) {
            ASSERT_EQ(watch.finish(), Outcome::Undone) << nameOf(seed, fault);
            ASSERT_EQ(watch.complaint(), "") << "finished: " << nameOf(seed, fault);
        }
    }
}

} // namespace

TEST(RandomUpdate, EveryStateOnTheWayIsWhole)
{
    unsigned accesses = 0;
    unsigned longest = 0;
    unsigned rules = 0;
    const unsigned count = scaled(1000);
    for (uint64_t seed = 1; seed <= count; ++seed) {
        const Scenario scenario = randomScenario(seed);
        UpdateWatch watch(scenario, seed);
        const bool quiesce = seed % 4 == 0;
        const unsigned doneAfter = seed % 5 == 0 ? 3 : 1;
        EXPECT_EQ(watch.run({}, quiesce, doneAfter), Outcome::Done) << seed;
        ASSERT_EQ(watch.complaint(), "") << seed;
        if (doneAfter == 1) {
            ASSERT_EQ(watch.accesses(), watch.update().port.accesses) << seed;
        }
        accesses += watch.accesses();
        longest = std::max(longest, watch.longestStretch());
        rules += static_cast<unsigned>(scenario.newRules.size());
    }
    std::printf("%u updates to %u rules, %u accesses, longest stretch %u\n", count, rules, accesses, longest);
}

TEST(RandomUpdate, ADryRunTouchesNothingAndCountsEnough)
{
    for (uint64_t seed = 1; seed <= scaled(200); ++seed) {
        const Scenario scenario = randomScenario(seed);
        unsigned counted = 0;
        {
            UpdateWatch watch(scenario);
            ruleset::UpdateRequest request = scenario.request();
            request.dryRun = true;
            request.quiesce = seed % 2 == 0;
            host::setEventWatch([](host::Event event) { EXPECT_EQ(event, host::Event::RevisionQuery); });
            watch.chip().onAccess([](void *, const engine::Access &) { ADD_FAILURE() << "an access"; },
                                  nullptr);
            EXPECT_EQ(apply(watch.update(), request), Outcome::Done);
            EXPECT_EQ(std::memcmp(IFC_LUT1_Rule, scenario.old.lut1, sizeof IFC_LUT1_Rule), 0);
            EXPECT_EQ(std::memcmp(IFC_LUT0_Rule, scenario.old.lut0, sizeof IFC_LUT0_Rule), 0);
            counted = watch.update().port.accesses;
        }
        UpdateWatch watch(scenario);
        (void)watch.run({}, seed % 2 == 0);
        ASSERT_GE(counted, watch.accesses()) << seed;
    }
}

TEST(RandomUpdate, ATransferThatDoesNotHappenIsUndone)
{
    for (uint64_t seed = 1; seed <= scaled(8); ++seed)
        ASSERT_NO_FATAL_FAILURE(failEverywhere(seed, {Fault::NotDone, 0, 1}, false));
}

TEST(RandomUpdate, ATransferThatIsDoneUnseenIsUndone)
{
    for (uint64_t seed = 1; seed <= scaled(8); ++seed)
        ASSERT_NO_FATAL_FAILURE(failEverywhere(seed, {Fault::DoneUnseen, 0, 1}, false));
}

TEST(RandomUpdate, ALateTransferIsUndone)
{
    for (uint64_t seed = 1; seed <= scaled(8); ++seed)
        ASSERT_NO_FATAL_FAILURE(
            failEverywhere(seed, {Fault::LateTransfer, 0, static_cast<unsigned>(seed % 12)}, false));
}

TEST(RandomUpdate, AShortSilenceIsUndone)
{
    for (uint64_t seed = 1; seed <= scaled(4); ++seed)
        ASSERT_NO_FATAL_FAILURE(
            failEverywhere(seed, {Fault::NotDone, 0, 2 + static_cast<unsigned>(seed % 3)}, false));
}

TEST(RandomUpdate, ATimeOutOnTheWayBackIsTriedAgain)
{
    for (uint64_t seed = 1; seed <= scaled(4); ++seed)
        ASSERT_NO_FATAL_FAILURE(
            failEverywhere(seed, {Fault::NotDoneTwice, 0, 1 + static_cast<unsigned>(seed % 5)}, false));
}

TEST(RandomUpdate, AChipThatStaysSilentIsReportedAndMendedLater)
{
    for (uint64_t seed = 1; seed <= scaled(4); ++seed)
        for (const unsigned count : {5u + static_cast<unsigned>(seed % 20), kForever})
            ASSERT_NO_FATAL_FAILURE(failEverywhere(seed, {Fault::NotDone, 0, count}, true));
}

// A dead row may be the last row of a new rule, which then stays valid, or any row of an old one.
TEST(RandomUpdate, ARowThatCannotBeWrittenIsReportedAndMendedLater)
{
    for (uint64_t seed = 1; seed <= scaled(8); ++seed)
        for (const Fault &fault : {Fault{Fault::DeadRow, 0, 1}, Fault{Fault::StuckRow, 0, 1},
                                   Fault{Fault::OtherDead, 0, 1 + static_cast<unsigned>(seed % 9)}})
            ASSERT_NO_FATAL_FAILURE(failEverywhere(seed, fault, true));
}
