/* SPDX-License-Identifier: MIT OR GPL-2.0 */
/* A C11 unit that uses the whole header of ordered rules, as a driver in C does. */
#include "ruleset/ruleset.h"

#include "c_user.h"

_Static_assert(sizeof(struct ifc_rule_condition) == 24, "a condition");
_Static_assert(sizeof(struct ifc_rule) < 1024, "a rule fits on a kernel stack");
_Static_assert(sizeof(struct ifc_ruleset_report) < 300, "a report too");
_Static_assert(sizeof(struct ifc_ruleset) < 64 * 1024, "a set is one allocation");

/* Inserts "frames from this address first" before all rules, and removes it if there is no place. */
int c_user_put_first(struct ifc_ruleset *set, struct ifc_ruleset *before, uint64_t source, uint32_t queue)
{
    struct ifc_ruleset_report report;
    struct ifc_rule rule = {.cookie = source, .count = 1};
    int result = ifc_ruleset_read(set, &report);

    if (result != IFC_RULESET_OK)
        return result;
    *before = *set;
    rule.condition[0].field = SMAC;
    rule.condition[0].compare = IFC_COMPARE_EQUAL;
    rule.condition[0].mask = 0xFFFFFFFFFFFFull;
    rule.condition[0].key = source;
    rule.action.bits.queue = queue & 7;
    rule.action.bits.enable = 1u << IFC_ACT_CHANNEL_QUEUE;
    result = ifc_ruleset_insert(set, 0, &rule, &report);
    if (result == IFC_RULESET_OK)
        result = ifc_ruleset_apply(set, 0, &report);
    if (result == IFC_RULESET_OK)
        return ifc_ruleset_number(ifc_ruleset_place_of(set, 0));
    *set = *before;
    return result;
}
