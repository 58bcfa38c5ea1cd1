// SPDX-License-Identifier: MIT OR GPL-2.0
// Random flower filters: few values of each key, so that they overlap and match many frames.
#include "churn.h"

#include <arpa/inet.h>
#include <linux/if_ether.h>
#include <linux/pkt_cls.h>

static const uint8_t mac_masks[4][6] = {
    {255, 255, 255, 255, 255, 255}, {255, 255, 255, 255, 0, 0}, {0, 0, 0, 0, 255, 255}, {1, 0, 0, 0, 0, 0}};
static const uint32_t address_masks[4] = {0xFFFFFFFF, 0xFFFFFF00, 0xFF000000, 0x000000FF};

static unsigned version; // of IP, as put_actions() takes it

static void put_ipv6(int key, int mask, uint32_t word)
{
    uint32_t address[4] = {htonl(0x20010db8), 0, htonl(draw(2)), htonl(word)};
    uint32_t bits[4] = {~0u, ~0u, draw(2) ? ~0u : 0, draw(2) ? ~0u : 0};
    put(key, address, 16);
    put(mask, bits, 16);
}

static void keys_of_ip(bool ipv6)
{
    uint8_t protocol = protocols[draw(4)];
    if (protocol == 1 && ipv6)
        protocol = 58;
    if (draw(3) == 0) {
        if (ipv6) {
            put_ipv6(TCA_FLOWER_KEY_IPV6_SRC, TCA_FLOWER_KEY_IPV6_SRC_MASK, addresses[draw(4)]);
        } else {
            put32(TCA_FLOWER_KEY_IPV4_SRC, addresses[draw(4)]);
            put32(TCA_FLOWER_KEY_IPV4_SRC_MASK, address_masks[draw(4)]);
        }
    }
    if (draw(2) == 0) {
        if (ipv6) {
            put_ipv6(TCA_FLOWER_KEY_IPV6_DST, TCA_FLOWER_KEY_IPV6_DST_MASK, addresses[draw(4)]);
        } else {
            put32(TCA_FLOWER_KEY_IPV4_DST, addresses[draw(4)]);
            put32(TCA_FLOWER_KEY_IPV4_DST_MASK, address_masks[draw(4)]);
        }
    }
    if (draw(4) == 0) {
        put8(TCA_FLOWER_KEY_IP_TOS, octets[draw(4)]);
        put8(TCA_FLOWER_KEY_IP_TOS_MASK, draw(2) ? 0xFC : 0xFF);
    }
    if (draw(5) == 0) {
        put8(TCA_FLOWER_KEY_IP_TTL, limits[draw(3)]);
        put8(TCA_FLOWER_KEY_IP_TTL_MASK, 0xFF);
    }
    if (!ipv6 && draw(5) == 0) {
        uint32_t asked = 1 + draw(3);
        uint32_t set = draw(4) & asked;
        if (asked != 3 || set != TCA_FLOWER_KEY_FLAGS_FRAG_IS_FIRST) {
            put32(TCA_FLOWER_KEY_FLAGS, set);
            put32(TCA_FLOWER_KEY_FLAGS_MASK, asked);
        }
    }
    if (draw(2) == 0)
        return;
    put8(TCA_FLOWER_KEY_IP_PROTO, protocol);
    if (protocol == 1 || protocol == 58) {
        bool six = protocol == 58;
        if (draw(2)) {
            put8(six ? TCA_FLOWER_KEY_ICMPV6_TYPE : TCA_FLOWER_KEY_ICMPV4_TYPE, icmp_types[draw(3)]);
            put8(six ? TCA_FLOWER_KEY_ICMPV6_TYPE_MASK : TCA_FLOWER_KEY_ICMPV4_TYPE_MASK, 0xFF);
        }
        return;
    }
    int source = protocol == 6    ? TCA_FLOWER_KEY_TCP_SRC
                 : protocol == 17 ? TCA_FLOWER_KEY_UDP_SRC
                                  : TCA_FLOWER_KEY_SCTP_SRC;
    int destination = protocol == 6    ? TCA_FLOWER_KEY_TCP_DST
                      : protocol == 17 ? TCA_FLOWER_KEY_UDP_DST
                                       : TCA_FLOWER_KEY_SCTP_DST;
    switch (draw(6)) {
    case 0:
        put16(source, ports[draw(5)]);
        break;
    case 1:
    case 2:
        put16(destination, ports[draw(5)]);
        break;
    case 3:
        put16(TCA_FLOWER_KEY_PORT_DST_MIN, draw(4) ? 50 + draw(40) : 0);
        put16(TCA_FLOWER_KEY_PORT_DST_MAX, 100 + draw(5000));
        break;
    case 4:
        if (protocol == 6) {
            put16(TCA_FLOWER_KEY_TCP_FLAGS, 0x02);
            put16(TCA_FLOWER_KEY_TCP_FLAGS_MASK, draw(2) ? 0x12 : 0x02);
        }
        break;
    default:
        break;
    }
}

static void keys_of_mac(void)
{
    if (draw(2)) {
        put(TCA_FLOWER_KEY_ETH_DST, macs[draw(3)], 6);
        put(TCA_FLOWER_KEY_ETH_DST_MASK, mac_masks[draw(4)], 6);
    }
    if (draw(3) == 0) {
        put(TCA_FLOWER_KEY_ETH_SRC, macs[draw(3)], 6);
        put(TCA_FLOWER_KEY_ETH_SRC_MASK, mac_masks[draw(2)], 6);
    }
}

static void keys_of_vlan(void)
{
    if (draw(2))
        put16h(TCA_FLOWER_KEY_VLAN_ID, vids[draw(3)]);
    if (draw(3) == 0)
        put8(TCA_FLOWER_KEY_VLAN_PRIO, draw(8));
    switch (draw(5)) {
    case 0:
        put16(TCA_FLOWER_KEY_VLAN_ETH_TYPE, ETH_P_IP);
        version = 4;
        keys_of_ip(false);
        break;
    case 1:
        put16(TCA_FLOWER_KEY_VLAN_ETH_TYPE, ETH_P_IPV6);
        version = 6;
        keys_of_ip(true);
        break;
    case 2:
        put16(TCA_FLOWER_KEY_VLAN_ETH_TYPE, ETH_P_8021Q);
        if (draw(2))
            put16h(TCA_FLOWER_KEY_CVLAN_ID, vids[draw(3)]);
        if (draw(3) == 0)
            put8(TCA_FLOWER_KEY_CVLAN_PRIO, draw(8));
        if (draw(2)) {
            put16(TCA_FLOWER_KEY_CVLAN_ETH_TYPE, ETH_P_IP);
            keys_of_ip(false);
        }
        break;
    default:
        break;
    }
}

static void keys_of_arp(void)
{
    if (draw(2)) {
        put8(TCA_FLOWER_KEY_ARP_OP, 1 + draw(2));
        put8(TCA_FLOWER_KEY_ARP_OP_MASK, 0xFF);
    }
    if (draw(2)) {
        put32(TCA_FLOWER_KEY_ARP_TIP, addresses[draw(4)]);
        put32(TCA_FLOWER_KEY_ARP_TIP_MASK, address_masks[draw(3)]);
    }
    if (draw(4) == 0) {
        put(TCA_FLOWER_KEY_ARP_SHA, macs[draw(3)], 6);
        put(TCA_FLOWER_KEY_ARP_SHA_MASK, mac_masks[0], 6);
    }
}

static void keys_of_mpls(void)
{
    if (draw(2))
        put32h(TCA_FLOWER_KEY_MPLS_LABEL, labels[draw(3)]);
    if (draw(3) == 0)
        put8(TCA_FLOWER_KEY_MPLS_TC, draw(8));
    if (draw(3) == 0)
        put8(TCA_FLOWER_KEY_MPLS_BOS, draw(2));
    if (draw(4) == 0)
        put8(TCA_FLOWER_KEY_MPLS_TTL, 64);
}

static void keys_of_pppoe(void)
{
    if (draw(2))
        put16(TCA_FLOWER_KEY_PPPOE_SID, sessions[draw(2)]);
    if (draw(2)) {
        put16(TCA_FLOWER_KEY_PPP_PROTO, 0x0021);
        keys_of_ip(false);
    }
}

static const uint16_t kinds[] = {ETH_P_ALL,     ETH_P_IP,      ETH_P_IPV6, ETH_P_8021Q, ETH_P_ARP,
                                 ETH_P_MPLS_UC, ETH_P_PPP_SES, ETH_P_IP,   ETH_P_IP,    ETH_P_8021Q};

struct filter make_filter(uint32_t handle)
{
    unsigned kind = draw(sizeof kinds / sizeof *kinds);
    // A priority has one protocol.
    struct filter filter = {handle, 10 + draw(3) * 10000 + kinds[kind] % 251 * 10 + draw(2), kinds[kind]};
    return filter;
}

int add(int device, int to, const struct filter *filter, uint32_t tag, uint32_t flags)
{
    begin(RTM_NEWTFILTER, NLM_F_CREATE | NLM_F_EXCL, device, filter->handle, filter->priority,
          filter->protocol);
    put(TCA_KIND, "flower", 7);
    void *options = nest(TCA_OPTIONS);
    if (filter->protocol != ETH_P_ALL)
        put16(TCA_FLOWER_KEY_ETH_TYPE, filter->protocol);
    version = 0;
    switch (filter->protocol) {
    case ETH_P_IP:
        version = 4;
        keys_of_ip(false);
        break;
    case ETH_P_IPV6:
        version = 6;
        keys_of_ip(true);
        break;
    case ETH_P_8021Q:
        keys_of_vlan();
        break;
    case ETH_P_ARP:
        keys_of_arp();
        break;
    case ETH_P_MPLS_UC:
        keys_of_mpls();
        break;
    case ETH_P_PPP_SES:
        keys_of_pppoe();
        break;
    default:
        break;
    }
    if (draw(3) == 0)
        keys_of_mac();
    put32h(TCA_FLOWER_FLAGS, flags);
    put_actions(to, tag, version);
    end(options);
    return transact();
}

int delete (int device, const struct filter *filter)
{
    begin(RTM_DELTFILTER, 0, device, filter->handle, filter->priority, filter->protocol);
    put(TCA_KIND, "flower", 7);
    return transact();
}
