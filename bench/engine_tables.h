// SPDX-License-Identifier: MIT OR GPL-2.0
// Rules written straight into the engine's tables.
#pragma once

#include "engine/register_window.h"
#include "gateway_rules.h"

inline void wideRule(engine::Tables &tables, unsigned n, const gateway::Rule &terms)
{
    uint32_t *rule = tables.lut0[n];
    rule[0] |= 0x80000000;
    for (const gateway::Term &term : terms) {
        rule[0] |= 1u << (term.field - 1);
        const engine::FieldPlace place = engine::fieldPlace(term.field);
        for (unsigned bit = 0; bit < place.width; ++bit) {
            const unsigned at = place.lsb + bit;
            rule[IFC_LUT0_MASK_WORD + IFC_LUT0_AREA_WORDS - 1 - at / 32] |=
                static_cast<uint32_t>(term.mask >> bit & 1) << at % 32;
            rule[IFC_LUT0_KEY_WORD + IFC_LUT0_AREA_WORDS - 1 - at / 32] |=
                static_cast<uint32_t>(term.key >> bit & 1) << at % 32;
        }
    }
}

inline void narrow16(engine::Tables &tables, unsigned n, unsigned field, unsigned key, bool end)
{
    tables.lut1[n][0] = field | 1u << 15 | static_cast<uint32_t>(end) << 14;
    tables.lut1[n][1] = 0xFFFF0000 | key;
}

inline void narrow32(engine::Tables &tables, unsigned n, unsigned field, unsigned length, uint32_t key,
                     bool end)
{
    tables.lut1[n][0] = field | length << 8 | 1u << 13 | 1u << 15 | static_cast<uint32_t>(end) << 14;
    tables.lut1[n][1] = key;
}

// All 40 entries compare for equality: 8 wide rules, and chains of two to four narrow entries.
inline void equalRules(engine::Tables &tables)
{
    using gateway::is;
    for (unsigned n = 0; n < 8; ++n)
        wideRule(tables, n,
                 {is(DMAC, 0x021122334455), is(ETYPE, n < 6 ? 0x0800 : 0x86DD),
                  is(n < 6 ? SIPv4 : SIPv6_31_0, n < 6 ? 0xC0A80101 + n : 0x00030004),
                  is(n < 6 ? DIPv4 : DIPv6_31_0, n < 6 ? 0xCB007101 + n : 0x000C000D),
                  is(n < 6 ? IPv4_PROTOCOL : IPv6_NEXT_HEADER, n % 2 == 0 ? 6 : 17), is(DPORT, 5000 + n),
                  is(SPORT, 1024 + n)});
    for (unsigned n = 0; n < 32; n += 8) {
        narrow32(tables, n, SIPv4, 26, 0xC0A80100, false);
        narrow32(tables, n + 1, DIPv4, 0, 0xCB007100 + n, false);
        narrow16(tables, n + 2, IPv4_PROTOCOL, 6, false);
        narrow16(tables, n + 3, DPORT, 5000 + n, true);
        narrow16(tables, n + 4, VID0, n / 8, false);
        narrow16(tables, n + 5, ETYPE, n < 16 ? 0x8864 : 0x0800, true);
        narrow16(tables, n + 6, IPv6_NEXT_HEADER, 17, false);
        narrow16(tables, n + 7, DPORT, 5000 + n, true);
    }
}
