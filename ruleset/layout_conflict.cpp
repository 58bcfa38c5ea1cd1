// SPDX-License-Identifier: MIT OR GPL-2.0
#include "ruleset/layout_conflict.h"

namespace ruleset
{
namespace
{

constexpr uint64_t kNoOverlaps[kMaxRules] = {};

void countSpace(const LayoutInput &input, const Packing &p, LayoutAnswer &answer)
{
    answer.wideFree = countRules(static_cast<uint8_t>(~p.closedWide));
    answer.narrowFree = countRules(static_cast<uint32_t>(~p.closedNarrow));
    for (unsigned rule = 0; rule < input.count; ++rule) {
        const Shape &shape = input.rule[rule];
        if (shape.narrowEntries == 0) {
            answer.wideNeeded += shape.wideAllowed;
        } else if (!shape.wideAllowed || answer.wideFree == 0) {
            answer.narrowNeeded += shape.narrowEntries;
        } else {
            ++answer.eitherRules;
            answer.eitherEntries += shape.narrowEntries;
        }
    }
}

bool hasPlan(Packing &p, const uint64_t *overlaps, RuleSet rules, uint32_t *budget)
{
    setOrder(p, overlaps, rules);
    return findPlan(p, budget) != Verdict::No;
}

// A pair that overlaps and has no bins in its order, as each for itself could have.
bool findPair(const LayoutInput &input, Packing &p, LayoutAnswer &answer)
{
    setOrder(p, kNoOverlaps, p.rules);
    (void)layBins(p);
    for (RuleSet left = p.rules; left != 0;) {
        const unsigned rule = takeLowest(left);
        const BinSet lowest = p.open[rule] & (~p.open[rule] + 1);
        for (RuleSet after = input.overlaps[rule] & left; after != 0;) {
            const unsigned other = takeLowest(after);
            if (p.open[other] < lowest) {
                answer.conflict = ruleBit(rule) | ruleBit(other);
                return true;
            }
        }
    }
    return false;
}

// Leaves rules out while there is still no plan.
RuleSet shrinkConflict(Packing &p, const uint64_t *overlaps, RuleSet rules, uint32_t budget)
{
    for (RuleSet left = rules; left != 0;) {
        const RuleSet fewer = rules & ~ruleBit(takeHighest(left));
        if (!hasPlan(p, overlaps, fewer, &budget))
            rules = fewer;
    }
    return rules;
}

} // namespace

void explainConflict(const LayoutInput &input, LayoutWorkspace &work, LayoutAnswer &answer)
{
    Packing &p = work.packing;
    const RuleSet all = p.rules;
    freeAll(p);
    countSpace(input, p, answer);
    uint32_t budget = input.budget;
    const bool space = !hasPlan(p, kNoOverlaps, all, &budget);
    if (space || !findPair(input, p, answer))
        answer.conflict = shrinkConflict(p, space ? kNoOverlaps : input.overlaps, all, budget);
    answer.earlier = lowestRule(answer.conflict);
    answer.later = highestRule(answer.conflict);
    const unsigned count = countRules(answer.conflict);
    answer.reason = count == 1   ? NoLayoutReason::NoTable
                    : space      ? NoLayoutReason::Space
                    : count == 2 ? NoLayoutReason::Pair
                                 : NoLayoutReason::Order;
}

} // namespace ruleset
