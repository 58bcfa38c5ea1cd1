// SPDX-License-Identifier: MIT OR GPL-2.0
// Turns an intermediate rule into a rule of the classifier.
#include "ifc_front_rule.h"

#include <linux/if_ether.h>
#include <linux/if_vlan.h>

#include "ifc/ifc_glb.h"
#include "ifc_records.h"

/* Codes of FRAME_TYPE: docs/hardware-model.md. */
enum { FRAME_ETHERNET_II = 0, FRAME_PPPOE_DISCOVERY = 3, FRAME_PPPOE_SESSION = 4 };

static bool has_words(const struct ifc_front_rule *rule)
{
    unsigned int n;

    for (n = 0; n < rule->count; n++) {
        if (!rule->condition[n].field)
            return true;
    }
    return false;
}

/* A condition needs a valid header of this EtherType. */
static bool tells_type(const struct ifc_front_rule *rule)
{
    unsigned int n;
    unsigned int field;

    for (n = 0; n < rule->count; n++) {
        field = rule->condition[n].field;
        if (rule->type == ETH_P_IP &&
            (field == DIPv4 || field == SIPv4 || field == IPv4_PROTOCOL || field == IPv4_DSCP))
            return true;
        if (rule->type == ETH_P_IPV6 && ((field >= DIPv6_31_0 && field <= SIPv6_127_96) ||
                                         field == IPv6_NEXT_HEADER || field == IPv6_TRAFFIC_CLASS))
            return true;
    }
    return false;
}

void ifc_front_want_tpid(struct ifc_front_rule *rule, unsigned int field, u16 tpid)
{
    if (tpid)
        ifc_front_want(rule, field, 3, ifc_vpm_code(tpid));
    else
        /* Known: Linux does not take the user-defined TPID, code 3, for a VLAN tag. */
        ifc_front_want_range(rule, field, ifc_vpm_code(ETH_P_8021Q), ifc_vpm_code(ETH_P_8021AD));
}

/*
 * The headers before the network header. Only LUT1 holds rules with words; there the frame's type word saves
 * an entry or two.
 */
static void want_ethernet(struct ifc_front_rule *rule)
{
    bool words = has_words(rule) && rule->type && rule->tags != IFC_FRONT_ANY_TAGS;
    unsigned int kind = FRAME_ETHERNET_II;
    unsigned int n;

    for (n = 0; n < (rule->tags == IFC_FRONT_ANY_TAGS ? rule->least_tags : rule->tags); n++)
        ifc_front_want_tpid(rule, n ? VPM1 : VPM0, rule->tpid[n]);
    if (rule->tags < 2 && !words)
        ifc_front_want(rule, rule->tags ? VPM1 : VPM0, 3, 0);
    if (!rule->ethernet)
        return;
    if (words) {
        ifc_front_want_word(rule, IFC_FRONT_FRAME, 2 * ETH_ALEN + (unsigned int)VLAN_HLEN * rule->tags,
                            IFC_COMPARE_EQUAL, 0xFFFF, rule->type);
        return;
    }
    if (rule->type == ETH_P_PPP_DISC)
        kind = FRAME_PPPOE_DISCOVERY;
    else if (rule->type == ETH_P_PPP_SES)
        kind = FRAME_PPPOE_SESSION;
    ifc_front_want(rule, FRAME_TYPE, 7, kind);
    if (rule->type && kind == FRAME_ETHERNET_II && !tells_type(rule))
        ifc_front_want(rule, ETYPE, 0xFFFF, rule->type);
}

/* The field of the word: the one that already has this offset, or a free one. 0: all sixteen are in use. */
static unsigned int word_field(struct ifc_front_words *words, const struct ifc_front_condition *condition)
{
    unsigned int n;
    unsigned int free = IFC_FRONT_WORDS;

    for (n = 0; n < IFC_FRONT_WORDS; n++) {
        if (!words->word[n].users) {
            free = min(free, n);
        } else if (words->word[n].base == condition->base && words->word[n].offset == condition->offset) {
            words->word[n].users++;
            return UDF0 + n;
        }
    }
    if (free == IFC_FRONT_WORDS)
        return 0;
    words->word[free].base = condition->base;
    words->word[free].offset = condition->offset;
    words->word[free].users = 1;
    return UDF0 + free;
}

void ifc_front_release_words(struct ifc_front_words *words, const struct ifc_rule *rule)
{
    unsigned int n;

    for (n = 0; n < rule->count; n++) {
        if (rule->condition[n].field >= UDF0)
            words->word[rule->condition[n].field - UDF0].users--;
    }
}

/* Merges two conditions on one field, unless they contradict each other. */
static bool join(struct ifc_front_rule *rule, unsigned int n)
{
    struct ifc_front_condition *a;
    struct ifc_front_condition *b = &rule->condition[n];
    unsigned int m;

    if (b->compare != IFC_COMPARE_EQUAL)
        return false;
    for (m = 0; m < n; m++) {
        a = &rule->condition[m];
        if (a->compare == IFC_COMPARE_EQUAL && a->field == b->field && a->base == b->base &&
            a->offset == b->offset && !((a->key ^ b->key) & a->mask & b->mask)) {
            a->mask |= b->mask;
            a->key |= b->key;
            *b = rule->condition[--rule->count];
            return true;
        }
    }
    return false;
}

static void enable(IFC_Action_Format *action, unsigned int sub_action)
{
    action->bits.enable = (action->bits.enable | ifc_action_enable_mask(sub_action, GET_HIR())) & 0x3FFF;
}

/* Each value is cut to the width of its member. */
static void encode_action(const struct ifc_front_platform *platform, const struct ifc_front_action *from,
                          unsigned int dei, IFC_Action_Format *to)
{
    u16 tci = from->tci[0] | (u16)(dei << 12);

    if (from->way == IFC_FRONT_TRAP) {
        to->bits.cpu = 1;
        to->bits.nbq = (from->queue_set ? from->queue : 0u) & 0x1F;
    } else if (from->way == IFC_FRONT_DROP || from->way == IFC_FRONT_REDIRECT || from->queue_set) {
        enable(to, IFC_ACT_FPORT_NBQ);
        to->bits.fport = (from->way == IFC_FRONT_DROP       ? (unsigned int)platform->fport_discard
                          : from->way == IFC_FRONT_REDIRECT ? from->fport
                                                            : (unsigned int)platform->fport_host) &
                         0xF;
        to->bits.nbq = (from->queue_set ? from->queue : 0u) & 0x1F;
    }
    if (from->priority_set) {
        enable(to, IFC_ACT_CHANNEL_QUEUE);
        to->bits.queue = from->priority & 7u;
    }
    if (from->mark_set) {
        enable(to, IFC_ACT_SP_TAG);
        to->bits.sp_tag = from->mark;
    }
    if (from->meter_set) {
        enable(to, IFC_ACT_MTR_G);
        to->bits.mtr_g = from->meter;
    }
    if (from->dscp_set) {
        enable(to, IFC_ACT_IPV4_DSCP);
        to->bits.ipv4_dscp = from->dscp;
    }
    if (from->class_set) {
        enable(to, IFC_ACT_IPV6_TRAFFIC_CLASS);
        to->bits.ipv6_traffic_class = from->traffic_class;
    }
    if (from->vo[0]) {
        enable(to, IFC_ACT_VLAN0);
        to->bits.vo0 = from->vo[0] & 3u;
        to->bits.vpm0 = from->vpm & 3u;
        to->bits.vid0_11_0 = tci & 0xFFFu;
        to->bits.vid0_15_12 = (tci >> 12) & 0xFu;
    }
    if (from->vo[1]) {
        enable(to, IFC_ACT_VLAN1);
        to->bits.vo1 = from->vo[1] & 3u;
        to->bits.vid1_11_0 = from->tci[1] & 0xFFFu;
        to->bits.vid1_15_12 = (from->tci[1] >> 12) & 0xFu;
    }
    if (from->keep_priority) {
        enable(to, IFC_ACT_KEEP_PCP);
        to->bits.keep_pcp = 1;
    }
}

/* The rule for fragments. */
static void make_fragments(struct ifc_front_rule *rule)
{
    unsigned int n;
    unsigned int kept = 0;

    for (n = 0; n < rule->count; n++) {
        if (!rule->condition[n].transport)
            rule->condition[kept++] = rule->condition[n];
    }
    rule->count = kept;
    ifc_front_want_fragment(rule);
}

static int encode(const struct ifc_front_platform *platform, struct ifc_front_rule *rule,
                  unsigned int variant, u8 source, struct ifc_front_words *words, struct ifc_rule *out,
                  struct ifc_front_refusal *why)
{
    unsigned int dei = rule->action.keep_dei ? variant & 1 : 0;
    unsigned int n;

    if (variant >> rule->action.keep_dei)
        make_fragments(rule);
    ifc_front_want(rule, SINF, 0x1F, source);
    if (rule->action.keep_dei)
        ifc_front_want(rule, PBIT0, 1, dei);
    want_ethernet(rule);
    for (n = rule->count; n-- > 1;)
        join(rule, n);
    if (rule->overflow || rule->count > IFC_RULE_CONDITIONS)
        return ifc_front_refuse(why, -EOPNOTSUPP, "more conditions than an entry of the classifier holds");

    memset(out, 0, sizeof(*out));
    for (n = 0; n < rule->count; n++) {
        const struct ifc_front_condition *from = &rule->condition[n];
        struct ifc_rule_condition *to = &out->condition[n];

        to->field = from->field;
        if (!from->field) {
            if (!platform->place_word)
                return ifc_front_refuse(why, -EOPNOTSUPP,
                                        "a key needs a word of the frame that %s cannot compare",
                                        platform->name);
            to->field = (uint8_t)word_field(words, from);
            if (!to->field)
                return ifc_front_refuse(why, -ENOSPC, "all %u user-defined words of the frame are in use",
                                        IFC_FRONT_WORDS);
        }
        to->compare = from->compare;
        to->mask = from->mask;
        to->key = from->key;
        to->key_last = from->key_last;
        if (from->compare == IFC_COMPARE_RANGE && (to->field == VPM0 || to->field == VPM1))
            to->mask = 3;
    }
    out->count = rule->count;
    encode_action(platform, &rule->action, dei, &out->action);
    if (ifc_rule_check(out, NULL) != IFC_RULESET_OK)
        return ifc_front_refuse(why, -EOPNOTSUPP, "no table of the classifier holds these masks together");
    return 0;
}

int ifc_front_encode(const struct ifc_front_platform *platform, const struct ifc_front_rule *rule,
                     unsigned int variant, u8 source, struct ifc_front_words *words, struct ifc_rule *out,
                     struct ifc_front_refusal *why)
{
    struct ifc_front_rule *copy = kmemdup(rule, sizeof(*rule), GFP_KERNEL);
    int result;

    if (!copy)
        return ifc_front_refuse(why, -ENOMEM, "no memory");
    result = encode(platform, copy, variant, source, words, out, why);
    kfree(copy);
    return result;
}
