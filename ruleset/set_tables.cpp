// SPDX-License-Identifier: MIT OR GPL-2.0
// A set of rules and the tables: reading them, planning their update, and the update.
#include "ifc/records/chip.h"
#include "ifc/records/narrow_runs.h"
#include "ifc/records/wide_record.h"
#include "ruleset/rule_bits.h"
#include "ruleset/set_memory.h"

using namespace ruleset;

namespace
{

// The update whose undo the chip did not answer. It belongs to the chip, not to a set: any set may be the
// next to meet the chip.
Update unfinished;
bool undoPending;

// Completes that undo, if there is one. False: the chip still does not answer.
bool completeUndo(Report &report)
{
    if (!undoPending)
        return true;
    undoPending = finishUndo(unfinished) == Outcome::Incomplete;
    report.undo = undoPending ? IFC_RULESET_UNDO_FAILED : IFC_RULESET_UNDONE;
    return !undoPending;
}

void own(Set &set, Place place)
{
    set.owned |= cellsOf(place);
    ++set.standing;
}

// The reserved entries: runs without an end flag, the free entry after such a run, where no chain may start,
// and chains that name no field.
uint32_t reservedEntries(const Set &set)
{
    uint32_t reserved = 0;
    for (unsigned entry = 0; entry < IFC_LUT1_RULES; ++entry) {
        const IFC_LUT1_Format &here = tablesOf(set).lut1[entry];
        if (!here.type0.valid || hasRule(set.owned, IFC_LUT0_RULES + entry))
            continue;
        reserved |= (goesOn(here) && !ifc::isLastOfSubTable(entry) ? 3u : 1u) << entry;
    }
    return reserved;
}

// A rule in LUT1 moves entry by entry, without a new encoding, unless the `shortest` one is asked for. True:
// that one is shorter.
bool fillShape(const Set &set, unsigned slot, bool shortest, Shape &shape)
{
    ifc_rule_shape own;
    ifc_rule_shape_of(&set.rule[slot], &own);
    shape.now = placeOf(set.now[slot]);
    shape.narrowEntries = own.narrow_entries;
    bool longer = false;
    if (shape.now.table == kNarrow) {
        longer = own.narrow_entries != 0 && own.narrow_entries < shape.now.entries;
        if (!longer || !shortest)
            shape.narrowEntries = shape.now.entries;
    }
    shape.countedEntries = own.counted > shape.narrowEntries ? own.counted : shape.narrowEntries;
    shape.wideAllowed = own.wide != 0 || shape.now.table == kWide;
    return longer;
}

void fillReport(const Set &set, const LayoutAnswer &answer, Report &report)
{
    static constexpr uint8_t kReasons[] = {IFC_RULESET_NO_REASON, IFC_RULESET_NEEDS_LUT0,
                                           IFC_RULESET_NO_SPACE, IFC_RULESET_PAIR, IFC_RULESET_ORDER};
    report.reason = kReasons[static_cast<unsigned>(answer.reason)];
    report.position = answer.earlier;
    report.later = answer.later;
    report.conflict = answer.conflict;
    report.wide_needed = static_cast<uint8_t>(answer.wideNeeded);
    report.wide_free = static_cast<uint8_t>(answer.wideFree);
    report.narrow_needed = static_cast<uint16_t>(answer.narrowNeeded);
    report.narrow_free = static_cast<uint16_t>(answer.narrowFree);
    report.either_rules = static_cast<uint16_t>(answer.eitherRules);
    report.either_entries = static_cast<uint16_t>(answer.eitherEntries);
    if (answer.result == LayoutResult::NoLayout)
        return;
    report.fewest = answer.result == LayoutResult::MovedFewest;
    __builtin_memcpy(report.place, answer.place, sizeof report.place);
    for (unsigned n = 0; n < set.count; ++n) {
        const Place now = placeOf(set.now[set.order[n]]);
        if (!placed(now))
            ++report.added;
        else if (now == answer.place[n])
            ++report.kept;
        else
            ++report.moved;
    }
    report.deleted = static_cast<uint8_t>(set.standing - report.kept - report.moved);
}

// Finds places for the shapes. longer: rules that would take fewer entries if they were written anew.
bool findPlaces(Set &set, Report &report, bool shortest, bool &longer)
{
    Work &work = workOf(set);
    LayoutInput &input = work.input;
    input.count = set.count;
    longer = false;
    for (unsigned n = 0; n < set.count; ++n) {
        longer |= fillShape(set, set.order[n], shortest, input.rule[n]);
        input.overlaps[n] = 0;
        for (unsigned later = n + 1; later < set.count; ++later)
            if (hasRule(set.overlaps[set.order[n]], set.order[later]))
                addRule(input.overlaps[n], later);
    }
    input.widePlaces = ifc::hasWritableLut0(GET_HIR()) ? IFC_LUT0_RULES : 0;
    input.reservedWide = 0;
    input.reservedNarrow = reservedEntries(set);
    input.budget = LayoutInput{}.budget;
    const LayoutResult result = findLayout(input, work.layout, work.answer);
    fillReport(set, work.answer, report);
    report.fewest &= !shortest;
    return result == LayoutResult::MovedFewest || result == LayoutResult::Found;
}

// Rules keep their entries if there is such a layout.
int findPlaces(Set &set, Report &report)
{
    if (!equalsShadow(tablesOf(set)))
        return finish(report, IFC_RULESET_STALE);
    bool longer;
    if (findPlaces(set, report, false, longer) || (longer && findPlaces(set, report, true, longer)))
        return IFC_RULESET_OK;
    return finish(report, IFC_RULESET_NO_PLACE);
}

// The wanted tables and their rules, after findPlaces().
void buildTables(Set &set)
{
    Work &work = workOf(set);
    Tables &wanted = work.wanted;
    const Tables &held = tablesOf(set);
    wanted = held;
    uint64_t owned = set.owned;
    for (unsigned cell; (cell = takeLowest(owned)) != kNoRule;) {
        if (cell < IFC_LUT0_RULES)
            wanted.lut0[cell] = {};
        else
            wanted.lut1[cell - IFC_LUT0_RULES] = {};
    }
    for (unsigned n = 0; n < set.count; ++n) {
        const unsigned slot = set.order[n];
        const Rule &rule = set.rule[slot];
        const Place now = placeOf(set.now[slot]);
        const Place &place = work.answer.place[n];
        const bool asItIs = now.table == place.table && now.entries == place.entries;
        if (place.table == kWide) {
            if (asItIs)
                wanted.lut0[place.first] = held.lut0[now.first];
            else
                ifc_rule_encode_wide(&rule, &wanted.lut0[place.first]);
        } else if (asItIs) {
            __builtin_memcpy(&wanted.lut1[place.first], &held.lut1[now.first],
                             place.entries * sizeof *held.lut1);
        } else {
            ifc_rule_encode_narrow(&rule, &wanted.lut1[place.first]);
        }
        const bool newAction = !placed(now) || (set.state[slot] & kNewAction) != 0;
        WantedRule &wish = work.rules[n];
        wish = {};
        wish.place = place;
        wish.oldPlace = now;
        wish.action = newAction ? &rule.action : nullptr;
    }
}

Outcome runUpdate(Set &set, uint32_t flags, bool dryRun, Report &report)
{
    Work &work = workOf(set);
    buildTables(set);
    UpdateRequest request;
    request.tables = &work.wanted;
    request.rules = work.rules;
    request.count = set.count;
    request.quiesce = (flags & IFC_RULESET_QUIESCE) != 0;
    request.dryRun = dryRun;
    const Outcome outcome = apply(work.update, request);
    report.accesses = work.update.port.accesses;
    return outcome;
}

// After an update: the wanted tables are the current ones.
void settle(Set &set)
{
    const Work &work = workOf(set);
    tablesOf(set) = work.wanted;
    set.owned = 0;
    set.standing = 0;
    for (unsigned n = 0; n < set.count; ++n) {
        set.now[set.order[n]] = wordOf(work.answer.place[n]);
        set.state[set.order[n]] = kTaken;
        own(set, work.answer.place[n]);
    }
}

// Appends the rule in set.rule[slot], with its action from the hardware. False: time-out.
bool takeRead(Set &set, RowPort &port, unsigned slot, Place place)
{
    uint32_t row[IFC_ROW_WORDS];
    const auto number = static_cast<uint8_t>(placeNumber(place));
    if (!readRow(port, {IFC_SEL_ACTION, number, 0}, row))
        return false;
    Rule &rule = set.rule[slot];
    for (unsigned n = 0; n < IFC_ROW_WORDS; ++n)
        rule.action.word[n] = row[IFC_ROW_WORDS - 1 - n];
    takeIn(set, slot, set.count, place);
    own(set, place);
    return true;
}

bool readRules(Set &set, RowPort &port)
{
    const Tables &tables = tablesOf(set);
    const unsigned first = ifc::hasWritableLut0(GET_HIR()) ? 0 : IFC_LUT0_RULES;
    for (unsigned number = first; number < kMaxRules; ++number) {
        const Place place = livingPlace(tables, number);
        Rule &rule = set.rule[set.count];
        if (!placed(place))
            continue;
        if (place.table == kWide)
            ifc_rule_decode_wide(&tables.lut0[number], &rule);
        else if (ifc_rule_decode_narrow(&tables.lut1[place.first], place.entries, &rule) != 0)
            continue;
        if (!takeRead(set, port, set.count, place))
            return false;
    }
    return true;
}

} // namespace

int ifc_ruleset_read(struct ifc_ruleset *set, struct ifc_ruleset_report *report)
{
    ifc_ruleset_init(set);
    Report &told = begin(*set, report);
    RowPort port = {};
    bool done = completeUndo(told);
    if (done) {
        copyShadow(tablesOf(*set));
        done = readRules(*set, port);
        release(port);
    }
    told.accesses = port.accesses;
    if (done)
        return finish(told, IFC_RULESET_OK);
    ifc_ruleset_init(set);
    return finish(told, IFC_RULESET_TIMEOUT);
}

int ifc_ruleset_plan(struct ifc_ruleset *set, struct ifc_ruleset_report *report)
{
    Report &told = begin(*set, report);
    const int result = findPlaces(*set, told);
    if (result == IFC_RULESET_OK)
        (void)runUpdate(*set, 0, true, told);
    return result;
}

int ifc_ruleset_apply(struct ifc_ruleset *set, uint32_t flags, struct ifc_ruleset_report *report)
{
    Report &told = begin(*set, report);
    const int result = findPlaces(*set, told);
    if (result != IFC_RULESET_OK)
        return result;
    if (!completeUndo(told))
        return finish(told, IFC_RULESET_TIMEOUT);
    switch (runUpdate(*set, flags, false, told)) {
    case Outcome::Done:
        settle(*set);
        return finish(told, IFC_RULESET_OK);
    case Outcome::Undone:
        told.undo = IFC_RULESET_UNDONE;
        break;
    case Outcome::Incomplete:
        unfinished = workOf(*set).update;
        undoPending = true;
        told.undo = IFC_RULESET_UNDO_FAILED;
        break;
    }
    return finish(told, IFC_RULESET_TIMEOUT);
}

void ifc_ruleset_forget_undo(void)
{
    undoPending = false;
}
