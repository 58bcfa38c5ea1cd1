/* SPDX-License-Identifier: MIT OR GPL-2.0 */
/*
 * The intermediate rule: a filter of either front end, in terms of frames. The decoders (flower, ethtool)
 * fill it; the encoder turns it into rules of the classifier.
 */
#ifndef IFC_FRONT_RULE_H
#define IFC_FRONT_RULE_H

#include "ifc_front.h"

#include "ruleset/ruleset.h"

#define IFC_FRONT_CONDITIONS 28u
#define IFC_FRONT_TEXT       160u

/* One condition on a field. field 0: on a 16-bit word of the frame. */
struct ifc_front_condition {
    u8 field;
    u8 compare; /* enum ifc_compare */
    u8 base;    /* enum ifc_front_base, of a word */
    u8 offset;
    bool transport; /* on the transport header, which software does not read in a fragment */
    u16 key_last;
    u64 mask, key;
};

#define IFC_FRONT_ANY_TAGS 0xFFu

enum ifc_front_way { IFC_FRONT_PASS, IFC_FRONT_DROP, IFC_FRONT_TRAP, IFC_FRONT_REDIRECT };

/* The codes of an action's vo0 and vo1. */
enum ifc_front_tag_code { IFC_FRONT_KEEP, IFC_FRONT_INSERT, IFC_FRONT_REMOVE, IFC_FRONT_REPLACE };

struct ifc_front_action {
    u8 way; /* enum ifc_front_way */
    u8 fport;
    bool queue_set, priority_set, mark_set, dscp_set, class_set, meter_set;
    u8 queue, priority, dscp, traffic_class, meter;
    u16 mark;
    u8 vo[2]; /* enum ifc_front_tag_code */
    u8 vpm;
    u16 tci[2];
    bool keep_priority; /* of the replaced tag */
    bool keep_dei;      /* of the replaced tag, with a new priority: needs two rules */
};

struct ifc_front_rule {
    unsigned int count;
    struct ifc_front_condition condition[IFC_FRONT_CONDITIONS];
    bool overflow; /* more conditions than any table holds */
    bool never;    /* matches no frame of this port: accepted, without a rule in the tables */
    bool ethernet; /* Ethernet II; `type`, if not 0, is the EtherType after the tags */
    u16 type;
    u8 tags;         /* tags before it: 0 to 2, or IFC_FRONT_ANY_TAGS */
    u16 tpid[2];     /* of those tags; 0: 0x8100 or 0x88A8 */
    u8 least_tags;   /* every matching frame has at least so many, whatever `tags` says */
    u8 version;      /* of IP: 4, 6, or 0 if it is not known */
    bool first_only; /* the condition "no fragment" is already there */
    bool fragments;  /* fragments match too, whatever the transport header: needs one more rule */
    struct ifc_front_action action;
};

/* Why a filter is refused. */
struct ifc_front_refusal {
    int error;
    char text[IFC_FRONT_TEXT];
};

/* Stores the reason and returns the error: return ifc_front_refuse(...). */
__printf(3, 4) int ifc_front_refuse(struct ifc_front_refusal *why, int error, const char *format, ...);

/* These add conditions. Bits of key outside mask are dropped; a mask of 0 adds nothing. */
void ifc_front_want(struct ifc_front_rule *rule, unsigned int field, u64 mask, u64 key);
void ifc_front_want_there(struct ifc_front_rule *rule, unsigned int field);
void ifc_front_want_range(struct ifc_front_rule *rule, unsigned int field, u16 first, u16 last);
void ifc_front_want_word(struct ifc_front_rule *rule, enum ifc_front_base base, unsigned int offset,
                         enum ifc_compare compare, u16 mask, u16 key);
/* The frame is long enough to have this word. */
void ifc_front_want_word_there(struct ifc_front_rule *rule, enum ifc_front_base base, unsigned int offset);
void ifc_front_want_word_range(struct ifc_front_rule *rule, enum ifc_front_base base, unsigned int offset,
                               u16 first, u16 last);
void ifc_front_want_mac(struct ifc_front_rule *rule, unsigned int field, const u8 *key, const u8 *mask);
/* `bytes` bytes (a multiple of 2) as words of the frame. */
void ifc_front_want_bytes(struct ifc_front_rule *rule, enum ifc_front_base base, unsigned int offset,
                          const u8 *key, const u8 *mask, unsigned int bytes);
/* field: the one of the lowest 32 bits. */
void ifc_front_want_ipv6(struct ifc_front_rule *rule, unsigned int field, const __be32 *key,
                         const __be32 *mask);
/* The packet's protocol, its DS octet and its hop limit, by the rule's IP version. */
void ifc_front_want_protocol(struct ifc_front_rule *rule, u8 protocol);
void ifc_front_want_tos(struct ifc_front_rule *rule, u8 mask, u8 key);
void ifc_front_want_ttl(struct ifc_front_rule *rule, u8 mask, u8 key);
/* The tag of VPM0 or VPM1 is there, with this TPID; 0: 0x8100 or 0x88A8. */
void ifc_front_want_tpid(struct ifc_front_rule *rule, unsigned int field, u16 tpid);
/* The packet is not fragmented. */
void ifc_front_want_unfragmented(struct ifc_front_rule *rule);

/* The packet is a fragment. */
void ifc_front_want_fragment(struct ifc_front_rule *rule);

/* How many rules of the classifier it needs: 0 to IFC_FRONT_VARIANTS. */
#define IFC_FRONT_VARIANTS 4u
unsigned int ifc_front_variants(const struct ifc_front_rule *rule);

/* The user-defined words that rules compare, and how many rules use each. */
struct ifc_front_words {
    struct {
        u8 base, offset;
        u16 users;
    } word[IFC_FRONT_WORDS];
};

/*
 * Makes rule number `variant` for a port: conditions and action, everything else 0. Words come from `words`,
 * which counts their users. After a refusal `words` is partly changed: restore it.
 */
int ifc_front_encode(const struct ifc_front_platform *platform, const struct ifc_front_rule *rule,
                     unsigned int variant, u8 source, struct ifc_front_words *words, struct ifc_rule *out,
                     struct ifc_front_refusal *why);
/* Releases the words that an encoded rule uses. */
void ifc_front_release_words(struct ifc_front_words *words, const struct ifc_rule *rule);

/* The decoders. Both take a rule that is all zero. */
int ifc_front_decode_flower(struct ifc_front_port *port, struct flow_cls_offload *flower,
                            struct ifc_front_rule *rule, struct ifc_front_refusal *why);
int ifc_front_decode_flow_action(struct ifc_front_port *port, struct flow_action *action,
                                 struct ifc_front_rule *rule, struct ifc_front_refusal *why);
int ifc_front_decode_ethtool(struct ifc_front_port *port, const struct ethtool_rx_flow_spec *flow,
                             struct ifc_front_rule *rule, struct ifc_front_refusal *why);

/* Of the core. */
const struct ifc_front_platform *ifc_front_platform_of(const struct ifc_front *front);
/* The port of this netdev; the port of the same front with this interface index. NULL: none. */
struct ifc_front_port *ifc_front_port_of(struct ifc_front *front, const struct net_device *dev);
struct ifc_front_port *ifc_front_port_by_index(const struct ifc_front_port *port, int ifindex);

#endif
