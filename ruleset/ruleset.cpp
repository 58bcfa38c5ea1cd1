// SPDX-License-Identifier: MIT OR GPL-2.0
// A set of rules in memory: its edits.
#include "ruleset/ruleset.h"

#include "ruleset/place.h"
#include "ruleset/rule.h"
#include "ruleset/rule_bits.h"
#include "ruleset/set_memory.h"

using namespace ruleset;

namespace
{

void compareWithOthers(Set &set, unsigned slot)
{
    const uint64_t self = ruleBit(slot);
    uint64_t overlaps = 0;
    for (unsigned other = 0; other < kMaxRules; ++other) {
        if (other == slot)
            continue;
        set.overlaps[other] &= ~self;
        if (isTaken(set, other) && ifc_rule_overlap(&set.rule[slot], &set.rule[other]) != 0) {
            set.overlaps[other] |= self;
            addRule(overlaps, other);
        }
    }
    set.overlaps[slot] = overlaps;
}

unsigned freeSlot(const Set &set)
{
    unsigned slot = 0;
    while (isTaken(set, slot))
        ++slot;
    return slot;
}

void changeConditions(Set &set, unsigned slot, const Rule &from)
{
    Rule &rule = set.rule[slot];
    if (!ifc_rule_repeats(&rule, &from))
        set.now[slot] = 0; // in the tables it becomes another rule
    rule.count = from.count;
    __builtin_memmove(rule.condition, from.condition, from.count * sizeof *from.condition);
    compareWithOthers(set, slot);
}

} // namespace

namespace ruleset
{

void takeIn(Set &set, unsigned slot, unsigned position, Place now)
{
    for (unsigned n = set.count++; n > position; --n)
        set.order[n] = set.order[n - 1];
    set.order[position] = static_cast<uint8_t>(slot);
    set.now[slot] = wordOf(now);
    set.state[slot] = kTaken;
    compareWithOthers(set, slot);
}

} // namespace ruleset

void ifc_ruleset_init(struct ifc_ruleset *set)
{
    __builtin_memset(set, 0, sizeof *set);
}

void ifc_ruleset_claim(struct ifc_ruleset *set)
{
    set->owned |= uint64_t{0xFFFFFFFFu} << IFC_LUT0_RULES;
}

uint32_t ifc_ruleset_count(const struct ifc_ruleset *set)
{
    return set->count;
}

const struct ifc_rule *ifc_ruleset_rule(const struct ifc_ruleset *set, uint32_t position)
{
    return position < set->count ? &set->rule[set->order[position]] : nullptr;
}

struct ifc_ruleset_place ifc_ruleset_place_of(const struct ifc_ruleset *set, uint32_t position)
{
    const uint32_t now = position < set->count ? set->now[set->order[position]] : 0;
    return __builtin_bit_cast(ifc_ruleset_place, now);
}

int ifc_ruleset_number(struct ifc_ruleset_place place)
{
    return place.table != IFC_RULESET_NOWHERE
               ? static_cast<int>(placeNumber(__builtin_bit_cast(Place, place)))
               : -1;
}

int ifc_ruleset_find_number(const struct ifc_ruleset *set, uint32_t number)
{
    for (unsigned n = 0; n < set->count; ++n)
        if (ifc_ruleset_number(ifc_ruleset_place_of(set, n)) == static_cast<int>(number))
            return static_cast<int>(n);
    return -1;
}

int ifc_ruleset_find_cookie(const struct ifc_ruleset *set, uint64_t cookie)
{
    for (unsigned n = 0; n < set->count; ++n)
        if (set->rule[set->order[n]].cookie == cookie)
            return static_cast<int>(n);
    return -1;
}

int ifc_ruleset_insert(struct ifc_ruleset *set, uint32_t position, const struct ifc_rule *rule,
                       struct ifc_ruleset_report *report)
{
    Report &told = begin(*set, report);
    if (position == IFC_RULESET_LAST)
        position = set->count;
    if (position == IFC_RULESET_BY_PRIORITY) {
        position = 0;
        while (position < set->count && set->rule[set->order[position]].priority <= rule->priority)
            ++position;
    }
    if (position > set->count)
        return finish(told, IFC_RULESET_BAD_POSITION);
    if (ifc_rule_check(rule, &told) != IFC_RULESET_OK)
        return IFC_RULESET_BAD_RULE;
    if (set->count == kMaxRules)
        return finish(told, IFC_RULESET_FULL);
    const unsigned slot = freeSlot(*set);
    set->rule[slot] = *rule;
    takeIn(*set, slot, position, {});
    told.position = position;
    return finish(told, IFC_RULESET_OK);
}

int ifc_ruleset_remove(struct ifc_ruleset *set, uint32_t position)
{
    if (position >= set->count)
        return IFC_RULESET_BAD_POSITION;
    set->state[set->order[position]] = 0;
    (void)ifc_ruleset_move(set, position, set->count - 1);
    --set->count;
    return IFC_RULESET_OK;
}

void ifc_ruleset_clear(struct ifc_ruleset *set)
{
    set->count = 0;
    __builtin_memset(set->state, 0, sizeof set->state);
}

int ifc_ruleset_replace(struct ifc_ruleset *set, uint32_t position, const struct ifc_rule *rule,
                        uint32_t what, struct ifc_ruleset_report *report)
{
    Report &told = begin(*set, report);
    if (position >= set->count)
        return finish(told, IFC_RULESET_BAD_POSITION);
    if ((what & IFC_RULESET_CONDITIONS) != 0 && ifc_rule_check(rule, &told) != IFC_RULESET_OK)
        return IFC_RULESET_BAD_RULE;
    const unsigned slot = set->order[position];
    Rule &changed = set->rule[slot];
    if ((what & IFC_RULESET_CONDITIONS) != 0)
        changeConditions(*set, slot, *rule);
    if ((what & IFC_RULESET_ACTION) != 0) {
        changed.action = rule->action;
        set->state[slot] |= kNewAction;
    }
    if ((what & IFC_RULESET_COOKIE) != 0) {
        changed.cookie = rule->cookie;
        changed.priority = rule->priority;
    }
    told.position = position;
    return finish(told, IFC_RULESET_OK);
}

int ifc_ruleset_move(struct ifc_ruleset *set, uint32_t from, uint32_t to)
{
    if (from >= set->count || to >= set->count)
        return IFC_RULESET_BAD_POSITION;
    const uint8_t slot = set->order[from];
    for (; from < to; ++from)
        set->order[from] = set->order[from + 1];
    for (; from > to; --from)
        set->order[from] = set->order[from - 1];
    set->order[to] = slot;
    return IFC_RULESET_OK;
}
