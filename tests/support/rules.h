// SPDX-License-Identifier: MIT OR GPL-2.0
// The operations that take a request, called with its conditions.
#pragma once

#include "layer.h"

namespace support
{

constexpr uint64_t kAll = 0xFFFFFFFFFFFF;
constexpr uint64_t kMac = 0x001122334455;

// Places a request, then forget().
template <unsigned Count>
int place(const RequestCondition (&conditions)[Count])
{
    const int id = ifc_set_lut_rules_auto(&requestOf(conditions));
    forget();
    return id;
}

template <unsigned Count>
int del(const RequestCondition (&conditions)[Count])
{
    return ifc_del_lut_rules_auto(&requestOf(conditions));
}

template <unsigned Count>
int matchWide(const RequestCondition (&conditions)[Count], unsigned enabled, unsigned rule = 0)
{
    return ifc_match_rule_lut0(&requestOf(conditions), enabled, rule);
}

template <unsigned Count>
int matchNarrow(const RequestCondition (&conditions)[Count], unsigned entries, unsigned first)
{
    return ifc_match_rule_lut1(&requestOf(conditions), entries, first);
}

inline int find(const RequestCondition &c)
{
    ifc_field_param p{};
    p.reserved[0] = p.reserved[1] = p.reserved[2] = 0xDEADBEEF;
    p.fieldIdx = c.field;
    p.command = c.command;
    p.mask = static_cast<uint32_t>(c.mask);
    p.mask_high = static_cast<uint32_t>(c.mask >> 32);
    p.key = static_cast<uint32_t>(c.key);
    p.key_high = static_cast<uint32_t>(c.key >> 32);
    return ifc_match_lut1(p);
}

inline bool narrowTableIsEmpty()
{
    for (const auto &entry : IFC_LUT1_Rule)
        if (entry.word[0] != 0 || entry.word[1] != 0)
            return false;
    return true;
}

} // namespace support
