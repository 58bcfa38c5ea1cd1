// SPDX-License-Identifier: MIT OR GPL-2.0
// Fronts and their ports.
#include "ifc_front_filters.h"

#include <linux/module.h>
#include <linux/slab.h>

#include "ifc_callers.h"

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
            ifc_front_filter_remove(front, filter, true);
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
