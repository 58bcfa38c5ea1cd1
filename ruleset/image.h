// SPDX-License-Identifier: MIT OR GPL-2.0
// An image of both rule tables, and the rules that the chip sees in it.
//
// A wide rule (LUT0) lives while its valid bit is set. A chain of narrow entries (LUT1) is a run of valid
// entries up to the first end flag. The run begins at the start of a sub-table, after an entry that is not
// valid, or after an end. A run that reaches an invalid entry or the end of its sub-table is no rule.
// Rules are named by their number (placeNumber(), ruleset/place.h).
#pragma once

#include "ruleset/place.h"

namespace ruleset
{

struct Tables {
    IFC_LUT0_Format lut0[IFC_LUT0_RULES];
    IFC_LUT1_Format lut1[IFC_LUT1_RULES];
};

// The layer's shadow.
void copyShadow(Tables &to);
void setShadow(const Tables &from);
bool equalsShadow(const Tables &tables);

inline bool isEnd(const IFC_LUT1_Format &entry)
{
    return entry.type0.valid && entry.type0.end;
}

// The entry and the next one belong to one run.
inline bool goesOn(const IFC_LUT1_Format &entry)
{
    return entry.type0.valid && !entry.type0.end;
}

// The first entry of the run that ends, or would end, at the entry `last`.
unsigned runStart(const IFC_LUT1_Format *lut1, unsigned last);

bool ruleLives(const Tables &tables, unsigned number);

// The place of the rule that lives under this number. Nowhere: none does.
Place livingPlace(const Tables &tables, unsigned number);

// Both hold a living rule under this number, and the two are identical.
bool sameRule(const Tables &a, const Tables &b, unsigned number);

} // namespace ruleset
