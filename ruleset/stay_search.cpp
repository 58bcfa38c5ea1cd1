// SPDX-License-Identifier: MIT OR GPL-2.0
#include "ruleset/stay_search.h"

namespace ruleset
{
namespace
{

// Rules that cannot all stay are a core; a set of moves must hit every core. The smallest set that hits the
// known cores either has a plan, and is the answer, or gives another core.

// A core that no move hits so far, as the choices that are left in it: the one with the fewest.
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

// Of two rules that clash the one with more clashes is tried first, alone; the other way it is kept, and all
// that clash with it move in turn.
void lookAtClashes(const StaySearch &stay, RuleSet moved, RuleSet kept, Unhit &unhit, RuleSet &busiest)
{
    unsigned most = 0;
    busiest = 0;
    for (RuleSet left = stay.candidates & ~moved; left != 0;) {
        const unsigned rule = takeLowest(left);
        const RuleSet clash = stay.clash[rule] & ~moved;
        if (clash == 0)
            continue;
        if (kept & ruleBit(rule)) {
            unhit.add(ruleBit(rule) | ruleBit(lowestRule(clash)), kept);
            continue;
        }
        if ((unhit.seen & ruleBit(rule)) == 0 && (clash & ~unhit.seen) != 0) {
            unhit.seen |= ruleBit(rule) | ruleBit(lowestRule(clash & ~unhit.seen));
            ++unhit.apart;
        }
        const unsigned size = countRules(clash);
        if (size > most) {
            most = size;
            busiest = ruleBit(rule) | ruleBit(lowestRule(clash));
        }
    }
}

// The choices at a node; 0: a dead end. hit: nothing is left to hit.
RuleSet choicesAt(const StaySearch &stay, RuleSet moved, RuleSet kept, unsigned movesLeft, bool &hit)
{
    Unhit unhit;
    RuleSet busiest;
    lookAtClashes(stay, moved, kept, unhit, busiest);
    for (unsigned n = 0; n < stay.cores; ++n) {
        if ((stay.core[n] & moved) == 0)
            unhit.add(stay.core[n], kept);
    }
    hit = busiest == 0 && unhit.count > kMaxRules;
    if (hit || unhit.apart > movesLeft)
        return 0;
    return busiest != 0 && unhit.count > 2 ? busiest : unhit.choices;
}

// Sets of this many moves that hit all cores, from the first on. Yes: moved is one.
Verdict hitCores(StaySearch &stay, unsigned moves, uint32_t &budget, RuleSet &moved)
{
    unsigned depth = 0;
    StaySearch::Frame now = {0, 0, 0};
    for (;;) {
        if (budget == 0)
            return Verdict::Unknown;
        --budget;
        bool hit = false;
        now.choices = choicesAt(stay, now.moved, now.kept, moves - depth, hit);
        if (hit) {
            moved = now.moved;
            return Verdict::Yes;
        }
        if (now.choices != 0 && depth < moves) {
            stay.frame[depth++] = now;
        } else {
            while (depth != 0 && stay.frame[depth - 1].choices == 0)
                --depth;
            if (depth == 0)
                return Verdict::No;
        }
        StaySearch::Frame &from = stay.frame[depth - 1];
        const RuleSet choice = ruleBit(takeLowest(from.choices));
        now = from;
        now.moved |= choice;
        from.kept |= choice;
    }
}

// Leaves rules out of a core that has no plan while it keeps having none: first eight at a time.
RuleSet shrinkCore(const LayoutInput &input, LayoutWorkspace &work, RuleSet core, uint32_t &budget)
{
    for (unsigned chunk = 8; chunk != 0; chunk /= 8) {
        for (RuleSet left = core; left != 0 && budget != 0;) {
            RuleSet out = 0;
            for (unsigned n = 0; n < chunk && left != 0; ++n)
                out |= ruleBit(takeHighest(left));
            fixStaying(input, work.packing, core & ~out);
            if (findPlan(work.packing, &budget) == Verdict::No)
                core &= ~out;
        }
    }
    return core;
}

// One rule after the other stays, if the rest still has a plan. There is one if none stays.
RuleSet growStaying(const LayoutInput &input, LayoutWorkspace &work, uint32_t budget)
{
    RuleSet staying = 0;
    const uint32_t share = budget / kMaxRules;
    freeAll(work.packing);
    (void)findPlan(work.packing, nullptr);
    for (RuleSet left = work.stay.candidates; left != 0;) {
        const unsigned rule = takeLowest(left);
        if ((work.stay.clash[rule] & staying) != 0)
            continue;
        uint32_t steps = share;
        fixStaying(input, work.packing, staying | ruleBit(rule));
        if (findPlan(work.packing, &steps) == Verdict::Yes)
            staying |= ruleBit(rule);
    }
    fixStaying(input, work.packing, staying);
    return staying;
}

} // namespace

void findCandidates(const LayoutInput &input, const Packing &packing, StaySearch &stay)
{
    stay.candidates = 0;
    stay.cores = 0;
    uint32_t usedWide = packing.closedWide;
    uint32_t usedNarrow = packing.closedNarrow;
    for (unsigned rule = 0; rule < input.count; ++rule) {
        stay.clash[rule] = 0;
        const Shape &shape = input.rule[rule];
        if (!placeExists(shape.now))
            continue;
        const bool wide = shape.now.table == kWide;
        const uint32_t bits = wide ? 1u << shape.now.first : narrowBits(shape.now);
        const bool fits = wide ? shape.wideAllowed : shape.now.entries == shape.narrowEntries;
        uint32_t &used = wide ? usedWide : usedNarrow;
        if (!fits || (used & bits) != 0)
            continue;
        used |= bits;
        stay.candidates |= ruleBit(rule);
    }
    for (RuleSet left = stay.candidates; left != 0;) {
        const unsigned rule = takeLowest(left);
        for (RuleSet after = packing.after[rule] & stay.candidates; after != 0;) {
            const unsigned other = takeLowest(after);
            if (placeNumber(input.rule[rule].now) > placeNumber(input.rule[other].now)) {
                stay.clash[rule] |= ruleBit(other);
                stay.clash[other] |= ruleBit(rule);
            }
        }
    }
}

bool clashes(const StaySearch &stay)
{
    for (RuleSet left = stay.candidates; left != 0;) {
        if (stay.clash[takeLowest(left)] != 0)
            return true;
    }
    return false;
}

void fixStaying(const LayoutInput &input, Packing &packing, RuleSet rules)
{
    freeAll(packing);
    while (rules != 0) {
        const unsigned rule = takeLowest(rules);
        fixRule(packing, rule, input.rule[rule].now);
    }
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
