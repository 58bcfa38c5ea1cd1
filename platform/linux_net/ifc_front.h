/* SPDX-License-Identifier: MIT OR GPL-2.0 */
/*
 * ifc_front: Linux's own front ends on the packet classifier. An Ethernet driver passes on the requests of
 * `tc filter ... flower` and `ethtool -N`; the filters become ordered rules of the classifier
 * (ruleset/ruleset.h).
 *
 *   Exact      a filter is accepted if the chip can match it exactly, and refused otherwise. None is widened.
 *              docs/linux.md has the table. For tc a refusal has a message that names the key or action.
 *   Order      tc: of filters on one port the lower `pref` decides first; among equal ones as in software
 *              (the same set of keys and masks together, then arrival). ethtool: the lower `loc`.
 *   Owner      one front end owns the tables at a time: the first rule takes ownership, the last one releases
 *              it. In between, the other front end, other drivers and changes by debugfs are refused with
 *              -EBUSY. While the tables hold rules of somebody else, a new owner is refused too.
 *   Atomic     everything is checked before a table is written. A call that fails leaves tables, rules and
 *              statistics as they were.
 *   Results    0 or a negative error number: -EOPNOTSUPP the chip does not support it, -EINVAL bad values,
 *              -EBUSY another owner, -ENOSPC no room, -ENOENT no such rule, -EIO the chip did not answer,
 *              -EMSGSIZE more rules than the caller has room for, -ENOMEM.
 *   Locking    all calls may sleep. tc and ethtool hold the rtnl lock when they call the driver. These calls
 *              take ifc_callers_lock(), which excludes all other callers of the rule layer.
 */
#ifndef IFC_FRONT_H
#define IFC_FRONT_H

#define IFC_COMPAT_NET
#include "ifc_compat.h"

#define IFC_FRONT_NO_FPORT  (-1)
#define IFC_FRONT_LOCATIONS 64u /* of ethtool on each port: 0 to 63 */
#define IFC_FRONT_WORDS     16u /* user-defined words of a frame that the chip compares */

struct ifc_front;

/* Where the offset of a user-defined word counts from; the engine's numbers. */
enum ifc_front_base { IFC_FRONT_FRAME, IFC_FRONT_NETWORK, IFC_FRONT_TRANSPORT };

/* The platform. The caller's memory; it must outlive the front. */
struct ifc_front_platform {
    const char *name;        /* of the driver, for messages */
    int fport_host;          /* frames to this fport reach the host, in queue `nbq`; or IFC_FRONT_NO_FPORT */
    int fport_discard;       /* the same for discarded frames; without one `drop` is refused */
    unsigned int rx_queues;  /* receive queues 0 to rx_queues - 1 */
    unsigned int priorities; /* the action's queue sets skb->priority, 0 to priorities - 1; at most 8 */
    bool mark;               /* the action's special tag sets skb->mark */
    /* Places user-defined word n (0 to 15). offset: up to 255. NULL: keys that need a word are refused. */
    int (*place_word)(void *priv, unsigned int n, enum ifc_front_base base, unsigned int offset);
    /* The meter (0 to 255) with exactly this policing, or -EOPNOTSUPP. NULL: police is refused. */
    int (*meter)(void *priv, const struct flow_action_entry *police);
    void *priv;
};

/* A port. The caller's memory, from ifc_front_add_port() to ifc_front_remove_port(). */
struct ifc_front_port {
    struct net_device *dev;
    u8 source; /* its source interface number, 0 to 31, unique */
    u8 fport;  /* frames to this fport leave by it */
    /* Private: */
    struct ifc_front *front;
    struct list_head list;
    unsigned int filters;
};

/* NULL: out of memory. */
struct ifc_front *ifc_front_create(const struct ifc_front_platform *platform);
/* Call it after the last port is removed. NULL is ignored. */
void ifc_front_destroy(struct ifc_front *front);

/* -EINVAL: the source interface number is above 31. -EEXIST: another port has this number, or the netdev. */
int ifc_front_add_port(struct ifc_front *front, struct ifc_front_port *port);
/* Its rules are deleted. A port that was not added (`front` is NULL) is ignored. */
void ifc_front_remove_port(struct ifc_front_port *port);

/* For ndo_setup_tc(): binds ingress blocks. -EOPNOTSUPP for all other offloads. */
int ifc_front_setup_tc(struct ifc_front_port *port, enum tc_setup_type type, void *type_data);

/* Runs one command for a flower filter on a port, for drivers that bind blocks themselves. */
int ifc_front_flower(struct ifc_front_port *port, struct flow_cls_offload *flower);

/* For ethtool's set_rxnfc() and get_rxnfc(): rules, their list and count, and the number of queues. */
int ifc_front_set_rxnfc(struct ifc_front_port *port, struct ethtool_rxnfc *command);
int ifc_front_get_rxnfc(struct ifc_front_port *port, struct ethtool_rxnfc *command, u32 *locations);

/* True: the port has rules of either front end, so `hw-tc-offload` must stay on. */
bool ifc_front_in_use(const struct ifc_front_port *port);

#endif
