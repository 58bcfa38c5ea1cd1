// SPDX-License-Identifier: MIT OR GPL-2.0
// Decodes a rule of `ethtool -N` into an intermediate rule. ethtool cannot pass on a message: a refusal is an
// error number, and its text goes to the kernel log as a debug message.
#include "ifc_front_rule.h"

#include <linux/ethtool.h>
#include <linux/if_ether.h>
#include <linux/in.h>

static void want_ip(struct ifc_front_rule *rule, u8 version)
{
    rule->ethernet = true;
    rule->version = version;
    rule->type = version == 4 ? ETH_P_IP : ETH_P_IPV6;
}

static void want_ports(struct ifc_front_rule *rule, __be16 source, __be16 source_mask, __be16 destination,
                       __be16 destination_mask)
{
    if (!source_mask && !destination_mask)
        return;
    ifc_front_want_unfragmented(rule);
    ifc_front_want(rule, SPORT, ntohs(source_mask), ntohs(source));
    ifc_front_want(rule, DPORT, ntohs(destination_mask), ntohs(destination));
}

/* The first four bytes of the transport header. */
static void want_four_bytes(struct ifc_front_rule *rule, __be32 key, __be32 mask)
{
    if (!mask)
        return;
    ifc_front_want_unfragmented(rule);
    ifc_front_want_bytes(rule, IFC_FRONT_TRANSPORT, 0, (u8 *)&key, (u8 *)&mask, 4);
}

/* All flows of one IP version begin alike: addresses, four bytes of the transport header, DS octet. */
static_assert(offsetof(struct ethtool_usrip4_spec, tos) == offsetof(struct ethtool_tcpip4_spec, tos));
static_assert(offsetof(struct ethtool_usrip6_spec, tclass) == offsetof(struct ethtool_tcpip6_spec, tclass));

static void decode_ipv4(struct ifc_front_rule *rule, const struct ethtool_usrip4_spec *key,
                        const struct ethtool_usrip4_spec *mask)
{
    want_ip(rule, 4);
    ifc_front_want(rule, SIPv4, ntohl(mask->ip4src), ntohl(key->ip4src));
    ifc_front_want(rule, DIPv4, ntohl(mask->ip4dst), ntohl(key->ip4dst));
    if (mask->tos)
        ifc_front_want_tos(rule, mask->tos, key->tos);
}

static void decode_ipv6(struct ifc_front_rule *rule, const struct ethtool_usrip6_spec *key,
                        const struct ethtool_usrip6_spec *mask)
{
    want_ip(rule, 6);
    ifc_front_want_ipv6(rule, SIPv6_31_0, key->ip6src, mask->ip6src);
    ifc_front_want_ipv6(rule, DIPv6_31_0, key->ip6dst, mask->ip6dst);
    if (mask->tclass)
        ifc_front_want_tos(rule, mask->tclass, key->tclass);
}

static u8 protocol_of(u32 type)
{
    switch (type) {
    case TCP_V4_FLOW:
    case TCP_V6_FLOW:
        return IPPROTO_TCP;
    case UDP_V4_FLOW:
    case UDP_V6_FLOW:
        return IPPROTO_UDP;
    default:
        return IPPROTO_SCTP;
    }
}

/* The protocol of a flow that names it by number. */
static int decode_protocol(struct ifc_front_rule *rule, u8 mask, u8 key, struct ifc_front_refusal *why)
{
    if (mask && mask != 0xFF)
        return ifc_front_refuse(why, -EOPNOTSUPP, "l4proto: accepted: without a mask");
    if (mask)
        ifc_front_want_protocol(rule, key);
    return 0;
}

static int decode_ether(const struct ethtool_rx_flow_spec *flow, struct ifc_front_rule *rule,
                        struct ifc_front_refusal *why)
{
    const struct ethhdr *key = &flow->h_u.ether_spec;
    const struct ethhdr *mask = &flow->m_u.ether_spec;

    ifc_front_want_mac(rule, DMAC, key->h_dest, mask->h_dest);
    ifc_front_want_mac(rule, SMAC, key->h_source, mask->h_source);
    if (!mask->h_proto)
        return 0;
    if (mask->h_proto != htons(0xFFFF) || ntohs(key->h_proto) < ETH_P_802_3_MIN)
        return ifc_front_refuse(why, -EOPNOTSUPP, "proto: accepted: an EtherType without a mask");
    rule->ethernet = true;
    rule->type = ntohs(key->h_proto);
    return 0;
}

static int decode_flow(const struct ethtool_rx_flow_spec *flow, struct ifc_front_rule *rule,
                       struct ifc_front_refusal *why)
{
    const union ethtool_flow_union *h = &flow->h_u;
    const union ethtool_flow_union *m = &flow->m_u;
    u32 type = flow->flow_type & ~(FLOW_EXT | FLOW_MAC_EXT);

    switch (type) {
    case ETHER_FLOW:
        return decode_ether(flow, rule, why);
    case TCP_V4_FLOW:
    case UDP_V4_FLOW:
    case SCTP_V4_FLOW:
        decode_ipv4(rule, &h->usr_ip4_spec, &m->usr_ip4_spec);
        ifc_front_want_protocol(rule, protocol_of(type));
        want_ports(rule, h->tcp_ip4_spec.psrc, m->tcp_ip4_spec.psrc, h->tcp_ip4_spec.pdst,
                   m->tcp_ip4_spec.pdst);
        return 0;
    case TCP_V6_FLOW:
    case UDP_V6_FLOW:
    case SCTP_V6_FLOW:
        decode_ipv6(rule, &h->usr_ip6_spec, &m->usr_ip6_spec);
        ifc_front_want_protocol(rule, protocol_of(type));
        want_ports(rule, h->tcp_ip6_spec.psrc, m->tcp_ip6_spec.psrc, h->tcp_ip6_spec.pdst,
                   m->tcp_ip6_spec.pdst);
        return 0;
    case IPV4_USER_FLOW:
        if (m->usr_ip4_spec.ip_ver && h->usr_ip4_spec.ip_ver != ETH_RX_NFC_IP4)
            return ifc_front_refuse(why, -EINVAL, "ip_ver: accepted: 4");
        decode_ipv4(rule, &h->usr_ip4_spec, &m->usr_ip4_spec);
        want_four_bytes(rule, h->usr_ip4_spec.l4_4_bytes, m->usr_ip4_spec.l4_4_bytes);
        return decode_protocol(rule, m->usr_ip4_spec.proto, h->usr_ip4_spec.proto, why);
    case IPV6_USER_FLOW:
        decode_ipv6(rule, &h->usr_ip6_spec, &m->usr_ip6_spec);
        want_four_bytes(rule, h->usr_ip6_spec.l4_4_bytes, m->usr_ip6_spec.l4_4_bytes);
        return decode_protocol(rule, m->usr_ip6_spec.l4_proto, h->usr_ip6_spec.l4_proto, why);
    default:
        return ifc_front_refuse(
            why, -EOPNOTSUPP, "flow-type %u: accepted: ether, ip4, tcp4, udp4, sctp4, ip6, tcp6, udp6, sctp6",
            type);
    }
}

/*
 * The outer tag, and user-def, a 16-bit word of the frame: bits 63..44 its base (0 frame, 1 network header,
 * 2 transport header), bits 43..16 its offset in bytes (up to 255), bits 15..0 its value. Only the value may
 * be masked.
 */
static int decode_extension(const struct ethtool_rx_flow_spec *flow, struct ifc_front_rule *rule,
                            struct ifc_front_refusal *why)
{
    const struct ethtool_flow_ext *key = &flow->h_ext;
    const struct ethtool_flow_ext *mask = &flow->m_ext;
    u16 tpid = ntohs(key->vlan_etype);
    u64 word = (u64)ntohl(key->data[0]) << 32 | ntohl(key->data[1]);
    u64 word_mask = (u64)ntohl(mask->data[0]) << 32 | ntohl(mask->data[1]);
    u64 base = word >> 44;
    u64 offset = word >> 16 & 0xFFFFFFF;

    if (flow->flow_type & FLOW_MAC_EXT)
        ifc_front_want_mac(rule, DMAC, key->h_dest, mask->h_dest);
    if (!(flow->flow_type & FLOW_EXT))
        return 0;
    if (mask->vlan_etype) {
        if (mask->vlan_etype != htons(0xFFFF) || (tpid != ETH_P_8021Q && tpid != ETH_P_8021AD))
            return ifc_front_refuse(why, -EOPNOTSUPP, "vlan-etype: accepted: 0x8100 and 0x88a8");
        ifc_front_want_tpid(rule, VPM0, tpid);
    } else if (mask->vlan_tci) {
        ifc_front_want_tpid(rule, VPM0, 0);
    }
    ifc_front_want(rule, VID0, ntohs(mask->vlan_tci) & 0xFFF, ntohs(key->vlan_tci) & 0xFFF);
    ifc_front_want(rule, PBIT0, ntohs(mask->vlan_tci) >> 12, ntohs(key->vlan_tci) >> 12);
    if (!word_mask)
        return 0;
    if (word_mask >> 16 != 0xFFFFFFFFFFFF || base > IFC_FRONT_TRANSPORT || offset > 255)
        return ifc_front_refuse(why, -EINVAL,
                                "user-def: accepted: base 0 to 2 << 44, offset 0 to 255 << 16, value");
    ifc_front_want_word(rule, (enum ifc_front_base)base, (unsigned int)offset, IFC_COMPARE_EQUAL,
                        (u16)word_mask, (u16)word);
    return 0;
}

int ifc_front_decode_ethtool(struct ifc_front_port *port, const struct ethtool_rx_flow_spec *flow,
                             struct ifc_front_rule *rule, struct ifc_front_refusal *why)
{
    const struct ifc_front_platform *platform = ifc_front_platform_of(port->front);
    int result;

    if (flow->flow_type & FLOW_RSS)
        return ifc_front_refuse(why, -EOPNOTSUPP, "context: the classifier has no RSS");
    rule->tags = IFC_FRONT_ANY_TAGS;
    result = decode_flow(flow, rule, why);
    if (!result)
        result = decode_extension(flow, rule, why);
    if (result)
        return result;
    if (flow->ring_cookie == RX_CLS_FLOW_DISC) {
        if (platform->fport_discard < 0)
            return ifc_front_refuse(why, -EOPNOTSUPP, "action -1: %s has no discard port", platform->name);
        rule->action.way = IFC_FRONT_DROP;
        return 0;
    }
    if (flow->ring_cookie == RX_CLS_FLOW_WAKE)
        return ifc_front_refuse(why, -EOPNOTSUPP, "action -2: the classifier wakes nobody");
    if (ethtool_get_flow_spec_ring_vf(flow->ring_cookie))
        return ifc_front_refuse(why, -EOPNOTSUPP, "vf: the classifier has no virtual functions");
    if (flow->ring_cookie >= platform->rx_queues || platform->fport_host < 0)
        return ifc_front_refuse(why, -EINVAL, "action %llu: accepted: -1 and queues below %u",
                                flow->ring_cookie, platform->fport_host < 0 ? 0 : platform->rx_queues);
    rule->action.queue_set = true;
    rule->action.queue = (u8)flow->ring_cookie;
    return 0;
}
