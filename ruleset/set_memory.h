// SPDX-License-Identifier: MIT OR GPL-2.0
// What a set keeps in its private members, for its own sources.
#pragma once

#include "ruleset/layout.h"
#include "ruleset/rule.h"
#include "ruleset/update.h"

namespace ruleset
{

// Working memory of a call; nothing in it outlives the call.
struct Work {
    Report report; // of calls without a report
    LayoutInput input;
    LayoutAnswer answer;
    LayoutWorkspace layout;
    Tables wanted;
    WantedRule rules[kMaxRules];
    Update update;
};
static_assert(sizeof(Work) <= sizeof(Set::work) && alignof(Work) <= alignof(uint64_t));
static_assert(sizeof(Tables) == sizeof(Set::tables) && alignof(Tables) <= alignof(uint32_t));
static_assert(IFC_RULESET_RULES == kMaxRules);
static_assert(static_cast<Table>(IFC_RULESET_NOWHERE) == kNowhere &&
              static_cast<Table>(IFC_RULESET_LUT0) == kWide &&
              static_cast<Table>(IFC_RULESET_LUT1) == kNarrow);

inline Work &workOf(Set &set)
{
    return *reinterpret_cast<Work *>(set.work);
}

inline Tables &tablesOf(Set &set)
{
    return *reinterpret_cast<Tables *>(set.tables);
}

inline const Tables &tablesOf(const Set &set)
{
    return *reinterpret_cast<const Tables *>(set.tables);
}

inline Report &begin(Set &set, Report *report)
{
    Report &used = report != nullptr ? *report : workOf(set).report;
    used = {};
    return used;
}

inline int finish(Report &report, ifc_ruleset_result result)
{
    report.result = result;
    return result;
}

// Of Set::state, by slot.
constexpr uint8_t kTaken = 1;
constexpr uint8_t kNewAction = 2; // the action is not in the tables yet

inline bool isTaken(const Set &set, unsigned slot)
{
    return (set.state[slot] & kTaken) != 0;
}

inline Place placeOf(uint32_t word)
{
    return __builtin_bit_cast(Place, word);
}

inline uint32_t wordOf(Place place)
{
    return __builtin_bit_cast(uint32_t, place);
}

// Takes the rule in set.rule[slot], a free slot, into the list at this position. Its place now is `now`.
void takeIn(Set &set, unsigned slot, unsigned position, Place now);

} // namespace ruleset
