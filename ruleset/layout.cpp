// SPDX-License-Identifier: MIT OR GPL-2.0
#include "ruleset/layout.h"

#include "ruleset/layout_conflict.h"
#include "ruleset/stay_search.h"

namespace ruleset
{
namespace
{

// Automatic placement puts larger rules into LUT0 while it has room, and others into the best fit in LUT1.
constexpr unsigned kLargestForNarrow = 8;

// Steps of the search whether a rule's place leaves places for the others.
constexpr uint32_t kStepsPerChoice = 64;

// Lower is better. First the choice of automatic placement, then runs too short for its count, then LUT0.
unsigned rank(const Packing &packing, const Shape &shape, unsigned bin)
{
    constexpr unsigned kStep = (IFC_LUT1_SUB_TABLE + 1) * kMaxBins;
    const unsigned room = packing.bin[bin].room;
    if (packing.wideBins >> bin & 1)
        return bin + (shape.countedEntries > kLargestForNarrow ? 0 : 3 * kStep);
    return room * kMaxBins + bin + (room >= shape.countedEntries ? kStep : 2 * kStep);
}

// Removes the best bin from the set and returns it.
unsigned takeBest(const Packing &packing, const Shape &shape, BinSet &left)
{
    unsigned best = 0;
    unsigned bestRank = ~0u;
    for (BinSet rest = left; rest != 0; rest &= rest - 1) {
        const unsigned bin = static_cast<unsigned>(__builtin_ctz(rest));
        const unsigned rankHere = rank(packing, shape, bin);
        if (rankHere < bestRank) {
            best = bin;
            bestRank = rankHere;
        }
    }
    left &= ~(BinSet{1} << best);
    return best;
}

// Fixes each rule in turn in its best bin. False: one had no bin; the rules before it stay fixed.
bool placeGreedily(Packing &p)
{
    RuleSet left = p.rules & ~p.fixed;
    for (unsigned rule; (rule = takeLowest(left)) != kNoRule;) {
        if (!layBins(p))
            return false;
        fixRule(p, rule, firstPlace(p, rule, takeBest(p, p.shape[rule], p.open[rule])));
    }
    return true;
}

// Fixes each rule in turn in the best bin that leaves a plan for the others. Only the start of a bin is
// tried: other rules of the bin decide later. The initial plan is the last resort.
void placeByPlan(Packing &p, uint32_t budget)
{
    RuleSet left = p.rules & ~p.fixed;
    for (unsigned rule; (rule = takeLowest(left)) != kNoRule;) {
        (void)layBins(p);
        for (BinSet open = p.open[rule]; open != 0;) {
            const unsigned bin = takeBest(p, p.shape[rule], open);
            const Place place = firstPlace(p, rule, bin);
            if (place == p.plan[rule])
                break;
            uint32_t steps = budget < kStepsPerChoice ? budget : kStepsPerChoice;
            budget -= steps;
            fixRule(p, rule, place);
            const bool leavesPlan = findPlan(p, &steps) == Verdict::Yes;
            budget += steps;
            if (leavesPlan)
                p.plan[rule] = place;
            toggleRule(p, rule);
            if (leavesPlan)
                break;
            (void)layBins(p);
        }
        fixRule(p, rule, p.plan[rule]);
    }
}

void setUp(const LayoutInput &input, Packing &p)
{
    p.shape = input.rule;
    const unsigned closedWide = input.reservedWide | ((1u << IFC_LUT0_RULES) - (1u << input.widePlaces));
    p.closed = uint64_t{input.reservedNarrow} << IFC_LUT0_RULES | closedWide;
    setOrder(p, input.overlaps, ruleBit(input.count) - 1);
}

// Fixes all rules of the set.
LayoutResult place(const LayoutInput &input, LayoutWorkspace &work, LayoutAnswer &answer)
{
    Packing &p = work.packing;
    const bool clash = findCandidates(input, p, work.stay);
    fixStaying(input, p, work.stay.candidates);
    if (!clash && placeGreedily(p))
        return LayoutResult::MovedFewest;
    freeAll(p);
    if (findPlan(p, nullptr) == Verdict::No) {
        explainConflict(input, work, answer);
        return LayoutResult::NoLayout;
    }
    RuleSet staying = 0;
    const bool fewest = findStaying(input, work, input.budget, staying);
    if (!placeGreedily(p)) {
        fixStaying(input, p, staying);
        placeByPlan(p, input.budget / 4);
    }
    return fewest ? LayoutResult::MovedFewest : LayoutResult::Found;
}

} // namespace

LayoutResult findLayout(const LayoutInput &input, LayoutWorkspace &work, LayoutAnswer &answer)
{
    answer = {};
    setUp(input, work.packing);
    answer.result = place(input, work, answer);
    if (answer.result == LayoutResult::NoLayout)
        return answer.result;
    for (unsigned rule = 0; rule < input.count; ++rule) {
        answer.place[rule] = work.packing.place[rule];
        if (placed(input.rule[rule].now) && answer.place[rule] != input.rule[rule].now)
            addRule(answer.moved, rule);
    }
    answer.moves = countRules(answer.moved);
    return answer.result;
}

} // namespace ruleset
