// SPDX-License-Identifier: MIT OR GPL-2.0
#include "engine/frame_action.h"

#include "engine/wire.h"

namespace engine
{

namespace
{

struct Tag {
    uint32_t tpid;
    uint32_t tci;
};

constexpr unsigned kSharedBit = 13; // sub-actions 13 and 16

// Model: VPM code 0 names no TPID; an inserted tag then gets the one of IEEE 802.1Q, a replaced one keeps its
// own. So does code 3 while no user-defined TPID is set.
uint32_t tpidOf(unsigned vpm, uint16_t userTpid, uint32_t fallback)
{
    switch (vpm) {
    case 1:
        return kTpid8021Q;
    case 2:
        return kTpid8021ad;
    case 3:
        return userTpid != 0 ? userTpid : fallback;
    default:
        return fallback;
    }
}

// Model: with keep pcp a tag takes priority and drop bit from the tag that it replaces, or, when inserted,
// from the frame's outer tag.
uint32_t tciOf(uint32_t tci, bool keepPcp, const Tag *from)
{
    return keepPcp && from != nullptr ? (tci & 0x0FFF) | (from->tci & 0xF000) : tci;
}

// RFC 1624, equation 3. A header that arrived with a wrong checksum leaves with one that is as wrong.
void repairChecksum(uint8_t *field, uint32_t before, uint32_t after)
{
    uint32_t sum = (~be16(field) & 0xFFFF) + (~before & 0xFFFF) + after;
    sum = (sum & 0xFFFF) + (sum >> 16);
    sum = (sum & 0xFFFF) + (sum >> 16);
    putBe16(field, ~sum);
}

bool isOn(const Action &action, unsigned subAction)
{
    return (action.on >> subAction & 1) != 0;
}

} // namespace

Action decodeAction(const uint32_t *words, int revision)
{
    IFC_Action_Format view;
    __builtin_memcpy(view.word, words, sizeof view.word);
    const auto &bits = view.bits;

    Action action{};
    for (unsigned n = 0; n <= IFC_ACT_KEEP_PCP; ++n) {
        const unsigned bit = revision == kRevisionSharedEnable && n > IFC_ACT_CNT0 ? n - 1 : n;
        action.on |= static_cast<uint32_t>(bits.enable >> bit & 1) << n;
    }
    action.on |= static_cast<uint32_t>(bits.cpu) << IFC_ACT_CPU_NBQ;
    action.on |= static_cast<uint32_t>(bits.owf) << IFC_ACT_OWF;
    action.on |= static_cast<uint32_t>(bits.enable >> kSharedBit & 1) << IFC_ACT_DPI;

    action.channel = bits.channel;
    action.queue = bits.queue;
    action.fport = bits.fport;
    action.nbq = bits.nbq;
    action.spTag = bits.sp_tag;
    action.cnt0 = static_cast<uint8_t>(bits.cnt0_5_4 << 4 | bits.cnt0_3_0);
    action.cnt1 = bits.cnt1;
    action.meter = bits.mtr_g;
    action.ipv4Dscp = bits.ipv4_dscp;
    action.ipv6TrafficClass = bits.ipv6_traffic_class;
    action.vpm0 = bits.vpm0;
    action.vo[0] = static_cast<TagCode>(bits.vo0);
    action.vo[1] = static_cast<TagCode>(bits.vo1);
    action.vid[0] = static_cast<uint16_t>(bits.vid0_15_12 << 12 | bits.vid0_11_0);
    action.vid[1] = static_cast<uint16_t>(bits.vid1_15_12 << 12 | bits.vid1_11_0);
    action.fqos = isOn(action, IFC_ACT_FQOS) && bits.fqos;
    action.fast = isOn(action, IFC_ACT_FAST) && bits.fast;
    action.mc = isOn(action, IFC_ACT_MC) && bits.mc;
    action.keepPcp = isOn(action, IFC_ACT_KEEP_PCP) && bits.keep_pcp;
    action.dpi = isOn(action, IFC_ACT_DPI) && bits.dpi;
    action.cpu = bits.cpu;
    action.owf = bits.owf;
    return action;
}

size_t applyAction(const Action &action, const ParsedFrame &parsed, uint16_t userTpid, const uint8_t *data,
                   size_t length, uint8_t *out, size_t capacity)
{
    if (capacity < length + kMaxGrowth)
        return 0;
    size_t at = 0;  // read so far
    size_t put = 0; // written so far

    // Model: a frame that ends before its length/type word keeps its bytes.
    if (hasField(parsed.fields, FRAME_TYPE)) {
        Tag arrived[kMaxTags] = {};
        for (unsigned n = 0; n < parsed.tags; ++n) {
            const uint8_t *tag = data + kTypeOffset + kTagBytes * n;
            arrived[n] = {be16(tag), be16(tag + 2)};
        }
        Tag leaving[2 * kMaxTags];
        unsigned count = 0;
        for (unsigned n = 0; n < kMaxTags; ++n) {
            const Tag *here = n < parsed.tags ? &arrived[n] : nullptr;
            const Tag *outer = parsed.tags != 0 ? &arrived[0] : nullptr;
            const TagCode code = isOn(action, IFC_ACT_VLAN0 + n) ? action.vo[n] : TagCode::Keep;
            const unsigned vpm = n == 0 ? action.vpm0 : 0; // tag 1 has no TPID selector
            if (code == TagCode::Insert)
                leaving[count++] = {tpidOf(vpm, userTpid, kTpid8021Q),
                                    tciOf(action.vid[n], action.keepPcp, outer)};
            if (here == nullptr || code == TagCode::Remove)
                continue;
            if (code == TagCode::Replace)
                leaving[count++] = {tpidOf(vpm, userTpid, here->tpid),
                                    tciOf(action.vid[n], action.keepPcp, here)};
            else
                leaving[count++] = *here;
        }
        __builtin_memcpy(out, data, kTypeOffset);
        put = kTypeOffset;
        for (unsigned n = 0; n < count; ++n, put += kTagBytes) {
            putBe16(out + put, leaving[n].tpid);
            putBe16(out + put + 2, leaving[n].tci);
        }
        at = kTypeOffset + kTagBytes * parsed.tags;
    }
    if (length > at)
        __builtin_memcpy(out + put, data + at, length - at);

    uint8_t *network = out + (parsed.network - at + put);
    if (parsed.ipVersion == 4 && isOn(action, IFC_ACT_IPV4_DSCP)) {
        const uint32_t before = be16(network);
        // Model: six bits of code point; the two ECN bits behind them stay.
        network[1] = static_cast<uint8_t>(action.ipv4Dscp << 2 | (network[1] & 3));
        repairChecksum(network + 10, before, be16(network));
    }
    if (parsed.ipVersion == 6 && isOn(action, IFC_ACT_IPV6_TRAFFIC_CLASS)) {
        network[0] = static_cast<uint8_t>((network[0] & 0xF0) | action.ipv6TrafficClass >> 4);
        network[1] = static_cast<uint8_t>(action.ipv6TrafficClass << 4 | (network[1] & 0x0F));
    }
    return length - at + put;
}

} // namespace engine
