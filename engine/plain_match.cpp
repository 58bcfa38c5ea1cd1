// SPDX-License-Identifier: MIT OR GPL-2.0
#include "engine/plain_match.h"

namespace engine
{

bool nextChain(const Tables &tables, unsigned from, Chain &chain)
{
    unsigned first = from;
    for (unsigned n = from; n < IFC_LUT1_RULES; ++n) {
        if (n % IFC_LUT1_SUB_TABLE == 0)
            first = n;
        if (!narrowValid(tables.lut1[n])) {
            first = n + 1;
        } else if (narrowEnd(tables.lut1[n])) {
            chain = {first, n};
            return true;
        }
    }
    return false;
}

bool wideHits(const uint32_t *rule, const FieldImage &fields)
{
    if (!wideValid(rule))
        return false;
    for (uint32_t left = wideEnabled(rule); left != 0; left &= left - 1) {
        if (!holds(wideCondition(rule, static_cast<unsigned>(__builtin_ctz(left)) + 1), fields))
            return false;
    }
    return true;
}

bool chainHits(const Tables &tables, const Chain &chain, const FieldImage &fields)
{
    for (unsigned n = chain.first; n <= chain.end; ++n) {
        if (!holds(narrowCondition(tables.lut1[n]), fields))
            return false;
    }
    return true;
}

void plainMatch(const Tables &tables, const FieldImage &fields, Hits &hits)
{
    hits = {};
    for (unsigned n = 0; n < IFC_LUT0_RULES; ++n)
        hits.lut0 |= static_cast<uint32_t>(wideHits(tables.lut0[n], fields)) << n;
    Chain chain{};
    for (unsigned from = 0; nextChain(tables, from, chain); from = chain.end + 1)
        hits.lut1[0] |= static_cast<uint32_t>(chainHits(tables, chain, fields)) << chain.end;
}

} // namespace engine
