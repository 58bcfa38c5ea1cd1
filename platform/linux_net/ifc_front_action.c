// SPDX-License-Identifier: MIT OR GPL-2.0
// Decodes the actions of a flower filter into an intermediate rule. docs/linux.md has the table of actions.
#include "ifc_front_rule.h"

#include <linux/if_vlan.h>
#include <linux/tc_act/tc_csum.h>

#include "ifc_records.h"

/*
 * The tag edits so far: `pushed` new tags, the last one outermost, before the frame's own tags. `popped` of
 * its own tags are removed.
 */
struct tags {
    unsigned int popped;
    unsigned int pushed;
    struct {
        u16 tpid, tci;
    } push[2];
    bool modified; /* the outermost remaining tag of the frame */
    bool new_priority;
    u16 tpid, tci; /* of that tag */
};

static int edit_tags(struct tags *tags, const struct flow_action_entry *entry, struct ifc_front_refusal *why)
{
    u16 tpid = ntohs(entry->vlan.proto);
    u16 tci = entry->vlan.vid | entry->vlan.prio << VLAN_PRIO_SHIFT;

    if (entry->id != FLOW_ACTION_VLAN_POP && tpid != ETH_P_8021Q && tpid != ETH_P_8021AD)
        return ifc_front_refuse(why, -EOPNOTSUPP, "vlan: protocol 0x%04x: accepted: 802.1q, 802.1ad", tpid);
    switch (entry->id) {
    case FLOW_ACTION_VLAN_PUSH:
        if (tags->pushed == 2)
            return ifc_front_refuse(why, -EOPNOTSUPP, "vlan push: a third tag");
        tags->push[tags->pushed].tpid = tpid;
        tags->push[tags->pushed++].tci = tci;
        return 0;
    case FLOW_ACTION_VLAN_POP:
        if (tags->pushed) {
            tags->pushed--;
        } else if (tags->popped == 2) {
            return ifc_front_refuse(why, -EOPNOTSUPP, "vlan pop: a third tag");
        } else {
            tags->popped++;
            tags->modified = false;
        }
        return 0;
    default:
        if (tags->pushed) {
            tags->push[tags->pushed - 1].tpid = tpid;
            if (!entry->vlan.prio)
                tci |= tags->push[tags->pushed - 1].tci & VLAN_PRIO_MASK;
            tags->push[tags->pushed - 1].tci = tci;
            return 0;
        }
        /* Known: the kernel does not distinguish `priority 0` from none. Both keep the priority. */
        tags->new_priority = entry->vlan.prio || (tags->modified && tags->new_priority);
        if (!entry->vlan.prio && tags->modified)
            tci |= tags->tci & VLAN_PRIO_MASK;
        tags->modified = true;
        tags->tpid = tpid;
        tags->tci = tci;
        return 0;
    }
}

static void outer(struct ifc_front_action *action, enum ifc_front_tag_code code, u16 tpid, u16 tci)
{
    action->vo[0] = code;
    action->vpm = tpid ? ifc_vpm_code(tpid) : 0;
    action->tci[0] = tci;
}

/* The chip's codes refer to the tags of the received frame. */
static int encode_tags(const struct tags *tags, struct ifc_front_rule *rule, struct ifc_front_refusal *why)
{
    struct ifc_front_action *action = &rule->action;
    unsigned int least = rule->tags == IFC_FRONT_ANY_TAGS ? rule->least_tags : rule->tags;
    bool untagged = rule->tags == 0;
    const char *cannot = "vlan: the classifier cannot make these edits of tags together";

    if (tags->modified) {
        if (tags->pushed || tags->popped)
            return ifc_front_refuse(why, -EOPNOTSUPP, "%s", cannot);
        outer(action, IFC_FRONT_REPLACE, tags->tpid, tags->tci);
        if (!tags->new_priority) {
            action->keep_priority = true;
        } else if (least == 0 && !untagged) {
            return ifc_front_refuse(
                why, -EOPNOTSUPP, "vlan modify: priority: needs a protocol that says whether a tag is there");
        } else if (!untagged) {
            action->keep_dei = true;
        }
        return 0;
    }
    if (tags->pushed == 2 && tags->push[0].tpid != ETH_P_8021Q)
        return ifc_front_refuse(why, -EOPNOTSUPP, "vlan push: protocol of the inner tag: accepted: 802.1q");
    switch (tags->popped * 3 + tags->pushed) {
    case 0:
        return 0;
    case 1: /* before all others */
        outer(action, IFC_FRONT_INSERT, tags->push[0].tpid, tags->push[0].tci);
        return 0;
    case 2: /* the chip inserts the second tag after the frame's outer tag */
        if (!untagged)
            return ifc_front_refuse(why, -EOPNOTSUPP,
                                    "vlan push: two tags need a protocol of untagged frames");
        outer(action, IFC_FRONT_INSERT, tags->push[1].tpid, tags->push[1].tci);
        action->vo[1] = IFC_FRONT_INSERT;
        action->tci[1] = tags->push[0].tci;
        return 0;
    case 3:
        outer(action, IFC_FRONT_REMOVE, 0, 0);
        return 0;
    case 4: /* an untagged frame would get no tag */
    case 5:
        if (least < 1)
            return ifc_front_refuse(why, -EOPNOTSUPP, "vlan pop, push: need a protocol of tagged frames");
        outer(action, IFC_FRONT_REPLACE, tags->push[tags->pushed - 1].tpid, tags->push[tags->pushed - 1].tci);
        if (tags->pushed == 2) {
            action->vo[1] = IFC_FRONT_INSERT;
            action->tci[1] = tags->push[0].tci;
        }
        return 0;
    case 6:
        outer(action, IFC_FRONT_REMOVE, 0, 0);
        action->vo[1] = IFC_FRONT_REMOVE;
        return 0;
    case 7:
        if (least < 2)
            return ifc_front_refuse(why, -EOPNOTSUPP, "vlan pop, pop, push: need a protocol of two tags");
        outer(action, IFC_FRONT_REPLACE, tags->push[0].tpid, tags->push[0].tci);
        action->vo[1] = IFC_FRONT_REMOVE;
        return 0;
    default:
        return ifc_front_refuse(why, -EOPNOTSUPP, "%s", cannot);
    }
}

/* pedit gives the first four bytes of the IP header in wire order; ones in the mask mean: keep. */
static int decode_pedit(const struct flow_action_entry *entry, struct ifc_front_action *action,
                        struct ifc_front_refusal *why)
{
    u32 change = ntohl((__force __be32)~entry->mangle.mask);
    u32 value = ntohl((__force __be32)entry->mangle.val) & change;

    if (entry->mangle.htype == FLOW_ACT_MANGLE_HDR_TYPE_IP4 && entry->mangle.offset == 0 &&
        !(change & 0xFF00FFFF)) {
        if (change != 0x00FC0000)
            return ifc_front_refuse(why, -EOPNOTSUPP,
                                    "pedit ip dsfield: accepted: retain 0xfc, its upper six bits");
        action->dscp_set = true;
        action->dscp = (u8)(value >> 16);
        return 0;
    }
    if (entry->mangle.htype == FLOW_ACT_MANGLE_HDR_TYPE_IP6 && entry->mangle.offset == 0 &&
        !(change & 0xF00FFFFF)) {
        if (change != 0x0FF00000)
            return ifc_front_refuse(why, -EOPNOTSUPP, "pedit ip6 traffic_class: accepted: all eight bits");
        action->class_set = true;
        action->traffic_class = (u8)(value >> 20);
        return 0;
    }
    return ifc_front_refuse(why, -EOPNOTSUPP, "pedit: accepted: the DS octet of `ip` and `ip6`");
}

static int decode_police(struct ifc_front_port *port, const struct flow_action_entry *entry,
                         struct ifc_front_action *action, struct ifc_front_refusal *why)
{
    const struct ifc_front_platform *platform = ifc_front_platform_of(port->front);
    int meter = platform->meter ? platform->meter(platform->priv, entry) : -EOPNOTSUPP;

    if (meter < 0 || meter > 255)
        return ifc_front_refuse(why, -EOPNOTSUPP, "police: %s has no meter that polices so", platform->name);
    action->meter_set = true;
    action->meter = (u8)meter;
    return 0;
}

static const char *const action_names[] = {
    [FLOW_ACTION_GOTO] = "goto chain",
    [FLOW_ACTION_MIRRED] = "mirred egress mirror",
    [FLOW_ACTION_TUNNEL_ENCAP] = "tunnel_key set",
    [FLOW_ACTION_TUNNEL_DECAP] = "tunnel_key unset",
    [FLOW_ACTION_ADD] = "pedit add",
    [FLOW_ACTION_PTYPE] = "skbedit ptype",
    [FLOW_ACTION_SAMPLE] = "sample",
    [FLOW_ACTION_CT] = "ct",
    [FLOW_ACTION_MPLS_PUSH] = "mpls push",
    [FLOW_ACTION_MPLS_POP] = "mpls pop",
    [FLOW_ACTION_MPLS_MANGLE] = "mpls modify",
};

/* One action that does not end the list. */
static int decode_edit(struct ifc_front_port *port, const struct flow_action_entry *entry,
                       struct ifc_front_rule *rule, struct tags *tags, struct ifc_front_refusal *why)
{
    const struct ifc_front_platform *platform = ifc_front_platform_of(port->front);
    struct ifc_front_action *action = &rule->action;
    const char *name;

    switch (entry->id) {
    case FLOW_ACTION_VLAN_PUSH:
    case FLOW_ACTION_VLAN_POP:
    case FLOW_ACTION_VLAN_MANGLE:
        return edit_tags(tags, entry, why);
    case FLOW_ACTION_MANGLE:
        return decode_pedit(entry, action, why);
    case FLOW_ACTION_CSUM:
        /* The chip corrects the header checksum when it changes the DS octet. */
        if (entry->csum_flags == TCA_CSUM_UPDATE_FLAG_IPV4HDR && action->dscp_set)
            return 0;
        return ifc_front_refuse(why, -EOPNOTSUPP, "csum: accepted: iph after pedit ip dsfield");
#ifdef IFC_COMPAT_ACTION_PRIORITY
    case FLOW_ACTION_PRIORITY:
        if (entry->priority >= platform->priorities)
            return ifc_front_refuse(why, -EOPNOTSUPP, "skbedit priority %u: accepted: below %u",
                                    entry->priority, platform->priorities);
        action->priority_set = true;
        action->priority = (u8)entry->priority;
        return 0;
#endif
    case FLOW_ACTION_MARK:
        if (!platform->mark || entry->mark > 0xFFFF)
            return ifc_front_refuse(why, -EOPNOTSUPP, "skbedit mark %u: accepted: %s", entry->mark,
                                    platform->mark ? "0 to 65535" : "none");
        action->mark_set = true;
        action->mark = (u16)entry->mark;
        return 0;
#ifdef IFC_COMPAT_ACTION_RX_QUEUE
    case FLOW_ACTION_RX_QUEUE_MAPPING:
        if (platform->fport_host < 0 || entry->rx_queue >= platform->rx_queues)
            return ifc_front_refuse(why, -EOPNOTSUPP, "skbedit queue_mapping %u: accepted: below %u",
                                    entry->rx_queue, platform->fport_host < 0 ? 0 : platform->rx_queues);
        action->queue_set = true;
        action->queue = entry->rx_queue;
        return 0;
#endif
    case FLOW_ACTION_POLICE:
        return decode_police(port, entry, action, why);
    default:
        name = entry->id < ARRAY_SIZE(action_names) ? action_names[entry->id] : NULL;
        if (!name)
            name = ifc_compat_action_name(entry->id);
        if (name)
            return ifc_front_refuse(why, -EOPNOTSUPP, "action %s: the classifier cannot do it", name);
        return ifc_front_refuse(why, -EOPNOTSUPP,
                                "action %u of the flow interface: the classifier cannot do it", entry->id);
    }
}

int ifc_front_decode_flow_action(struct ifc_front_port *port, struct flow_action *actions,
                                 struct ifc_front_rule *rule, struct ifc_front_refusal *why)
{
    const struct ifc_front_platform *platform = ifc_front_platform_of(port->front);
    struct ifc_front_action *action = &rule->action;
    const struct flow_action_entry *entry;
    struct ifc_front_port *to;
    struct tags tags = {};
    unsigned int n;
    int result;

    flow_action_for_each(n, entry, actions)
    {
        switch (entry->id) {
        case FLOW_ACTION_ACCEPT:
            action->way = IFC_FRONT_PASS;
            break;
        case FLOW_ACTION_DROP:
            if (platform->fport_discard < 0)
                return ifc_front_refuse(why, -EOPNOTSUPP, "drop: %s has no discard port", platform->name);
            action->way = IFC_FRONT_DROP;
            break;
        case FLOW_ACTION_TRAP:
            action->way = IFC_FRONT_TRAP;
            break;
        case FLOW_ACTION_REDIRECT:
            to = ifc_front_port_of(port->front, entry->dev);
            if (!to)
                return ifc_front_refuse(why, -EOPNOTSUPP, "mirred egress redirect: %s is no port of %s",
                                        netdev_name(entry->dev), platform->name);
            action->way = IFC_FRONT_REDIRECT;
            action->fport = to->fport;
            break;
        case FLOW_ACTION_REDIRECT_INGRESS:
        case FLOW_ACTION_MIRRED_INGRESS:
            return ifc_front_refuse(why, -EOPNOTSUPP, "mirred ingress: the classifier cannot do it");
        default:
            result = decode_edit(port, entry, rule, &tags, why);
            if (result)
                return result;
            continue;
        }
        break; /* as in software, no later action runs */
    }
    return encode_tags(&tags, rule, why);
}
