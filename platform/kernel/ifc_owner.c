// SPDX-License-Identifier: MIT OR GPL-2.0
#include "ifc_owner.h"

#include <linux/export.h>
#include <linux/kernel.h>
#include <linux/string.h>

static const void *owner;
static const char *owner_name;

bool ifc_owner_take(const void *who, const char *name)
{
    if (owner && owner != who)
        return false;
    owner = who;
    owner_name = name;
    return true;
}
EXPORT_SYMBOL_GPL(ifc_owner_take);

void ifc_owner_give(const void *who)
{
    if (owner != who)
        return;
    owner = NULL;
    owner_name = NULL;
}
EXPORT_SYMBOL_GPL(ifc_owner_give);

const char *ifc_owner_name(void)
{
    return owner_name;
}
EXPORT_SYMBOL_GPL(ifc_owner_name);

/* All others change something, or may. */
bool ifc_owner_line_only_reads(const char *line)
{
    static const char *const reading[] = {
        "help",
        "get",
        "ifc_get_ifc_staus",
        "get_lut0_mask_key",
        "set_lut0_mask_key_to_array",
        "ifc_get_rule_from_reg",
        "ifc_parser_lut0_rule",
        "ifc_get_rule_from_hw",
        "change_mask_from_48_to_32",
        "lut1_has_free_rule",
        "ifc_match_rule_lut0",
        "ifc_match_rule_lut1",
        "ifc_match_lut1",
        "ifc_dump_action",
        "ifc_get_acnt",
        "checkIFCResult",
        "ifc_dump_lut0_rules",
        "ifc_dump_lut1_rules",
        "ifc_dump_all_rules",
        "_getLowestBit",
        "getLowestBit",
        "isTPID",
        "transTPIDtoVPM",
        "transVPMtoTPID",
        "getPppoeSid",
        "skb_chksum",
        "ipv4_checksum",
        "tcp_udp_checksum",
        "dump_skb",
    };
    size_t length;
    unsigned int n;

    line = skip_spaces(line);
    length = strcspn(line, " \t\n#");
    if (!length)
        return true;
    for (n = 0; n < ARRAY_SIZE(reading); n++) {
        if (strlen(reading[n]) == length && !strncmp(line, reading[n], length))
            return true;
    }
    return false;
}
