/* SPDX-License-Identifier: MIT OR GPL-2.0 */
/*
 * ifc_net.ko: Ethernet ports on the simulated frame engine. Port ifcN has a wire partner ifcNw. Frames of the
 * partner go through the engine's tables to the port. Frames that the port sends arrive at the partner.
 */
#ifndef IFC_NET_H
#define IFC_NET_H

#define IFC_COMPAT_NET
#include "ifc_compat.h"

#include <linux/atomic.h>
#include <linux/netdevice.h>

#include "ifc_front.h"

#define IFC_NET_PORTS     4u
#define IFC_NET_RX_QUEUES 8u
#define IFC_NET_MAX_MTU   9000u

/* Numbers of the chip. The host and the discard port have no netdev. */
#define IFC_NET_FPORT_HOST    0u
#define IFC_NET_FPORT_FIRST   1u /* port 0 */
#define IFC_NET_FPORT_DISCARD 15u
#define IFC_NET_SOURCE_FIRST  8u /* source interface number of port 0 */

/* Counters of a port or of a wire partner. */
enum ifc_net_counter {
    IFC_NET_RX_PACKETS,
    IFC_NET_RX_BYTES,
    IFC_NET_TX_PACKETS,
    IFC_NET_TX_BYTES,
    IFC_NET_TX_DROPPED,   /* the other end is down or does not take the frame, or no memory */
    IFC_NET_RX_HIT,       /* a rule decided */
    IFC_NET_RX_MISS,      /* none did */
    IFC_NET_RX_HOST,      /* to the host without being trapped */
    IFC_NET_RX_TRAPPED,   /* to the host by a rule */
    IFC_NET_RX_FORWARDED, /* to the wire of another port */
    IFC_NET_RX_DISCARDED, /* by a rule */
    IFC_NET_RX_NO_PORT,   /* to an fport without netdev, or to one that is down */
    IFC_NET_RX_TOO_SHORT, /* less than an Ethernet header */
    IFC_NET_RX_TOO_LONG,  /* for the MTU of its destination */
    IFC_NET_RX_NO_MEMORY,
    IFC_NET_COUNTERS
};

/* Private part of each netdev. */
struct ifc_net_half {
    struct net_device *dev;
    struct net_device *peer;
    unsigned int port;
    bool wire;
    struct ifc_front_port front; /* of a port */
    atomic64_t counter[IFC_NET_COUNTERS];
};

static inline void ifc_net_count(struct ifc_net_half *half, enum ifc_net_counter which, u64 much)
{
    atomic64_add((s64)much, &half->counter[which]);
}

static inline u64 ifc_net_counted(struct ifc_net_half *half, enum ifc_net_counter which)
{
    return (u64)atomic64_read(&half->counter[which]);
}

extern const struct ethtool_ops ifc_net_ethtool;

#endif
