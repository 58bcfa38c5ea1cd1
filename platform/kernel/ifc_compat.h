/* SPDX-License-Identifier: MIT OR GPL-2.0 */
/* Changes of the kernel's interfaces since 5.4. Each guard names the version that made the change. */
#ifndef IFC_COMPAT_H
#define IFC_COMPAT_H

#include <linux/slab.h>
#include <linux/version.h>

/* 5.16: kvmalloc(), kvzalloc() and kvfree() are declared by linux/slab.h; before, by linux/mm.h. */
#if LINUX_VERSION_CODE < KERNEL_VERSION(5, 16, 0)
#include <linux/mm.h>
#endif

/* A version after 6.1 moved hex2bin() from linux/kernel.h to linux/hex.h. */
#include <linux/kernel.h>
#if LINUX_VERSION_CODE > KERNEL_VERSION(6, 1, 255)
#if __has_include(<linux/hex.h>)
#include <linux/hex.h>
#endif
#endif

/* What network drivers need, for the sources that ask for it. */
#ifdef IFC_COMPAT_NET
#include <linux/etherdevice.h>
#include <linux/ethtool.h>
#include <linux/netdevice.h>
#include <net/flow_offload.h>

/* 6.12: unaligned numbers moved. */
#if LINUX_VERSION_CODE < KERNEL_VERSION(6, 12, 0)
#include <asm/unaligned.h>
#else
#include <linux/unaligned.h>
#endif

/* 5.15: the hardware address of a device is written by eth_hw_addr_set() only. */
#if LINUX_VERSION_CODE < KERNEL_VERSION(5, 15, 0)
static inline void ifc_compat_hw_addr_set(struct net_device *dev, const u8 *address)
{
    ether_addr_copy(dev->dev_addr, address);
}
#else
static inline void ifc_compat_hw_addr_set(struct net_device *dev, const u8 *address)
{
    eth_hw_addr_set(dev, address);
}
#endif

/* 5.7: flow_stats_update() takes the kind of the statistics; 5.8: dropped packets before it. */
#if LINUX_VERSION_CODE < KERNEL_VERSION(5, 7, 0)
#define ifc_compat_stats_update(stats, bytes, packets, last_used) \
    flow_stats_update(stats, bytes, packets, last_used)
#elif LINUX_VERSION_CODE < KERNEL_VERSION(5, 8, 0)
#define ifc_compat_stats_update(stats, bytes, packets, last_used) \
    flow_stats_update(stats, bytes, packets, last_used, FLOW_ACTION_HW_STATS_IMMEDIATE)
#else
#define ifc_compat_stats_update(stats, bytes, packets, last_used) \
    flow_stats_update(stats, bytes, packets, 0, last_used, FLOW_ACTION_HW_STATS_IMMEDIATE)
#endif

/* 5.7: an action can ask for a kind of statistics. Ours are read when asked for. */
#if LINUX_VERSION_CODE < KERNEL_VERSION(5, 7, 0)
static inline bool ifc_compat_stats_possible(const struct flow_action *action, struct netlink_ext_ack *extack)
{
    return true;
}
#else
static inline bool ifc_compat_stats_possible(const struct flow_action *action, struct netlink_ext_ack *extack)
{
    return flow_action_hw_stats_check(action, extack, FLOW_ACTION_HW_STATS_IMMEDIATE_BIT);
}
#endif

/* 5.8: FLOW_ACTION_PRIORITY. */
#if LINUX_VERSION_CODE >= KERNEL_VERSION(5, 8, 0)
#define IFC_COMPAT_ACTION_PRIORITY 1
#endif
/* 6.0: the keys num_of_vlans and pppoe. */
#if LINUX_VERSION_CODE >= KERNEL_VERSION(6, 0, 0)
#define IFC_COMPAT_KEY_PPPOE        1
#define IFC_COMPAT_KEY_NUM_OF_VLANS 1
#endif
/* 6.0: the next EtherType is part of a VLAN key. */
#if LINUX_VERSION_CODE >= KERNEL_VERSION(6, 0, 0)
#define IFC_COMPAT_VLAN_ETH_TYPE 1
#endif
/* 5.8: an MPLS key holds several label stack entries. False: it asks for another one than the first. */
static inline bool ifc_compat_mpls_first(const struct flow_match_mpls *match, bool key, u32 *label, u32 *tc,
                                         u32 *bos, u32 *ttl)
{
#if LINUX_VERSION_CODE < KERNEL_VERSION(5, 8, 0)
    const struct flow_dissector_key_mpls *entry = key ? match->key : match->mask;
#else
    const struct flow_dissector_mpls_lse *entry = key ? &match->key->ls[0] : &match->mask->ls[0];

    if (match->mask->used_lses != 1)
        return false;
#endif
    *label = entry->mpls_label;
    *tc = entry->mpls_tc;
    *bos = entry->mpls_bos;
    *ttl = entry->mpls_ttl;
    return true;
}

/* 5.7: more than the ingress interface in this key. */
static inline bool ifc_compat_meta_unknown(const struct flow_dissector_key_meta *mask)
{
#if LINUX_VERSION_CODE < KERNEL_VERSION(5, 7, 0)
    return false;
#elif LINUX_VERSION_CODE < KERNEL_VERSION(6, 5, 0)
    return mask->ingress_iftype;
#else
    return mask->ingress_iftype || mask->l2_miss;
#endif
}
#endif

#endif
