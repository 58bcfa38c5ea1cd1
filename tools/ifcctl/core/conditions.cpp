// SPDX-License-Identifier: MIT OR GPL-2.0
#include "conditions.h"

#include "ifc/records/fields.h"

#include <initializer_list>

namespace ifcctl
{

namespace
{

constexpr uint64_t kEthertypeIpv4 = 0x0800;
constexpr uint64_t kEthertypeIpv6 = 0x86DD;

bool neverHold(std::initializer_list<ifc_rule_condition> conditions)
{
    ifc_rule rule{};
    for (const ifc_rule_condition &c : conditions)
        rule.condition[rule.count++] = c;
    return ifc_rule_contradicts_itself(&rule) == 1;
}

} // namespace

ifc_rule_condition makeCondition(unsigned field, unsigned compare, uint64_t mask, uint64_t key)
{
    return {static_cast<uint8_t>(field), static_cast<uint8_t>(compare), 0, 0, mask, key};
}

ifc_rule_condition makeRange(unsigned field, uint64_t first, uint64_t last)
{
    return {static_cast<uint8_t>(field), IFC_COMPARE_RANGE,
            static_cast<uint16_t>(last), 0,
            ifc::fieldOnes(field),       first};
}

unsigned ipVersionOf(const ifc_rule_condition &c)
{
    if (ifc::isIpv4Address(c.field) || c.field == IPv4_PROTOCOL || c.field == IPv4_DSCP)
        return 4;
    if (ifc::isWord(c.field) || c.field == IPv6_NEXT_HEADER || c.field == IPv6_TRAFFIC_CLASS)
        return 6; // only IPv6 addresses and the flow label remain
    if (c.field != ETYPE || c.compare != IFC_COMPARE_EQUAL || c.mask != ifc::fieldOnes(ETYPE))
        return 0;
    return c.key == kEthertypeIpv4 ? 4 : c.key == kEthertypeIpv6 ? 6 : 0;
}

bool excludeEachOther(const ifc_rule_condition &one, const ifc_rule_condition &other)
{
    const unsigned versions = ipVersionOf(one) * ipVersionOf(other);
    if (one.field != other.field && versions != 4 * 6)
        return false;
    return neverHold({one, other}) && !neverHold({one}) && !neverHold({other});
}

} // namespace ifcctl
