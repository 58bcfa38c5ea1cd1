/* SPDX-License-Identifier: MIT OR GPL-2.0 */
/*
 * ifc_front: Linux's own front ends on the packet classifier. An Ethernet driver hands over what `tc filter
 * ... flower` and `ethtool -N` ask of it; the filters become ordered rules of the classifier
 * (ruleset/ruleset.h).
 *
 *   Exact      a filter is accepted if the chip can say it exactly, and refused otherwise, never widened.
 *              docs/linux.md has the table. A refusal of tc carries a message that names the key or action.
 *   Order      tc: of filters on one port the lower `pref` decides first; among equal ones as in software
 *              (the same set of keys and masks together, then arrival). ethtool: the lower `loc`.
 *   Owner      one front end owns the tables at a time: the first rule takes them, the last one gives them
 *              back. Meanwhile the other one, other drivers, and whoever would change them by debugfs are
 *              refused with -EBUSY. Rules that already stand in the tables refuse a new owner as well.
 *   Atomic     everything is checked before a table is touched. A call that fails leaves tables, rules and
 *              statistics as they were.
 *   Results    0 or a negative error number: -EOPNOTSUPP what the chip cannot say, -EINVAL bad values, -EBUSY
 *              another owner, -ENOSPC no room, -ENOENT no such rule, -EIO the chip did not answer, -ENOMEM.
 *   Locking    all calls may sleep. The rtnl lock is held by the callers' callers, as tc and ethtool do;
 *              rules of other callers of the rule layer are kept out by ifc_callers_lock(), which is taken
 *              inside.
 */
#ifndef IFC_FRONT_H
#define IFC_FRONT_H

#define IFC_COMPAT_NET
#include "ifc_compat.h"

#define IFC_FRONT_NO_FPORT  (-1)
#define IFC_FRONT_LOCATIONS 64u /* of ethtool on each port: 0 to 63 */
#define IFC_FRONT_WORDS     16u /* user-defined words of a frame that the chip compares */

struct ifc_front;

/* Where a user-defined word is taken from: the engine's numbering. */
enum ifc_front_base { IFC_FRONT_FRAME, IFC_FRONT_NETWORK, IFC_FRONT_TRANSPORT };

/* What the platform has. The caller's memory, as long as the front is there. */
struct ifc_front_platform {
    const char *name;        /* of the driver, for messages */
    int fport_host;          /* frames to this fport reach the host, in receive queue `nbq`; or none */
    int fport_discard;       /* frames to this fport are discarded; without one `drop` is refused */
    unsigned int rx_queues;  /* receive queues 0 to rx_queues - 1 */
    unsigned int priorities; /* skb->priority 0 to priorities - 1 is taken from the action's queue, up to 8 */
    bool mark;               /* skb->mark is taken from the action's special tag */
    /* Places word n of the frame (0 to 15); NULL: keys that need a word are refused. offset: up to 255. */
    int (*place_word)(void *priv, unsigned int n, enum ifc_front_base base, unsigned int offset);
    /* The chip's meter (0 to 255) that polices exactly so, or -EOPNOTSUPP; NULL: police is refused. */
    int (*meter)(void *priv, const struct flow_action_entry *police);
    void *priv;
};

/* A port. The caller's memory, from ifc_front_add_port() to ifc_front_remove_port(). */
struct ifc_front_port {
    struct net_device *dev;
    u8 source; /* its source interface number, 0 to 31, no other port's */
    u8 fport;  /* frames to this fport leave by it */
    /* Not the caller's: */
    struct ifc_front *front;
    struct list_head list;
    unsigned int filters;
};

/* NULL without memory. */
struct ifc_front *ifc_front_create(const struct ifc_front_platform *platform);
/* After the last port is removed. NULL does nothing. */
void ifc_front_destroy(struct ifc_front *front);

/* -EEXIST: another port has its source interface number. */
int ifc_front_add_port(struct ifc_front *front, struct ifc_front_port *port);
/* Its rules go with it. */
void ifc_front_remove_port(struct ifc_front_port *port);

/* For ndo_setup_tc(): binds ingress blocks. -EOPNOTSUPP for all other offloads. */
int ifc_front_setup_tc(struct ifc_front_port *port, enum tc_setup_type type, void *type_data);

/* One command for a flower filter on a port, for drivers that bind blocks themselves. */
int ifc_front_flower(struct ifc_front_port *port, struct flow_cls_offload *flower);

/* For ethtool's set_rxnfc() and get_rxnfc(): rules, their list and count, and the number of queues. */
int ifc_front_set_rxnfc(struct ifc_front_port *port, struct ethtool_rxnfc *command);
int ifc_front_get_rxnfc(struct ifc_front_port *port, struct ethtool_rxnfc *command, u32 *locations);

/* Rules of either front end exist on the port: `hw-tc-offload` must stay on. */
bool ifc_front_in_use(const struct ifc_front_port *port);

#endif
