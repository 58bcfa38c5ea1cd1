// SPDX-License-Identifier: MIT OR GPL-2.0
#include "ruleset/overlap.h"

#include "ifc/records/chip.h"

namespace ruleset
{

namespace
{

constexpr unsigned kSteps = 512;         // of the search for an address that avoids what it must not equal
constexpr unsigned kDifferentValues = 8; // its depth

constexpr uint64_t bit(unsigned field)
{
    return uint64_t{1} << field;
}

constexpr uint64_t bits(unsigned first, unsigned last)
{
    return (bit(last) << 1) - bit(first);
}

// Fields that a frame has together. What follows is how the parser finds them: docs/hardware-model.md.
constexpr uint64_t kMacFields = bit(DMAC) | bit(DMAC_TYPE);
constexpr uint64_t kOuterTag = bit(VID0) | bit(PBIT0);
constexpr uint64_t kInnerTag = bit(VID1) | bit(PBIT1);
constexpr uint64_t kIpv4Fields = bit(DIPv4) | bit(SIPv4) | bit(IPv4_PROTOCOL) | bit(IPv4_DSCP);
constexpr uint64_t kIpv6Fields =
    bits(DIPv6_31_0, FLOW_LABEL) | bit(IPv6_NEXT_HEADER) | bit(IPv6_TRAFFIC_CLASS);
constexpr uint64_t kPorts = bit(SPORT) | bit(DPORT);

// A frame that has one of the first has all of the second. In an order that one pass closes.
constexpr uint64_t kImplied[][2] = {
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

// The n-th of all conditions. nullptr: there are not so many.
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

uint64_t fieldsOf(const Together &all)
{
    uint64_t fields = 0;
    unsigned n = 0;
    while (const RuleCondition *c = conditionAt(all, n++))
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

// Can the field be `value`?
bool canBe(const Together &all, unsigned field, uint64_t value)
{
    unsigned at = 0;
    while (const RuleCondition *c = nextOn(all, field, at))
        if (!holdsFor(*c, value))
            return false;
    return true;
}

void add(Together &all, unsigned field, unsigned compare, uint64_t mask, uint64_t key)
{
    all.extra[all.extras++] = makeCondition(field, compare, mask, key);
}

unsigned highestBit(uint32_t value)
{
    return 0x80000000u >> __builtin_clz(value);
}

// The smallest value above `value` that the condition may let pass, which does not let `value` pass. Above
// the field's ones: there is none.
uint32_t nextCandidate(const RuleCondition &c, uint32_t value, uint32_t ones)
{
    const uint32_t mask = ifc::lowWord(c.mask);
    const uint32_t key = ifc::lowWord(c.key);
    if (c.compare == IFC_COMPARE_RANGE)
        return value < key ? key : ones + 1;
    const uint32_t differ = (value ^ key) & mask;
    if (mask == 0)
        return ones + 1;
    if (differ == 0) // not equal: the lowest bit of the mask must change
        return (value | ((mask & -mask) - 1)) + 1;
    const uint32_t top = highestBit(differ);
    if ((key & top) != 0)
        return (value & ~(2 * top - 1)) | (key & (2 * top - 1));
    // Too high: a bit above that may be set must be, and all is free below it.
    const uint32_t free = ~value & ~mask & ~(top - 1) & ones;
    if (free == 0)
        return ones + 1;
    const uint32_t carry = free & -free;
    return (value & ~(carry - 1)) | carry | (c.compare == IFC_COMPARE_EQUAL ? key & (carry - 1) : 0);
}

// Is there a value of up to 16 bits that all conditions on the field let pass?
bool hasNumber(const Together &all, unsigned field)
{
    const uint32_t ones = ifc::lowWord(onesOf(field));
    for (uint32_t value = 0; value <= ones;) {
        unsigned at = 0;
        const RuleCondition *c = nextOn(all, field, at);
        while (c != nullptr && holdsFor(*c, value))
            c = nextOn(all, field, at);
        if (c == nullptr)
            return true;
        value = nextCandidate(*c, value, ones);
    }
    return false;
}

// Can the bits that are not `fixed` be chosen so that every "not equal" holds? Of the first that does not
// hold yet, each free bit in turn differs, with those before it equal.
bool canDiffer(Together &all, unsigned field, uint64_t fixed, uint64_t value, unsigned depth)
{
    unsigned at = 0;
    const RuleCondition *c;
    do
        c = nextOn(all, field, at);
    while (c != nullptr &&
           (c->compare != IFC_COMPARE_NOT_EQUAL || ((value ^ c->key) & c->mask & fixed) != 0));
    if (c == nullptr)
        return true;
    uint64_t left = c->mask & ~fixed;
    if (left != 0 && (depth == kDifferentValues || all.steps-- == 0))
        return true;
    for (; left != 0; left &= left - 1) {
        const uint64_t one = left & -left;
        fixed |= one;
        if (canDiffer(all, field, fixed, value | (~c->key & one), depth + 1))
            return true;
        value |= c->key & one;
    }
    return false;
}

// Do the conditions on this field let a value pass?
bool hasValue(Together &all, unsigned field)
{
    uint64_t fixed = 0;
    uint64_t value = 0;
    unsigned at = 0;
    while (const RuleCondition *c = nextOn(all, field, at)) {
        if (c->compare != IFC_COMPARE_EQUAL)
            continue;
        if (((value ^ c->key) & fixed & c->mask) != 0)
            return false;
        fixed |= c->mask;
        value |= c->key;
    }
    return ifc::isHalf(field) ? hasNumber(all, field) : canDiffer(all, field, fixed, value, 0);
}

// DMAC_TYPE is 0 for unicast, 1 for multicast, 2 for broadcast.
bool destinationPossible(Together &all)
{
    const unsigned extras = all.extras;
    bool possible = false;
    for (unsigned type = 0; type <= 2 && !possible; ++type) {
        if (!canBe(all, DMAC_TYPE, type))
            continue;
        if (type == 2)
            add(all, DMAC, IFC_COMPARE_EQUAL, kBroadcast, kBroadcast);
        else
            add(all, DMAC, IFC_COMPARE_EQUAL, kGroupBit, type == 1 ? kGroupBit : 0);
        if (type == 1)
            add(all, DMAC, IFC_COMPARE_NOT_EQUAL, kBroadcast, kBroadcast);
        possible = hasValue(all, DMAC);
        all.extras = extras;
    }
    return possible;
}

// VPM 0 is no tag; an inner tag stands behind an outer one. A code of a TPID that is not set now may be
// later.
bool tagsPossible(const Together &all, uint64_t fields)
{
    const unsigned least1 = (fields & kInnerTag) != 0 ? 1 : 0;
    const unsigned least0 = (fields & (kInnerTag | kOuterTag)) != 0 ? 1 : 0;
    for (unsigned outer = least0; outer <= ifc::kVpmUser; ++outer) {
        if (!canBe(all, VPM0, outer))
            continue;
        for (unsigned inner = least1; inner <= (outer != 0 ? ifc::kVpmUser : 0); ++inner)
            if (canBe(all, VPM1, inner))
                return true;
    }
    return false;
}

// What stands around a payload, by FRAME_TYPE.
struct Envelope {
    uint8_t frameType;
    uint8_t payloads; // bit 0: any; bit 1: IPv4; bit 2: IPv6
    bool session;     // PPPoE: there is a PPPOE_SESSION
    uint16_t type;
};

constexpr Envelope kEnvelopes[] = {
    {0, 2, false, kTypeIpv4},          // Ethernet II
    {0, 4, false, kTypeIpv6},          //
    {0, 1, false, kAnyType},           //
    {1, 1, false, kNoType},            // LLC
    {2, 2, false, kTypeIpv4},          // LLC/SNAP: any protocol id, PPPoE among them
    {2, 4, false, kTypeIpv6},          //
    {2, 1, false, kAnyType},           //
    {2, 1, true, kTypePppoeDiscovery}, //
    {2, 7, true, kTypePppoeSession},   //
    {3, 1, true, kTypePppoeDiscovery}, // PPPoE discovery
    {4, 7, true, kTypePppoeSession},   // PPPoE session
    {5, 1, false, kNoType},            // a length/type word that is neither
};

bool typePossible(Together &all, uint64_t fields, const Envelope &envelope)
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

// Is there an envelope for this payload, as in Envelope?
bool envelopePossible(Together &all, uint64_t fields, unsigned payload)
{
    const bool session = (fields & bit(PPPOE_SESSION)) != 0;
    for (const Envelope &each : kEnvelopes)
        if ((each.payloads & payload) != 0 && (each.session || !session) &&
            canBe(all, FRAME_TYPE, each.frameType) && typePossible(all, fields, each))
            return true;
    return false;
}

// The packet is IPv4, or IPv6, or neither is asked for. Ports only with the protocols that have them.
bool packetPossible(Together &all, uint64_t fields)
{
    const bool v4 = (fields & kIpv4Fields) != 0;
    const bool v6 = (fields & kIpv6Fields) != 0;
    const bool ports = (fields & kPorts) != 0;
    if (!v4 && !v6 && !ports)
        return envelopePossible(all, fields, 1);
    for (unsigned payload = 2; payload <= 4; payload += 2) {
        if (payload == 2 ? v6 : v4)
            continue;
        bool possible = !ports;
        for (const uint8_t protocol : kProtocolsWithPorts)
            possible = possible || canBe(all, payload == 2 ? IPv4_PROTOCOL : IPv6_NEXT_HEADER, protocol);
        if (possible && envelopePossible(all, fields, payload))
            return true;
    }
    return false;
}

// What contradicts the condition: `way` 0, and 1 for a range. False: there is no such condition.
bool contrary(const RuleCondition &c, unsigned way, RuleCondition &not_c)
{
    not_c = c;
    not_c.key_last = 0;
    uint64_t above = c.key;
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
    // Next lower or higher number under the mask; none below 0 and above the mask.
    if (way == 0) {
        not_c.compare = IFC_COMPARE_AT_MOST;
        not_c.key = (c.key - 1) & c.mask;
        return c.key != 0;
    }
    not_c.compare = IFC_COMPARE_AT_LEAST;
    not_c.key = ((above | ~c.mask) + 1) & c.mask;
    return above != c.mask;
}

} // namespace

bool canHold(Together &all)
{
    const uint64_t fields = fieldsOf(all);
    all.steps = kSteps;
    if ((fields & bit(DMAC_TYPE)) != 0 && !destinationPossible(all))
        return false;
    unsigned n = 0;
    while (const RuleCondition *c = conditionAt(all, n++))
        if (!hasValue(all, c->field))
            return false;
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
    uint64_t fields = fieldsOf(query);
    for (const auto &[some, all] : kImplied)
        if ((fields & some) != 0)
            fields |= all;
    for (unsigned n = 0; n < a->count; ++n) {
        const RuleCondition &c = a->condition[n];
        if ((fields & bit(c.field)) == 0)
            return 0; // a frame may lack the field
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
