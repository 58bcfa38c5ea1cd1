// SPDX-License-Identifier: MIT OR GPL-2.0
// Commands of tc: blocks and flower filters.
#include "ifc_front_filters.h"

#include <linux/module.h>
#include <net/pkt_cls.h>

#include "ifc_callers.h"

static LIST_HEAD(blocks);

/*
 * The message must outlive the call: netlink sends it after the locks are released. The last few texts are
 * kept, and each buffer holds a terminated string at all times.
 */
static void tell(struct netlink_ext_ack *extack, const struct ifc_front_refusal *why)
{
    static char kept[16][IFC_FRONT_TEXT];
    static atomic_t next;
    char *text = kept[(unsigned int)atomic_inc_return(&next) % ARRAY_SIZE(kept)];

    if (!extack)
        return;
    snprintf(text, IFC_FRONT_TEXT, "ifc_front: %s", why->text);
    extack->_msg = text;
}

static struct ifc_front_filter *find(struct ifc_front_port *port, unsigned long cookie)
{
    struct ifc_front_filter *filter;

    if (port->front->kind != IFC_FRONT_TC)
        return NULL;
    list_for_each_entry(filter, &port->front->filters, list)
    {
        if (filter->port == port && filter->cookie == cookie)
            return filter;
    }
    return NULL;
}

/* Software groups filters of one priority by mask, in the order in which each mask first arrived. */
static u64 group_of(struct ifc_front_port *port, u32 priority, const void *mask)
{
    struct ifc_front_filter *filter;

    list_for_each_entry(filter, &port->front->filters, list)
    {
        if (filter->port == port && filter->priority == priority && filter->mask == mask)
            return filter->group;
    }
    return 0;
}

static int replace(struct ifc_front_port *port, struct flow_cls_offload *flower)
{
    struct ifc_front *front = port->front;
    struct ifc_front_refusal why = {};
    struct ifc_front_filter *filter;
    int result;

    if (!ifc_compat_stats_possible(&flower->rule->action, flower->common.extack))
        return -EOPNOTSUPP;
    memset(front->rule, 0, sizeof(*front->rule));
    result = ifc_front_decode_flower(port, flower, front->rule, &why);
    filter = result ? NULL : ifc_front_filter_make(port);
    if (!result && !filter)
        result = ifc_front_refuse(&why, -ENOMEM, "no memory");
    if (filter) {
        filter->cookie = flower->cookie;
        filter->priority = flower->common.prio;
        filter->mask = flower->rule->match.mask;
        filter->group = group_of(port, filter->priority, filter->mask);
        result =
            ifc_front_filter_add(front, filter, find(port, flower->cookie), IFC_FRONT_TC, front->rule, &why);
        if (result)
            kfree(filter);
    }
    if (result)
        tell(flower->common.extack, &why);
    return result;
}

/* Known: the kernel also destroys a filter whose addition failed. A destruction cannot be refused. */
static int destroy(struct ifc_front_port *port, struct flow_cls_offload *flower)
{
    struct ifc_front_filter *filter = find(port, flower->cookie);

    if (filter)
        ifc_front_filter_remove(port->front, filter, true);
    return 0;
}

static int statistics(struct ifc_front_port *port, struct flow_cls_offload *flower)
{
    struct ifc_front_filter *filter = find(port, flower->cookie);
    int result;

    if (!filter)
        return -ENOENT;
    result = ifc_front_filter_read(port->front, filter);
    ifc_compat_stats_update(&flower->stats, filter->bytes, filter->packets, filter->last_used);
    filter->bytes = 0;
    filter->packets = 0;
    return result;
}

int ifc_front_flower(struct ifc_front_port *port, struct flow_cls_offload *flower)
{
    int result = -EOPNOTSUPP;

    ifc_callers_lock();
    switch (flower->command) {
    case FLOW_CLS_REPLACE:
        result = replace(port, flower);
        break;
    case FLOW_CLS_DESTROY:
        result = destroy(port, flower);
        break;
    case FLOW_CLS_STATS:
        result = statistics(port, flower);
        break;
    default:
        break;
    }
    ifc_callers_unlock();
    return result;
}
EXPORT_SYMBOL_GPL(ifc_front_flower);

static int block_command(enum tc_setup_type type, void *type_data, void *priv)
{
    struct ifc_front_port *port = priv;
    struct tc_cls_matchall_offload *matchall = type_data;
    struct flow_cls_offload *flower = type_data;

    if (type == TC_SETUP_CLSMATCHALL) {
        NL_SET_ERR_MSG(matchall->common.extack, "ifc_front: matchall: use flower without keys");
        return -EOPNOTSUPP;
    }
    if (type != TC_SETUP_CLSFLOWER)
        return -EOPNOTSUPP;
    if (flower->command == FLOW_CLS_REPLACE && !tc_can_offload(port->dev)) {
        NL_SET_ERR_MSG(flower->common.extack, "ifc_front: hw-tc-offload is off");
        return -EOPNOTSUPP;
    }
    return ifc_front_flower(port, flower);
}

int ifc_front_setup_tc(struct ifc_front_port *port, enum tc_setup_type type, void *type_data)
{
    if (type != TC_SETUP_BLOCK)
        return -EOPNOTSUPP;
    return flow_block_cb_setup_simple(type_data, &blocks, block_command, port, port, true);
}
EXPORT_SYMBOL_GPL(ifc_front_setup_tc);
