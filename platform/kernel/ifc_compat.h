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

/* 6.13: hrtimer_setup() sets the function too. For sources that include linux/hrtimer.h. */
#if LINUX_VERSION_CODE < KERNEL_VERSION(6, 13, 0)
#define ifc_compat_hrtimer_setup(timer, handler, clock, mode) \
    do {                                                      \
        hrtimer_init(timer, clock, mode);                     \
        (timer)->function = (handler);                        \
    } while (0)
#else
#define ifc_compat_hrtimer_setup(timer, handler, clock, mode) hrtimer_setup(timer, handler, clock, mode)
#endif

/* What network drivers need, for the sources that ask for it. */
#ifdef IFC_COMPAT_NET
#include <linux/etherdevice.h>
#include <linux/ethtool.h>
#include <linux/netdevice.h>
#include <linux/string.h>
#include <net/flow_offload.h>

/* 6.12: unaligned numbers moved. */
#if LINUX_VERSION_CODE < KERNEL_VERSION(6, 12, 0)
#include <asm/unaligned.h>
#else
#include <linux/unaligned.h>
#endif

/* 5.7: flow_stats_update() takes the kind of the statistics; 5.9: dropped packets before it. */
#if LINUX_VERSION_CODE < KERNEL_VERSION(5, 7, 0)
#define ifc_compat_stats_update(stats, bytes, packets, last_used) \
    flow_stats_update(stats, bytes, packets, last_used)
#elif LINUX_VERSION_CODE < KERNEL_VERSION(5, 9, 0)
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

/* 5.7: FLOW_ACTION_PRIORITY. */
#if LINUX_VERSION_CODE >= KERNEL_VERSION(5, 7, 0)
#define IFC_COMPAT_ACTION_PRIORITY 1
#endif
/* 6.3: FLOW_ACTION_RX_QUEUE_MAPPING. */
#if LINUX_VERSION_CODE >= KERNEL_VERSION(6, 3, 0)
#define IFC_COMPAT_ACTION_RX_QUEUE 1
#endif
/* 5.19: the key num_of_vlans. */
#if LINUX_VERSION_CODE >= KERNEL_VERSION(5, 19, 0)
#define IFC_COMPAT_KEY_NUM_OF_VLANS 1
#endif
/* 6.0: the key pppoe. */
#if LINUX_VERSION_CODE >= KERNEL_VERSION(6, 0, 0)
#define IFC_COMPAT_KEY_PPPOE 1
#endif

/* Names, for messages, of keys that 5.4 does not have. NULL: this kernel does not have it either. */
static inline const char *ifc_compat_key_name(unsigned int key)
{
    switch (key) {
#if LINUX_VERSION_CODE >= KERNEL_VERSION(5, 9, 0)
    case FLOW_DISSECTOR_KEY_HASH:
        return "hash";
#endif
#if LINUX_VERSION_CODE >= KERNEL_VERSION(6, 1, 0)
    case FLOW_DISSECTOR_KEY_L2TPV3:
        return "l2tpv3_sid";
#endif
#if LINUX_VERSION_CODE >= KERNEL_VERSION(6, 5, 0)
    case FLOW_DISSECTOR_KEY_CFM:
        return "cfm";
#endif
#if LINUX_VERSION_CODE >= KERNEL_VERSION(6, 6, 0)
    case FLOW_DISSECTOR_KEY_IPSEC:
        return "spi";
#endif
    default:
        return NULL;
    }
}

/* The same for actions. */
static inline const char *ifc_compat_action_name(unsigned int action)
{
    switch (action) {
#if LINUX_VERSION_CODE >= KERNEL_VERSION(5, 8, 0)
    case FLOW_ACTION_GATE:
        return "gate";
#endif
#if LINUX_VERSION_CODE >= KERNEL_VERSION(5, 18, 0)
    case FLOW_ACTION_VLAN_PUSH_ETH:
        return "vlan push_eth";
    case FLOW_ACTION_VLAN_POP_ETH:
        return "vlan pop_eth";
#endif
    default:
        return NULL;
    }
}

/*
 * 5.18: the next EtherType is part of a VLAN key, after VLAN ID and TPID. Some stable releases have it too
 * (5.10 in any case), so the size of the key decides.
 */
static inline bool ifc_compat_has_vlan_type(void)
{
    return sizeof(struct flow_dissector_key_vlan) > 2 * sizeof(__be16);
}
/* 0: not asked for, or this kernel's keys have none. */
static inline u16 ifc_compat_vlan_type(const struct flow_dissector_key_vlan *key)
{
    return ifc_compat_has_vlan_type() ? get_unaligned_be16((const u8 *)key + 2 * sizeof(__be16)) : 0;
}

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

/* After 5.4 there is more than the ingress interface in this key. True: the filter asks for it. */
static inline bool ifc_compat_meta_unknown(const struct flow_dissector_key_meta *mask)
{
    const size_t known = offsetofend(struct flow_dissector_key_meta, ingress_ifindex);

    return memchr_inv((const u8 *)mask + known, 0, sizeof(*mask) - known);
}
#endif

#endif
