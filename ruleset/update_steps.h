// SPDX-License-Identifier: MIT OR GPL-2.0
// Shared by the steps of an update. Not for users of the update.
#pragma once

#include "ruleset/update.h"

namespace ruleset
{

// The two tables with an entry for each rule. The bindings move in the same way.
enum Kind : unsigned { kAction, kCounter };

constexpr uint8_t kUnlisted = 0xFF;                          // in Update::ruleAt
constexpr uint32_t kSlotMask = (1u << IFC_ACNT_ID_BITS) - 1; // of a binding register

// In Update::source besides the numbers of other rules.
constexpr int8_t kStays = -1; // the entries do not change
constexpr int8_t kZero = -2;  // a new rule, or none

// Flags of a number. The counter's flag is the action's flag shifted left by one.
enum Flag : unsigned {
    kReborn = 1,  // the rule is a different one afterwards, even if its rows are equal
    kChanged = 4, // the undo must restore its action; 8: its counter
};

inline bool has(const Update &u, unsigned number, unsigned flag)
{
    return (u.flags[number] & flag) != 0;
}

inline void mark(Update &u, unsigned number, unsigned flag)
{
    u.flags[number] |= static_cast<uint8_t>(flag);
}

// The row that makes the rule valid may differ from u.held.
bool headUnsure(const Update &u, unsigned number);

// Tries for one row, more in an undo.
inline unsigned triesOf(const Update &u)
{
    return u.undoing ? 3 : 1;
}

// Writes one row. False: time-out.
bool put(Update &u, Row row, const uint32_t *data, unsigned words);

bool wideRowDiffers(const IFC_LUT0_Format &a, const IFC_LUT0_Format &b, unsigned row);

// The steps (ruleset/update.cpp). `to`: the wanted tables; in an undo, the old ones. False: a transfer timed
// out. In an undo the steps continue after a time-out and return true.
bool retire(Update &u, const Tables &to);
bool fill(Update &u, const Tables &to);
bool moveEntries(Update &u, const UpdateRequest &request);
void restoreEntries(Update &u); // the undo of moveEntries()
bool enliven(Update &u, const Tables &to);

} // namespace ruleset
