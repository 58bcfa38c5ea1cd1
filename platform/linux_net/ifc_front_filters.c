// SPDX-License-Identifier: MIT OR GPL-2.0
// The filters of both front ends as one ordered set of rules; ownership of the tables.
#include "ifc_front_filters.h"

#include <linux/slab.h>

#include "ifc/ifc_regs.h"
#include "ifc/ifc_util.h"
#include "ifc_owner.h"

static int refuse_result(struct ifc_front_refusal *why, int result, const struct ifc_ruleset_report *report)
{
    bool order;

    switch (result) {
    case IFC_RULESET_FULL:
        return ifc_front_refuse(why, -ENOSPC, "no room: the classifier has %u rules, all are in use",
                                IFC_RULESET_RULES);
    case IFC_RULESET_NO_PLACE:
        order = report->reason == IFC_RULESET_PAIR || report->reason == IFC_RULESET_ORDER;
        return ifc_front_refuse(
            why, -ENOSPC,
            "no room%s: needed in LUT0 %u rules of %u, in LUT1 %u entries of %u in two halves, "
            "in either one %u rules of %u entries",
            order ? " in this order" : "", report->wide_needed, report->wide_free, report->narrow_needed,
            report->narrow_free, report->either_rules, report->either_entries);
    case IFC_RULESET_BAD_RULE:
        return ifc_front_refuse(why, -EOPNOTSUPP, "no table of the classifier holds these masks together");
    case IFC_RULESET_STALE:
        return ifc_front_refuse(why, -EIO, "somebody else has changed the tables");
    default:
        return ifc_front_refuse(why, -EIO, "the classifier did not answer");
    }
}

/* ------------------------------------------------------------------------------------------------------
 * Ownership. Under ifc_callers_lock().
 * ------------------------------------------------------------------------------------------------------ */

static int place_words(struct ifc_front *front, const struct ifc_front_words *before)
{
    const struct ifc_front_platform *platform = front->platform;
    unsigned int n;
    int result;

    for (n = 0; n < IFC_FRONT_WORDS; n++) {
        if (!front->words.word[n].users || before->word[n].users)
            continue;
        result =
            platform->place_word(platform->priv, n, front->words.word[n].base, front->words.word[n].offset);
        if (result)
            return result;
    }
    return 0;
}

/* Completes what a chip that did not answer has left undone. */
static int catch_up(struct ifc_front *front, struct ifc_front_refusal *why)
{
    int result;

    if (!front->leftover)
        return 0;
    result = ifc_ruleset_apply(front->set, 0, front->report);
    /* Without filters others may have changed the tables since. Then nothing of ours is left. */
    if (result != IFC_RULESET_OK && !(result == IFC_RULESET_STALE && list_empty(&front->filters)))
        return refuse_result(why, result, front->report);
    front->leftover = false;
    return 0;
}

static int own(struct ifc_front *front, enum ifc_front_kind kind, struct ifc_front_refusal *why)
{
    static const char *const names[] = {[IFC_FRONT_TC] = "tc", [IFC_FRONT_ETHTOOL] = "ethtool"};
    bool ours = !list_empty(&front->filters) && front->kind == kind;
    int result;

    if (!ours && ifc_owner_name())
        return ifc_front_refuse(why, -EBUSY, "the tables belong to %s", ifc_owner_name());
    result = catch_up(front, why);
    if (result || ours)
        return result;
    result = ifc_ruleset_read(front->set, NULL);
    if (result != IFC_RULESET_OK)
        return refuse_result(why, result, front->report);
    if (ifc_ruleset_count(front->set))
        return ifc_front_refuse(why, -EBUSY, "the tables hold %u rules of somebody else",
                                ifc_ruleset_count(front->set));
    snprintf(front->owner, sizeof(front->owner), "%s of %s", names[kind], front->platform->name);
    ifc_owner_take(front, front->owner);
    front->kind = kind;
    front->was_on = get_frame_engine_data(IFC_GLB_CFG) & IFC_GLB_CFG_ENABLE;
    set_frame_engine_data(IFC_GLB_CFG, get_frame_engine_data(IFC_GLB_CFG) | IFC_GLB_CFG_ENABLE);
    return 0;
}

/* Call it after the last filter, or if the first one failed. */
static void disown(struct ifc_front *front)
{
    unsigned int n;

    if (!list_empty(&front->filters))
        return;
    if (!front->was_on)
        set_frame_engine_data(IFC_GLB_CFG, get_frame_engine_data(IFC_GLB_CFG) & ~IFC_GLB_CFG_ENABLE);
    /*
     * As after power-on: word n is the n-th of the network header. But a rule that was left over still needs
     * its words.
     */
    for (n = 0; n < IFC_FRONT_WORDS && front->platform->place_word && !front->leftover; n++)
        front->platform->place_word(front->platform->priv, n, IFC_FRONT_NETWORK, 2 * n);
    ifc_owner_give(front);
}

/* ------------------------------------------------------------------------------------------------------
 * Filters. Under ifc_callers_lock().
 * ------------------------------------------------------------------------------------------------------ */

static void take_out(struct ifc_front *front, struct ifc_front_filter *filter)
{
    unsigned int n;
    int position;

    for (n = 0; n < filter->variants; n++) {
        position = ifc_ruleset_find_cookie(front->set, filter->rule[n].cookie);
        if (position < 0)
            continue;
        ifc_front_release_words(&front->words, ifc_ruleset_rule(front->set, (uint32_t)position));
        ifc_ruleset_remove(front->set, (uint32_t)position);
    }
}

/* Inserts the filter's rules into the set, before those of all later filters of the list. */
static int put_in(struct ifc_front *front, struct ifc_front_filter *filter, const struct ifc_front_rule *rule,
                  struct ifc_front_refusal *why)
{
    struct ifc_front_filter *earlier;
    unsigned int position = 0;
    unsigned int n;
    int result;

    list_for_each_entry(earlier, &front->filters, list)
    {
        if (earlier == filter)
            break;
        position += earlier->variants;
    }
    for (n = 0; n < ifc_front_variants(rule); n++) {
        result = ifc_front_encode(front->platform, rule, n, filter->port->source, &front->words,
                                  front->scratch, why);
        if (result)
            return result;
        front->scratch->cookie = filter->rule[n].cookie = ++front->last_cookie;
        result = ifc_ruleset_insert(front->set, position + n, front->scratch, front->report);
        if (result != IFC_RULESET_OK)
            return refuse_result(why, result, front->report);
        filter->variants++;
    }
    return 0;
}

static bool earlier(const struct ifc_front_filter *a, const struct ifc_front_filter *b)
{
    if (a->priority != b->priority)
        return a->priority < b->priority;
    if (a->group != b->group)
        return a->group < b->group;
    return a->arrival < b->arrival;
}

static void sort_in(struct ifc_front *front, struct ifc_front_filter *filter)
{
    struct ifc_front_filter *other;

    list_for_each_entry(other, &front->filters, list)
    {
        if (earlier(filter, other)) {
            list_add_tail(&filter->list, &other->list);
            return;
        }
    }
    list_add_tail(&filter->list, &front->filters);
}

struct ifc_front_filter *ifc_front_filter_make(struct ifc_front_port *port)
{
    struct ifc_front_filter *filter = kzalloc(sizeof(*filter), GFP_KERNEL);

    if (filter) {
        filter->port = port;
        filter->last_used = jiffies;
    }
    return filter;
}

/* After an update that failed. If its undo failed too, the library completes it before the next change. */
static void restore(struct ifc_front *front, const struct ifc_front_words *words)
{
    memcpy(front->set, front->backup, sizeof(*front->set));
    front->words = *words;
}

int ifc_front_filter_add(struct ifc_front *front, struct ifc_front_filter *filter,
                         struct ifc_front_filter *old, enum ifc_front_kind kind,
                         const struct ifc_front_rule *rule, struct ifc_front_refusal *why)
{
    struct ifc_front_words before;
    struct ifc_front_words without_old;
    unsigned int old_variants = old ? old->variants : 0;
    unsigned int n;
    int applied;
    int result = own(front, kind, why);

    if (result)
        return result;
    before = front->words;
    memcpy(front->backup, front->set, sizeof(*front->set));
    if (!filter->arrival)
        filter->arrival = ++front->arrivals;
    if (!filter->group)
        filter->group = filter->arrival;
    sort_in(front, filter);
    if (old) {
        take_out(front, old);
        old->variants = 0;
    }
    /* The old rule is in the tables until the update, and needs its words until then. */
    without_old = front->words;
    front->words = before;
    result = put_in(front, filter, rule, why);
    if (!result && place_words(front, &before))
        result = ifc_front_refuse(why, -EIO, "the words of the frame could not be placed");
    if (!result && (filter->variants || old)) {
        applied = ifc_ruleset_apply(front->set, 0, front->report);
        if (applied != IFC_RULESET_OK)
            result = refuse_result(why, applied, front->report);
    }
    if (result) {
        restore(front, &before);
        if (old)
            old->variants = old_variants;
        list_del(&filter->list);
        disown(front);
        return result;
    }
    for (n = 0; n < IFC_FRONT_WORDS; n++)
        front->words.word[n].users =
            (u16)(front->words.word[n].users - (before.word[n].users - without_old.word[n].users));
    if (old) {
        list_del(&old->list);
        old->port->filters--;
        kfree(old);
    }
    filter->port->filters++;
    return 0;
}

int ifc_front_filter_remove(struct ifc_front *front, struct ifc_front_filter *filter, bool must)
{
    struct ifc_front_words before = front->words;
    int result = IFC_RULESET_OK;

    memcpy(front->backup, front->set, sizeof(*front->set));
    take_out(front, filter);
    if (filter->variants || front->leftover) {
        result = ifc_ruleset_apply(front->set, 0, front->report);
        if (result != IFC_RULESET_OK && must)
            result = ifc_ruleset_apply(front->set, 0, front->report);
    }
    if (result != IFC_RULESET_OK && !must) {
        restore(front, &before);
        return -EIO;
    }
    list_del(&filter->list);
    filter->port->filters--;
    kfree(filter);
    front->leftover = result != IFC_RULESET_OK;
    if (front->leftover)
        pr_warn("ifc_front: %s: a rule was not removed: the classifier did not answer\n",
                front->platform->name);
    disown(front);
    return 0;
}

/* The counts of a row since the last read. Bytes wrap at 64 bits, packets at 56. */
static int read_rule(struct ifc_front *front, struct ifc_front_filter *filter, unsigned int n)
{
    int position = ifc_ruleset_find_cookie(front->set, filter->rule[n].cookie);
    int number = ifc_ruleset_number(ifc_ruleset_place_of(front->set, position < 0 ? 0 : (uint32_t)position));
    unsigned long flags;
    u64 bytes;
    u64 packets;
    int result;

    if (position < 0 || number < 0)
        return 0;
    spin_lock_irqsave(&gpIfcPriv->lock, flags);
    result = ifcSetRuleConfig((uint8_t)number, 0, IFC_SEL_COUNTER, IFC_TYPE_READ);
    bytes = get_frame_engine_data(IFC_DATA0);
    bytes |= (u64)get_frame_engine_data(IFC_DATA1) << 32;
    packets = get_frame_engine_data(IFC_DATA2);
    packets |= (u64)get_frame_engine_data(IFC_DATA3) << 32;
    spin_unlock_irqrestore(&gpIfcPriv->lock, flags);
    if (result)
        return -EIO;
    packets &= IFC_FRONT_PACKETS_MASK;
    if (packets != filter->rule[n].packets)
        filter->last_used = jiffies;
    filter->bytes += bytes - filter->rule[n].bytes;
    filter->packets += (packets - filter->rule[n].packets) & IFC_FRONT_PACKETS_MASK;
    filter->rule[n].bytes = bytes;
    filter->rule[n].packets = packets;
    return 0;
}

int ifc_front_filter_read(struct ifc_front *front, struct ifc_front_filter *filter)
{
    unsigned int n;
    int result = 0;

    for (n = 0; n < filter->variants && !result; n++)
        result = read_rule(front, filter, n);
    return result;
}
