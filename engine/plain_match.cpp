// SPDX-License-Identifier: MIT OR GPL-2.0
#include "engine/plain_match.h"

namespace engine
{

bool nextChain(const Tables &tables, unsigned from, Chain &chain)
{
    return ifc::nextChain(tables.lut1, from, chain);
}

bool wideHits(const uint32_t *rule, const FieldImage &fields)
{
    if (!wideValid(rule))
        return false;
    for (unsigned field = ifc::nextWideField(rule, 0); field != 0; field = ifc::nextWideField(rule, field)) {
        if (!holds(wideCondition(rule, field), fields))
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
