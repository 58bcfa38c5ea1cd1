// SPDX-License-Identifier: MIT OR GPL-2.0
// Decodes a flower filter's keys of the packet: IP and what it carries, ARP, MPLS.
#include "ifc_front_flower.h"

#include <linux/icmp.h>
#include <linux/if_arp.h>
#include <linux/if_ether.h>
#include <linux/ip.h>
#include <linux/tcp.h>
#include <net/ip.h>

static int decode_addresses(const struct flow_rule *flow, struct ifc_front_rule *rule,
                            struct ifc_front_refusal *why)
{
    const unsigned int frag_off = offsetof(struct iphdr, frag_off);
    struct flow_match_control control = {};
    struct flow_match_ipv4_addrs ipv4;
    struct flow_match_ipv6_addrs ipv6;
    u32 asked;
    u32 set;

    if (!ifc_front_asks(flow, FLOW_DISSECTOR_KEY_CONTROL))
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
        ifc_front_want_word(rule, IFC_FRONT_NETWORK, frag_off, IFC_COMPARE_EQUAL, IP_MF | IP_OFFSET, IP_MF);
    } else if (asked & FLOW_DIS_IS_FRAGMENT && set & FLOW_DIS_IS_FRAGMENT) {
        /* A fragment; with nofirstfrag, one whose offset is not 0. */
        ifc_front_want_word(rule, IFC_FRONT_NETWORK, frag_off, IFC_COMPARE_NOT_EQUAL,
                            asked & FLOW_DIS_FIRST_FRAG ? IP_OFFSET : IP_MF | IP_OFFSET, 0);
    } else if (asked & FLOW_DIS_IS_FRAGMENT) {
        ifc_front_want_unfragmented(rule);
    } else {
        ifc_front_want_word(rule, IFC_FRONT_NETWORK, frag_off, IFC_COMPARE_NOT_EQUAL, IP_MF | IP_OFFSET,
                            IP_MF);
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
    bool has_transport = ifc_front_asks(flow, FLOW_DISSECTOR_KEY_PORTS) ||
                         ifc_front_asks(flow, FLOW_DISSECTOR_KEY_PORTS_RANGE) ||
                         ifc_front_asks(flow, FLOW_DISSECTOR_KEY_TCP) ||
                         ifc_front_asks(flow, FLOW_DISSECTOR_KEY_ICMP);

    if (!has_transport)
        return 0;
    if (!rule->version || !protocol)
        return ifc_front_refuse(why, -EOPNOTSUPP, "src_port, dst_port, type, code, tcp_flags: need ip_proto");
    ifc_front_want_unfragmented(rule);
    if (ifc_front_asks(flow, FLOW_DISSECTOR_KEY_PORTS)) {
        flow_rule_match_ports(flow, &ports);
        zeros &= !(ports.key->src & ports.mask->src) && !(ports.key->dst & ports.mask->dst);
        ifc_front_want(rule, SPORT, ntohs(ports.mask->src), ntohs(ports.key->src));
        ifc_front_want(rule, DPORT, ntohs(ports.mask->dst), ntohs(ports.key->dst));
    }
    if (ifc_front_asks(flow, FLOW_DISSECTOR_KEY_PORTS_RANGE)) {
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
    if (ifc_front_asks(flow, FLOW_DISSECTOR_KEY_TCP)) {
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
    if (ifc_front_asks(flow, FLOW_DISSECTOR_KEY_ICMP)) {
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

    if (ifc_front_asks(flow, FLOW_DISSECTOR_KEY_BASIC))
        flow_rule_match_basic(flow, &basic);
    if (basic.key && basic.mask->ip_proto) {
        if (basic.mask->ip_proto != 0xFF || !rule->version)
            return ifc_front_refuse(why, -EOPNOTSUPP,
                                    "ip_proto: needs `ip` or `ipv6` as protocol, and no mask");
        protocol = basic.key->ip_proto;
        ifc_front_want_protocol(rule, protocol);
    }
    if (ifc_front_asks(flow, FLOW_DISSECTOR_KEY_IP)) {
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

    if (!ifc_front_asks(flow, FLOW_DISSECTOR_KEY_ARP))
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

    if (!ifc_front_asks(flow, FLOW_DISSECTOR_KEY_MPLS))
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

int ifc_front_decode_flower_packet(const struct flow_rule *flow, struct ifc_front_rule *rule,
                                   struct ifc_front_refusal *why)
{
    int result = decode_ip(flow, rule, why);

    if (!result)
        result = decode_arp(flow, rule, why);
    if (!result)
        result = decode_mpls(flow, rule, why);
    return result;
}
