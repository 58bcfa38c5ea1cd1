// SPDX-License-Identifier: MIT OR GPL-2.0
// What the search for a layout costs, in its own steps. They are the same on every machine. The figures are
// those of the search, and a change that makes it dearer fails here. Some of the sets begin with layouts of
// the search itself: if it chooses otherwise among equals, these figures change a little, too. Its answers
// are tested in layout_test.cpp.
#include "random_sets.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>

using namespace ruleset;

namespace
{

constexpr uint64_t kSets = 5000;

class Search : public testing::Test
{
protected:
    void SetUp() override
    {
#ifndef __x86_64__
        GTEST_SKIP() << "takes long under emulation, and the steps are the same";
#endif
    }
};

void start(Packing &packing, const LayoutInput &set)
{
    packing.shape = set.rule;
    packing.closed = uint64_t{set.reservedNarrow} << IFC_LUT0_RULES | set.reservedWide |
                     ((1u << IFC_LUT0_RULES) - (1u << set.widePlaces));
    freeAll(packing);
    setOrder(packing, set.overlaps, ruleBit(set.count) - 1);
}

// 33,045 steps in all, 527 for the hardest set.
TEST_F(Search, FindsAPlanInFewSteps)
{
    constexpr uint32_t kBudget = 20000;
    const auto packing = std::make_unique<Packing>();
    uint32_t all = 0;
    uint32_t most = 0;
    for (uint64_t seed = 1; seed <= kSets; ++seed) {
        const LayoutInput set = random_sets::randomSet(seed);
        start(*packing, set);
        uint32_t left = kBudget;
        ASSERT_NE(findPlan(*packing, &left), Verdict::Unknown) << seed;
        all += kBudget - left;
        most = std::max(most, kBudget - left);
    }
    EXPECT_LT(all, 33500u);
    EXPECT_LT(most, 550u);
}

// Then several questions share one budget: the first that is too hard ends them all.
TEST_F(Search, ABudgetThatIsUsedUpIsZero)
{
    const auto packing = std::make_unique<Packing>();
    unsigned givenUp = 0;
    for (uint64_t seed = 1; seed <= kSets; ++seed) {
        const LayoutInput set = random_sets::randomSet(seed);
        start(*packing, set);
        uint32_t left = 3;
        const bool unknown = findPlan(*packing, &left) == Verdict::Unknown;
        givenUp += unknown;
        ASSERT_LE(left, unknown ? 0u : 3u) << seed;
    }
    EXPECT_GT(givenUp, 100u);
}

// Of the other sets most have no layout. Without a budget the search still proves what needs no step, and
// nothing else.
TEST_F(Search, ProvesTheFewestMovesWithinItsBudget)
{
    struct Want {
        uint32_t budget;
        unsigned proofs;
        unsigned moves;
    };
    const auto work = std::make_unique<LayoutWorkspace>();
    LayoutAnswer answer;
    for (const Want &want : {Want{4000, 3102, 1713}, Want{400, 3047, 2091}, Want{0, 1833, 5343}}) {
        unsigned proofs = 0;
        unsigned moves = 0;
        for (uint64_t seed = 1; seed <= kSets; ++seed) {
            LayoutInput set = random_sets::randomSet(seed);
            set.budget = want.budget;
            proofs += findLayout(set, *work, answer) == LayoutResult::MovedFewest;
            moves += answer.moves;
        }
        EXPECT_EQ(proofs, want.proofs);
        EXPECT_EQ(moves, want.moves);
    }
}

} // namespace
