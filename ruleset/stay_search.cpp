// SPDX-License-Identifier: MIT OR GPL-2.0
#include "ruleset/stay_search.h"

namespace ruleset
{
namespace
{

// A core is a set of rules that cannot all stay, so at least one rule of every core must move. Take the
// smallest set of moves that hits all known cores. If the others have a plan, it is the answer; if not, it
// gives a new core.

// Of the cores that no move hits yet, the one with the fewest remaining choices; returns these choices.
struct Unhit {
    RuleSet choices = 0;
    unsigned count = kMaxRules + 1;
    unsigned apart = 0; // cores without a rule in common: each needs a move of its own
    RuleSet seen = 0;

    void add(RuleSet core, RuleSet kept)
    {
        const RuleSet left = core & ~kept;
        if ((core & seen) == 0) {
            seen |= core;
            ++apart;
        }
        const unsigned size = countRules(left);
        if (size < count) {
            count = size;
            choices = left;
        }
    }
};

// Of two rules that clash, the one with more clashes is tried as a move first. Then it is kept, and all rules
// that clash with it move.
void lookAtClashes(const StaySearch &stay, const StaySearch::Frame &at, Unhit &unhit, RuleSet &busiest)
{
    unsigned most = 0;
    busiest = 0;
    RuleSet left = stay.candidates & ~at.moved;
    for (unsigned rule; (rule = takeLowest(left)) != kNoRule;) {
        const RuleSet clash = stay.clash[rule] & ~at.moved;
        if (clash == 0)
            continue;
        const RuleSet self = ruleBit(rule);
        const RuleSet pair = self | (clash & -clash);
        if (at.kept & self) {
            unhit.add(pair, at.kept);
            continue;
        }
        const RuleSet unseen = clash & ~unhit.seen;
        if ((unhit.seen & self) == 0 && unseen != 0) {
            unhit.seen |= self | (unseen & -unseen);
            ++unhit.apart;
        }
        const unsigned size = countRules(clash);
        if (size > most) {
            most = size;
            busiest = pair;
        }
    }
}

// The choices at a node; 0: a dead end. hit: nothing is left to hit.
RuleSet choicesAt(const StaySearch &stay, const StaySearch::Frame &at, unsigned movesLeft, bool &hit)
{
    Unhit unhit;
    RuleSet busiest;
    lookAtClashes(stay, at, unhit, busiest);
    for (unsigned n = 0; n < stay.cores; ++n) {
        if ((stay.core[n] & at.moved) == 0)
            unhit.add(stay.core[n], at.kept);
    }
    hit = busiest == 0 && unhit.count > kMaxRules;
    if (hit || unhit.apart > movesLeft)
        return 0;
    return busiest != 0 && unhit.count > 2 ? busiest : unhit.choices;
}

// Tries all sets of this many moves that hit all cores. Yes: `moved` is one.
Verdict hitCores(StaySearch &stay, unsigned moves, uint32_t &budget, RuleSet &moved)
{
    StaySearch::Frame *at = stay.frame;
    const StaySearch::Frame *const deepest = at + moves;
    for (*at = {};; ++at) {
        if (budget == 0)
            return Verdict::Unknown;
        --budget;
        bool hit = false;
        at->choices = choicesAt(stay, *at, static_cast<unsigned>(deepest - at), hit);
        if (hit) {
            moved = at->moved;
            return Verdict::Yes;
        }
        if (at == deepest)
            at->choices = 0;
        for (; at->choices == 0; --at) {
            if (at == stay.frame)
                return Verdict::No;
        }
        const unsigned choice = takeLowest(at->choices);
        at[1] = at[0];
        addRule(at[1].moved, choice);
        addRule(at[0].kept, choice);
    }
}

// Removes rules from a core as long as the rest has no plan, first eight at a time.
RuleSet shrinkCore(const LayoutInput &input, LayoutWorkspace &work, RuleSet core, uint32_t &budget)
{
    for (unsigned chunk = 8; chunk != 0; chunk /= 8) {
        for (RuleSet left = core; left != 0 && budget != 0;) {
            RuleSet out = 0;
            for (unsigned n = 0; n < chunk && left != 0; ++n)
                addRule(out, takeHighest(left));
            fixStaying(input, work.packing, core & ~out);
            if (findPlan(work.packing, &budget) == Verdict::No)
                core &= ~out;
        }
    }
    return core;
}

// Keeps one rule after the other if the rest still has a plan. There is a plan if no rule stays.
RuleSet growStaying(const LayoutInput &input, LayoutWorkspace &work, uint32_t budget)
{
    RuleSet staying = 0;
    const uint32_t share = budget / kMaxRules;
    freeAll(work.packing);
    (void)findPlan(work.packing, nullptr);
    RuleSet left = work.stay.candidates;
    for (unsigned rule; (rule = takeLowest(left)) != kNoRule;) {
        if ((work.stay.clash[rule] & staying) != 0)
            continue;
        uint32_t steps = share;
        fixStaying(input, work.packing, staying | ruleBit(rule));
        if (findPlan(work.packing, &steps) == Verdict::Yes)
            addRule(staying, rule);
    }
    fixStaying(input, work.packing, staying);
    return staying;
}

} // namespace

bool findCandidates(const LayoutInput &input, const Packing &packing, StaySearch &stay)
{
    __builtin_memset(stay.clash, 0, sizeof stay.clash);
    stay.candidates = 0;
    stay.cores = 0;
    uint64_t used = packing.closed;
    for (unsigned rule = 0; rule < input.count; ++rule) {
        const Shape &shape = input.rule[rule];
        if (!placed(shape.now))
            continue;
        const bool fits =
            shape.now.table == kWide ? shape.wideAllowed : shape.now.entries == shape.narrowEntries;
        const uint64_t cells = cellsOf(shape.now);
        if (!fits || (used & cells) != 0)
            continue;
        used |= cells;
        addRule(stay.candidates, rule);
    }
    bool clash = false;
    RuleSet left = stay.candidates;
    for (unsigned rule; (rule = takeLowest(left)) != kNoRule;) {
        RuleSet after = packing.order.after[rule] & stay.candidates;
        for (unsigned other; (other = takeLowest(after)) != kNoRule;) {
            if (placeNumber(input.rule[rule].now) > placeNumber(input.rule[other].now)) {
                clash = true;
                addRule(stay.clash[rule], other);
                addRule(stay.clash[other], rule);
            }
        }
    }
    return clash;
}

void fixStaying(const LayoutInput &input, Packing &packing, RuleSet rules)
{
    freeAll(packing);
    for (unsigned rule; (rule = takeLowest(rules)) != kNoRule;)
        fixRule(packing, rule, input.rule[rule].now);
}

bool findStaying(const LayoutInput &input, LayoutWorkspace &work, uint32_t budget, RuleSet &staying)
{
    StaySearch &stay = work.stay;
    uint32_t steps = budget;
    RuleSet moved = 0;
    for (unsigned moves = 0; moves <= kMaxRules;) {
        const Verdict hits = hitCores(stay, moves, steps, moved);
        if (hits == Verdict::No) {
            ++moves;
            continue;
        }
        if (hits == Verdict::Unknown)
            break;
        staying = stay.candidates & ~moved;
        fixStaying(input, work.packing, staying);
        const Verdict plan = findPlan(work.packing, &steps);
        if (plan == Verdict::Yes)
            return true;
        if (plan == Verdict::Unknown || stay.cores == kMaxCores)
            break;
        stay.core[stay.cores++] = shrinkCore(input, work, staying, steps);
    }
    staying = growStaying(input, work, budget);
    return false;
}

} // namespace ruleset
