// SPDX-License-Identifier: MIT OR GPL-2.0
// Decodes a flower filter into an intermediate rule: which keys there are, the port, and the headers before
// the packet (addresses, tags, EtherType, PPPoE). docs/linux.md has the table of keys.
#include "ifc_front_flower.h"

#include <linux/if_ether.h>
#include <linux/if_vlan.h>
#include <linux/ppp_defs.h>

/* Names, for messages, of keys that the chip cannot match. */
static const char *const key_names[] = {
    [FLOW_DISSECTOR_KEY_TIPC] = "TIPC key",
    [FLOW_DISSECTOR_KEY_FLOW_LABEL] = "flow label",
    [FLOW_DISSECTOR_KEY_GRE_KEYID] = "GRE key",
    [FLOW_DISSECTOR_KEY_MPLS_ENTROPY] = "MPLS entropy",
    [FLOW_DISSECTOR_KEY_ENC_KEYID] = "enc_key_id",
    [FLOW_DISSECTOR_KEY_ENC_IPV4_ADDRS] = "enc_src_ip, enc_dst_ip",
    [FLOW_DISSECTOR_KEY_ENC_IPV6_ADDRS] = "enc_src_ip, enc_dst_ip",
    [FLOW_DISSECTOR_KEY_ENC_CONTROL] = "tunnel key",
    [FLOW_DISSECTOR_KEY_ENC_PORTS] = "enc_dst_port",
    [FLOW_DISSECTOR_KEY_ENC_IP] = "enc_tos, enc_ttl",
    [FLOW_DISSECTOR_KEY_ENC_OPTS] = "geneve_opts, vxlan_opts, erspan_opts",
    [FLOW_DISSECTOR_KEY_CT] = "ct_state",
};

#define KEY(name) BIT_ULL(FLOW_DISSECTOR_KEY_##name)

static const u64 known_keys = KEY(CONTROL) | KEY(BASIC) | KEY(META) | KEY(ETH_ADDRS) | KEY(VLAN) |
                              KEY(CVLAN) | KEY(IPV4_ADDRS) | KEY(IPV6_ADDRS) | KEY(IP) | KEY(PORTS) |
                              KEY(PORTS_RANGE) | KEY(ICMP) | KEY(TCP) | KEY(ARP) | KEY(MPLS)
#ifdef IFC_COMPAT_KEY_NUM_OF_VLANS
                              | KEY(NUM_OF_VLANS)
#endif
#ifdef IFC_COMPAT_KEY_PPPOE
                              | KEY(PPPOE)
#endif
    ;

static int check_keys(const struct flow_rule *flow, struct ifc_front_refusal *why)
{
    u64 unknown = flow->match.dissector->used_keys & ~known_keys;
    const char *name;
    unsigned int key;

    if (!unknown)
        return 0;
    key = __ffs64(unknown);
    name = key < ARRAY_SIZE(key_names) ? key_names[key] : NULL;
    if (!name)
        name = ifc_compat_key_name(key);
    if (name)
        return ifc_front_refuse(why, -EOPNOTSUPP, "%s: the classifier cannot match it", name);
    return ifc_front_refuse(why, -EOPNOTSUPP, "key %u of the flow dissector: the classifier cannot match it",
                            key);
}

static int decode_tag(struct ifc_front_rule *rule, const struct flow_match_vlan *match, bool inner,
                      struct ifc_front_refusal *why)
{
    const char *name = inner ? "cvlan" : "vlan";
    u16 tpid = ntohs(match->key->vlan_tpid);

    if (match->mask->vlan_tpid) {
        if (match->mask->vlan_tpid != htons(0xFFFF) || (tpid != ETH_P_8021Q && tpid != ETH_P_8021AD))
            return ifc_front_refuse(why, -EOPNOTSUPP, "%s: TPID 0x%04x: accepted: 0x8100 and 0x88a8", name,
                                    tpid);
        rule->tpid[inner] = tpid;
    }
    rule->least_tags = max_t(u8, rule->least_tags, inner + 1);
    ifc_front_want(rule, inner ? VID1 : VID0, match->mask->vlan_id, match->key->vlan_id);
    /* In the field the drop eligible bit is below the priority. */
    ifc_front_want(rule, inner ? PBIT1 : PBIT0, match->mask->vlan_priority << 1,
                   match->key->vlan_priority << 1);
    return 0;
}

/* The EtherType and the tags before it. */
static int decode_ethernet(const struct flow_rule *flow, __be16 protocol, struct ifc_front_rule *rule,
                           struct ifc_front_refusal *why)
{
    struct flow_match_basic basic = {};
    struct flow_match_vlan vlan = {};
    struct flow_match_vlan cvlan = {};
    u16 outer = ntohs(protocol);
    u16 type = 0;
    int result;

    rule->tags = IFC_FRONT_ANY_TAGS;
    if (ifc_front_asks(flow, FLOW_DISSECTOR_KEY_BASIC))
        flow_rule_match_basic(flow, &basic);
    if (ifc_front_asks(flow, FLOW_DISSECTOR_KEY_VLAN))
        flow_rule_match_vlan(flow, &vlan);
    if (ifc_front_asks(flow, FLOW_DISSECTOR_KEY_CVLAN))
        flow_rule_match_cvlan(flow, &cvlan);
    if (basic.key && basic.mask->n_proto) {
        if (basic.mask->n_proto != htons(0xFFFF))
            return ifc_front_refuse(why, -EOPNOTSUPP, "protocol: a mask on the EtherType");
        type = ntohs(basic.key->n_proto);
    }

    if (outer == ETH_P_ALL || outer == 0) {
        if (type)
            return ifc_front_refuse(why, -EOPNOTSUPP,
                                    "protocol: an EtherType key in a filter of all protocols");
    } else if (outer == ETH_P_8021Q || outer == ETH_P_8021AD) {
        if (vlan.key && vlan.mask->vlan_tpid && vlan.key->vlan_tpid != protocol) {
            rule->never = true;
            return 0;
        }
        rule->tpid[0] = outer;
        rule->least_tags = 1;
    } else {
        if (outer < ETH_P_802_3_MIN)
            return ifc_front_refuse(why, -EOPNOTSUPP, "protocol 0x%04x: accepted: EtherTypes", outer);
        rule->tags = 0;
        rule->ethernet = true;
        rule->type = outer;
        if (vlan.key || cvlan.key)
            return ifc_front_refuse(why, -EOPNOTSUPP, "vlan: a key of tags in a filter of untagged frames");
        if (type && type != outer && outer != ETH_P_PPP_SES)
            rule->never = true;
        return 0;
    }

    if (vlan.key) {
        result = decode_tag(rule, &vlan, false, why);
        if (result)
            return result;
    }
    if (cvlan.key) {
        result = decode_tag(rule, &cvlan, true, why);
        if (result)
            return result;
    }
#ifdef IFC_COMPAT_KEY_NUM_OF_VLANS
    if (ifc_front_asks(flow, FLOW_DISSECTOR_KEY_NUM_OF_VLANS))
        return ifc_front_refuse(why, -EOPNOTSUPP,
                                "num_of_vlans: the classifier cannot count more than two tags");
#endif
    if (type == ETH_P_8021Q || type == ETH_P_8021AD)
        return ifc_front_refuse(why, -EOPNOTSUPP, "cvlan_ethtype: a third tag cannot be matched");
    /* Where the next type of each tag is part of its key, the tags before the type are known. */
    if (cvlan.key && ifc_compat_vlan_type(cvlan.mask)) {
        type = ifc_compat_vlan_type(cvlan.key);
        rule->tags = 2;
    } else if (vlan.key && ifc_compat_vlan_type(vlan.mask)) {
        if (cvlan.key && !cvlan.mask->vlan_tpid)
            return ifc_front_refuse(why, -EOPNOTSUPP, "cvlan: a key of the inner tag without its TPID");
        if (!cvlan.key) {
            type = ifc_compat_vlan_type(vlan.key);
            rule->tags = 1;
        }
    }
    if (type == ETH_P_8021Q || type == ETH_P_8021AD) {
        /* vlan_ethtype names the inner tag, and no other key asks about it. */
        if (rule->tags != 1)
            return ifc_front_refuse(why, -EOPNOTSUPP, "cvlan_ethtype: a third tag cannot be matched");
        rule->tpid[1] = type;
        rule->least_tags = 2;
        rule->tags = IFC_FRONT_ANY_TAGS;
        type = 0;
    }
    if (type && type < ETH_P_802_3_MIN)
        return ifc_front_refuse(why, -EOPNOTSUPP, "vlan_ethtype 0x%04x: accepted: EtherTypes", type);
    rule->type = type;
    rule->ethernet = type != 0;
    return 0;
}

#ifdef IFC_COMPAT_KEY_PPPOE
/* RFC 2516: version 1, type 1, code 0. The PPP protocol follows the header of six bytes. */
static int decode_pppoe(const struct flow_rule *flow, struct ifc_front_rule *rule,
                        struct ifc_front_refusal *why)
{
    struct flow_match_pppoe pppoe;
    unsigned int header = ETH_HLEN + (rule->tags == IFC_FRONT_ANY_TAGS ? 0 : VLAN_HLEN * rule->tags);
    u16 protocol;

    if (!ifc_front_asks(flow, FLOW_DISSECTOR_KEY_PPPOE))
        return 0;
    if (rule->tags == IFC_FRONT_ANY_TAGS || rule->type != ETH_P_PPP_SES)
        return ifc_front_refuse(why, -EOPNOTSUPP,
                                "pppoe_sid, ppp_proto: need `ppp_ses` as protocol after known tags");
    flow_rule_match_pppoe(flow, &pppoe);
    protocol = ntohs(pppoe.key->ppp_proto);
    ifc_front_want_word(rule, IFC_FRONT_FRAME, header, IFC_COMPARE_EQUAL, 0xFFFF, 0x1100);
    ifc_front_want(rule, PPPOE_SESSION, ntohs(pppoe.mask->session_id), ntohs(pppoe.key->session_id));
    if (pppoe.mask->ppp_proto) {
        if ((protocol & 0x0101) != 1)
            rule->never = true;
        ifc_front_want_word(rule, IFC_FRONT_FRAME, header + 6, IFC_COMPARE_EQUAL,
                            ntohs(pppoe.mask->ppp_proto), protocol);
        if (protocol == PPP_IP)
            rule->version = 4;
        else if (protocol == PPP_IPV6)
            rule->version = 6;
    } else {
        /* Software accepts only numbers that RFC 1661 allows. */
        ifc_front_want_word(rule, IFC_FRONT_FRAME, header + 6, IFC_COMPARE_EQUAL, 0x0101, 0x0001);
    }
    return 0;
}
#endif

int ifc_front_decode_flower(struct ifc_front_port *port, struct flow_cls_offload *flower,
                            struct ifc_front_rule *rule, struct ifc_front_refusal *why)
{
    const struct flow_rule *flow = flow_cls_offload_flow_rule(flower);
    struct flow_match_eth_addrs eth;
    struct flow_match_meta meta;
    struct ifc_front_port *from;
    int result;

    if (flower->common.chain_index)
        return ifc_front_refuse(why, -EOPNOTSUPP, "chain %u: accepted: chain 0", flower->common.chain_index);
    result = check_keys(flow, why);
    if (result)
        return result;
    if (ifc_front_asks(flow, FLOW_DISSECTOR_KEY_META)) {
        flow_rule_match_meta(flow, &meta);
        if (ifc_compat_meta_unknown(meta.mask))
            return ifc_front_refuse(why, -EOPNOTSUPP, "meta: accepted: indev");
        if (meta.mask->ingress_ifindex) {
            from = ifc_front_port_by_index(port, meta.key->ingress_ifindex);
            if (!from)
                return ifc_front_refuse(why, -EOPNOTSUPP, "indev: interface %d is no port of %s",
                                        meta.key->ingress_ifindex, ifc_front_platform_of(port->front)->name);
            /* In a shared block the rule belongs to the port that it names. */
            rule->never = from != port;
        }
    }
    if (ifc_front_asks(flow, FLOW_DISSECTOR_KEY_ETH_ADDRS)) {
        flow_rule_match_eth_addrs(flow, &eth);
        ifc_front_want_mac(rule, DMAC, eth.key->dst, eth.mask->dst);
        ifc_front_want_mac(rule, SMAC, eth.key->src, eth.mask->src);
    }
    result = decode_ethernet(flow, flower->common.protocol, rule, why);
    if (result)
        return result;
    if (rule->type == ETH_P_IP)
        rule->version = 4;
    else if (rule->type == ETH_P_IPV6)
        rule->version = 6;
#ifdef IFC_COMPAT_KEY_PPPOE
    result = decode_pppoe(flow, rule, why);
    if (result)
        return result;
#else
    /* Without this key software looks into the session: the filter does not match sessions of IP. */
    if (rule->type == ETH_P_PPP_SES)
        return ifc_front_refuse(why, -EOPNOTSUPP, "protocol ppp_ses: needs a kernel with the key pppoe_sid");
#endif
    result = ifc_front_decode_flower_packet(flow, rule, why);
    if (!result)
        result = ifc_front_decode_flow_action(port, &flower->rule->action, rule, why);
    return result;
}
