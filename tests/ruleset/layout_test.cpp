// SPDX-License-Identifier: MIT OR GPL-2.0
#include "random_sets.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>

using namespace ruleset;

namespace
{

#ifdef __x86_64__
constexpr uint64_t kScale = 1;
#else
constexpr uint64_t kScale = 10; // under emulation
#endif

constexpr Shape narrowRule(unsigned entries, Place now = {})
{
    const uint8_t length = static_cast<uint8_t>(entries);
    return {length, length, false, now};
}

constexpr Shape wideRule(Place now = {})
{
    return {0, 1, true, now};
}

constexpr Shape eitherRule(unsigned entries, Place now = {})
{
    Shape shape = narrowRule(entries, now);
    shape.wideAllowed = true;
    return shape;
}

class LayoutTest : public testing::Test
{
protected:
    void add(Shape shape, unsigned times = 1)
    {
        while (times-- != 0)
            input.rule[input.count++] = shape;
    }
    void overlap(unsigned earlier, unsigned later) { input.overlaps[earlier] |= uint64_t{1} << later; }
    void overlapAll()
    {
        for (uint64_t &overlaps : input.overlaps)
            overlaps = ~uint64_t{0};
    }
    LayoutResult find() { return find(input); }
    // What a caller leaves in memory does not matter: rules beyond the count, the working memory, the answer.
    LayoutResult find(const LayoutInput &set)
    {
        LayoutInput used = set;
        for (unsigned rule = set.count; rule < kMaxRules; ++rule) {
            used.rule[rule] = rule % 2 != 0 ? narrowRule(7, narrowPlace(0, 7)) : wideRule(widePlace(1));
            used.overlaps[rule] = ~uint64_t{0};
        }
        memset(static_cast<void *>(work.get()), 0xA5, sizeof *work);
        memset(static_cast<void *>(&answer), 0xA5, sizeof answer);
        const LayoutResult result = findLayout(used, *work, answer);
        EXPECT_EQ(result, answer.result);
        if (result == LayoutResult::MovedFewest || result == LayoutResult::Found) {
            EXPECT_EQ(random_sets::faultOf(set, answer.place), "");
        }
        return result;
    }
    unsigned number(unsigned rule) const { return placeNumber(answer.place[rule]); }

    LayoutInput input;
    LayoutAnswer answer;
    std::unique_ptr<LayoutWorkspace> work = std::make_unique<LayoutWorkspace>();
};

} // namespace

TEST_F(LayoutTest, NoRulesNeedNothing)
{
    EXPECT_EQ(find(), LayoutResult::MovedFewest);
    EXPECT_EQ(answer.moves, 0u);
}

TEST_F(LayoutTest, AnEarlierRuleStandsLower)
{
    add(eitherRule(3));
    add(wideRule());
    overlap(0, 1);
    EXPECT_EQ(find(), LayoutResult::MovedFewest);
    EXPECT_EQ(answer.place[0], widePlace(0)); // automatic placement would choose LUT1
    EXPECT_EQ(answer.place[1], widePlace(1));
}

TEST_F(LayoutTest, FortyRulesFillBothTables)
{
    add(wideRule(), 8);
    add(narrowRule(1), 32);
    overlapAll();
    EXPECT_EQ(find(), LayoutResult::MovedFewest);
    for (unsigned rule = 0; rule < kMaxRules; ++rule)
        EXPECT_EQ(number(rule), rule);
}

TEST_F(LayoutTest, RulesThatStandInOrderStay)
{
    add(narrowRule(2, narrowPlace(4, 2)));
    add(narrowRule(3));
    add(narrowRule(2, narrowPlace(20, 2)));
    overlapAll();
    EXPECT_EQ(find(), LayoutResult::MovedFewest);
    EXPECT_EQ(answer.moves, 0u);
    EXPECT_EQ(answer.place[0], narrowPlace(4, 2));
    EXPECT_EQ(answer.place[1], narrowPlace(16, 3)); // the shortest run between the two
    EXPECT_EQ(answer.place[2], narrowPlace(20, 2));
}

TEST_F(LayoutTest, TheOneRuleInTheWayMoves)
{
    add(narrowRule(1)); // before all the others, and the first entry is taken
    for (unsigned entry = 0; entry < 20; ++entry)
        add(narrowRule(1, narrowPlace(entry, 1)));
    for (unsigned rule = 1; rule <= 20; ++rule)
        overlap(0, rule);
    EXPECT_EQ(find(), LayoutResult::MovedFewest);
    EXPECT_EQ(answer.moves, 1u);
    EXPECT_EQ(number(0), 8u);
    EXPECT_EQ(answer.moved, 2u);
}

TEST_F(LayoutTest, ASwapMovesOneWhereThereIsRoom)
{
    add(narrowRule(2, narrowPlace(4, 2)));
    add(narrowRule(2, narrowPlace(0, 2)));
    overlapAll();
    EXPECT_EQ(find(), LayoutResult::MovedFewest);
    EXPECT_EQ(answer.moves, 1u);
}

TEST_F(LayoutTest, ACrowdedTableIsCleared)
{
    // 1 free entry in each of 8 gaps: a chain of 8 needs a run.
    for (unsigned entry = 0; entry < 16; entry += 2)
        add(narrowRule(1, narrowPlace(entry, 1)));
    add(narrowRule(16, narrowPlace(16, 16)));
    add(narrowRule(8));
    EXPECT_EQ(find(), LayoutResult::MovedFewest);
    EXPECT_EQ(answer.moves, 4u);
}

TEST_F(LayoutTest, APlaceThatTheRuleDoesNotFitIsLeft)
{
    add(narrowRule(3, narrowPlace(0, 2))); // grew
    add(wideRule(widePlace(3)));           // reserved
    add(narrowRule(1, narrowPlace(9, 1)));
    add(narrowRule(1, narrowPlace(9, 1))); // on another
    add(narrowRule(1, narrowPlace(20, 1)));
    add(narrowRule(1, narrowPlace(9, 1)));
    input.reservedWide = 1 << 3;
    EXPECT_EQ(find(), LayoutResult::MovedFewest);
    EXPECT_EQ(answer.moved, 0b101011u);
    EXPECT_EQ(answer.place[2], narrowPlace(9, 1));
}

TEST_F(LayoutTest, AutomaticPlacementsChoiceYieldsToALaterRule)
{
    input.reservedNarrow = ~(7u << 4 | 3u << 20); // runs of 3 and 2
    Shape counted = narrowRule(2);
    counted.countedEntries = 3;
    add(counted);
    EXPECT_EQ(find(), LayoutResult::MovedFewest);
    EXPECT_EQ(answer.place[0], narrowPlace(4, 2));
    add(narrowRule(3));
    EXPECT_EQ(find(), LayoutResult::MovedFewest);
    EXPECT_EQ(answer.place[0], narrowPlace(20, 2));
    EXPECT_EQ(answer.place[1], narrowPlace(4, 3));
}

// A run that holds the rule, but not the entries that automatic placement counts. LUT0 is for rules that
// need it.
TEST_F(LayoutTest, AShortRunComesBeforeLut0)
{
    input.reservedNarrow = ~(3u << 20);
    Shape counted = eitherRule(2);
    counted.countedEntries = 3;
    add(counted);
    EXPECT_EQ(find(), LayoutResult::MovedFewest);
    EXPECT_EQ(answer.place[0], narrowPlace(20, 2));
    add(narrowRule(2));
    EXPECT_EQ(find(), LayoutResult::MovedFewest);
    EXPECT_EQ(answer.place[0], widePlace(0));
    EXPECT_EQ(answer.place[1], narrowPlace(20, 2));
}

// Rule 0 must give up its best place for rule 1. Rule 2 still gets its own, not LUT0, where others need room.
TEST_F(LayoutTest, WhereOneRuleGivesUpItsChoiceTheOthersKeepTheirs)
{
    add(eitherRule(2));
    add(wideRule());
    add(eitherRule(1));
    overlapAll();
    EXPECT_EQ(find(), LayoutResult::MovedFewest);
    EXPECT_EQ(answer.place[0], widePlace(0));
    EXPECT_EQ(answer.place[1], widePlace(1));
    EXPECT_EQ(answer.place[2], narrowPlace(0, 1));
}

TEST_F(LayoutTest, ALargeRuleGoesToTheLowestWidePlace)
{
    add(wideRule(widePlace(1)));
    add(eitherRule(9), 3);
    add(eitherRule(8));
    EXPECT_EQ(find(), LayoutResult::MovedFewest);
    EXPECT_EQ(answer.place[1], widePlace(0));
    EXPECT_EQ(answer.place[2], widePlace(2));
    EXPECT_EQ(answer.place[3], widePlace(3));
    EXPECT_EQ(answer.place[4], narrowPlace(0, 8));
}

TEST_F(LayoutTest, ReservedPlacesStayFree)
{
    input.reservedWide = 0xF0;
    input.widePlaces = 6;
    input.reservedNarrow = 0x0001FFFE;
    add(wideRule(), 4);
    add(narrowRule(1));
    add(narrowRule(15));
    overlapAll();
    EXPECT_EQ(find(), LayoutResult::MovedFewest);
    EXPECT_EQ(answer.place[4], narrowPlace(0, 1));
    EXPECT_EQ(answer.place[5], narrowPlace(17, 15));
    add(wideRule());
    input.overlaps[4] = input.overlaps[5] = 0;
    EXPECT_EQ(find(), LayoutResult::NoLayout);
    EXPECT_EQ(answer.reason, NoLayoutReason::Space);
    EXPECT_EQ(answer.wideNeeded, 5u);
    EXPECT_EQ(answer.wideFree, 4u);
    EXPECT_EQ(answer.narrowNeeded, 16u);
    EXPECT_EQ(answer.narrowFree, 16u);
    EXPECT_EQ(answer.conflict, 0b1001111u);
}

TEST_F(LayoutTest, ARuleWithoutATableIsNamed)
{
    add(narrowRule(1));
    add(wideRule());
    input.widePlaces = 0;
    EXPECT_EQ(find(), LayoutResult::NoLayout);
    EXPECT_EQ(answer.reason, NoLayoutReason::NoTable);
    EXPECT_EQ(answer.earlier, 1u);
}

TEST_F(LayoutTest, AnImpossiblePairIsNamed)
{
    add(eitherRule(1), 3);
    add(narrowRule(2));
    add(eitherRule(1));
    add(wideRule());
    overlap(3, 5);
    overlap(0, 3);
    EXPECT_EQ(find(), LayoutResult::NoLayout);
    EXPECT_EQ(answer.reason, NoLayoutReason::Pair);
    EXPECT_EQ(answer.earlier, 3u);
    EXPECT_EQ(answer.later, 5u);
}

// The pair is named even if earlier rules are in conflict, too, but only three together.
TEST_F(LayoutTest, APairIsNamedRatherThanAnOrder)
{
    add(narrowRule(5));
    add(eitherRule(2)); // between the two it must be narrow
    add(wideRule());
    overlap(0, 1);
    overlap(1, 2);
    EXPECT_EQ(find(), LayoutResult::NoLayout);
    EXPECT_EQ(answer.reason, NoLayoutReason::Order);
    add(narrowRule(2));
    add(wideRule());
    overlap(3, 4);
    EXPECT_EQ(find(), LayoutResult::NoLayout);
    EXPECT_EQ(answer.reason, NoLayoutReason::Pair);
    EXPECT_EQ(answer.earlier, 3u);
    EXPECT_EQ(answer.later, 4u);
    EXPECT_EQ(answer.conflict, 0b11000u);
}

TEST_F(LayoutTest, RulesThatFitButNotInOrderAreNamed)
{
    add(narrowRule(1));
    add(narrowRule(5));
    add(eitherRule(2)); // between the two it must be narrow
    add(wideRule());
    overlap(1, 2);
    overlap(2, 3);
    EXPECT_EQ(find(), LayoutResult::NoLayout);
    EXPECT_EQ(answer.reason, NoLayoutReason::Order);
    EXPECT_EQ(answer.conflict, 0b1110u);
}

TEST_F(LayoutTest, SpaceIsCountedByTable)
{
    add(narrowRule(9), 3);
    add(eitherRule(2));
    add(wideRule(), 2);
    EXPECT_EQ(find(), LayoutResult::NoLayout);
    EXPECT_EQ(answer.reason, NoLayoutReason::Space);
    EXPECT_EQ(answer.conflict, 0b111u);
    EXPECT_EQ(answer.narrowNeeded, 27u); // but three such chains do not fit two sub-tables
    EXPECT_EQ(answer.narrowFree, 32u);
    EXPECT_EQ(answer.wideNeeded, 2u);
    EXPECT_EQ(answer.eitherRules, 1u);
    EXPECT_EQ(answer.eitherEntries, 2u);
    // The first entry stands next to the wide places.
    input.reservedNarrow = 1;
    EXPECT_EQ(find(), LayoutResult::NoLayout);
    EXPECT_EQ(answer.narrowFree, 31u);
    EXPECT_EQ(answer.wideFree, 8u);
    // Without a place in LUT0 the rules that both tables hold need LUT1. One place is enough to count them
    // apart.
    for (const unsigned places : {0u, 1u}) {
        input.reservedWide = places == 0 ? 0xFF : 0xFE;
        EXPECT_EQ(find(), LayoutResult::NoLayout);
        EXPECT_EQ(answer.wideFree, places);
        EXPECT_EQ(answer.narrowNeeded, places == 0 ? 29u : 27u);
        EXPECT_EQ(answer.eitherRules, places);
    }
}

TEST_F(LayoutTest, OverlapsBelowTheDiagonalAreIgnored)
{
    add(narrowRule(1));
    add(wideRule());
    input.overlaps[1] = 0b11; // itself and the rule before it
    EXPECT_EQ(find(), LayoutResult::MovedFewest);
}

// A budget that ends in the middle of the search leaves a layout, too, only not always the best.
TEST_F(LayoutTest, ALayoutIsFoundWithAnyBudget)
{
    for (uint64_t seed = 1; seed <= 1000 / kScale; ++seed) {
        LayoutInput set = random_sets::randomSet(seed);
        const bool exists = find(set) != LayoutResult::NoLayout;
        const unsigned moves = answer.moves;
        const bool proven = answer.result == LayoutResult::MovedFewest;
        for (const uint32_t budget : {uint32_t{0}, static_cast<uint32_t>(1 + seed % 100)}) {
            set.budget = budget;
            ASSERT_EQ(find(set) != LayoutResult::NoLayout, exists) << seed;
            if (proven) {
                EXPECT_GE(answer.moves, moves) << seed;
                EXPECT_TRUE(answer.result == LayoutResult::Found || answer.moves == moves) << seed;
            }
        }
    }
}

TEST_F(LayoutTest, RandomSetsStandInOrderAndConflictsHaveNoLayout)
{
    unsigned with = 0;
    unsigned without = 0;
    for (uint64_t seed = 1; seed <= 2000 / kScale; ++seed) {
        LayoutInput set = random_sets::randomSet(seed);
        if (find(set) != LayoutResult::NoLayout) {
            ++with;
            unsigned moves = 0;
            for (unsigned rule = 0; rule < set.count; ++rule)
                moves += placed(set.rule[rule].now) && set.rule[rule].now != answer.place[rule];
            ASSERT_EQ(answer.moves, moves) << seed;
            // The layout of a finished layout is the same.
            for (unsigned rule = 0; rule < set.count; ++rule)
                set.rule[rule].now = answer.place[rule];
            ASSERT_EQ(find(set), LayoutResult::MovedFewest) << seed;
            ASSERT_EQ(answer.moves, 0u) << seed;
            continue;
        }
        ++without;
        const uint64_t conflict = answer.conflict;
        const LayoutAnswer all = answer;
        ASSERT_NE(conflict, 0u) << seed;
        // Only the rules of the conflict; without their order if only space is missing.
        LayoutInput rest = set;
        rest.count = 0;
        for (unsigned rule = 0; rule < set.count; ++rule) {
            if ((conflict >> rule & 1) == 0)
                continue;
            rest.overlaps[rest.count] = 0;
            unsigned bit = 0;
            for (unsigned other = 0; other < set.count; ++other) {
                if ((conflict >> other & 1) == 0)
                    continue;
                const bool overlaps =
                    all.reason != NoLayoutReason::Space && (set.overlaps[rule] >> other & 1);
                rest.overlaps[rest.count] |= uint64_t{overlaps} << bit++;
            }
            rest.rule[rest.count++] = set.rule[rule];
        }
        ASSERT_EQ(find(rest), LayoutResult::NoLayout) << seed;
        ASSERT_EQ(rest.count == 2 && all.reason != NoLayoutReason::Space, all.reason == NoLayoutReason::Pair)
            << seed;
    }
    EXPECT_GT(with, 500u / kScale);
    EXPECT_GT(without, 500u / kScale);
}
