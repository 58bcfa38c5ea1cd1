// SPDX-License-Identifier: MIT OR GPL-2.0
#include "ruleset/layout_conflict.h"

namespace ruleset
{
namespace
{

constexpr uint64_t kWideCells = (1u << IFC_LUT0_RULES) - 1;

void countSpace(const LayoutInput &input, const Packing &p, LayoutAnswer &answer)
{
    answer.wideFree = IFC_LUT0_RULES - countRules(p.closed & kWideCells);
    answer.narrowFree = IFC_LUT1_RULES - countRules(p.closed >> IFC_LUT0_RULES);
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

// Finds an overlapping pair that has no two bins in its order, although each rule alone has a bin.
bool findPair(const LayoutInput &input, Packing &p, LayoutAnswer &answer)
{
    setOrder(p, nullptr, p.rules);
    (void)layBins(p);
    RuleSet left = p.rules;
    for (unsigned rule; (rule = takeLowest(left)) != kNoRule;) {
        const BinSet lowest = p.open[rule] & (~p.open[rule] + 1);
        RuleSet after = input.overlaps[rule] & left;
        for (unsigned other; (other = takeLowest(after)) != kNoRule;) {
            if (p.open[other] < lowest) {
                answer.conflict = ruleBit(rule) | ruleBit(other);
                return true;
            }
        }
    }
    return false;
}

// Removes rules as long as the rest still has no plan.
RuleSet shrinkConflict(Packing &p, const uint64_t *overlaps, RuleSet rules, uint32_t budget)
{
    RuleSet left = rules;
    for (unsigned rule; (rule = takeHighest(left)) != kNoRule;) {
        const RuleSet fewer = rules ^ ruleBit(rule);
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
    countSpace(input, p, answer);
    uint32_t budget = input.budget;
    const bool space = !hasPlan(p, nullptr, all, &budget);
    if (space || !findPair(input, p, answer))
        answer.conflict = shrinkConflict(p, space ? nullptr : input.overlaps, all, budget);
    answer.earlier = lowestRule(answer.conflict);
    answer.later = highestRule(answer.conflict);
    const unsigned count = countRules(answer.conflict);
    answer.reason = count == 1   ? NoLayoutReason::NoTable
                    : space      ? NoLayoutReason::Space
                    : count == 2 ? NoLayoutReason::Pair
                                 : NoLayoutReason::Order;
}

} // namespace ruleset
