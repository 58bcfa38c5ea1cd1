// SPDX-License-Identifier: MIT OR GPL-2.0
// Chains and free entries of LUT1.
//
// A table is anything that yields an entry by its index: IFC_LUT1_Rule, or the engine's words.
#pragma once

#include "ifc/records/narrow_record.h"

namespace ifc
{

// Entries first to end, all in one sub-table. A chain's `end` has the end flag and numbers its action.
struct Chain {
    uint first;
    uint end;
    bool complete; // false: no end flag before a free entry or the end of the sub-table; never hits
};

namespace
{

// The words of an entry of a table.
constexpr const uint32_t *wordsOf(const IFC_LUT1_Format &entry)
{
    return entry.word;
}

constexpr const uint32_t *wordsOf(const uint32_t *entry)
{
    return entry;
}

constexpr bool isLastOfSubTable(uint entry)
{
    return entry % IFC_LUT1_SUB_TABLE == IFC_LUT1_SUB_TABLE - 1;
}

// The next run of valid entries up to the first end flag, inside a sub-table: a chain, or a run that lacks
// its end flag. `from` is 0, or the entry after the end of the run before. False: there is none. Visits all
// of them like this:
//   for (uint from = 0; nextRun(table, from, run); from = run.end + 1)
template <typename Table>
constexpr bool nextRun(const Table &table, uint from, Chain &run)
{
    uint entry = from;
    while (entry < IFC_LUT1_RULES && !narrowValid(wordsOf(table[entry])))
        ++entry;
    if (entry >= IFC_LUT1_RULES)
        return false;
    run.first = entry;
    while (!narrowEnd(wordsOf(table[entry])) && !isLastOfSubTable(entry) &&
           narrowValid(wordsOf(table[entry + 1])))
        ++entry;
    run.end = entry;
    run.complete = narrowEnd(wordsOf(table[entry]));
    return true;
}

// The same for chains only: runs without an end flag are left out, since no frame hits them.
template <typename Table>
constexpr bool nextChain(const Table &table, uint from, Chain &chain)
{
    while (nextRun(table, from, chain)) {
        if (chain.complete)
            return true;
        from = chain.end + 1;
    }
    return false;
}

// A run of free entries inside a sub-table.
struct FreeRun {
    uint first;
    uint length;
};

// The next free run that starts at entry `from` or later. `from` is 0, or first + length of the run before.
template <typename Table>
constexpr bool nextFreeRun(const Table &table, uint from, FreeRun &run)
{
    uint entry = from;
    while (entry < IFC_LUT1_RULES && narrowValid(wordsOf(table[entry])))
        ++entry;
    if (entry >= IFC_LUT1_RULES)
        return false;
    run.first = entry;
    while (!isLastOfSubTable(entry) && !narrowValid(wordsOf(table[entry + 1])))
        ++entry;
    run.length = entry + 1 - run.first;
    return true;
}

} // namespace
} // namespace ifc
