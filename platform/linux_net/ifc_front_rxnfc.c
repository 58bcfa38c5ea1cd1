// SPDX-License-Identifier: MIT OR GPL-2.0
// Commands of ethtool: rules by location.
#include "ifc_front_filters.h"

#include <linux/ethtool.h>
#include <linux/module.h>

#include "ifc_callers.h"

static struct ifc_front_filter *find(struct ifc_front_port *port, u32 location)
{
    struct ifc_front_filter *filter;

    if (port->front->kind != IFC_FRONT_ETHTOOL)
        return NULL;
    list_for_each_entry(filter, &port->front->filters, list)
    {
        if (filter->port == port && filter->priority == location)
            return filter;
    }
    return NULL;
}

static unsigned int rules_of(struct ifc_front_port *port)
{
    return port->front->kind == IFC_FRONT_ETHTOOL ? port->filters : 0;
}

/*
 * Replaces a special location. First: the lowest free one. Last: the highest free one. Any: the one after all
 * used ones, or else the highest free one.
 */
static int choose(struct ifc_front_port *port, u32 *location)
{
    u32 n;

    if (*location < IFC_FRONT_LOCATIONS)
        return 0;
    if (*location == RX_CLS_LOC_FIRST) {
        for (n = 0; n < IFC_FRONT_LOCATIONS; n++) {
            if (!find(port, n)) {
                *location = n;
                return 0;
            }
        }
        return -ENOSPC;
    }
    if (*location != RX_CLS_LOC_ANY && *location != RX_CLS_LOC_LAST)
        return -EINVAL;
    for (n = IFC_FRONT_LOCATIONS; n > 0 && find(port, n - 1); n--)
        ;
    if (!n)
        return -ENOSPC;
    if (*location == RX_CLS_LOC_ANY && n == IFC_FRONT_LOCATIONS) {
        while (n > 1 && !find(port, n - 2))
            n--;
    }
    *location = n - 1;
    return 0;
}

static int insert(struct ifc_front_port *port, struct ethtool_rx_flow_spec *flow)
{
    struct ifc_front *front = port->front;
    struct ifc_front_refusal why = {};
    struct ifc_front_filter *filter;
    int result = choose(port, &flow->location);

    if (result)
        return result;
    memset(front->rule, 0, sizeof(*front->rule));
    result = ifc_front_decode_ethtool(port, flow, front->rule, &why);
    filter = result ? NULL : ifc_front_filter_make(port);
    if (!result && !filter)
        result = -ENOMEM;
    if (filter) {
        filter->flow = *flow;
        filter->priority = flow->location;
        result = ifc_front_filter_add(front, filter, find(port, flow->location), IFC_FRONT_ETHTOOL,
                                      front->rule, &why);
        if (result)
            kfree(filter);
    }
    if (result)
        netdev_dbg(port->dev, "rule %u refused: %s\n", flow->location, why.text);
    return result;
}

int ifc_front_set_rxnfc(struct ifc_front_port *port, struct ethtool_rxnfc *command)
{
    struct ifc_front_filter *filter;
    int result = -EOPNOTSUPP;

    ifc_callers_lock();
    if (command->cmd == ETHTOOL_SRXCLSRLINS) {
        result = insert(port, &command->fs);
    } else if (command->cmd == ETHTOOL_SRXCLSRLDEL) {
        filter = find(port, command->fs.location);
        result = filter ? ifc_front_filter_remove(port->front, filter, false) : -ENOENT;
    }
    ifc_callers_unlock();
    return result;
}
EXPORT_SYMBOL_GPL(ifc_front_set_rxnfc);

static int list_all(struct ifc_front_port *port, struct ethtool_rxnfc *command, u32 *locations)
{
    u32 count = 0;
    u32 n;

    for (n = 0; n < IFC_FRONT_LOCATIONS; n++) {
        if (!find(port, n))
            continue;
        if (count == command->rule_cnt)
            return -EMSGSIZE;
        locations[count++] = n;
    }
    command->rule_cnt = count;
    command->data = IFC_FRONT_LOCATIONS;
    return 0;
}

int ifc_front_get_rxnfc(struct ifc_front_port *port, struct ethtool_rxnfc *command, u32 *locations)
{
    struct ifc_front_filter *filter;
    int result = 0;

    ifc_callers_lock();
    switch (command->cmd) {
    case ETHTOOL_GRXRINGS:
        command->data = port->front->platform->rx_queues;
        break;
    case ETHTOOL_GRXCLSRLCNT:
        command->rule_cnt = rules_of(port);
        command->data = IFC_FRONT_LOCATIONS | RX_CLS_LOC_SPECIAL;
        break;
    case ETHTOOL_GRXCLSRULE:
        filter = find(port, command->fs.location);
        if (filter)
            command->fs = filter->flow;
        else
            result = -ENOENT;
        break;
    case ETHTOOL_GRXCLSRLALL:
        result = list_all(port, command, locations);
        break;
    default:
        result = -EOPNOTSUPP;
    }
    ifc_callers_unlock();
    return result;
}
EXPORT_SYMBOL_GPL(ifc_front_get_rxnfc);
