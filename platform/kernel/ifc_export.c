// SPDX-License-Identifier: MIT OR GPL-2.0
// Exports the operations and the driver's globals to other modules.
#include <linux/export.h>

#include "ifc/ifc_util.h"
#include "ifc_records.h"
#include "ifc_sim.h"
#include "ruleset/ruleset.h"

EXPORT_SYMBOL_GPL(gpIfcPriv);
EXPORT_SYMBOL_GPL(IFC_LUT0_Rule);
EXPORT_SYMBOL_GPL(IFC_LUT1_Rule);
EXPORT_SYMBOL_GPL(ifc_field_name);
EXPORT_SYMBOL_GPL(ifcSendToPpe);

/* For tests. */
EXPORT_SYMBOL_GPL(ifc_kernel_printk);
EXPORT_SYMBOL_GPL(get_frame_engine_data);
EXPORT_SYMBOL_GPL(set_frame_engine_data);
EXPORT_SYMBOL_GPL(GET_HIR);
EXPORT_SYMBOL_GPL(ifc_sim_power_on);
EXPORT_SYMBOL_GPL(ifc_sim_done_after);
EXPORT_SYMBOL_GPL(ifc_sim_errors);
EXPORT_SYMBOL_GPL(ifc_sim_tables);
EXPORT_SYMBOL_GPL(ifc_sim_time_out);

/* For the ports that try it out (platform/linux_net). */
EXPORT_SYMBOL_GPL(ifc_sim_forward);
EXPORT_SYMBOL_GPL(ifc_sim_udf);

/* What a front end needs beside the operations. */
EXPORT_SYMBOL_GPL(ifc_action_enable_mask);
EXPORT_SYMBOL_GPL(ifc_vpm_code);

EXPORT_SYMBOL_GPL(ifcSetRuleConfig);
EXPORT_SYMBOL_GPL(ifcChecConfigDone);
EXPORT_SYMBOL_GPL(write_all_ifc_rule_to_hw);
EXPORT_SYMBOL_GPL(clear_all_ifc_rules);
EXPORT_SYMBOL_GPL(clear_ifc_rules);
EXPORT_SYMBOL_GPL(ifc_enable);
EXPORT_SYMBOL_GPL(ifc_disable);
EXPORT_SYMBOL_GPL(ifc_get_ifc_staus);
EXPORT_SYMBOL_GPL(get_lut0_mask_key);
EXPORT_SYMBOL_GPL(set_lut0_mask_key);
EXPORT_SYMBOL_GPL(set_lut0_mask_key_to_array);
EXPORT_SYMBOL_GPL(ifc_get_rule_from_reg);
EXPORT_SYMBOL_GPL(ifc_parser_lut0_rule);
EXPORT_SYMBOL_GPL(ifc_get_rule_from_hw);
EXPORT_SYMBOL_GPL(ifc_set_lut0_rules);
EXPORT_SYMBOL_GPL(ifc_delete_lut0);
EXPORT_SYMBOL_GPL(ifc_set_lut1_rules);
EXPORT_SYMBOL_GPL(ifc_delete_lut1);
EXPORT_SYMBOL_GPL(change_mask_from_48_to_32);
EXPORT_SYMBOL_GPL(ifc_set_lut_rules_auto);
EXPORT_SYMBOL_GPL(lut1_has_free_rule);
EXPORT_SYMBOL_GPL(ifc_del_lut_rules_auto);
EXPORT_SYMBOL_GPL(ifc_match_rule_lut0);
EXPORT_SYMBOL_GPL(ifc_match_rule_lut1);
EXPORT_SYMBOL_GPL(ifc_match_lut1);
EXPORT_SYMBOL_GPL(ifc_set_action);
EXPORT_SYMBOL_GPL(ifc_clear_action);
EXPORT_SYMBOL_GPL(clear_all_ifc_actions);
EXPORT_SYMBOL_GPL(ifc_dump_action);
EXPORT_SYMBOL_GPL(ifc_set_acnt);
EXPORT_SYMBOL_GPL(ifc_get_acnt);
EXPORT_SYMBOL_GPL(clear_all_ifc_acnt);
EXPORT_SYMBOL_GPL(checkIFCResult);
EXPORT_SYMBOL_GPL(ifc_dump_lut0_rules);
EXPORT_SYMBOL_GPL(ifc_dump_lut1_rules);
EXPORT_SYMBOL_GPL(ifc_dump_all_rules);
EXPORT_SYMBOL_GPL(_getLowestBit);
EXPORT_SYMBOL_GPL(getLowestBit);
EXPORT_SYMBOL_GPL(isTPID);
EXPORT_SYMBOL_GPL(transTPIDtoVPM);
EXPORT_SYMBOL_GPL(transVPMtoTPID);
EXPORT_SYMBOL_GPL(getPppoeSid);
EXPORT_SYMBOL_GPL(skb_chksum);
EXPORT_SYMBOL_GPL(ipv4_checksum);
EXPORT_SYMBOL_GPL(tcp_udp_checksum);
EXPORT_SYMBOL_GPL(dump_skb);

/* Ordered rules. */
EXPORT_SYMBOL_GPL(ifc_rule_check);
EXPORT_SYMBOL_GPL(ifc_rule_overlap);
EXPORT_SYMBOL_GPL(ifc_rule_covers);
EXPORT_SYMBOL_GPL(ifc_rule_contradicts_itself);
EXPORT_SYMBOL_GPL(ifc_rule_repeats);
EXPORT_SYMBOL_GPL(ifc_rule_shape_of);
EXPORT_SYMBOL_GPL(ifc_rule_encode_wide);
EXPORT_SYMBOL_GPL(ifc_rule_encode_narrow);
EXPORT_SYMBOL_GPL(ifc_rule_decode_wide);
EXPORT_SYMBOL_GPL(ifc_rule_decode_narrow);
EXPORT_SYMBOL_GPL(ifc_ruleset_init);
EXPORT_SYMBOL_GPL(ifc_ruleset_read);
EXPORT_SYMBOL_GPL(ifc_ruleset_count);
EXPORT_SYMBOL_GPL(ifc_ruleset_rule);
EXPORT_SYMBOL_GPL(ifc_ruleset_place_of);
EXPORT_SYMBOL_GPL(ifc_ruleset_number);
EXPORT_SYMBOL_GPL(ifc_ruleset_find_number);
EXPORT_SYMBOL_GPL(ifc_ruleset_find_cookie);
EXPORT_SYMBOL_GPL(ifc_ruleset_insert);
EXPORT_SYMBOL_GPL(ifc_ruleset_remove);
EXPORT_SYMBOL_GPL(ifc_ruleset_clear);
EXPORT_SYMBOL_GPL(ifc_ruleset_replace);
EXPORT_SYMBOL_GPL(ifc_ruleset_move);
EXPORT_SYMBOL_GPL(ifc_ruleset_plan);
EXPORT_SYMBOL_GPL(ifc_ruleset_apply);
EXPORT_SYMBOL_GPL(ifc_ruleset_forget_undo);
