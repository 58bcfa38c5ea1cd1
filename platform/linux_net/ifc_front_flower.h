/* SPDX-License-Identifier: MIT OR GPL-2.0 */
/* What the two decoders of flower's keys share. */
#ifndef IFC_FRONT_FLOWER_H
#define IFC_FRONT_FLOWER_H

#include "ifc_front_rule.h"

#include <net/flow_dissector.h>

/* True: the filter has this key. */
static inline bool ifc_front_asks(const struct flow_rule *flow, enum flow_dissector_key_id key)
{
    return dissector_uses_key(flow->match.dissector, key);
}

/* Decodes the keys of the packet after the EtherType. The rule's type and version are known. */
int ifc_front_decode_flower_packet(const struct flow_rule *flow, struct ifc_front_rule *rule,
                                   struct ifc_front_refusal *why);

#endif
