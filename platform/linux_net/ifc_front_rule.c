// SPDX-License-Identifier: MIT OR GPL-2.0
// Conditions of the intermediate rule.
#include "ifc_front_rule.h"

#include <linux/if_ether.h>
#include <linux/in.h>
#include <linux/ip.h>
#include <linux/ipv6.h>
#include <net/ip.h>
#include <net/ipv6.h>

int ifc_front_refuse(struct ifc_front_refusal *why, int error, const char *format, ...)
{
    va_list args;

    va_start(args, format);
    vscnprintf(why->text, sizeof(why->text), format, args);
    va_end(args);
    why->error = error;
    return error;
}

static void add(struct ifc_front_rule *rule, const struct ifc_front_condition *condition)
{
    if (rule->count == IFC_FRONT_CONDITIONS)
        rule->overflow = true;
    else
        rule->condition[rule->count++] = *condition;
}

void ifc_front_want(struct ifc_front_rule *rule, unsigned int field, u64 mask, u64 key)
{
    struct ifc_front_condition condition = {
        .field = (u8)field, .compare = IFC_COMPARE_EQUAL, .mask = mask, .key = key & mask};

    if (mask)
        add(rule, &condition);
}

void ifc_front_want_there(struct ifc_front_rule *rule, unsigned int field)
{
    struct ifc_front_condition condition = {.field = (u8)field, .compare = IFC_COMPARE_EQUAL};

    add(rule, &condition);
}

void ifc_front_want_range(struct ifc_front_rule *rule, unsigned int field, u16 first, u16 last)
{
    struct ifc_front_condition condition = {
        .field = (u8)field, .compare = IFC_COMPARE_RANGE, .mask = 0xFFFF, .key = first, .key_last = last};

    add(rule, &condition);
}

void ifc_front_want_word(struct ifc_front_rule *rule, enum ifc_front_base base, unsigned int offset,
                         enum ifc_compare compare, u16 mask, u16 key)
{
    struct ifc_front_condition condition = {
        .compare = compare, .base = base, .offset = (u8)offset, .mask = mask, .key = key & mask};

    if (mask)
        add(rule, &condition);
}

void ifc_front_want_word_there(struct ifc_front_rule *rule, enum ifc_front_base base, unsigned int offset)
{
    struct ifc_front_condition condition = {.compare = IFC_COMPARE_EQUAL, .base = base, .offset = (u8)offset};

    add(rule, &condition);
}

void ifc_front_want_word_range(struct ifc_front_rule *rule, enum ifc_front_base base, unsigned int offset,
                               u16 first, u16 last)
{
    struct ifc_front_condition condition = {.compare = IFC_COMPARE_RANGE,
                                            .base = base,
                                            .offset = (u8)offset,
                                            .mask = 0xFFFF,
                                            .key = first,
                                            .key_last = last};

    add(rule, &condition);
}

void ifc_front_want_mac(struct ifc_front_rule *rule, unsigned int field, const u8 *key, const u8 *mask)
{
    ifc_front_want(rule, field, (u64)get_unaligned_be16(mask) << 32 | get_unaligned_be32(mask + 2),
                   (u64)get_unaligned_be16(key) << 32 | get_unaligned_be32(key + 2));
}

void ifc_front_want_bytes(struct ifc_front_rule *rule, enum ifc_front_base base, unsigned int offset,
                          const u8 *key, const u8 *mask, unsigned int bytes)
{
    unsigned int n;

    for (n = 0; n < bytes; n += 2)
        ifc_front_want_word(rule, base, offset + n, IFC_COMPARE_EQUAL, get_unaligned_be16(mask + n),
                            get_unaligned_be16(key + n));
}

void ifc_front_want_ipv6(struct ifc_front_rule *rule, unsigned int field, const __be32 *key,
                         const __be32 *mask)
{
    unsigned int n;

    for (n = 0; n < 4; n++)
        ifc_front_want(rule, field + n, ntohl(mask[3 - n]), ntohl(key[3 - n]));
}

void ifc_front_want_protocol(struct ifc_front_rule *rule, u8 protocol)
{
    if (rule->version == 4) {
        ifc_front_want(rule, IPv4_PROTOCOL, 0xFF, protocol);
        return;
    }
    ifc_front_want(rule, IPv6_NEXT_HEADER, 0xFF, protocol);
    /* The engine skips an authentication header; software stops at it. */
    if (protocol != IPPROTO_AH)
        ifc_front_want_word(rule, IFC_FRONT_NETWORK, offsetof(struct ipv6hdr, nexthdr), IFC_COMPARE_NOT_EQUAL,
                            0xFF00, IPPROTO_AH << 8);
}

void ifc_front_want_tos(struct ifc_front_rule *rule, u8 mask, u8 key)
{
    ifc_front_want(rule, rule->version == 6 ? IPv6_TRAFFIC_CLASS : IPv4_DSCP, mask, key);
}

void ifc_front_want_ttl(struct ifc_front_rule *rule, u8 mask, u8 key)
{
    if (rule->version == 6) {
        ifc_front_want_there(rule, IPv6_NEXT_HEADER);
        ifc_front_want_word(rule, IFC_FRONT_NETWORK, offsetof(struct ipv6hdr, nexthdr), IFC_COMPARE_EQUAL,
                            mask, key);
    } else {
        ifc_front_want_there(rule, IPv4_PROTOCOL);
        ifc_front_want_word(rule, IFC_FRONT_NETWORK, offsetof(struct iphdr, ttl), IFC_COMPARE_EQUAL,
                            mask << 8, key << 8);
    }
}

/*
 * Software parses a transport header in unfragmented packets only. The engine parses it in first fragments
 * too, so these are excluded here. (For IPv6: if the fragment header is the first extension header.)
 */
void ifc_front_want_unfragmented(struct ifc_front_rule *rule)
{
    if (rule->first_only)
        return;
    rule->first_only = true;
    if (rule->version == 4)
        ifc_front_want_word(rule, IFC_FRONT_NETWORK, offsetof(struct iphdr, frag_off), IFC_COMPARE_EQUAL,
                            IP_MF | IP_OFFSET, 0);
    else
        ifc_front_want_word(rule, IFC_FRONT_NETWORK, offsetof(struct ipv6hdr, nexthdr), IFC_COMPARE_NOT_EQUAL,
                            0xFF00, NEXTHDR_FRAGMENT << 8);
}

void ifc_front_want_fragment(struct ifc_front_rule *rule)
{
    if (rule->version == 4)
        ifc_front_want_word(rule, IFC_FRONT_NETWORK, offsetof(struct iphdr, frag_off), IFC_COMPARE_NOT_EQUAL,
                            IP_MF | IP_OFFSET, 0);
    else
        ifc_front_want_word(rule, IFC_FRONT_NETWORK, offsetof(struct ipv6hdr, nexthdr), IFC_COMPARE_EQUAL,
                            0xFF00, NEXTHDR_FRAGMENT << 8);
}

unsigned int ifc_front_variants(const struct ifc_front_rule *rule)
{
    if (rule->never)
        return 0;
    return (rule->action.keep_dei ? 2u : 1u) * (rule->fragments ? 2u : 1u);
}
