// SPDX-License-Identifier: MIT OR GPL-2.0
// Compares a frame with every entry of the tables, one after the other, straight from their images. Slow and
// easy to check: what fast_match.h is held against.
#pragma once

#include "engine/condition.h"
#include "engine/hits.h"
#include "engine/register_window.h"

namespace engine
{

struct Chain {
    unsigned first;
    unsigned end;
};

// Model: a chain is a run of valid entries up to the first end flag, inside a sub-table. It starts at the
// first entry of a sub-table, behind an entry that is not valid and behind an end. A run without an end flag
// is no chain. Looks for a chain that starts at entry `from` or later; false: there is none.
bool nextChain(const Tables &tables, unsigned from, Chain &chain);

// Model: a rule hits when all its conditions hold. A valid LUT0 rule without any hits every frame.
bool wideHits(const uint32_t *rule, const FieldImage &fields);
bool chainHits(const Tables &tables, const Chain &chain, const FieldImage &fields);

void plainMatch(const Tables &tables, const FieldImage &fields, Hits &hits);

} // namespace engine
