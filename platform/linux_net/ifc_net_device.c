// SPDX-License-Identifier: MIT OR GPL-2.0
#include "ifc_net.h"

#include <linux/etherdevice.h>
#include <linux/if_vlan.h>
#include <linux/module.h>
#include <linux/rtnetlink.h>

#include "ifc_glue.h"
#include "ifc_sim.h"

static uint ports = 2;
module_param(ports, uint, 0400);
MODULE_PARM_DESC(ports, "number of ports ifc0, ifc1, ..., each with a wire partner ifc0w, ..., 1 to 4");

static struct ifc_net_half *halves[IFC_NET_PORTS][2]; /* of each port: the port, its wire partner */

/* Delivers a frame to a netdev as received from its medium. Consumes the buffer. */
static bool receive(struct ifc_net_half *half, struct sk_buff *skb)
{
    unsigned int length = skb->len;

    if (netif_rx(skb) != NET_RX_SUCCESS)
        return false;
    ifc_net_count(half, IFC_NET_RX_PACKETS, 1);
    ifc_net_count(half, IFC_NET_RX_BYTES, length + ETH_HLEN);
    return true;
}

/* A frame that leaves by the wire of `port`. */
static void leave(struct ifc_net_half *from, unsigned int port, struct sk_buff *skb)
{
    struct ifc_net_half *out = halves[port][0];
    struct ifc_net_half *wire = halves[port][1];
    unsigned int length = skb->len;

    if (!netif_running(out->dev) || !netif_running(wire->dev)) {
        ifc_net_count(from, IFC_NET_RX_NO_PORT, 1);
        kfree_skb(skb);
        return;
    }
    if (__dev_forward_skb(wire->dev, skb)) {
        ifc_net_count(from, IFC_NET_RX_TOO_LONG, 1);
        return;
    }
    receive(wire, skb);
    ifc_net_count(out, IFC_NET_TX_PACKETS, 1);
    ifc_net_count(out, IFC_NET_TX_BYTES, length);
    ifc_net_count(from, IFC_NET_RX_FORWARDED, 1);
}

static void to_host(struct ifc_net_half *half, struct sk_buff *skb, const struct ifc_sim_outcome *outcome)
{
    if (__dev_forward_skb(half->dev, skb)) {
        ifc_net_count(half, IFC_NET_RX_TOO_LONG, 1);
        return;
    }
    if (outcome->prioritise)
        skb->priority = outcome->queue;
    if (outcome->tagged)
        skb->mark = outcome->sp_tag;
    if ((outcome->cpu || outcome->forward) && outcome->nbq < IFC_NET_RX_QUEUES)
        skb_record_rx_queue(skb, outcome->nbq);
    receive(half, skb);
    ifc_net_count(half, outcome->cpu ? IFC_NET_RX_TRAPPED : IFC_NET_RX_HOST, 1);
}

/* Sends a frame from the wire through the engine. `frame` is linear and does not change. */
static void arrive(struct ifc_net_half *half, const struct sk_buff *frame)
{
    struct ifc_sim_outcome outcome;
    struct sk_buff *skb;

    if (frame->len < ETH_HLEN) {
        ifc_net_count(half, IFC_NET_RX_TOO_SHORT, 1);
        return;
    }
    skb = netdev_alloc_skb_ip_align(half->dev, frame->len + IFC_SIM_GROWTH);
    if (!skb) {
        ifc_net_count(half, IFC_NET_RX_NO_MEMORY, 1);
        return;
    }
    ifc_sim_forward(frame->data, frame->len, (int)(IFC_NET_SOURCE_FIRST + half->port), ifc_glue_revision(),
                    skb->data, &outcome);
    skb_put(skb, outcome.length);
    ifc_net_count(half, outcome.entry < 0 ? IFC_NET_RX_MISS : IFC_NET_RX_HIT, 1);
    /* The CPU flag has precedence over a port. */
    if (outcome.cpu || !outcome.forward || outcome.fport == IFC_NET_FPORT_HOST) {
        to_host(half, skb, &outcome);
    } else if (outcome.fport == IFC_NET_FPORT_DISCARD) {
        ifc_net_count(half, IFC_NET_RX_DISCARDED, 1);
        consume_skb(skb);
    } else if (outcome.fport - IFC_NET_FPORT_FIRST < ports) {
        leave(half, outcome.fport - IFC_NET_FPORT_FIRST, skb);
    } else {
        ifc_net_count(half, IFC_NET_RX_NO_PORT, 1);
        kfree_skb(skb);
    }
}

static netdev_tx_t transmit(struct sk_buff *skb, struct net_device *dev)
{
    struct ifc_net_half *half = netdev_priv(dev);
    struct ifc_net_half *peer = netdev_priv(half->peer);
    unsigned int length;

    if (skb_vlan_tag_present(skb)) {
        skb = __vlan_hwaccel_push_inside(skb);
        if (!skb)
            goto no_memory;
    }
    if (!netif_running(peer->dev) || skb_linearize(skb)) {
        ifc_net_count(half, IFC_NET_TX_DROPPED, 1);
        kfree_skb(skb);
        return NETDEV_TX_OK;
    }
    length = skb->len;
    skb_tx_timestamp(skb);
    if (half->wire) {
        arrive(peer, skb);
        consume_skb(skb);
    } else if (length < ETH_HLEN || __dev_forward_skb(peer->dev, skb)) {
        if (length < ETH_HLEN)
            kfree_skb(skb);
        ifc_net_count(half, IFC_NET_TX_DROPPED, 1);
        return NETDEV_TX_OK;
    } else {
        receive(peer, skb);
    }
    ifc_net_count(half, IFC_NET_TX_PACKETS, 1);
    ifc_net_count(half, IFC_NET_TX_BYTES, length);
    return NETDEV_TX_OK;
no_memory:
    ifc_net_count(half, IFC_NET_TX_DROPPED, 1);
    return NETDEV_TX_OK;
}

/* The carrier is on while both ends are up. */
static int open(struct net_device *dev)
{
    struct ifc_net_half *half = netdev_priv(dev);

    if (half->peer->flags & IFF_UP) {
        netif_carrier_on(dev);
        netif_carrier_on(half->peer);
    }
    return 0;
}

static int stop(struct net_device *dev)
{
    struct ifc_net_half *half = netdev_priv(dev);

    netif_carrier_off(dev);
    netif_carrier_off(half->peer);
    return 0;
}

static void statistics(struct net_device *dev, struct rtnl_link_stats64 *stats)
{
    struct ifc_net_half *half = netdev_priv(dev);

    stats->rx_packets = ifc_net_counted(half, IFC_NET_RX_PACKETS);
    stats->rx_bytes = ifc_net_counted(half, IFC_NET_RX_BYTES);
    stats->tx_packets = ifc_net_counted(half, IFC_NET_TX_PACKETS);
    stats->tx_bytes = ifc_net_counted(half, IFC_NET_TX_BYTES);
    stats->tx_dropped = ifc_net_counted(half, IFC_NET_TX_DROPPED);
    stats->rx_dropped = ifc_net_counted(half, IFC_NET_RX_DISCARDED) +
                        ifc_net_counted(half, IFC_NET_RX_NO_PORT) +
                        ifc_net_counted(half, IFC_NET_RX_NO_MEMORY);
    stats->rx_length_errors =
        ifc_net_counted(half, IFC_NET_RX_TOO_SHORT) + ifc_net_counted(half, IFC_NET_RX_TOO_LONG);
    stats->rx_errors = stats->rx_length_errors;
}

static int place_word(void *priv, unsigned int n, enum ifc_front_base base, unsigned int offset)
{
    ifc_sim_udf(n, (enum ifc_sim_base)base, offset);
    return 0;
}

static const struct ifc_front_platform platform = {
    .name = "ifc_net",
    .fport_host = IFC_NET_FPORT_HOST,
    .fport_discard = IFC_NET_FPORT_DISCARD,
    .rx_queues = IFC_NET_RX_QUEUES,
    .priorities = 8,
    .mark = true,
    .place_word = place_word,
};
static struct ifc_front *front;

static int setup_tc(struct net_device *dev, enum tc_setup_type type, void *type_data)
{
    struct ifc_net_half *half = netdev_priv(dev);

    return half->wire ? -EOPNOTSUPP : ifc_front_setup_tc(&half->front, type, type_data);
}

static int set_features(struct net_device *dev, netdev_features_t features)
{
    struct ifc_net_half *half = netdev_priv(dev);

    if ((dev->features & ~features & NETIF_F_HW_TC) && ifc_front_in_use(&half->front)) {
        netdev_err(dev, "hw-tc-offload: stays on while rules are there\n");
        return -EBUSY;
    }
    return 0;
}

static const struct net_device_ops device_ops = {
    .ndo_setup_tc = setup_tc,
    .ndo_set_features = set_features,
    .ndo_open = open,
    .ndo_stop = stop,
    .ndo_start_xmit = transmit,
    .ndo_get_stats64 = statistics,
    .ndo_set_mac_address = eth_mac_addr,
    .ndo_validate_addr = eth_validate_addr,
};

static void setup(struct net_device *dev)
{
    ether_setup(dev);
    dev->netdev_ops = &device_ops;
    dev->ethtool_ops = &ifc_net_ethtool;
    dev->priv_flags |= IFF_NO_QUEUE | IFF_LIVE_ADDR_CHANGE;
    dev->min_mtu = ETH_MIN_MTU;
    dev->max_mtu = IFC_NET_MAX_MTU;
    /* The engine needs whole frames with checksums: no scatter-gather, no checksum offload. */
    dev->features = NETIF_F_HW_TC;
    /* NETIF_F_HW_TC has no effect on a wire partner, but the kernel's tests expect it on both ends. */
    dev->hw_features = NETIF_F_HW_TC;
    eth_hw_addr_random(dev);
}

static void remove_all(void)
{
    unsigned int n;
    unsigned int end;
    LIST_HEAD(gone);

    rtnl_lock();
    for (n = 0; n < IFC_NET_PORTS; n++) {
        for (end = 0; end < 2; end++) {
            if (halves[n][end])
                unregister_netdevice_queue(halves[n][end]->dev, &gone);
        }
    }
    unregister_netdevice_many(&gone);
    rtnl_unlock();
    for (n = 0; n < IFC_NET_PORTS; n++) {
        if (halves[n][0])
            ifc_front_remove_port(&halves[n][0]->front);
    }
    for (n = 0; n < IFC_NET_PORTS; n++) {
        for (end = 0; end < 2; end++) {
            if (halves[n][end])
                free_netdev(halves[n][end]->dev);
            halves[n][end] = NULL;
        }
    }
    ifc_front_destroy(front);
}

/* Makes and registers the netdev of one end. Under the rtnl lock: nobody opens it before its peer exists. */
static int make(unsigned int port, bool wire)
{
    struct net_device *dev;
    struct ifc_net_half *half;
    char name[IFNAMSIZ];
    int result;

    snprintf(name, sizeof(name), "ifc%u%s", port, wire ? "w" : "");
    dev = alloc_netdev_mqs(sizeof(*half), name, NET_NAME_USER, setup, 1, IFC_NET_RX_QUEUES);
    if (!dev)
        return -ENOMEM;
    half = netdev_priv(dev);
    half->dev = dev;
    half->port = port;
    half->wire = wire;
    half->front.dev = dev;
    half->front.source = (u8)(IFC_NET_SOURCE_FIRST + port);
    half->front.fport = (u8)(IFC_NET_FPORT_FIRST + port);
    result = wire ? 0 : ifc_front_add_port(front, &half->front);
    if (!result)
        result = register_netdevice(dev);
    if (result) {
        ifc_front_remove_port(&half->front);
        pr_err("ifc_net: %s: cannot be registered (%d)\n", name, result);
        free_netdev(dev);
        return result;
    }
    netif_carrier_off(dev);
    halves[port][wire] = half;
    return 0;
}

static int __init ifc_net_init(void)
{
    unsigned int n;
    int result = 0;

    if (ports < 1 || ports > IFC_NET_PORTS) {
        pr_err("ifc_net: ports %u: accepted: 1 to %u\n", ports, IFC_NET_PORTS);
        return -EINVAL;
    }
    if (!ifc_glue_simulated()) {
        pr_err("ifc_net: backend of ifc.ko: accepted: sim\n");
        return -ENODEV;
    }
    front = ifc_front_create(&platform);
    if (!front)
        return -ENOMEM;
    rtnl_lock();
    for (n = 0; n < ports && !result; n++) {
        result = make(n, false);
        if (!result)
            result = make(n, true);
        if (!result) {
            halves[n][0]->peer = halves[n][1]->dev;
            halves[n][1]->peer = halves[n][0]->dev;
        }
    }
    rtnl_unlock();
    if (result)
        remove_all();
    return result;
}

static void __exit ifc_net_exit(void)
{
    remove_all();
}

module_init(ifc_net_init);
module_exit(ifc_net_exit);
MODULE_LICENSE("Dual MIT/GPL");
MODULE_DESCRIPTION("Ethernet ports in front of the simulated IFC packet classifier");
