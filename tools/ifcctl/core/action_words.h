// SPDX-License-Identifier: MIT OR GPL-2.0
// The words of an action: the sub-action and the value of each.
#pragma once

#include "match_words.h"

#include "ifc/records/action_record.h"

#include <cstdint>
#include <string>

namespace ifcctl
{

struct ActionWord {
    const char *word;
    unsigned actIdx;
    unsigned position; // of its value among value0 to value3
    unsigned lsb;      // of the value in that field

    constexpr ifc::ActionField field() const { return ifc::kSetFields[actIdx][position]; }
    constexpr unsigned most() const { return ifc::actionFieldMost(field()) >> lsb; }
};

inline constexpr ActionWord kActionWords[] = {
    {"channel", IFC_ACT_CHANNEL_QUEUE, 0, 0},
    {"queue", IFC_ACT_CHANNEL_QUEUE, 1, 0},
    {"fport", IFC_ACT_FPORT_NBQ, 0, 0},
    {"nbq", IFC_ACT_FPORT_NBQ, 1, 0},
    {"sp_tag", IFC_ACT_SP_TAG, 0, 0},
    {"gem", IFC_ACT_SP_TAG, 0, 0},
    {"count", IFC_ACT_CNT0, 0, 0},
    {"count1", IFC_ACT_CNT1, 0, 0},
    {"meter", IFC_ACT_MTR_G, 0, 0},
    {"dscp", IFC_ACT_IPV4_DSCP, 0, kCodePointLsb},
    {"ds_octet", IFC_ACT_IPV4_DSCP, 0, 0},
    {"traffic_class", IFC_ACT_IPV6_TRAFFIC_CLASS, 0, 0},
    {"vpm0", IFC_ACT_VLAN0, 0, 0},
    {"vo0", IFC_ACT_VLAN0, 1, 0},
    {"vprio0", IFC_ACT_VLAN0, 2, 0},
    {"vid0", IFC_ACT_VLAN0, 3, 0},
    {"vo1", IFC_ACT_VLAN1, 0, 0},
    {"vprio1", IFC_ACT_VLAN1, 1, 0},
    {"vid1", IFC_ACT_VLAN1, 2, 0},
    {"fqos", IFC_ACT_FQOS, 0, 0},
    {"fast", IFC_ACT_FAST, 0, 0},
    {"mc", IFC_ACT_MC, 0, 0},
    {"keep_pcp", IFC_ACT_KEEP_PCP, 0, 0},
    {"cpu", IFC_ACT_CPU_NBQ, 0, 0},
    {"owf", IFC_ACT_OWF, 0, 0},
    {"dpi", IFC_ACT_DPI, 0, 0},
};

// The raw enable bits: the other words then set only their fields.
inline const std::string kEnableWord = "enable";
inline const std::string kOffWord = "off";

// nullptr: unknown word.
const ActionWord *findActionWord(const std::string &word);

// Of two words for one field, the one that is printed for this value.
bool isWordFor(const ActionWord &entry, const uint32_t *words);

// The end of a message about an unknown word.
std::string didYouMeanAction(const std::string &given);

} // namespace ifcctl
