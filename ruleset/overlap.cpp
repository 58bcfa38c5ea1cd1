// SPDX-License-Identifier: MIT OR GPL-2.0
#include "ruleset/overlap.h"

#include "ifc/records/chip.h"
#include "ruleset/rule_bits.h"

namespace ruleset
{

namespace
{

constexpr unsigned kWidestField = 48; // bits

// All fields but the user-defined ones, which imply nothing.
using FieldSet = uint32_t;

constexpr FieldSet bit(unsigned field)
{
    return FieldSet{1} << field;
}

constexpr FieldSet bits(unsigned first, unsigned last)
{
    return (bit(last) << 1) - bit(first);
}

// Fields that occur together in a frame, by the parser's rules: docs/hardware-model.md.
constexpr FieldSet kMacFields = bit(DMAC) | bit(DMAC_TYPE);
constexpr FieldSet kOuterTag = bit(VID0) | bit(PBIT0);
constexpr FieldSet kInnerTag = bit(VID1) | bit(PBIT1);
constexpr FieldSet kIpv4Fields = bit(DIPv4) | bit(SIPv4) | bit(IPv4_PROTOCOL) | bit(IPv4_DSCP);
constexpr FieldSet kIpv6Fields =
    bits(DIPv6_31_0, FLOW_LABEL) | bit(IPv6_NEXT_HEADER) | bit(IPv6_TRAFFIC_CLASS);
constexpr FieldSet kPorts = bit(SPORT) | bit(DPORT);

// A frame that has one of the first has all of the second. Ordered so that one pass finds all implications.
constexpr FieldSet kImplied[][2] = {
    {kPorts, kPorts},
    {kIpv4Fields, kIpv4Fields},
    {kIpv6Fields, kIpv6Fields},
    {kPorts | kIpv4Fields | kIpv6Fields | bit(PPPOE_SESSION), bit(ETYPE)},
    {bit(ETYPE), bit(FRAME_TYPE)},
    {bit(FRAME_TYPE), bit(VPM1)},
    {kInnerTag, kInnerTag | bit(VPM1) | kOuterTag},
    {bit(VPM1) | kOuterTag, bit(VPM0)},
    {kOuterTag, kOuterTag},
    {bit(VPM0), bit(SMAC)},
    {bit(SMAC) | kMacFields, kMacFields},
};

constexpr uint64_t kBroadcast = 0xFFFFFFFFFFFF;
constexpr uint64_t kGroupBit = uint64_t{1} << 40;

constexpr uint16_t kTypeIpv4 = 0x0800;
constexpr uint16_t kTypeIpv6 = 0x86DD;
constexpr uint16_t kTypePppoeDiscovery = 0x8863;
constexpr uint16_t kTypePppoeSession = 0x8864;
constexpr uint16_t kFirstType = 0x0600; // of Ethernet II
constexpr uint16_t kNoType = 0;
constexpr uint16_t kAnyType = 1;

constexpr uint8_t kProtocolsWithPorts[] = {6, 17, 33, 132, 136}; // TCP, UDP, DCCP, SCTP, UDP-Lite

// The n-th of all conditions. nullptr: there are fewer.
const RuleCondition *conditionAt(const Together &all, unsigned n)
{
    for (const Rule *rule : all.rule) {
        if (rule == nullptr)
            continue;
        if (n < rule->count)
            return rule->condition + n;
        n -= rule->count;
    }
    return n < all.extras ? all.extra + n : nullptr;
}

FieldSet fieldsOf(const Together &all)
{
    FieldSet fields = 0;
    unsigned n = 0;
    while (const RuleCondition *c = conditionAt(all, n++))
        if (ifc::isWideField(c->field))
            fields |= bit(c->field);
    return fields;
}

// The conditions on a field, one after the other. nullptr: no more. `at` starts at 0.
const RuleCondition *nextOn(const Together &all, unsigned field, unsigned &at)
{
    const RuleCondition *c;
    do
        c = conditionAt(all, at++);
    while (c != nullptr && c->field != field);
    return c;
}

void add(Together &all, unsigned field, unsigned compare, uint64_t mask, uint64_t key)
{
    all.extra[all.extras++] = makeCondition(field, compare, mask, key);
}

// What the `fixed` bits of a field decide about a condition; the other bits are 0 in `value`.
Verdict decided(const RuleCondition &c, uint64_t fixed, uint64_t value)
{
    const uint64_t least = value & c.mask;
    const uint64_t most = least | (c.mask & ~fixed);
    if (c.compare == IFC_COMPARE_NOT_EQUAL) {
        if (((value ^ c.key) & c.mask & fixed) != 0)
            return Verdict::Yes;
        return least == most ? Verdict::No : Verdict::Unknown;
    }
    const uint64_t first = c.compare == IFC_COMPARE_AT_MOST ? 0 : c.key;
    const uint64_t last = c.compare == IFC_COMPARE_AT_LEAST ? c.mask
                          : c.compare == IFC_COMPARE_RANGE  ? c.key_last
                                                            : c.key;
    if (least > last || most < first)
        return Verdict::No;
    return least >= first && most <= last ? Verdict::Yes : Verdict::Unknown;
}

// What they decide about all conditions on the field. Unknown: `tightest` is the undecided condition with the
// fewest free bits.
Verdict allDecided(const Together &all, unsigned field, uint64_t fixed, uint64_t value,
                   const RuleCondition *&tightest)
{
    Verdict verdict = Verdict::Yes;
    unsigned fewest = 0;
    unsigned at = 0;
    while (const RuleCondition *c = nextOn(all, field, at)) {
        const Verdict one = decided(*c, fixed, value);
        if (one == Verdict::No)
            return one;
        if (one == Verdict::Yes)
            continue;
        const unsigned free = countRules(c->mask & ~fixed);
        if (verdict == Verdict::Yes || free < fewest) {
            fewest = free;
            tightest = c;
        }
        verdict = one;
    }
    return verdict;
}

// True: all conditions let the field be `value`.
bool canBe(const Together &all, unsigned field, uint32_t value)
{
    const RuleCondition *none;
    return allDecided(all, field, ~uint64_t{0}, value, none) == Verdict::Yes;
}

// True: some value fulfils the conditions on this field, or the steps ran out. Each step chooses a free bit
// of the tightest condition, or gives the last bit that has another value left this value.
bool hasValue(Together &all, unsigned field)
{
    uint64_t fixed = 0;
    uint64_t value = 0;
    unsigned at = 0;
    while (const RuleCondition *c = nextOn(all, field, at)) {
        if (c->compare == IFC_COMPARE_EQUAL) {
            fixed |= c->mask;
            value |= c->key; // if two differ, the first step sees that one does not hold
        }
    }
    constexpr uint8_t kSecond = 0x80; // of a choice: the second value is tried
    uint8_t choice[kWidestField];
    unsigned depth = 0;
    for (const RuleCondition *c;; --all.steps) {
        const Verdict verdict = allDecided(all, field, fixed, value, c);
        if (verdict == Verdict::Yes || all.steps == 0)
            return true;
        unsigned number;
        uint64_t wanted;
        if (verdict == Verdict::Unknown) {
            number = highestRule(c->mask & ~fixed);
            wanted = c->compare == IFC_COMPARE_NOT_EQUAL ? ~c->key : c->key;
            choice[depth++] = static_cast<uint8_t>(number);
            fixed |= ruleBit(number);
            value |= wanted & ruleBit(number);
            continue;
        }
        for (;; --depth) {
            if (depth == 0)
                return false;
            uint8_t &last = choice[depth - 1];
            const uint64_t bit = ruleBit(static_cast<unsigned>(last & ~kSecond));
            if ((last & kSecond) == 0) {
                value ^= bit;
                last |= kSecond;
                break;
            }
            fixed ^= bit;
            value &= ~bit;
        }
    }
}

// DMAC_TYPE is 0 for unicast, 1 for multicast, 2 for broadcast.
bool destinationPossible(Together &all)
{
    const unsigned extras = all.extras;
    bool possible = false;
    for (unsigned type = 0; type <= 2 && !possible; ++type) {
        if (!canBe(all, DMAC_TYPE, type))
            continue;
        const uint64_t mask = type == 2 ? kBroadcast : kGroupBit;
        add(all, DMAC, IFC_COMPARE_EQUAL, mask, type == 0 ? 0 : mask);
        if (type == 1)
            add(all, DMAC, IFC_COMPARE_NOT_EQUAL, kBroadcast, kBroadcast);
        possible = hasValue(all, DMAC);
        all.extras = extras;
    }
    return possible;
}

// Bit n: the field can be n, 0 to 3.
unsigned smallValues(const Together &all, unsigned field)
{
    unsigned values = 0;
    for (unsigned value = 0; value <= ifc::kVpmUser; ++value)
        if (canBe(all, field, value))
            values |= 1u << value;
    return values;
}

// VPM 0 means no tag; an inner tag needs an outer one. The code of an unset TPID is possible: the TPID may be
// set later.
bool tagsPossible(const Together &all, FieldSet fields)
{
    constexpr unsigned kNoTag = 1u << ifc::kVpmNone;
    unsigned outer = smallValues(all, VPM0);
    unsigned inner = smallValues(all, VPM1);
    if ((fields & kInnerTag) != 0)
        inner &= ~kNoTag;
    if ((fields & (kInnerTag | kOuterTag)) != 0)
        outer &= ~kNoTag;
    return ((outer & ~kNoTag) != 0 && inner != 0) || (outer & inner & kNoTag) != 0;
}

// The headers before a payload, by FRAME_TYPE.
struct Envelope {
    uint8_t frameType;
    uint8_t holds; // of the bits below: possible payloads, and PPPOE_SESSION
    uint16_t type;
};

constexpr unsigned kAnyPayload = 1;
constexpr unsigned kIpv4Payload = 2;
constexpr unsigned kIpv6Payload = 4;
constexpr unsigned kSession = 8;
constexpr unsigned kPackets = kAnyPayload | kIpv4Payload | kIpv6Payload;

constexpr Envelope kEnvelopes[] = {
    {0, kIpv4Payload, kTypeIpv4},                     // Ethernet II
    {0, kIpv6Payload, kTypeIpv6},                     //
    {0, kAnyPayload, kAnyType},                       //
    {1, kAnyPayload, kNoType},                        // LLC
    {2, kIpv4Payload, kTypeIpv4},                     // LLC/SNAP: any protocol id, PPPoE among them
    {2, kIpv6Payload, kTypeIpv6},                     //
    {2, kAnyPayload, kAnyType},                       //
    {2, kAnyPayload | kSession, kTypePppoeDiscovery}, //
    {2, kPackets | kSession, kTypePppoeSession},      //
    {3, kAnyPayload | kSession, kTypePppoeDiscovery}, // PPPoE discovery
    {4, kPackets | kSession, kTypePppoeSession},      // PPPoE session
    {5, kAnyPayload, kNoType},                        // a length/type word that is neither
};

bool typePossible(Together &all, FieldSet fields, const Envelope &envelope)
{
    if (envelope.type == kNoType)
        return (fields & bit(ETYPE)) == 0;
    if (envelope.type != kAnyType)
        return canBe(all, ETYPE, envelope.type);
    const unsigned extras = all.extras;
    if (envelope.frameType == 0) {
        add(all, ETYPE, IFC_COMPARE_AT_LEAST, 0xFFFF, kFirstType);
        add(all, ETYPE, IFC_COMPARE_NOT_EQUAL, 0xFFFF, kTypePppoeDiscovery);
        add(all, ETYPE, IFC_COMPARE_NOT_EQUAL, 0xFFFF, kTypePppoeSession);
    }
    const bool possible = hasValue(all, ETYPE);
    all.extras = extras;
    return possible;
}

// True: some envelope can hold this payload.
bool envelopePossible(Together &all, FieldSet fields, unsigned payload)
{
    const unsigned needed = payload | ((fields & bit(PPPOE_SESSION)) != 0 ? kSession : 0);
    for (const Envelope &each : kEnvelopes)
        if ((needed & ~each.holds) == 0 && canBe(all, FRAME_TYPE, each.frameType) &&
            typePossible(all, fields, each))
            return true;
    return false;
}

// The packet is IPv4, IPv6, or of either kind. Only some protocols have ports.
bool packetPossible(Together &all, FieldSet fields)
{
    const bool v4 = (fields & kIpv4Fields) != 0;
    const bool v6 = (fields & kIpv6Fields) != 0;
    const bool ports = (fields & kPorts) != 0;
    if (!v4 && !v6 && !ports)
        return envelopePossible(all, fields, kAnyPayload);
    for (unsigned payload = kIpv4Payload; payload <= kIpv6Payload; payload *= 2) {
        const bool is4 = payload == kIpv4Payload;
        if (is4 ? v6 : v4)
            continue;
        bool possible = !ports;
        for (const uint8_t protocol : kProtocolsWithPorts)
            possible = possible || canBe(all, is4 ? IPv4_PROTOCOL : IPv6_NEXT_HEADER, protocol);
        if (possible && envelopePossible(all, fields, payload))
            return true;
    }
    return false;
}

// The opposite of the condition: `way` 0; a range has a second part, `way` 1. False: there is none.
bool contrary(const RuleCondition &c, unsigned way, RuleCondition &not_c)
{
    not_c = c;
    const uint32_t mask = ifc::lowWord(c.mask);
    const uint32_t key = ifc::lowWord(c.key);
    uint32_t above = key;
    switch (c.compare) {
    case IFC_COMPARE_EQUAL:
    case IFC_COMPARE_NOT_EQUAL:
        not_c.compare = c.compare ^ 1;
        return way == 0;
    case IFC_COMPARE_RANGE:
        above = c.key_last;
        break;
    case IFC_COMPARE_AT_LEAST:
        if (way != 0)
            return false;
        break;
    default:
        if (way != 0)
            return false;
        way = 1;
        break;
    }
    // The next lower or higher value within the mask; none below 0 and above the mask.
    if (way == 0) {
        not_c.compare = IFC_COMPARE_AT_MOST;
        not_c.key = (key - 1) & mask;
        return key != 0;
    }
    not_c.compare = IFC_COMPARE_AT_LEAST;
    not_c.key = ((above | ~mask) + 1) & mask;
    return above != mask;
}

} // namespace

bool canHold(Together &all, unsigned steps)
{
    const FieldSet fields = fieldsOf(all);
    all.steps = steps;
    if ((fields & bit(DMAC_TYPE)) != 0 && !destinationPossible(all))
        return false;
    unsigned n = 0;
    while (const RuleCondition *c = conditionAt(all, n++)) {
        unsigned at = 0;
        if (nextOn(all, c->field, at) == c && !hasValue(all, c->field)) // once a field
            return false;
    }
    return tagsPossible(all, fields) && packetPossible(all, fields);
}

} // namespace ruleset

using namespace ruleset;

int ifc_rule_overlap(const struct ifc_rule *a, const struct ifc_rule *b)
{
    Together both = {{a, b}, {}, 0, 0};
    return canHold(both);
}

int ifc_rule_contradicts_itself(const struct ifc_rule *rule)
{
    return !ifc_rule_overlap(rule, nullptr);
}

int ifc_rule_covers(const struct ifc_rule *a, const struct ifc_rule *b)
{
    Together query = {{b, nullptr}, {}, 0, 0};
    if (!canHold(query))
        return 1;
    FieldSet fields = fieldsOf(query);
    for (const auto &[some, all] : kImplied)
        if ((fields & some) != 0)
            fields |= all;
    for (unsigned n = 0; n < a->count; ++n) {
        const RuleCondition &c = a->condition[n];
        query.extras = 0;
        unsigned at = 0;
        if (ifc::isWideField(c.field) ? (fields & bit(c.field)) == 0 : nextOn(query, c.field, at) == nullptr)
            return 0; // a frame may be without the field
        for (unsigned way = 0; way < 2; ++way) {
            query.extras = 1;
            if (contrary(c, way, query.extra[0]) && canHold(query))
                return 0;
        }
    }
    return 1;
}

int ifc_rule_repeats(const struct ifc_rule *a, const struct ifc_rule *b)
{
    return ifc_rule_covers(a, b) && ifc_rule_covers(b, a);
}
