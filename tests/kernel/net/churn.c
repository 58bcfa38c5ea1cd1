// SPDX-License-Identifier: MIT OR GPL-2.0
// Adds and deletes random flower filters with priorities at two ports. At one the classifier decides
// (skip_sw), at its twin, a veth pair, software does (skip_hw). The same random frames are sent to both. Each
// filter pushes a tag with its own number, or makes another tag edit, and redirects. So the received frame
// shows which filter decided, and how it changed the frame.
// Usage: churn SEED CHANGES EVERY FRAMES [CAPTURE...]: sends FRAMES frames after every EVERY changes, some
// from the captures. Prints a summary; exits with 1 if a result differs. The filters stay.
#define _GNU_SOURCE // sched_setaffinity
#include <arpa/inet.h>
#include <errno.h>
#include <linux/if_ether.h>
#include <linux/if_packet.h>
#include <linux/pkt_cls.h>
#include <linux/pkt_sched.h>
#include <linux/rtnetlink.h>
#include <linux/tc_act/tc_mirred.h>
#include <linux/tc_act/tc_vlan.h>
#include <net/if.h>
#include <poll.h>
#include <sched.h>
#include <stdbool.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <time.h>
#include <unistd.h>

enum { FILTERS = 40, FRAME = 1536, EXAMPLES = 512, PENDING = 64, LAST_TAG = 4000 };

static uint64_t state;
static uint32_t draw(uint32_t below)
{
    state = state * 6364136223846793005ull + 1442695040888963407ull;
    return (uint32_t)(state >> 33) % below;
}

// ------------------------------------------------------------------------------------------------------
// Netlink
// ------------------------------------------------------------------------------------------------------

static int netlink_socket;
static struct {
    struct nlmsghdr header;
    struct tcmsg tc;
    char attributes[4096];
} message;

static void *put(int type, const void *data, size_t length)
{
    struct rtattr *attribute = (struct rtattr *)((char *)&message + NLMSG_ALIGN(message.header.nlmsg_len));
    attribute->rta_type = type;
    attribute->rta_len = RTA_LENGTH(length);
    if (length != 0)
        memcpy(RTA_DATA(attribute), data, length);
    message.header.nlmsg_len = NLMSG_ALIGN(message.header.nlmsg_len) + RTA_ALIGN(attribute->rta_len);
    return attribute;
}

static void put8(int type, uint8_t value)
{
    put(type, &value, sizeof value);
}
static void put16(int type, uint16_t value)
{
    value = htons(value);
    put(type, &value, sizeof value);
}
static void put16h(int type, uint16_t value)
{
    put(type, &value, sizeof value);
}
static void put32(int type, uint32_t value)
{
    value = htonl(value);
    put(type, &value, sizeof value);
}
static void put32h(int type, uint32_t value)
{
    put(type, &value, sizeof value);
}
static void *nest(int type)
{
    return put(type | NLA_F_NESTED, NULL, 0);
}
static void end(void *nested)
{
    ((struct rtattr *)nested)->rta_len =
        (unsigned short)((char *)&message + NLMSG_ALIGN(message.header.nlmsg_len) - (char *)nested);
}

static void begin(int type, int flags, int device, uint32_t handle, uint32_t priority, uint16_t protocol)
{
    memset(&message, 0, sizeof message.header + sizeof message.tc);
    message.header.nlmsg_len = NLMSG_LENGTH(sizeof message.tc);
    message.header.nlmsg_type = type;
    message.header.nlmsg_flags = NLM_F_REQUEST | NLM_F_ACK | flags;
    message.tc.tcm_family = AF_UNSPEC;
    message.tc.tcm_ifindex = device;
    message.tc.tcm_handle = handle;
    message.tc.tcm_parent = TC_H_MAKE(TC_H_CLSACT, TC_H_MIN_INGRESS);
    message.tc.tcm_info = TC_H_MAKE(priority << 16, htons(protocol));
}

static char reason[256]; // of the last refusal, the kernel's message

static int transact(void)
{
    static char reply[16384];
    if (send(netlink_socket, &message, message.header.nlmsg_len, 0) < 0)
        return -errno;
    for (;;) {
        ssize_t got = recv(netlink_socket, reply, sizeof reply, 0);
        if (got < 0)
            return -errno;
        const struct nlmsghdr *header = (struct nlmsghdr *)reply;
        if (header->nlmsg_type != NLMSG_ERROR)
            continue;
        const struct nlmsgerr *error = NLMSG_DATA(header);
        reason[0] = '\0';
        if (error->error != 0 && (header->nlmsg_flags & NLM_F_ACK_TLVS) != 0) {
            // The request comes before the attributes unless it was left out.
            size_t skip = NLMSG_ALIGN(sizeof *error) +
                          (header->nlmsg_flags & NLM_F_CAPPED ? 0 : error->msg.nlmsg_len - sizeof error->msg);
            const struct rtattr *attribute = (const struct rtattr *)((const char *)error + NLMSG_ALIGN(skip));
            int left = header->nlmsg_len - NLMSG_HDRLEN - NLMSG_ALIGN(skip);
            for (; RTA_OK(attribute, left); attribute = RTA_NEXT(attribute, left))
                if (attribute->rta_type == NLMSGERR_ATTR_MSG)
                    snprintf(reason, sizeof reason, "%s", (const char *)RTA_DATA(attribute));
        }
        return error->error;
    }
}

// ------------------------------------------------------------------------------------------------------
// Filters: few values of each key, so that they overlap and match many frames
// ------------------------------------------------------------------------------------------------------

static const uint8_t macs[3][6] = {{2, 0, 0, 0, 0, 1}, {2, 0, 0, 0, 1, 1}, {1, 0, 94, 0, 0, 1}};
static const uint8_t mac_masks[4][6] = {
    {255, 255, 255, 255, 255, 255}, {255, 255, 255, 255, 0, 0}, {0, 0, 0, 0, 255, 255}, {1, 0, 0, 0, 0, 0}};
static const uint32_t addresses[4] = {0xC0000201, 0xC0000202, 0xC0000301, 0x0A000001};
static const uint32_t address_masks[4] = {0xFFFFFFFF, 0xFFFFFF00, 0xFF000000, 0x000000FF};
static const uint16_t ports[4] = {53, 80, 443, 5060};
static const uint8_t protocols[4] = {6, 17, 132, 1};
static const uint8_t octets[4] = {0, 0xB8, 0x29, 0x03};
static const uint8_t limits[3] = {1, 63, 64};
static const uint16_t vids[3] = {1, 85, 4094};
static const uint32_t labels[3] = {0, 16, 0xFFFFF};
static const uint16_t sessions[2] = {1, 0x1234};

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
            put8(six ? TCA_FLOWER_KEY_ICMPV6_TYPE : TCA_FLOWER_KEY_ICMPV4_TYPE, six ? 128 : 8);
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
        put16(source, ports[draw(4)]);
        break;
    case 1:
    case 2:
        put16(destination, ports[draw(4)]);
        break;
    case 3:
        put16(TCA_FLOWER_KEY_PORT_DST_MIN, 50 + draw(40));
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
        keys_of_ip(false);
        break;
    case 1:
        put16(TCA_FLOWER_KEY_VLAN_ETH_TYPE, ETH_P_IPV6);
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

struct filter {
    uint32_t handle, priority;
    uint16_t protocol;
};

static void edit_tag(int number, int what, uint16_t vid, uint8_t priority)
{
    struct tc_vlan vlan = {.action = TC_ACT_PIPE, .v_action = what};
    void *action = nest(number);
    put(TCA_ACT_KIND, "vlan", 5);
    void *parameters = nest(TCA_ACT_OPTIONS);
    put(TCA_VLAN_PARMS, &vlan, sizeof vlan);
    if (what != TCA_VLAN_ACT_POP) {
        put16h(TCA_VLAN_PUSH_VLAN_ID, vid);
        if (priority != 0)
            put8(TCA_VLAN_PUSH_VLAN_PRIORITY, priority);
    }
    end(parameters);
    end(action);
}

// The same filter for either port: the generator starts from the same state.
static int add(int device, int to, const struct filter *filter, uint32_t tag, uint32_t flags)
{
    begin(RTM_NEWTFILTER, NLM_F_CREATE | NLM_F_EXCL, device, filter->handle, filter->priority,
          filter->protocol);
    put(TCA_KIND, "flower", 7);
    void *options = nest(TCA_OPTIONS);
    if (filter->protocol != ETH_P_ALL)
        put16(TCA_FLOWER_KEY_ETH_TYPE, filter->protocol);
    switch (filter->protocol) {
    case ETH_P_IP:
        keys_of_ip(false);
        break;
    case ETH_P_IPV6:
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
    void *actions = nest(TCA_FLOWER_ACT);
    unsigned number = 1;
    // Mostly a new tag with the filter's number.
    switch (draw(8)) {
    case 0:
        edit_tag(number++, TCA_VLAN_ACT_MODIFY, tag, 0);
        break;
    case 1:
        edit_tag(number++, TCA_VLAN_ACT_MODIFY, tag, 5);
        break;
    case 2:
        edit_tag(number++, TCA_VLAN_ACT_POP, 0, 0);
        if (draw(2))
            edit_tag(number++, TCA_VLAN_ACT_PUSH, tag, 3);
        break;
    case 3:
        edit_tag(number++, TCA_VLAN_ACT_PUSH, tag, draw(8));
        edit_tag(number++, TCA_VLAN_ACT_PUSH, tag, draw(8));
        break;
    default:
        edit_tag(number++, TCA_VLAN_ACT_PUSH, tag, 0);
        break;
    }
    void *action = nest(number);
    put(TCA_ACT_KIND, "mirred", 7);
    void *parameters = nest(TCA_ACT_OPTIONS);
    struct tc_mirred mirred = {.action = TC_ACT_STOLEN, .eaction = TCA_EGRESS_REDIR, .ifindex = to};
    put(TCA_MIRRED_PARMS, &mirred, sizeof mirred);
    end(parameters);
    end(action);
    end(actions);
    end(options);
    return transact();
}

static int delete (int device, const struct filter *filter)
{
    begin(RTM_DELTFILTER, 0, device, filter->handle, filter->priority, filter->protocol);
    put(TCA_KIND, "flower", 7);
    return transact();
}

// ------------------------------------------------------------------------------------------------------
// Frames
// ------------------------------------------------------------------------------------------------------

static uint8_t *p8(uint8_t *at, uint8_t value)
{
    *at = value;
    return at + 1;
}
static uint8_t *p16(uint8_t *at, uint16_t value)
{
    return p8(p8(at, value >> 8), value);
}
static uint8_t *p32(uint8_t *at, uint32_t value)
{
    return p16(p16(at, value >> 16), value);
}

static uint8_t *transport(uint8_t *at, uint8_t protocol)
{
    if (protocol == 1 || protocol == 58) {
        at = p8(at, draw(2) ? (protocol == 1 ? 8 : 128) : draw(256));
        return p16(p32(p8(at, draw(2)), draw(1 << 30)), 0);
    }
    at = p16(at, draw(2) ? ports[draw(4)] : draw(65536));
    at = p16(at, draw(3) ? ports[draw(4)] : draw(65536));
    if (protocol == 6) {
        at = p32(p32(at, draw(1 << 30)), draw(1 << 30));
        at = p16(at, (draw(8) ? 0x5000 : draw(16) << 12) | (draw(2) ? 0x02 : draw(0x1000)));
        return p16(p32(at, draw(1 << 30)), 0);
    }
    return p32(p32(at, draw(1 << 30)), draw(1 << 30));
}

static uint8_t *ipv4(uint8_t *at, uint16_t payload)
{
    // Known: for MPLS in IPv4, 137, software uses the inner protocol as the EtherType (docs/linux.md).
    uint8_t protocol = draw(6) ? protocols[draw(4)] : draw(137);
    unsigned options = draw(8) ? 0 : 4 * draw(11);
    uint8_t *start = at;
    at = p8(p8(at, 0x45 + options / 4), draw(2) ? octets[draw(4)] : draw(256));
    at = p16(at, 0);
    at = p16(at, draw(65536));
    // Not fragmented, first, later, last.
    at = p16(at, draw(3)   ? (draw(2) ? 0x4000 : 0)
                 : draw(2) ? 0x2000
                           : (draw(2) ? 0x2000 : 0) | (1 + draw(0x1FFF)));
    at = p8(p8(at, draw(2) ? limits[draw(3)] : draw(256)), protocol);
    at = p16(at, 0);
    at = p32(p32(at, addresses[draw(4)]), addresses[draw(4)]);
    memset(at, 1, options);
    at = transport(at + options, protocol);
    p16(start + 2, at - start + payload);
    return at;
}

static uint8_t *ipv6(uint8_t *at, uint16_t payload)
{
    uint8_t protocol = draw(6) ? protocols[draw(3)] : 58;
    uint8_t class = draw(2) ? octets[draw(4)] : draw(256);
    unsigned extension = draw(6);
    uint8_t *start = at;
    at = p32(at, 6u << 28 | class << 20 | draw(1 << 20));
    at = p16(at, 0);
    // A hop-by-hop header, a fragment header, or none.
    at = p8(at, extension == 0 ? 0 : extension == 1 ? 44 : protocol);
    at = p8(at, draw(2) ? limits[draw(3)] : draw(256));
    for (int n = 0; n < 2; n++)
        at = p32(p32(p32(p32(at, 0x20010db8), 0), draw(2)), addresses[draw(4)]);
    if (extension == 0)
        at = p32(p16(p8(p8(at, protocol), 0), 0x0104), 0);
    if (extension == 1)
        at = p32(p16(p8(p8(at, protocol), 0), draw(2) ? 1 : draw(0x2000) << 3 | draw(2)), draw(1 << 30));
    at = transport(at, protocol);
    p16(start + 4, at - start - 40 + payload);
    return at;
}

static uint8_t *packet(uint8_t *at)
{
    switch (draw(10)) {
    case 0:
    case 1:
    case 2:
    case 3:
        return ipv4(p16(at, ETH_P_IP), 8);
    case 4:
    case 5:
        return ipv6(p16(at, ETH_P_IPV6), 8);
    case 6: {
        at = p16(p16(p16(p16(at, ETH_P_ARP), 1), ETH_P_IP), 0x0604);
        at = p16(at, draw(8) ? 1 + draw(2) : draw(5));
        memcpy(at, macs[draw(3)], 6);
        at = p32(at + 6, addresses[draw(4)]);
        memcpy(at, macs[draw(3)], 6);
        return p32(at + 6, addresses[draw(4)]);
    }
    case 7:
        at = p16(at, ETH_P_MPLS_UC);
        return p32(p32(at, labels[draw(3)] << 12 | draw(16) << 8 | (draw(2) ? 64 : 63)), draw(1 << 30));
    case 8: {
        uint8_t *length;
        at = p16(p16(p16(at, ETH_P_PPP_SES), 0x1100), sessions[draw(2)]);
        length = at;
        at = p16(at, 0);
        if (draw(3))
            at = ipv4(p16(at, 0x0021), 8);
        else
            at = p32(p16(at, 0xC021), draw(1 << 30));
        p16(length, at - length - 2 + 8);
        return at;
    }
    default:
        return p32(p16(at, draw(2) ? 0x88B5 : 0x0600 + draw(0xF000)), draw(1 << 30));
    }
}

static struct {
    size_t length;
    uint8_t bytes[FRAME];
} examples[EXAMPLES];
static unsigned example_count;

// Ethernet frames of a capture in this machine's byte order.
static void load_examples(const char *name)
{
    FILE *file = fopen(name, "rb");
    uint32_t header[6], record[4];
    static uint8_t bytes[1 << 18];
    if (file == NULL || fread(header, sizeof header, 1, file) != 1 || header[5] != 1 ||
        (header[0] != 0xA1B2C3D4 && header[0] != 0xA1B23C4D)) {
        fprintf(stderr, "churn: %s: accepted: Ethernet captures of this byte order\n", name);
        exit(2);
    }
    while (fread(record, sizeof record, 1, file) == 1 && record[2] <= sizeof bytes &&
           fread(bytes, 1, record[2], file) == record[2]) {
        // Leaves room for its identifier and for two tags within the MTU.
        if (record[2] < 14 || record[2] > 1490 || example_count == EXAMPLES)
            continue;
        examples[example_count].length = record[2];
        memcpy(examples[example_count++].bytes, bytes, record[2]);
    }
    fclose(file);
}

// Ends with an identifier of eight bytes. Every fourth frame is one of the examples.
static size_t make_frame(uint8_t *frame, uint32_t number)
{
    uint8_t *at = frame;
    if (example_count != 0 && draw(4) == 0) {
        unsigned which = draw(example_count);
        memcpy(at, examples[which].bytes, examples[which].length);
        at = p32(p32(at + examples[which].length, 0x1FC7E57A), number);
        return at - frame;
    }
    memcpy(at, macs[draw(3)], 6);
    memcpy(at + 6, macs[draw(2)], 6);
    at += 12;
    for (unsigned tags = draw(3) ? 0 : 1 + draw(2); tags > 0; tags--)
        at = p16(p16(at, draw(6) ? ETH_P_8021Q : ETH_P_8021AD), draw(16) << 12 | vids[draw(3)]);
    at = packet(at);
    at = p32(p32(at, 0x1FC7E57A), number);
    return at - frame;
}

// ------------------------------------------------------------------------------------------------------
// Both ways
// ------------------------------------------------------------------------------------------------------

struct way {
    const char *name;
    const char *wire, *port, *other, *sink; // frames redirected to `other` arrive at `sink`
    int send, receive;
    struct {
        size_t length;
        uint8_t bytes[FRAME];
    } seen[PENDING];
};
static struct way ways[2] = {
    {.name = "chip", .wire = "ifc0w", .port = "ifc0", .other = "ifc1", .sink = "ifc1w"},
    {.name = "twin", .wire = "tw0w", .port = "tw0", .other = "tw1", .sink = "tw1w"}};

static int open_socket(const char *device)
{
    int fd = socket(AF_PACKET, SOCK_RAW, htons(ETH_P_ALL));
    struct sockaddr_ll address = {.sll_family = AF_PACKET, .sll_protocol = htons(ETH_P_ALL)};
    int one = 1;
    address.sll_ifindex = if_nametoindex(device);
    if (fd < 0 || !address.sll_ifindex || bind(fd, (struct sockaddr *)&address, sizeof address) < 0 ||
        setsockopt(fd, SOL_PACKET, PACKET_AUXDATA, &one, sizeof one) < 0) {
        perror(device);
        exit(2);
    }
    return fd;
}

// The frame with its outer tag restored, which the kernel delivers separately. 0: an outgoing frame.
static size_t take(int fd, uint8_t *bytes)
{
    uint8_t raw[FRAME];
    char control[256];
    struct sockaddr_ll from;
    struct iovec part = {raw, sizeof raw};
    struct msghdr header = {.msg_name = &from,
                            .msg_namelen = sizeof from,
                            .msg_iov = &part,
                            .msg_iovlen = 1,
                            .msg_control = control,
                            .msg_controllen = sizeof control};
    ssize_t got = recvmsg(fd, &header, MSG_DONTWAIT);
    if (got < 14 || from.sll_pkttype == PACKET_OUTGOING)
        return 0;
    for (struct cmsghdr *c = CMSG_FIRSTHDR(&header); c != NULL; c = CMSG_NXTHDR(&header, c)) {
        struct tpacket_auxdata *aux = (struct tpacket_auxdata *)CMSG_DATA(c);
        if (c->cmsg_type != PACKET_AUXDATA || !(aux->tp_status & TP_STATUS_VLAN_VALID))
            continue;
        memcpy(bytes, raw, 12);
        p16(p16(bytes + 12, aux->tp_vlan_tpid), aux->tp_vlan_tci);
        memcpy(bytes + 16, raw + 12, got - 12);
        return got + 4;
    }
    memcpy(bytes, raw, got);
    return got;
}

static uint32_t number_of(const uint8_t *bytes, size_t length)
{
    uint32_t words[2];
    memcpy(words, bytes + length - 8, 8);
    return words[0] == htonl(0x1FC7E57A) ? ntohl(words[1]) : ~0u;
}

// Receives until the last frame of the batch, which always arrives.
static bool collect(struct way *way, uint32_t first, unsigned count)
{
    memset(way->seen, 0, sizeof way->seen);
    for (int waits = 0; waits < 50;) {
        uint8_t bytes[FRAME];
        size_t length = take(way->receive, bytes);
        if (length == 0) {
            struct pollfd waiting = {way->receive, POLLIN, 0};
            if (poll(&waiting, 1, 100) == 0)
                waits++;
            continue;
        }
        uint32_t n = number_of(bytes, length) - first;
        if (n > count)
            continue;
        if (n == count)
            return true;
        way->seen[n].length = length;
        memcpy(way->seen[n].bytes, bytes, length);
    }
    return false;
}

static void show(const char *name, const uint8_t *bytes, size_t length)
{
    printf("NOTE   %s: ", name);
    for (size_t n = 0; n < length; n++)
        printf("%02x", bytes[n]);
    printf("%s\n", length == 0 ? "not redirected" : "");
}

// The seconds since the given time, which is then set to now.
static double lap(struct timespec *then)
{
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    double seconds = now.tv_sec - then->tv_sec + (now.tv_nsec - then->tv_nsec) * 1e-9;
    *then = now;
    return seconds;
}

int main(int argc, char **argv)
{
    static struct filter filters[FILTERS];
    static uint8_t frames[PENDING][FRAME];
    unsigned live = 0, added = 0, deleted = 0, refused = 0, full = 0, twice = 0, differ = 0, hits = 0,
             sent = 0;
    if (argc < 5) {
        fprintf(stderr, "usage: churn SEED CHANGES EVERY FRAMES [CAPTURE...]\n");
        return 2;
    }
    state = strtoull(argv[1], NULL, 0);
    unsigned changes = atoi(argv[2]), every = atoi(argv[3]), batch = atoi(argv[4]);
    if (batch >= PENDING || every == 0)
        return 2;
    for (int n = 5; n < argc; n++)
        load_examples(argv[n]);
    // One processor: frames arrive in the order in which they were sent.
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(0, &one);
    sched_setaffinity(0, sizeof one, &one);
    netlink_socket = socket(AF_NETLINK, SOCK_RAW, NETLINK_ROUTE);
    int yes = 1;
    setsockopt(netlink_socket, SOL_NETLINK, NETLINK_EXT_ACK, &yes, sizeof yes);
    for (int w = 0; w < 2; w++) {
        ways[w].send = open_socket(ways[w].wire);
        ways[w].receive = open_socket(ways[w].sink);
    }
    // The last frame of each batch: its own filter, before all others.
    static const uint8_t last[60] = {2, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 2, 0, 0, 0, 0, 9, 0x88, 0xB6};

    struct timespec from;
    double spent[3] = {0};
    clock_gettime(CLOCK_MONOTONIC, &from);
    for (unsigned n = 0, number = 0; n < changes; n++) {
        if (live == FILTERS || (live != 0 && draw(100) < 20 + live * 2)) {
            unsigned which = draw(live);
            for (int w = 0; w < 2; w++) {
                int result = delete (if_nametoindex(ways[w].port), &filters[which]);
                if (result != 0) {
                    printf("NOTE deleting filter %u at the %s: %s\n", filters[which].handle, ways[w].name,
                           strerror(-result));
                    differ++;
                }
            }
            filters[which] = filters[--live];
            deleted++;
        } else {
            unsigned kind = draw(sizeof kinds / sizeof *kinds);
            uint32_t tag = 1 + n % LAST_TAG;
            // A priority has one protocol.
            struct filter filter = {n + 1, 10 + draw(3) * 10000 + kinds[kind] % 251 * 10 + draw(2),
                                    kinds[kind]};
            uint64_t before = state;
            int result = add(if_nametoindex(ways[0].port), if_nametoindex(ways[0].other), &filter, tag,
                             TCA_CLS_FLAGS_SKIP_SW);
            if (result == 0) {
                state = before;
                result = add(if_nametoindex(ways[1].port), if_nametoindex(ways[1].other), &filter, tag,
                             TCA_CLS_FLAGS_SKIP_HW);
                if (result != 0) {
                    printf("NOTE filter %u at the twin: %s\n", filter.handle, strerror(-result));
                    return 1;
                }
                filters[live++] = filter;
                added++;
            } else if (result == -ENOSPC) {
                full++;
            } else if (result == -EEXIST) {
                twice++;
            } else {
                refused++;
                if (refused < 4)
                    printf("NOTE protocol %04x refused: %s %s\n", filter.protocol, strerror(-result), reason);
            }
        }
        spent[0] += lap(&from);
        if (n % every != every - 1)
            continue;
        lap(&from);
        uint32_t first = number;
        size_t lengths[PENDING];
        for (unsigned k = 0; k < batch; k++)
            lengths[k] = make_frame(frames[k], number++);
        for (int w = 0; w < 2; w++) {
            uint8_t final[60];
            memcpy(final, last, sizeof final);
            p32(p32(final + 52, 0x1FC7E57A), number);
            for (unsigned k = 0; k < batch; k++)
                if (send(ways[w].send, frames[k], lengths[k], 0) < 0)
                    perror("send");
            spent[1 + w] += lap(&from);
            if (send(ways[w].send, final, sizeof final, 0) < 0)
                perror("send");
            if (!collect(&ways[w], first, batch)) {
                printf("NOTE change %u: the last frame of the batch did not arrive by way of the %s\n", n,
                       ways[w].name);
                return 1;
            }
        }
        lap(&from);
        number++;
        sent += batch;
        for (unsigned k = 0; k < batch; k++) {
            size_t length = ways[0].seen[k].length;
            hits += length != 0;
            if (length == ways[1].seen[k].length &&
                memcmp(ways[0].seen[k].bytes, ways[1].seen[k].bytes, length) == 0)
                continue;
            if (++differ <= 5) {
                printf("NOTE change %u: fates differ\n", n);
                show("sent", frames[k], lengths[k]);
                show("chip", ways[0].seen[k].bytes, length);
                show("twin", ways[1].seen[k].bytes, ways[1].seen[k].length);
            }
        }
    }
    printf("NOTE churn: %u added, %u deleted, %u there already, %u without room, %u refused; %u frames (%u "
           "examples known), %u redirected, %u differ\n",
           added, deleted, twice, full, refused, sent, example_count, hits, differ);
    printf("NOTE changes of both took %.1f s; sending to the chip %.1f s, to its twin %.1f s\n", spent[0],
           spent[1], spent[2]);

    return differ != 0;
}
