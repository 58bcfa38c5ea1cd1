// SPDX-License-Identifier: MIT OR GPL-2.0
#include "ifc_net.h"

#include <linux/ethtool.h>
#include <linux/utsname.h>

static const char counter_names[IFC_NET_COUNTERS][ETH_GSTRING_LEN] = {
    [IFC_NET_RX_PACKETS] = "rx_packets",     [IFC_NET_RX_BYTES] = "rx_bytes",
    [IFC_NET_TX_PACKETS] = "tx_packets",     [IFC_NET_TX_BYTES] = "tx_bytes",
    [IFC_NET_TX_DROPPED] = "tx_dropped",     [IFC_NET_RX_HIT] = "rx_hit",
    [IFC_NET_RX_MISS] = "rx_miss",           [IFC_NET_RX_HOST] = "rx_host",
    [IFC_NET_RX_TRAPPED] = "rx_trapped",     [IFC_NET_RX_FORWARDED] = "rx_forwarded",
    [IFC_NET_RX_DISCARDED] = "rx_discarded", [IFC_NET_RX_NO_PORT] = "rx_no_port",
    [IFC_NET_RX_TOO_SHORT] = "rx_too_short", [IFC_NET_RX_TOO_LONG] = "rx_too_long",
    [IFC_NET_RX_NO_MEMORY] = "rx_no_memory",
};

static void get_drvinfo(struct net_device *dev, struct ethtool_drvinfo *info)
{
    struct ifc_net_half *half = netdev_priv(dev);

    strscpy(info->driver, "ifc_net", sizeof(info->driver));
    strscpy(info->version, utsname()->release, sizeof(info->version));
    snprintf(info->bus_info, sizeof(info->bus_info), "ifc:%s%u", half->wire ? "wire" : "port", half->port);
}

static int get_sset_count(struct net_device *dev, int set)
{
    return set == ETH_SS_STATS ? IFC_NET_COUNTERS : -EOPNOTSUPP;
}

static void get_strings(struct net_device *dev, u32 set, u8 *to)
{
    if (set == ETH_SS_STATS)
        memcpy(to, counter_names, sizeof(counter_names));
}

static void get_statistics(struct net_device *dev, struct ethtool_stats *stats, u64 *to)
{
    struct ifc_net_half *half = netdev_priv(dev);
    unsigned int n;

    for (n = 0; n < IFC_NET_COUNTERS; n++)
        to[n] = ifc_net_counted(half, n);
}

static int get_link_ksettings(struct net_device *dev, struct ethtool_link_ksettings *settings)
{
    settings->base.speed = SPEED_1000;
    settings->base.duplex = DUPLEX_FULL;
    settings->base.port = PORT_TP;
    settings->base.autoneg = AUTONEG_DISABLE;
    return 0;
}

/* A wire partner has no rules. */
static int get_rxnfc(struct net_device *dev, struct ethtool_rxnfc *command, u32 *locations)
{
    struct ifc_net_half *half = netdev_priv(dev);

    return half->wire ? -EOPNOTSUPP : ifc_front_get_rxnfc(&half->front, command, locations);
}

static int set_rxnfc(struct net_device *dev, struct ethtool_rxnfc *command)
{
    struct ifc_net_half *half = netdev_priv(dev);

    return half->wire ? -EOPNOTSUPP : ifc_front_set_rxnfc(&half->front, command);
}

const struct ethtool_ops ifc_net_ethtool = {
    .get_drvinfo = get_drvinfo,
    .get_link = ethtool_op_get_link,
    .get_sset_count = get_sset_count,
    .get_strings = get_strings,
    .get_ethtool_stats = get_statistics,
    .get_link_ksettings = get_link_ksettings,
    .get_rxnfc = get_rxnfc,
    .set_rxnfc = set_rxnfc,
    .get_ts_info = ethtool_op_get_ts_info,
};
