// SPDX-License-Identifier: MIT OR GPL-2.0
// How an Ethernet driver hooks in ifc_front. docs/linux.md shows this file; the network test compiles it.
#include "ifc_front.h"

#include <linux/module.h>

struct example_port {
    struct ifc_front_port front;
    /* The driver's own. */
};

/* What the platform wires up: the host is fport 0 with 8 queues, fport 15 discards. */
static const struct ifc_front_platform example_platform = {
    .name = "example",
    .fport_host = 0,
    .fport_discard = 15,
    .rx_queues = 8,
    .priorities = 8,
};
static struct ifc_front *example_front; /* ifc_front_create(&example_platform) when the driver loads */

static int example_setup_tc(struct net_device *dev, enum tc_setup_type type, void *type_data)
{
    struct example_port *port = netdev_priv(dev);

    return ifc_front_setup_tc(&port->front, type, type_data);
}

static int example_set_rxnfc(struct net_device *dev, struct ethtool_rxnfc *command)
{
    struct example_port *port = netdev_priv(dev);

    return ifc_front_set_rxnfc(&port->front, command);
}

static int example_get_rxnfc(struct net_device *dev, struct ethtool_rxnfc *command, u32 *locations)
{
    struct example_port *port = netdev_priv(dev);

    return ifc_front_get_rxnfc(&port->front, command, locations);
}

static const struct net_device_ops example_ops = {.ndo_setup_tc = example_setup_tc};
static const struct ethtool_ops example_ethtool = {
    .set_rxnfc = example_set_rxnfc,
    .get_rxnfc = example_get_rxnfc,
};

/* Before register_netdev(). After unregister_netdev(): ifc_front_remove_port(&port->front). */
int example_prepare(struct net_device *dev, u8 source, u8 fport);
int example_prepare(struct net_device *dev, u8 source, u8 fport)
{
    struct example_port *port = netdev_priv(dev);

    dev->netdev_ops = &example_ops;
    dev->ethtool_ops = &example_ethtool;
    dev->hw_features |= NETIF_F_HW_TC;
    dev->features |= NETIF_F_HW_TC;
    port->front.dev = dev;
    port->front.source = source;
    port->front.fport = fport;
    return ifc_front_add_port(example_front, &port->front);
}

static int __init example_init(void)
{
    example_front = ifc_front_create(&example_platform);
    return example_front ? 0 : -ENOMEM;
}

static void __exit example_exit(void)
{
    ifc_front_destroy(example_front);
}

module_init(example_init);
module_exit(example_exit);
MODULE_LICENSE("Dual MIT/GPL");
MODULE_DESCRIPTION("How an Ethernet driver hooks in ifc_front");
