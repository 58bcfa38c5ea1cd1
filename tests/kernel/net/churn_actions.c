// SPDX-License-Identifier: MIT OR GPL-2.0
// Random actions of flower filters: edits, then a redirection, `ok` or `drop`.
#include "churn.h"

#include <arpa/inet.h>
#include <linux/if_ether.h>
#include <linux/pkt_cls.h>
#include <linux/tc_act/tc_csum.h>
#include <linux/tc_act/tc_gact.h>
#include <linux/tc_act/tc_mirred.h>
#include <linux/tc_act/tc_pedit.h>
#include <linux/tc_act/tc_skbedit.h>
#include <linux/tc_act/tc_vlan.h>
#include <string.h>

static unsigned action_number;

// An action with its parameters, and what follows until end_action().
static void *begin_action(const char *kind, int type, const void *parameters, size_t length, void **action)
{
    *action = nest(++action_number);
    put(TCA_ACT_KIND, kind, strlen(kind) + 1);
    void *options = nest(TCA_ACT_OPTIONS);
    put(type, parameters, length);
    return options;
}

static void end_action(void *options, void *action)
{
    end(options);
    end(action);
}

static void edit_tag(int what, uint16_t vid, uint8_t priority, uint16_t tpid)
{
    struct tc_vlan vlan = {.action = TC_ACT_PIPE, .v_action = what};
    void *action, *options = begin_action("vlan", TCA_VLAN_PARMS, &vlan, sizeof vlan, &action);
    if (what != TCA_VLAN_ACT_POP) {
        put16h(TCA_VLAN_PUSH_VLAN_ID, vid);
        if (tpid != 0)
            put16(TCA_VLAN_PUSH_VLAN_PROTOCOL, tpid);
        if (priority != 0)
            put8(TCA_VLAN_PUSH_VLAN_PRIORITY, priority);
    }
    end_action(options, action);
}

// Mostly a new tag with the filter's number.
static void edit_tags(uint16_t tag)
{
    switch (draw(20)) {
    case 0:
        edit_tag(TCA_VLAN_ACT_MODIFY, tag, 0, 0);
        break;
    case 1:
        edit_tag(TCA_VLAN_ACT_MODIFY, tag, draw(8), 0);
        break;
    case 2:
        edit_tag(TCA_VLAN_ACT_MODIFY, tag, draw(8), ETH_P_8021AD);
        break;
    case 3:
        edit_tag(TCA_VLAN_ACT_MODIFY, tag, draw(8), 0);
        edit_tag(TCA_VLAN_ACT_MODIFY, tag, draw(8), 0);
        break;
    case 4:
        edit_tag(TCA_VLAN_ACT_POP, 0, 0, 0);
        break;
    case 5:
        edit_tag(TCA_VLAN_ACT_POP, 0, 0, 0);
        edit_tag(TCA_VLAN_ACT_PUSH, tag, 3, 0);
        break;
    case 6:
        edit_tag(TCA_VLAN_ACT_POP, 0, 0, 0);
        edit_tag(TCA_VLAN_ACT_PUSH, tag, draw(8), 0);
        edit_tag(TCA_VLAN_ACT_PUSH, tag, draw(8), draw(2) ? ETH_P_8021AD : 0);
        break;
    case 7:
        edit_tag(TCA_VLAN_ACT_POP, 0, 0, 0);
        edit_tag(TCA_VLAN_ACT_POP, 0, 0, 0);
        if (draw(2))
            edit_tag(TCA_VLAN_ACT_PUSH, tag, draw(8), 0);
        break;
    case 8:
        edit_tag(TCA_VLAN_ACT_PUSH, tag, draw(8), 0);
        edit_tag(TCA_VLAN_ACT_PUSH, tag, draw(8), draw(2) ? ETH_P_8021AD : 0);
        break;
    case 9:
        edit_tag(TCA_VLAN_ACT_PUSH, tag, draw(8), ETH_P_8021AD);
        break;
    case 10:
        edit_tag(TCA_VLAN_ACT_PUSH, 1, draw(8), 0);
        edit_tag(TCA_VLAN_ACT_MODIFY, tag, draw(8), draw(2) ? ETH_P_8021AD : 0);
        break;
    case 11:
        edit_tag(TCA_VLAN_ACT_PUSH, 1, draw(8), 0);
        edit_tag(TCA_VLAN_ACT_POP, 0, 0, 0);
        break;
    case 12:
        break;
    default:
        edit_tag(TCA_VLAN_ACT_PUSH, tag, 0, 0);
        break;
    }
}

// The DS octet. With IPv4 software needs to be told to correct the checksum; the chip does it in any case.
static void edit_octet(unsigned version)
{
    struct {
        struct tc_pedit_sel selection;
        struct tc_pedit_key key;
    } pedit = {.selection = {.action = TC_ACT_PIPE, .nkeys = 1}};
    uint32_t changed = version == 4 ? 0x00FC0000 : 0x0FF00000;
    pedit.key.mask = ~htonl(changed);
    pedit.key.val = htonl(draw(256) << (version == 4 ? 16 : 20) & changed);
    void *action, *options = begin_action("pedit", TCA_PEDIT_PARMS_EX, &pedit, sizeof pedit, &action);
    void *keys = nest(TCA_PEDIT_KEYS_EX);
    void *key = nest(TCA_PEDIT_KEY_EX);
    put16h(TCA_PEDIT_KEY_EX_HTYPE,
           version == 4 ? TCA_PEDIT_KEY_EX_HDR_TYPE_IP4 : TCA_PEDIT_KEY_EX_HDR_TYPE_IP6);
    put16h(TCA_PEDIT_KEY_EX_CMD, TCA_PEDIT_KEY_EX_CMD_SET);
    end(key);
    end(keys);
    end_action(options, action);
    if (version == 4) {
        struct tc_csum csum = {.action = TC_ACT_PIPE, .update_flags = TCA_CSUM_UPDATE_FLAG_IPV4HDR};
        options = begin_action("csum", TCA_CSUM_PARMS, &csum, sizeof csum, &action);
        end_action(options, action);
    }
}

static void edit_metadata(int type, uint32_t value)
{
    struct tc_skbedit skbedit = {.action = TC_ACT_PIPE};
    void *action, *options = begin_action("skbedit", TCA_SKBEDIT_PARMS, &skbedit, sizeof skbedit, &action);
    put32h(type, value);
    end_action(options, action);
}

void put_actions(int to, uint16_t tag, unsigned version)
{
    void *actions = nest(TCA_FLOWER_ACT);
    bool tags_first = draw(2);
    action_number = 0;
    // Before the tags: software's csum does not find the header after two of them.
    if (version != 0 && draw(3) == 0)
        edit_octet(version);
    if (tags_first)
        edit_tags(tag);
    if (draw(4) == 0)
        edit_metadata(TCA_SKBEDIT_PRIORITY, draw(8));
    if (draw(4) == 0)
        edit_metadata(TCA_SKBEDIT_MARK, draw(0x10000));
    if (!tags_first)
        edit_tags(tag);

    void *action, *options;
    if (draw(3) != 0) {
        struct tc_mirred mirred = {.action = TC_ACT_STOLEN, .eaction = TCA_EGRESS_REDIR, .ifindex = to};
        options = begin_action("mirred", TCA_MIRRED_PARMS, &mirred, sizeof mirred, &action);
    } else {
        struct tc_gact gact = {.action = draw(4) ? TC_ACT_OK : TC_ACT_SHOT};
        options = begin_action("gact", TCA_GACT_PARMS, &gact, sizeof gact, &action);
    }
    end_action(options, action);
    end(actions);
}
