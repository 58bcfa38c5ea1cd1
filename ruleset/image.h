// SPDX-License-Identifier: MIT OR GPL-2.0
// An image of both rule tables, and which rules the chip sees in one.
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

// Both tables where they stand: a Tables, or the layer's shadow.
struct TablesView {
    const IFC_LUT0_Format *lut0;
    const IFC_LUT1_Format *lut1;
};

inline TablesView viewOf(const Tables &tables)
{
    return {tables.lut0, tables.lut1};
}

inline TablesView shadowView()
{
    return {IFC_LUT0_Rule, IFC_LUT1_Rule};
}

inline bool isEnd(const IFC_LUT1_Format &entry)
{
    return entry.type0.valid && entry.type0.end;
}

// The entry and its successor belong to one run.
inline bool goesOn(const IFC_LUT1_Format &entry)
{
    return entry.type0.valid && !entry.type0.end;
}

// The first entry of the run that the entry `last` closes, or would close.
unsigned runStart(const IFC_LUT1_Format *lut1, unsigned last);

bool ruleLives(TablesView tables, unsigned number);

// The place of the rule that lives under this number.
Place livingPlace(TablesView tables, unsigned number);

// Both hold a living rule under this number, and it is the same bit by bit.
bool sameRule(TablesView a, TablesView b, unsigned number);

} // namespace ruleset
