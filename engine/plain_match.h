// SPDX-License-Identifier: MIT OR GPL-2.0
// Compares a frame with every entry of the tables, one after the other, straight from their images. It is
// slow and easy to check; fast_match.h is tested against it.
#pragma once

#include "engine/condition.h"
#include "engine/hits.h"
#include "engine/register_window.h"
#include "ifc/records/narrow_runs.h"

namespace engine
{

using ifc::Chain;

// The next chain from entry `from` on; false: there is none. Model: a chain is a run of valid entries up to
// the first end flag, inside a sub-table (nextRun() in ifc/records/narrow_runs.h). A run without an end
// flag is no chain and never hits.
bool nextChain(const Tables &tables, unsigned from, Chain &chain);

// Model: a rule hits when all its conditions hold. A valid LUT0 rule without conditions hits every frame.
bool wideHits(const uint32_t *rule, const FieldImage &fields);
bool chainHits(const Tables &tables, const Chain &chain, const FieldImage &fields);

void plainMatch(const Tables &tables, const FieldImage &fields, Hits &hits);

} // namespace engine
