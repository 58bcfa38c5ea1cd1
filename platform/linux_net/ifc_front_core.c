// SPDX-License-Identifier: MIT OR GPL-2.0
// The filters of both front ends as one ordered set of rules; ownership of the tables.
#include "ifc_front_filters.h"

#include <linux/module.h>
#include <linux/slab.h>

#include "ifc/ifc_regs.h"
#include "ifc/ifc_util.h"
#include "ifc_files.h"
#include "ifc_owner.h"

const struct ifc_front_platform *ifc_front_platform_of(const struct ifc_front *front)
{
    return front->platform;
}

struct ifc_front_port *ifc_front_port_of(struct ifc_front *front, const struct net_device *dev)
{
    struct ifc_front_port *port;

    list_for_each_entry(port, &front->ports, list)
    {
        if (port->dev == dev)
            return port;
    }
    return NULL;
}

struct ifc_front_port *ifc_front_port_by_index(const struct ifc_front_port *beside, int ifindex)
{
    struct ifc_front_port *port;

    list_for_each_entry(port, &beside->front->ports, list)
    {
        if (port->dev->ifindex == ifindex && net_eq(dev_net(port->dev), dev_net(beside->dev)))
            return port;
    }
    return NULL;
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

static int own(struct ifc_front *front, enum ifc_front_kind kind, struct ifc_front_refusal *why)
{
    static const char *const names[] = {[IFC_FRONT_TC] = "tc", [IFC_FRONT_ETHTOOL] = "ethtool"};

    if (!list_empty(&front->filters) && front->kind == kind)
        return 0;
    if (ifc_owner_name())
        return ifc_front_refuse(why, -EBUSY, "the tables belong to %s", ifc_owner_name());
    snprintf(front->owner, sizeof(front->owner), "%s of %s", names[kind], front->platform->name);
    /* Rules that stayed in the tables because the chip did not answer leave with this change. */
    if (!front->leftover && ifc_ruleset_read(front->set, NULL) != IFC_RULESET_OK)
        return ifc_front_refuse(why, -EIO, "the classifier did not answer");
    if (ifc_ruleset_count(front->set))
        return ifc_front_refuse(why, -EBUSY, "the tables hold %u rules of somebody else",
                                ifc_ruleset_count(front->set));
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
    /* As after power-on: word n is the n-th of the network header. */
    for (n = 0; n < IFC_FRONT_WORDS && front->platform->place_word; n++)
        front->platform->place_word(front->platform->priv, n, IFC_FRONT_NETWORK, 2 * n);
    ifc_owner_give(front);
}

/* ------------------------------------------------------------------------------------------------------
 * Filters. Under ifc_callers_lock().
 * ------------------------------------------------------------------------------------------------------ */

static int refuse_result(struct ifc_front_refusal *why, int result, const struct ifc_ruleset_report *report)
{
    switch (result) {
    case IFC_RULESET_FULL:
        return ifc_front_refuse(why, -ENOSPC, "no room: the classifier has %u rules, all are in use",
                                IFC_RULESET_RULES);
    case IFC_RULESET_NO_PLACE:
        if (report->reason == IFC_RULESET_PAIR || report->reason == IFC_RULESET_ORDER)
            return ifc_front_refuse(
                why, -ENOSPC,
                "no room in this order: LUT0 %u rules of %u, LUT1 %u entries of %u in two halves, "
                "either one %u rules of %u entries",
                report->wide_needed, report->wide_free, report->narrow_needed, report->narrow_free,
                report->either_rules, report->either_entries);
        return ifc_front_refuse(
            why, -ENOSPC,
            "no room: needed in LUT0 %u rules of %u, in LUT1 %u entries of %u in two halves, "
            "in either one %u rules of %u entries",
            report->wide_needed, report->wide_free, report->narrow_needed, report->narrow_free,
            report->either_rules, report->either_entries);
    case IFC_RULESET_BAD_RULE:
        return ifc_front_refuse(why, -EOPNOTSUPP, "no table of the classifier holds these masks together");
    case IFC_RULESET_STALE:
        return ifc_front_refuse(why, -EIO, "somebody else has changed the tables");
    default:
        return ifc_front_refuse(why, -EIO, "the classifier did not answer");
    }
}

static void take_out(struct ifc_front *front, struct ifc_front_filter *filter)
{
    unsigned int n;
    int position;

    for (n = 0; n < filter->variants; n++) {
        position = ifc_ruleset_find_cookie(front->set, filter->rule[n].cookie);
        if (position < 0)
            continue;
        ifc_front_release_words(&front->words, ifc_ruleset_rule(front->set, position));
        ifc_ruleset_remove(front->set, position);
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

int ifc_front_filter_add(struct ifc_front *front, struct ifc_front_filter *filter,
                         struct ifc_front_filter *old, enum ifc_front_kind kind,
                         const struct ifc_front_rule *rule, struct ifc_front_refusal *why)
{
    struct ifc_front_words before;
    unsigned int old_variants = old ? old->variants : 0;
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
    result = put_in(front, filter, rule, why);
    if (!result && place_words(front, &before))
        result = ifc_front_refuse(why, -EIO, "the words of the frame could not be placed");
    if (result) {
        memcpy(front->set, front->backup, sizeof(*front->set));
    } else if (filter->variants || old) {
        int applied = ifc_ruleset_apply(front->set, 0, front->report);

        if (applied != IFC_RULESET_OK) {
            result = refuse_result(why, applied, front->report);
            memcpy(front->set, front->backup, sizeof(*front->set));
        } else {
            front->leftover = false;
        }
    }
    if (result) {
        if (old)
            old->variants = old_variants;
        front->words = before;
        list_del(&filter->list);
        disown(front);
        return result;
    }
    if (old) {
        list_del(&old->list);
        old->port->filters--;
        kfree(old);
    }
    filter->port->filters++;
    return 0;
}

/* If the chip does not answer, the next change deletes the rule from the tables. */
void ifc_front_filter_remove(struct ifc_front *front, struct ifc_front_filter *filter)
{
    bool placed = filter->variants;

    take_out(front, filter);
    list_del(&filter->list);
    filter->port->filters--;
    kfree(filter);
    if (placed)
        front->leftover = ifc_ruleset_apply(front->set, 0, front->report) != IFC_RULESET_OK;
    if (front->leftover)
        pr_warn("ifc_front: %s: a rule was not removed: the classifier did not answer\n",
                front->platform->name);
    disown(front);
}

/* The counts of a row since the last read. Bytes wrap at 64 bits, packets at 56. */
static int read_rule(struct ifc_front *front, struct ifc_front_filter *filter, unsigned int n)
{
    int position = ifc_ruleset_find_cookie(front->set, filter->rule[n].cookie);
    int number = ifc_ruleset_number(ifc_ruleset_place_of(front->set, position < 0 ? 0 : position));
    unsigned long flags;
    u64 bytes;
    u64 packets;
    int result;

    if (position < 0 || number < 0)
        return 0;
    spin_lock_irqsave(&gpIfcPriv->lock, flags);
    result = ifcSetRuleConfig(number, 0, IFC_SEL_COUNTER, IFC_TYPE_READ);
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

/* ------------------------------------------------------------------------------------------------------
 * Fronts and ports
 * ------------------------------------------------------------------------------------------------------ */

struct ifc_front *ifc_front_create(const struct ifc_front_platform *platform)
{
    struct ifc_front *front = kzalloc(sizeof(*front), GFP_KERNEL);

    if (!front)
        return NULL;
    front->platform = platform;
    INIT_LIST_HEAD(&front->ports);
    INIT_LIST_HEAD(&front->filters);
    front->set = kvzalloc(sizeof(*front->set), GFP_KERNEL);
    front->backup = kvzalloc(sizeof(*front->backup), GFP_KERNEL);
    front->scratch = kzalloc(sizeof(*front->scratch), GFP_KERNEL);
    front->rule = kzalloc(sizeof(*front->rule), GFP_KERNEL);
    front->report = kzalloc(sizeof(*front->report), GFP_KERNEL);
    if (!front->set || !front->backup || !front->scratch || !front->rule || !front->report) {
        ifc_front_destroy(front);
        return NULL;
    }
    return front;
}
EXPORT_SYMBOL_GPL(ifc_front_create);

void ifc_front_destroy(struct ifc_front *front)
{
    if (!front)
        return;
    WARN_ON(!list_empty(&front->ports));
    kvfree(front->set);
    kvfree(front->backup);
    kfree(front->scratch);
    kfree(front->rule);
    kfree(front->report);
    kfree(front);
}
EXPORT_SYMBOL_GPL(ifc_front_destroy);

int ifc_front_add_port(struct ifc_front *front, struct ifc_front_port *port)
{
    struct ifc_front_port *other;
    int result = 0;

    if (port->source > 31)
        return -EINVAL;
    ifc_callers_lock();
    list_for_each_entry(other, &front->ports, list)
    {
        if (other->source == port->source || other->dev == port->dev)
            result = -EEXIST;
    }
    if (!result) {
        port->front = front;
        port->filters = 0;
        list_add_tail(&port->list, &front->ports);
    }
    ifc_callers_unlock();
    return result;
}
EXPORT_SYMBOL_GPL(ifc_front_add_port);

void ifc_front_remove_port(struct ifc_front_port *port)
{
    struct ifc_front *front = port->front;
    struct ifc_front_filter *filter;
    struct ifc_front_filter *next;

    if (!front)
        return;
    ifc_callers_lock();
    list_for_each_entry_safe(filter, next, &front->filters, list)
    {
        if (filter->port == port)
            ifc_front_filter_remove(front, filter);
    }
    list_del(&port->list);
    port->front = NULL;
    ifc_callers_unlock();
}
EXPORT_SYMBOL_GPL(ifc_front_remove_port);

bool ifc_front_in_use(const struct ifc_front_port *port)
{
    return READ_ONCE(port->filters);
}
EXPORT_SYMBOL_GPL(ifc_front_in_use);

MODULE_LICENSE("Dual MIT/GPL");
MODULE_DESCRIPTION("tc flower and ethtool's rules for the IFC packet classifier");
