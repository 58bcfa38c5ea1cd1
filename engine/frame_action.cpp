// SPDX-License-Identifier: MIT OR GPL-2.0
#include "engine/frame_action.h"

#include "engine/wire.h"
#include "ifc/records/action_record.h"

namespace engine
{

namespace
{

struct Tag {
    uint32_t tpid;
    uint32_t tci;
};

// Model: VPM code 0 names no TPID. An inserted tag then gets the one of IEEE 802.1Q; a replaced tag keeps its
// own. The same holds for code 3 while no user-defined TPID is set.
uint32_t tpidOr(unsigned vpm, uint16_t userTpid, uint32_t fallback)
{
    const uint32_t tpid = ifc::tpidOf(vpm, userTpid);
    return tpid != 0 ? tpid : fallback;
}

// Model: with keep pcp a replaced tag keeps its PCP and DEI, and an inserted tag takes them from the frame's
// outer tag.
uint32_t tciOf(uint32_t tci, bool keepPcp, const Tag *from)
{
    return keepPcp && from != nullptr ? (tci & 0x0FFF) | (from->tci & 0xF000) : tci;
}

// RFC 1624, equation 3. A wrong checksum stays wrong.
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
    const auto get = [words](ifc::ActionField field) { return ifc::getActionField(words, field); };
    Action action{};
    for (unsigned n = 0; n < IFC_ACT_COUNT; ++n)
        action.on |= static_cast<uint32_t>(ifc::isSubActionOn(words, n, revision)) << n;

    action.channel = static_cast<uint8_t>(get(ifc::kChannel));
    action.queue = static_cast<uint8_t>(get(ifc::kQueue));
    action.fport = static_cast<uint8_t>(get(ifc::kFport));
    action.nbq = static_cast<uint8_t>(get(ifc::kNbq));
    action.spTag = static_cast<uint16_t>(get(ifc::kSpTag));
    action.cnt0 = static_cast<uint8_t>(get(ifc::kCnt0));
    action.cnt1 = static_cast<uint8_t>(get(ifc::kCnt1));
    action.meter = static_cast<uint8_t>(get(ifc::kMtrG));
    action.ipv4Dscp = static_cast<uint8_t>(get(ifc::kIpv4Dscp));
    action.ipv6TrafficClass = static_cast<uint8_t>(get(ifc::kIpv6TrafficClass));
    action.vpm0 = static_cast<uint8_t>(get(ifc::kVpm0));
    action.vo[0] = static_cast<TagCode>(get(ifc::kVo0));
    action.vo[1] = static_cast<TagCode>(get(ifc::kVo1));
    action.vid[0] = static_cast<uint16_t>(get(ifc::kVid0));
    action.vid[1] = static_cast<uint16_t>(get(ifc::kVid1));
    action.fqos = isOn(action, IFC_ACT_FQOS) && get(ifc::kFqos) != 0;
    action.fast = isOn(action, IFC_ACT_FAST) && get(ifc::kFast) != 0;
    action.mc = isOn(action, IFC_ACT_MC) && get(ifc::kMc) != 0;
    action.keepPcp = isOn(action, IFC_ACT_KEEP_PCP) && get(ifc::kKeepPcp) != 0;
    action.dpi = isOn(action, IFC_ACT_DPI) && get(ifc::kDpi) != 0;
    action.cpu = get(ifc::kCpu) != 0;
    action.owf = get(ifc::kOwf) != 0;
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
            const unsigned vpm = n == 0 ? action.vpm0 : ifc::kVpmNone; // tag 1 has no TPID selector
            if (code == TagCode::Insert)
                leaving[count++] = {tpidOr(vpm, userTpid, ifc::kTpid8021Q),
                                    tciOf(action.vid[n], action.keepPcp, outer)};
            if (here == nullptr || code == TagCode::Remove)
                continue;
            if (code == TagCode::Replace)
                leaving[count++] = {tpidOr(vpm, userTpid, here->tpid),
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

    if (parsed.ipVersion != 0) {
        // The parser finds an IP header only after all tags, so the header lies after what was read.
        uint8_t *network = out + put + (parsed.network - at);
        if (parsed.ipVersion == 4 && isOn(action, IFC_ACT_IPV4_DSCP)) {
            const uint32_t before = be16(network);
            // Model: the upper six bits are the code point (RFC 2474). The two ECN bits below them stay.
            network[1] = static_cast<uint8_t>((action.ipv4Dscp & 0xFC) | (network[1] & 3));
            repairChecksum(network + 10, before, be16(network));
        }
        if (parsed.ipVersion == 6 && isOn(action, IFC_ACT_IPV6_TRAFFIC_CLASS)) {
            network[0] = static_cast<uint8_t>((network[0] & 0xF0) | action.ipv6TrafficClass >> 4);
            network[1] = static_cast<uint8_t>(action.ipv6TrafficClass << 4 | (network[1] & 0x0F));
        }
    }
    return length - at + put;
}

} // namespace engine
