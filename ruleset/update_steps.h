// SPDX-License-Identifier: MIT OR GPL-2.0
// What the steps of an update share. Not for users of the update.
#pragma once

#include "ruleset/update.h"

namespace ruleset
{

// The two tables of entries that stand beside the rules, and the bindings, which move in the same way.
enum Kind : unsigned { kAction, kCounter, kBinding };

constexpr uint8_t kUnlisted = 0xFF;                          // in Update::ruleAt
constexpr uint32_t kSlotMask = (1u << IFC_ACNT_ID_BITS) - 1; // of a binding register

// Flags of a number. Those of actions stand one to the right of the counters'.
enum Flag : unsigned {
    kReborn = 1,   // the rule is another one afterwards, even if its rows are the same
    kOldPlace = 2, // a listed rule comes from here
    kChanged = 4,  // its action is to be put back on the way back; 8: its counter
    kNeeded = 16,  // its action has to be read; 32: its counter
};

inline bool has(const Update &u, unsigned number, unsigned flag)
{
    return (u.flags[number] & flag) != 0;
}

inline void mark(Update &u, unsigned number, unsigned flag)
{
    u.flags[number] |= static_cast<uint8_t>(flag);
}

// The row that decides whether the rule lives may hold something else than u.held says.
inline bool headUnsure(const Update &u, unsigned number)
{
    return number < IFC_LUT0_RULES ? u.unsureWide[number] >> IFC_LUT0_HEAD_ROW & 1
                                   : u.unsureNarrow >> (number - IFC_LUT0_RULES) & 1;
}

// One row; on the way back with more tries. False: timed out.
bool put(Update &u, Row row, const uint32_t *data, unsigned words);

bool wideRowDiffers(const IFC_LUT0_Format &a, const IFC_LUT0_Format &b, unsigned row);

// The steps (ruleset/update.cpp). `to`: the tables that are wanted; on the way back, those before. False: a
// transfer timed out. On the way back they go on and return true.
bool retire(Update &u, TablesView to);
bool fill(Update &u, TablesView to);
bool moveEntries(Update &u, const UpdateRequest &request);
void restoreEntries(Update &u); // in its place on the way back
bool enliven(Update &u, TablesView to);

} // namespace ruleset
