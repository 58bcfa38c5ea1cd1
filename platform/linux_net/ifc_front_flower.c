// SPDX-License-Identifier: MIT OR GPL-2.0
// Decodes the keys of a flower filter into an intermediate rule. docs/linux.md has the table of keys.
#include "ifc_front_rule.h"

#include <linux/icmp.h>
#include <linux/if_arp.h>
#include <linux/if_ether.h>
#include <linux/if_vlan.h>
#include <linux/in.h>
#include <linux/ppp_defs.h>
#include <linux/tcp.h>
#include <net/flow_dissector.h>

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

static bool asks(const struct flow_rule *flow, enum flow_dissector_key_id key)
{
    return dissector_uses_key(flow->match.dissector, key);
}

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

/* EtherType and tags. Only the packet's protocol then remains in `basic`. */
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
    if (asks(flow, FLOW_DISSECTOR_KEY_BASIC))
        flow_rule_match_basic(flow, &basic);
    if (asks(flow, FLOW_DISSECTOR_KEY_VLAN))
        flow_rule_match_vlan(flow, &vlan);
    if (asks(flow, FLOW_DISSECTOR_KEY_CVLAN))
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
        if (type && type != outer && outer != ETH_P_PPP_SES) {
            rule->never = true;
            return 0;
        }
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
    if (asks(flow, FLOW_DISSECTOR_KEY_NUM_OF_VLANS))
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

static int decode_addresses(const struct flow_rule *flow, struct ifc_front_rule *rule,
                            struct ifc_front_refusal *why)
{
    struct flow_match_control control = {};
    struct flow_match_ipv4_addrs ipv4;
    struct flow_match_ipv6_addrs ipv6;
    u32 asked;
    u32 set;

    if (!asks(flow, FLOW_DISSECTOR_KEY_CONTROL))
        return 0;
    flow_rule_match_control(flow, &control);
    /* An IPv4 filter also has the key of IPv6 addresses: the address type decides. */
    if (control.mask->addr_type) {
        if (control.key->addr_type == FLOW_DISSECTOR_KEY_IPV4_ADDRS) {
            if (rule->version != 4)
                return ifc_front_refuse(why, -EOPNOTSUPP,
                                        "src_ip, dst_ip: IPv4 addresses need `ip` as protocol");
            flow_rule_match_ipv4_addrs(flow, &ipv4);
            ifc_front_want(rule, SIPv4, ntohl(ipv4.mask->src), ntohl(ipv4.key->src));
            ifc_front_want(rule, DIPv4, ntohl(ipv4.mask->dst), ntohl(ipv4.key->dst));
        } else if (control.key->addr_type == FLOW_DISSECTOR_KEY_IPV6_ADDRS) {
            if (rule->version != 6)
                return ifc_front_refuse(why, -EOPNOTSUPP,
                                        "src_ip, dst_ip: IPv6 addresses need `ipv6` as protocol");
            flow_rule_match_ipv6_addrs(flow, &ipv6);
            ifc_front_want_ipv6(rule, SIPv6_31_0, ipv6.key->src.s6_addr32, ipv6.mask->src.s6_addr32);
            ifc_front_want_ipv6(rule, DIPv6_31_0, ipv6.key->dst.s6_addr32, ipv6.mask->dst.s6_addr32);
        } else {
            return ifc_front_refuse(why, -EOPNOTSUPP, "addresses of type %u", control.key->addr_type);
        }
    }
    /* ip_flags are in the control key; they have no key of their own. */
    asked = control.mask->flags;
    set = control.key->flags & asked;
    if (!asked)
        return 0;
    if (asked & ~(FLOW_DIS_IS_FRAGMENT | FLOW_DIS_FIRST_FRAG))
        return ifc_front_refuse(why, -EOPNOTSUPP, "ip_flags: accepted: frag, nofrag, firstfrag, nofirstfrag");
    if (rule->version != 4)
        return ifc_front_refuse(why, -EOPNOTSUPP, "ip_flags: the classifier sees fragments of IPv4 only");
    /* In an invalid header software sees no fragment. */
    if (set)
        ifc_front_want_there(rule, IPv4_PROTOCOL);
    if (asked & FLOW_DIS_FIRST_FRAG && set & FLOW_DIS_FIRST_FRAG) {
        if (asked & FLOW_DIS_IS_FRAGMENT && !(set & FLOW_DIS_IS_FRAGMENT))
            rule->never = true;
        /* More fragments, offset 0. */
        ifc_front_want_word(rule, IFC_FRONT_NETWORK, 6, IFC_COMPARE_EQUAL, 0x3FFF, 0x2000);
    } else if (asked & FLOW_DIS_IS_FRAGMENT && set & FLOW_DIS_IS_FRAGMENT) {
        /* A fragment; with nofirstfrag, one whose offset is not 0. */
        ifc_front_want_word(rule, IFC_FRONT_NETWORK, 6, IFC_COMPARE_NOT_EQUAL,
                            asked & FLOW_DIS_FIRST_FRAG ? 0x1FFF : 0x3FFF, 0);
    } else if (asked & FLOW_DIS_IS_FRAGMENT) {
        ifc_front_want_unfragmented(rule);
    } else {
        ifc_front_want_word(rule, IFC_FRONT_NETWORK, 6, IFC_COMPARE_NOT_EQUAL, 0x3FFF, 0x2000);
    }
    return 0;
}

static int decode_ports(const struct flow_rule *flow, struct ifc_front_rule *rule, u8 protocol,
                        struct ifc_front_refusal *why)
{
    struct flow_match_ports ports;
    const struct flow_dissector_key_ports *key;
    const struct flow_dissector_key_ports *mask;
    struct flow_match_tcp tcp;
    struct flow_match_icmp icmp;
    unsigned int n;
    unsigned int first = rule->count;
    bool unfragmented = rule->first_only;
    bool zeros = true; /* a header of zeros matches */
    bool has_transport = asks(flow, FLOW_DISSECTOR_KEY_PORTS) || asks(flow, FLOW_DISSECTOR_KEY_PORTS_RANGE) ||
                         asks(flow, FLOW_DISSECTOR_KEY_TCP) || asks(flow, FLOW_DISSECTOR_KEY_ICMP);

    if (!has_transport)
        return 0;
    if (!rule->version || !protocol)
        return ifc_front_refuse(why, -EOPNOTSUPP, "src_port, dst_port, type, code, tcp_flags: need ip_proto");
    ifc_front_want_unfragmented(rule);
    if (asks(flow, FLOW_DISSECTOR_KEY_PORTS)) {
        flow_rule_match_ports(flow, &ports);
        zeros &= !(ports.key->src & ports.mask->src) && !(ports.key->dst & ports.mask->dst);
        ifc_front_want(rule, SPORT, ntohs(ports.mask->src), ntohs(ports.key->src));
        ifc_front_want(rule, DPORT, ntohs(ports.mask->dst), ntohs(ports.key->dst));
    }
    if (asks(flow, FLOW_DISSECTOR_KEY_PORTS_RANGE)) {
        /* The key has two elements: the lowest and the highest ports. */
        key =
            skb_flow_dissector_target(flow->match.dissector, FLOW_DISSECTOR_KEY_PORTS_RANGE, flow->match.key);
        mask = skb_flow_dissector_target(flow->match.dissector, FLOW_DISSECTOR_KEY_PORTS_RANGE,
                                         flow->match.mask);
        zeros &= !(mask[0].src && key[0].src) && !(mask[0].dst && key[0].dst);
        if (mask[0].src)
            ifc_front_want_range(rule, SPORT, ntohs(key[0].src), ntohs(key[1].src));
        if (mask[0].dst)
            ifc_front_want_range(rule, DPORT, ntohs(key[0].dst), ntohs(key[1].dst));
    }
    if (asks(flow, FLOW_DISSECTOR_KEY_TCP)) {
        flow_rule_match_tcp(flow, &tcp);
        if (ntohs(tcp.mask->flags) & ~0x0FFF)
            return ifc_front_refuse(why, -EOPNOTSUPP, "tcp_flags: accepted: twelve bits");
        zeros &= !(tcp.key->flags & tcp.mask->flags);
        /* Software reads only complete headers of valid length. */
        ifc_front_want_word_there(rule, IFC_FRONT_TRANSPORT, sizeof(struct tcphdr) - 2);
        ifc_front_want_word(rule, IFC_FRONT_TRANSPORT, 12, IFC_COMPARE_AT_LEAST, 0xF000, 0x5000);
        ifc_front_want_word(rule, IFC_FRONT_TRANSPORT, 12, IFC_COMPARE_EQUAL, ntohs(tcp.mask->flags),
                            ntohs(tcp.key->flags));
    }
    if (asks(flow, FLOW_DISSECTOR_KEY_ICMP)) {
        flow_rule_match_icmp(flow, &icmp);
        zeros &= !(icmp.key->type & icmp.mask->type) && !(icmp.key->code & icmp.mask->code);
        ifc_front_want_word_there(rule, IFC_FRONT_TRANSPORT, sizeof(struct icmphdr) - 2);
        ifc_front_want_word(rule, IFC_FRONT_TRANSPORT, 0, IFC_COMPARE_EQUAL,
                            icmp.mask->type << 8 | icmp.mask->code, icmp.key->type << 8 | icmp.key->code);
    }
    for (n = first; n < rule->count; n++)
        rule->condition[n].transport = true;
    /* In a fragment software takes the fields as 0. */
    rule->fragments = zeros && !unfragmented;
    return 0;
}

static int decode_ip(const struct flow_rule *flow, struct ifc_front_rule *rule, struct ifc_front_refusal *why)
{
    struct flow_match_basic basic = {};
    struct flow_match_ip ip;
    u8 protocol = 0;
    int result;

    if (asks(flow, FLOW_DISSECTOR_KEY_BASIC))
        flow_rule_match_basic(flow, &basic);
    if (basic.key && basic.mask->ip_proto) {
        if (basic.mask->ip_proto != 0xFF || !rule->version)
            return ifc_front_refuse(why, -EOPNOTSUPP,
                                    "ip_proto: needs `ip` or `ipv6` as protocol, and no mask");
        protocol = basic.key->ip_proto;
        ifc_front_want_protocol(rule, protocol);
    }
    if (asks(flow, FLOW_DISSECTOR_KEY_IP)) {
        flow_rule_match_ip(flow, &ip);
        if (!rule->version)
            return ifc_front_refuse(why, -EOPNOTSUPP, "ip_tos, ip_ttl: need `ip` or `ipv6` as protocol");
        if (ip.mask->tos)
            ifc_front_want_tos(rule, ip.mask->tos, ip.key->tos);
        if (ip.mask->ttl)
            ifc_front_want_ttl(rule, ip.mask->ttl, ip.key->ttl);
    }
    result = decode_addresses(flow, rule, why);
    if (result)
        return result;
    return decode_ports(flow, rule, protocol, why);
}

/* RFC 826. Software reads only requests and replies for Ethernet and IPv4. */
static int decode_arp(const struct flow_rule *flow, struct ifc_front_rule *rule,
                      struct ifc_front_refusal *why)
{
    struct flow_dissector *dissector = flow->match.dissector;
    struct flow_dissector_key_arp *key;
    struct flow_dissector_key_arp *mask;

    if (!asks(flow, FLOW_DISSECTOR_KEY_ARP))
        return 0;
    key = skb_flow_dissector_target(dissector, FLOW_DISSECTOR_KEY_ARP, flow->match.key);
    mask = skb_flow_dissector_target(dissector, FLOW_DISSECTOR_KEY_ARP, flow->match.mask);
    if (rule->type != ETH_P_ARP && rule->type != ETH_P_RARP)
        return ifc_front_refuse(why, -EOPNOTSUPP, "arp: keys need `arp` or `rarp` as protocol");
    ifc_front_want_word(rule, IFC_FRONT_NETWORK, 0, IFC_COMPARE_EQUAL, 0xFFFF, ARPHRD_ETHER);
    ifc_front_want_word(rule, IFC_FRONT_NETWORK, 2, IFC_COMPARE_EQUAL, 0xFFFF, ETH_P_IP);
    ifc_front_want_word(rule, IFC_FRONT_NETWORK, 4, IFC_COMPARE_EQUAL, 0xFFFF, ETH_ALEN << 8 | 4);
    if (mask->op && mask->op != 0xFF)
        return ifc_front_refuse(why, -EOPNOTSUPP, "arp_op: a mask on the operation");
    if (mask->op && key->op != ARPOP_REQUEST && key->op != ARPOP_REPLY)
        return ifc_front_refuse(why, -EOPNOTSUPP, "arp_op %u: accepted: request, reply", key->op);
    if (mask->op)
        ifc_front_want_word(rule, IFC_FRONT_NETWORK, 6, IFC_COMPARE_EQUAL, 0xFFFF, key->op);
    else
        ifc_front_want_word_range(rule, IFC_FRONT_NETWORK, 6, ARPOP_REQUEST, ARPOP_REPLY);
    ifc_front_want_bytes(rule, IFC_FRONT_NETWORK, 8, key->sha, mask->sha, ETH_ALEN);
    ifc_front_want_bytes(rule, IFC_FRONT_NETWORK, 14, (u8 *)&key->sip, (u8 *)&mask->sip, 4);
    ifc_front_want_bytes(rule, IFC_FRONT_NETWORK, 18, key->tha, mask->tha, ETH_ALEN);
    ifc_front_want_bytes(rule, IFC_FRONT_NETWORK, 24, (u8 *)&key->tip, (u8 *)&mask->tip, 4);
    ifc_front_want_word_there(rule, IFC_FRONT_NETWORK, 26);
    return 0;
}

/* The first label stack entry: label 31..12, traffic class 11..9, bottom of stack 8, TTL 7..0. */
static int decode_mpls(const struct flow_rule *flow, struct ifc_front_rule *rule,
                       struct ifc_front_refusal *why)
{
    struct flow_match_mpls mpls;
    u32 label;
    u32 tc;
    u32 bos;
    u32 ttl;
    u32 mask;
    u32 key;

    if (!asks(flow, FLOW_DISSECTOR_KEY_MPLS))
        return 0;
    if (rule->type != ETH_P_MPLS_UC && rule->type != ETH_P_MPLS_MC)
        return ifc_front_refuse(why, -EOPNOTSUPP, "mpls: keys need `mpls_uc` or `mpls_mc` as protocol");
    flow_rule_match_mpls(flow, &mpls);
    if (!ifc_compat_mpls_first(&mpls, false, &label, &tc, &bos, &ttl))
        return ifc_front_refuse(why, -EOPNOTSUPP, "mpls lse: accepted: depth 1");
    mask = label << 12 | tc << 9 | bos << 8 | ttl;
    ifc_compat_mpls_first(&mpls, true, &label, &tc, &bos, &ttl);
    key = label << 12 | tc << 9 | bos << 8 | ttl;
    ifc_front_want_word(rule, IFC_FRONT_NETWORK, 0, IFC_COMPARE_EQUAL, (u16)(mask >> 16), (u16)(key >> 16));
    ifc_front_want_word(rule, IFC_FRONT_NETWORK, 2, IFC_COMPARE_EQUAL, (u16)mask, (u16)key);
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

    if (!asks(flow, FLOW_DISSECTOR_KEY_PPPOE))
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
    if (asks(flow, FLOW_DISSECTOR_KEY_META)) {
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
    if (asks(flow, FLOW_DISSECTOR_KEY_ETH_ADDRS)) {
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
    /* Before, software looks at the packet in the session, and the filter does not match sessions of IP. */
    if (rule->type == ETH_P_PPP_SES)
        return ifc_front_refuse(why, -EOPNOTSUPP, "protocol ppp_ses: needs a kernel with the key pppoe_sid");
#endif
    result = decode_ip(flow, rule, why);
    if (!result)
        result = decode_arp(flow, rule, why);
    if (!result)
        result = decode_mpls(flow, rule, why);
    if (!result)
        result = ifc_front_decode_flow_action(port, &flower->rule->action, rule, why);
    return result;
}
